// Every letter of every font is looked for at every place; of the lines that come of it those with the most lit pixels
// count, and each pixel once.
#include "simulator/scenario/read_text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <tuple>

#include "screen/art.h"

namespace desk {

namespace {

// Bit 0 is the topmost row of the line.
using Column = uint32_t;

struct Letter {
    char character = ' ';
    int advance = 0;
    int left = 0;            // empty columns before the first
    std::vector<Column> lit; // empty for the space
    Column rows = 0;         // those that the drawing spans, and those of a small letter
    int ink = 0;             // lit pixels
};

struct Font {
    int height = 0;
    int most_left = 0; // no letter begins further from its place
    Letter space;
    std::vector<Letter> letters; // those with the most ink first, so that ":" is not read as "."
};

// A line that was read, with the places of its letters.
struct Reading {
    TextOnPanel found;
    int ink = 0;
    int letters = 0;
    std::vector<std::pair<int, const Letter *>> places;
};

Letter letter_of(const lv_font_t &font, char character) {
    Letter letter;
    lv_font_glyph_dsc_t glyph{};
    const auto code = static_cast<uint32_t>(static_cast<unsigned char>(character));
    if (!lv_font_get_glyph_dsc(&font, &glyph, code, 0)) return letter;
    letter.character = character;
    letter.advance = glyph.adv_w;
    letter.left = glyph.ofs_x;
    const uint8_t *bitmap = lv_font_get_glyph_bitmap(&font, code);
    if (bitmap == nullptr || glyph.box_w == 0) return letter;
    const int top = font.line_height - font.base_line - glyph.box_h - glyph.ofs_y;
    letter.lit.assign(glyph.box_w, 0);
    for (int bit = 0; bit < glyph.box_h * glyph.box_w; bit++) {
        const Column row = Column{1} << (top + bit / glyph.box_w);
        letter.rows |= row;
        if ((bitmap[bit / 8] >> (7 - bit % 8) & 1) == 0) continue;
        letter.lit[static_cast<size_t>(bit % glyph.box_w)] |= row;
        letter.ink++;
    }
    return letter;
}

Font letters_of(const lv_font_t &font) {
    Font all;
    all.height = font.line_height;
    all.space = letter_of(font, ' ');
    // A "." is no foot of an "A": above it is nothing. Rules and the tails of the line above end higher than these rows.
    const Column small_letters = letter_of(font, 'x').rows;
    for (char character = '!'; character <= '~'; character++) {
        Letter letter = letter_of(font, character);
        letter.rows |= small_letters;
        all.most_left = std::max(all.most_left, letter.left);
        if (letter.ink > 0) all.letters.push_back(std::move(letter));
    }
    std::stable_sort(all.letters.begin(), all.letters.end(),
                     [](const Letter &one, const Letter &other) { return one.ink > other.ink; });
    return all;
}

const std::array<Font, 3> &fonts() {
    static const std::array<Font, 3> all = {letters_of(font_32), letters_of(font_16), letters_of(font_8)};
    return all;
}

// One line of the picture, column by column. What lies outside is dark.
std::vector<Column> line_at(const panel::Picture &picture, int y, int height) {
    std::vector<Column> line(static_cast<size_t>(picture.width()), 0);
    for (int row = 0; row < height && y + row < picture.height(); row++) {
        if (y + row < 0) continue;
        for (int x = 0; x < picture.width(); x++) {
            if (picture.at(x, y + row)) line[static_cast<size_t>(x)] |= Column{1} << row;
        }
    }
    return line;
}

// A letter or digit that is more than a stroke. What else is there is found in frames, in pictograms and in letters that
// an edge cuts.
bool tells(const Letter &letter) {
    const auto is_stroke = [&](Column column) { return column == letter.lit.front(); };
    return std::isalnum(static_cast<unsigned char>(letter.character)) != 0 &&
           !std::all_of(letter.lit.begin(), letter.lit.end(), is_stroke);
}

bool stands_at(const std::vector<Column> &line, const Letter &letter, int pen) {
    const int first = pen + letter.left;
    const int beyond = first + static_cast<int>(letter.lit.size());
    const bool at_edge = beyond == static_cast<int>(line.size());
    if (first < 0 || beyond > static_cast<int>(line.size()) || (at_edge && !tells(letter))) return false;
    const auto matches = [&](int x, Column wanted) { return (line[static_cast<size_t>(x)] & letter.rows) == wanted; };
    for (size_t i = 0; i < letter.lit.size(); i++) {
        if (!matches(first + static_cast<int>(i), letter.lit[i])) return false;
    }
    // It must end where it ends: an "n" begins as an "r" does.
    return (first == 0 || matches(first - 1, 0)) && (at_edge || matches(beyond, 0));
}

const Letter *letter_at(const std::vector<Column> &line, const Font &font, int pen) {
    // Nearly every place is dark, or the middle of something.
    const int last = std::min(pen + font.most_left, static_cast<int>(line.size()) - 1);
    bool dark = true;
    for (int x = pen; x <= last; x++) dark = dark && line[static_cast<size_t>(x)] == 0;
    if (dark) return nullptr;
    for (const Letter &letter : font.letters) {
        if (stands_at(line, letter, pen)) return &letter;
    }
    return nullptr;
}

// The text that begins with a letter at `pen`.
Reading reading_from(const std::vector<Column> &line, const Font &font, int pen, int y) {
    Reading reading{{pen, y, font.height, ""}, 0, 0, {}};
    static constexpr int most_spaces = 3;
    for (int spaces = 0; spaces <= most_spaces;) {
        const Letter *letter = letter_at(line, font, pen);
        if (letter == nullptr) {
            if (reading.letters == 0) break;
            spaces++;
            pen += font.space.advance;
            continue;
        }
        reading.found.text += std::string(static_cast<size_t>(spaces), ' ') + letter->character;
        reading.places.emplace_back(pen, letter);
        reading.letters++;
        reading.ink += letter->ink;
        pen += letter->advance;
        spaces = 0;
    }
    return reading;
}

// Specks in pictograms and frames look like signs, so a text has a letter that tells. The corner of the firmware box
// is an "l".
bool is_text(const Reading &reading) {
    if (reading.found.text == "l") return false;
    return std::any_of(reading.places.begin(), reading.places.end(),
                       [](const auto &place) { return tells(*place.second); });
}

// Takes the letters' pixels out of the picture; false, and nothing is taken, when some have gone with another text.
bool take(panel::Picture &picture, const Reading &reading) {
    const auto each_pixel = [&](auto &&with) {
        for (const auto &[pen, letter] : reading.places) {
            for (size_t i = 0; i < letter->lit.size(); i++) {
                for (int row = 0; row < reading.found.height; row++) {
                    if ((letter->lit[i] >> row & 1) == 0) continue;
                    with(pen + letter->left + static_cast<int>(i), reading.found.y + row);
                }
            }
        }
    };
    bool whole = true;
    each_pixel([&](int x, int y) { whole = whole && picture.at(x, y); });
    if (whole) each_pixel([&](int x, int y) { picture.set(x, y, false); });
    return whole;
}

} // namespace

std::vector<TextOnPanel> texts_in(const panel::Picture &picture) {
    std::vector<Reading> readings;
    for (const Font &font : fonts()) {
        for (int y = -font.height; y < picture.height(); y++) {
            const std::vector<Column> line = line_at(picture, y, font.height);
            for (int x = 0; x < picture.width(); x++) {
                Reading reading = reading_from(line, font, x, y);
                if (is_text(reading)) readings.push_back(std::move(reading));
            }
        }
    }
    std::stable_sort(readings.begin(), readings.end(),
                     [](const Reading &one, const Reading &other) { return one.ink > other.ink; });
    panel::Picture rest = picture;
    std::vector<TextOnPanel> texts;
    for (const Reading &reading : readings) {
        if (take(rest, reading)) texts.push_back(reading.found);
    }
    std::sort(texts.begin(), texts.end(), [](const TextOnPanel &one, const TextOnPanel &other) {
        return std::tie(one.y, one.x) < std::tie(other.y, other.x);
    });
    return texts;
}

} // namespace desk
