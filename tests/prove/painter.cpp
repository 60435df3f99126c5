#include "painter.h"

#include <algorithm>
#include <sstream>

// ---- The sheets

Painter::Painter() {
    read_font(SHEET_FONT_16, fonts[16]);
    read_font(SHEET_FONT_8, fonts[8]);
    // Every pixel of the text font, four times.
    Font &large = fonts[32];
    large.line_height = fonts[16].line_height * 2;
    large.base_line = fonts[16].base_line * 2;
    for (const auto &[letter, small] : fonts[16].glyphs) {
        Glyph &glyph = large.glyphs[letter];
        glyph = {small.advance * 2, small.left * 2, small.bottom * 2, {}};
        for (const std::string &row : small.drawing) {
            std::string wide;
            for (const char c : row) wide.append(2, c);
            glyph.drawing.insert(glyph.drawing.end(), 2, wide);
        }
    }
    read_pictures(SHEET_IMAGES);
}

static char letter_of(const std::string &name) {
    if (name == "space") return ' ';
    if (name.size() == 1) return name[0];
    return static_cast<char>(std::stoi(name.substr(2), nullptr, 16)); // U+0041
}

void Painter::read_font(const char *text, Font &font) {
    std::istringstream sheet(text);
    Glyph *glyph = nullptr;
    for (std::string line; std::getline(sheet, line);) {
        std::istringstream words(line);
        std::string first, word;
        words >> first;
        if (first.empty() || first[0] == ';') continue;
        if (first == "line-height") {
            words >> font.line_height;
        } else if (first == "base-line") {
            words >> font.base_line;
        } else if (first == "glyph") {
            words >> word;
            glyph = &font.glyphs[letter_of(word)];
            while (words >> word)
                words >> (word == "advance" ? glyph->advance : word == "left" ? glyph->left : glyph->bottom);
        } else {
            glyph->drawing.push_back(first);
        }
    }
}

void Painter::read_pictures(const char *text) {
    std::istringstream sheet(text);
    Drawing *picture = nullptr;
    for (std::string line; std::getline(sheet, line);) {
        std::istringstream words(line);
        std::string first, name;
        words >> first >> name;
        if (first.empty() || first[0] == ';' || first == "palette") continue;
        if (first == "image")
            picture = &pictures[name];
        else
            picture->push_back(first);
    }
}

// ---- Drawing

static bool inside(int x, int y, int x1, int y1, int x2, int y2) { return x >= x1 && x <= x2 && y >= y1 && y <= y2; }

void Painter::set(int x, int y, const Rectangle &clip, Pixel pixel) {
    if (!inside(x, y, clip.x1, clip.y1, clip.x2, clip.y2)) return;
    if (!inside(x, y, 0, 0, PANEL_WIDTH - 1, PANEL_HEIGHT - 1)) return;
    Pixel &on_canvas = canvas[index_of(x, y)];
    if (pixel != either || on_canvas == dark) on_canvas = pixel;
}

// How far the outer and the inner edge of a frame of two pixels lie from the side, row by row from the corner. A drawn
// curve of so few pixels is a matter of taste: these are LVGL's.
struct Corner {
    std::vector<int> outer, inner;
};
static const Corner &corner_of(int radius) {
    static const Corner four = {{4, 2, 1, 1}, {-1, -1, 4, 3}};
    static const Corner two = {{2, 1}, {-1, -1}};
    static const Corner none;
    return radius == 4 ? four : radius == 2 ? two : none;
}

// Black inside, white at the border, and what lies below outside of the corners.
void Painter::draw_frame(const Area &area) {
    const Corner &corner = corner_of(area.radius);
    const int rows = static_cast<int>(corner.outer.size());
    for (int y = 0; y < area.height; y++) {
        const int from_corner = std::min(y, area.height - 1 - y);
        const bool curved = from_corner < rows;
        const int outer = curved ? corner.outer[static_cast<size_t>(from_corner)] : 0;
        const int inner = curved                      ? corner.inner[static_cast<size_t>(from_corner)]
                          : from_corner < area.border ? -1
                                                      : area.border;
        const Rectangle all = {area.x, area.y, area.x + area.width - 1, area.y + area.height - 1};
        for (int x = outer; x < area.width - outer; x++) {
            const bool is_inside = inner >= 0 && x >= inner && x < area.width - inner;
            set(area.x + x, area.y + y, all, is_inside ? dark : lit);
        }
    }
}

struct Position {
    int x, y;
};
static Position placed(const Item &item, const Area &area, int width, int height) {
    const int right = area.width - width, bottom = area.height - height;
    const int middle_x = area.width / 2 - width / 2, middle_y = area.height / 2 - height / 2;
    Position at{0, 0};
    switch (item.place) {
        case Place::centre: at = {middle_x, middle_y}; break;
        case Place::left: at = {0, middle_y}; break;
        case Place::right: at = {right, middle_y}; break;
        case Place::top_left: at = {0, 0}; break;
        case Place::bottom_left: at = {0, bottom}; break;
        case Place::top_right: at = {right, 0}; break;
        case Place::bottom_right: at = {right, bottom}; break;
    }
    return {area.x + at.x + item.x, area.y + at.y + item.y};
}

static std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines(1);
    for (const char c : text) {
        if (c == '\n')
            lines.emplace_back();
        else
            lines.back() += c;
    }
    return lines;
}

// A character without a glyph takes no room.
int Painter::width_of(const Font &font, const std::string &line) const {
    int width = 0;
    for (const char c : line) {
        const auto glyph = font.glyphs.find(c);
        if (glyph != font.glyphs.end()) width += glyph->second.advance;
    }
    return width;
}

// Where LVGL draws a part of the panel anew it leaves out a line of text that ends above it, and takes a line to end
// where the next one begins. With a negative space between lines that is above the line's last rows: descenders of a box
// vanish when something below the box changes. The tops of what changes there: minimum, noise, mode row.
static bool may_be_left_out(int line_y, int step, int y) {
    for (const int top : {32, 50}) {
        if (line_y + step < top && top <= y) return true;
    }
    return false;
}

void Painter::draw_line(const Font &font, const std::string &line, int x, int y, int step, const Rectangle &clip) {
    for (const char c : line) {
        const auto found = font.glyphs.find(c);
        if (found == font.glyphs.end()) continue;
        const Glyph &glyph = found->second;
        const int height = static_cast<int>(glyph.drawing.size());
        const int top = y + font.line_height - font.base_line - height - glyph.bottom;
        for (int row = 0; row < height; row++) {
            const std::string &pixels = glyph.drawing[static_cast<size_t>(row)];
            const Pixel pixel = in_parts && may_be_left_out(y, step, top + row) ? either : lit;
            for (int column = 0; column < static_cast<int>(pixels.size()); column++) {
                if (pixels[static_cast<size_t>(column)] == '#') set(x + glyph.left + column, top + row, clip, pixel);
            }
        }
        x += glyph.advance;
    }
}

// A label is as large as its text; nothing of a letter is seen outside of the label or of the area.
void Painter::draw_text(const Item &item, const Area &area) {
    const Font &font = fonts.at(item.font);
    const std::vector<std::string> lines = lines_of(item.what);
    const int step = font.line_height + item.line_space;
    int width = 0;
    for (const std::string &line : lines) width = std::max(width, width_of(font, line));
    const int height = step * static_cast<int>(lines.size()) - item.line_space;
    Position at = placed(item, area, width, height);
    if (item.kind == Item::centred_text) at = {area.x + item.x, area.y + item.y};
    const Rectangle all = {area.x, area.y, area.x + area.width - 1, area.y + area.height - 1};
    Rectangle clip = {std::max(all.x1, at.x), std::max(all.y1, at.y), std::min(all.x2, at.x + width - 1),
                      std::min(all.y2, at.y + height - 1)};
    if (item.kind == Item::centred_text) clip = all;
    for (const std::string &line : lines) {
        const int indent = item.kind == Item::centred_text ? (area.width - 2 * item.x - width_of(font, line)) / 2 : 0;
        draw_line(font, line, at.x + indent, at.y, step, clip);
        at.y += step;
    }
}

void Painter::draw_picture(const Item &item, const Area &area) {
    const Drawing &drawing = pictures.at(item.what);
    const int height = static_cast<int>(drawing.size()), width = static_cast<int>(drawing[0].size());
    const Position at = placed(item, area, width, height);
    const Rectangle clip = {area.x, area.y, area.x + area.width - 1, area.y + area.height - 1};
    for (int y = 0; y < height; y++) {
        for (int x = 0; x < width; x++) {
            if (drawing[static_cast<size_t>(y)][static_cast<size_t>(x)] == '.') set(at.x + x, at.y + y, clip, lit);
        }
    }
}

// 100 x 8 with a border of one pixel, and the lit columns inside of it.
void Painter::draw_bar(const Item &item, const Area &area) {
    const int x1 = area.x + item.x, y1 = area.y + item.y, width = 100, height = 8;
    const Rectangle clip = {x1, y1, x1 + width - 1, y1 + height - 1};
    for (int y = 0; y < height; y++) {
        for (int x = 0; x < width; x++) {
            const bool border = x == 0 || y == 0 || x == width - 1 || y == height - 1;
            set(x1 + x, y1 + y, clip, border || x <= item.lit ? lit : dark);
        }
    }
}

void Painter::draw(const Area &area, bool redrawn_in_parts) {
    in_parts = redrawn_in_parts;
    draw_frame(area);
    for (const Item &item : area.items) {
        switch (item.kind) {
            case Item::text:
            case Item::centred_text: draw_text(item, area); break;
            case Item::picture: draw_picture(item, area); break;
            case Item::bar: draw_bar(item, area); break;
        }
    }
}

// ---- Scenes

static void append(std::string &key, int number) {
    key += std::to_string(number);
    key += ' ';
}

static void append(std::string &key, const std::vector<Area> &areas) {
    for (const Area &area : areas) {
        for (const int number : {area.x, area.y, area.width, area.height, area.radius}) append(key, number);
        for (const Item &item : area.items) {
            key += item.what;
            key += '\1';
            for (const int number : {int{item.kind}, item.font, static_cast<int>(item.place), item.x, item.y, item.lit})
                append(key, number);
        }
        key += '\2';
    }
}

std::string Scene::key() const {
    std::string key;
    append(key, rows);
    append(key, static_cast<int>(rules.size()));
    append(key, boxes);
    return key;
}

const Picture &Painter::paint(const Scene &scene) {
    constexpr size_t most_kept = 4000;
    const std::string key = scene.key();
    const auto known = painted.find(key);
    if (known != painted.end()) return known->second;
    if (painted.size() >= most_kept) painted.clear();
    canvas.fill(dark);
    for (const Area &area : scene.rows) draw(area, false);
    for (const Rule &rule : scene.rules) {
        for (int x = rule.x1; x <= rule.x2; x++) set(x, rule.y, {0, 0, PANEL_WIDTH, PANEL_HEIGHT}, lit);
    }
    for (const Area &area : scene.boxes) draw(area, true);
    return painted[key] = canvas;
}
