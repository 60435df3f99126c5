// The program's own fonts and pictures as LVGL sees them: the fonts' metrics, which characters have a glyph
// and which do not, that letters can be told apart, that the fixed texts fit the places they are shown in, and every
// picture's bytes.
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "model.h"
#include "screen/art.h"

namespace {

const uint32_t last_code_asked = 0x2FF;

struct Glyph {
    bool found;
    lv_font_glyph_dsc_t box;
    std::vector<std::string> rows; // '#' lit, '.' dark
};

// Bits run on from row to row; only a glyph begins on a whole byte.
std::vector<std::string> glyph_rows(const lv_font_t &font, uint32_t code, const lv_font_glyph_dsc_t &box) {
    const uint8_t *bitmap = font.get_glyph_bitmap(&font, code);
    std::vector<std::string> rows(box.box_h, std::string(box.box_w, '.'));
    for (size_t bit = 0; bit < size_t{box.box_w} * box.box_h; ++bit)
        if (bitmap[bit / 8] & (0x80 >> (bit % 8))) rows[bit / box.box_w][bit % box.box_w] = '#';
    return rows;
}

Glyph glyph_of(const lv_font_t &font, uint32_t code) {
    Glyph glyph{};
    glyph.found = font.get_glyph_dsc(&font, &glyph.box, code, 0);
    if (glyph.found) glyph.rows = glyph_rows(font, code, glyph.box);
    return glyph;
}

std::set<uint32_t> text_characters() {
    const uint32_t ranges[][2] = {{0x20, 0x26}, {0x28, 0x3F}, {0x41, 0x5D}, {0x5F, 0x5F}, {0x61, 0x7D}};
    std::set<uint32_t> codes;
    for (const auto &range : ranges)
        for (uint32_t code = range[0]; code <= range[1]; ++code) codes.insert(code);
    return codes;
}

std::set<uint32_t> small_characters() {
    std::set<uint32_t> codes;
    for (uint32_t code = 0x20; code <= 0x7F; ++code) codes.insert(code);
    return codes;
}

std::set<uint32_t> characters_found(const lv_font_t &font, const std::vector<uint32_t> &order) {
    std::set<uint32_t> codes;
    for (uint32_t code : order)
        if (glyph_of(font, code).found) codes.insert(code);
    return codes;
}

std::vector<uint32_t> upwards() {
    std::vector<uint32_t> codes;
    for (uint32_t code = 1; code <= last_code_asked; ++code) codes.push_back(code);
    return codes;
}

void expect_characters(const lv_font_t &font, const std::set<uint32_t> &wanted) {
    std::vector<uint32_t> order = upwards();
    EXPECT_EQ(characters_found(font, order), wanted);
    EXPECT_EQ(characters_found(font, {order.rbegin(), order.rend()}), wanted);
}

// LVGL keeps the last letter it looked up, found or not; one question's answer must not colour the next.
void expect_any_order(const lv_font_t &font, const std::set<uint32_t> &wanted) {
    for (uint32_t before = 0x1F; before <= 0x80; ++before)
        for (uint32_t code = 0x1F; code <= 0x80; ++code) {
            EXPECT_EQ(glyph_of(font, before).found, wanted.count(before) == 1) << "code " << before;
            EXPECT_EQ(glyph_of(font, code).found, wanted.count(code) == 1) << "code " << code;
        }
}

void expect_glyph(const lv_font_t &font, char letter, int width, int height, int advance) {
    const Glyph glyph = glyph_of(font, static_cast<unsigned char>(letter));
    EXPECT_EQ(glyph.box.box_w, width) << letter;
    EXPECT_EQ(glyph.box.box_h, height) << letter;
    EXPECT_EQ(glyph.box.adv_w, advance) << letter;
    EXPECT_EQ(glyph.box.bpp, 1) << letter;
}

void expect_inside_line(const lv_font_t &font, const std::set<uint32_t> &codes) {
    for (uint32_t code : codes) {
        const lv_font_glyph_dsc_t box = glyph_of(font, code).box;
        EXPECT_LE(box.ofs_y + box.box_h, font.line_height - font.base_line) << "above the line: " << code;
        EXPECT_GE(box.ofs_y, -font.base_line) << "below the line: " << code;
        EXPECT_GE(box.ofs_x, 0) << "code " << code;
        EXPECT_LE(box.ofs_x + box.box_w, box.adv_w) << "runs into the next letter: " << code;
    }
}

bool anything_lit(const Glyph &glyph) {
    for (const std::string &row : glyph.rows)
        if (row.find('#') != std::string::npos) return true;
    return false;
}

// Only the blank may draw nothing, and no two characters may look the same.
void expect_all_differ(const lv_font_t &font, const std::set<uint32_t> &codes) {
    std::set<std::pair<int, std::vector<std::string>>> seen;
    for (uint32_t code : codes) {
        const Glyph glyph = glyph_of(font, code);
        EXPECT_EQ(anything_lit(glyph), code != ' ') << "code " << code;
        EXPECT_TRUE(seen.insert({glyph.box.ofs_y, glyph.rows}).second) << "looks like another: code " << code;
    }
}

// Letters and digits of the text fonts.
std::vector<char> alphanumerics() {
    std::vector<char> characters;
    for (uint32_t code : text_characters())
        if (std::isalnum(static_cast<int>(code)) != 0) characters.push_back(static_cast<char>(code));
    return characters;
}

// A glyph where it stands in its line: as wide as its advance, as high as the line.
std::vector<std::string> cell_of(const lv_font_t &font, char letter) {
    const Glyph glyph = glyph_of(font, static_cast<unsigned char>(letter));
    std::vector<std::string> cell(font.line_height, std::string(glyph.box.adv_w, '.'));
    const size_t top = static_cast<size_t>(font.line_height - font.base_line - glyph.box.box_h - glyph.box.ofs_y);
    for (size_t y = 0; y < glyph.rows.size(); ++y)
        cell.at(top + y).replace(static_cast<size_t>(glyph.box.ofs_x), glyph.rows[y].size(), glyph.rows[y]);
    return cell;
}

int pixels_between(const lv_font_t &font, char one, char other) {
    std::vector<std::string> first = cell_of(font, one), second = cell_of(font, other);
    int count = 0;
    for (size_t y = 0; y < first.size(); ++y) {
        const size_t width = std::max(first[y].size(), second[y].size());
        first[y].resize(width, '.');
        second[y].resize(width, '.');
        for (size_t x = 0; x < width; ++x) count += first[y][x] != second[y][x];
    }
    return count;
}

bool lit(const std::vector<std::string> &rows, size_t y, size_t x) {
    return y < rows.size() && x < rows[y].size() && rows[y][x] == '#';
}

// How many rows the longest upright line goes on that is one pixel wide.
int longest_thin_stem(const std::vector<std::string> &rows) {
    int longest = 0;
    for (size_t x = 0; x < rows.at(0).size(); ++x) {
        int length = 0;
        for (size_t y = 0; y < rows.size(); ++y) {
            const bool thin = lit(rows, y, x) && !lit(rows, y, x + 1) && (x == 0 || !lit(rows, y, x - 1));
            length = thin ? length + 1 : 0;
            longest = std::max(longest, length);
        }
    }
    return longest;
}

int strokes_in(const std::string &row) {
    int strokes = 0;
    for (size_t x = 0; x < row.size(); ++x) strokes += row[x] == '#' && (x == 0 || row[x - 1] == '.');
    return strokes;
}

// The dark pixels that the glyph's strokes close in.
int enclosed_pixels(std::vector<std::string> rows) {
    for (std::string &row : rows) row = "." + row + ".";
    rows.insert(rows.begin(), std::string(rows.at(0).size(), '.'));
    rows.push_back(rows.front());
    std::vector<std::pair<size_t, size_t>> open{{0, 0}};
    while (!open.empty()) {
        const auto [y, x] = open.back();
        open.pop_back();
        if (y >= rows.size() || x >= rows[y].size() || rows[y][x] != '.') continue;
        rows[y][x] = ' ';
        open.insert(open.end(), {{y + 1, x}, {y - 1, x}, {y, x + 1}, {y, x - 1}});
    }
    int count = 0;
    for (const std::string &row : rows) count += static_cast<int>(std::count(row.begin(), row.end(), '.'));
    return count;
}

std::vector<std::string> doubled(const std::vector<std::string> &rows) {
    std::vector<std::string> result;
    for (const std::string &row : rows) {
        std::string wide;
        for (char pixel : row) wide.append(2, pixel);
        result.insert(result.end(), 2, wide);
    }
    return result;
}

// The width of a label with this text; letter_space is 0 in every style that shows one of these fonts.
int width_of(const lv_font_t &font, const char *text) {
    lv_point_t size;
    lv_txt_get_size(&size, text, &font, 0, 0, LV_COORD_MAX, LV_TXT_FLAG_NONE);
    return size.x;
}

void expect_fits(const lv_font_t &font, int space, const std::vector<const char *> &texts) {
    for (const char *text : texts) {
        EXPECT_GT(width_of(font, text), 0) << text;
        EXPECT_LE(width_of(font, text), space) << text;
    }
}

struct Picture {
    const char *name;
    const lv_img_dsc_t *image;
    unsigned width, height;
    const char *palette;
    const char *rows; // one group of hexadecimal digits a row
};

const char plain_palette[] = "000000ff ffffffff";
const char grey_palette[] = "040204ff fcfefcff";

const Picture pictures[] = {
    {"img_activity_1", &img_activity_1, 8, 8, plain_palette, "ff e7 c3 81 81 c3 e7 ff"},
    {"img_activity_2", &img_activity_2, 8, 8, plain_palette, "ff c3 81 81 81 81 c3 ff"},
    {"img_activity_3", &img_activity_3, 8, 8, plain_palette, "c3 81 00 00 00 00 81 c3"},
    {"img_activity_alt_1", &img_activity_alt_1, 12, 9, grey_palette, "f9f0 c030 8010 9990 8010 e670 c930 9f90 fff0"},
    {"img_activity_alt_2", &img_activity_alt_2, 11, 8, grey_palette, "df60 eee0 c060 9120 0000 4040 5f40 e4e0"},
    {"img_activity_alt_3", &img_activity_alt_3, 10, 8, plain_palette, "f3c0 e1c0 c0c0 9240 8040 edc0 d2c0 ad40"},
    {"img_supply_1", &img_supply_1, 12, 8, plain_palette, "c630 0000 7fe0 7f60 4620 7f60 7fe0 0000"},
    {"img_jack", &img_jack, 13, 8, plain_palette, "ccf8 0038 7fa0 7da8 48a0 7da8 7fa0 0038"},
    {"icon_bt", &icon_bt, 13, 9, plain_palette, "ff78 ff38 ff58 fd38 fe78 fd38 ff58 ff38 ff78"},
    {"icon_usb", &icon_usb, 13, 9, plain_palette, "fff8 f878 f700 f720 c700 f720 f700 f878 fff8"},
    {"icon_wifi", &icon_wifi, 13, 9, plain_palette, "fff8 e038 dfd8 f078 efb8 f8f8 fff8 fdf8 fff8"},
    {"icon_hotspot", &icon_hotspot, 13, 9, plain_palette, "fff8 fc18 fbe8 f630 f5d0 f550 f7f0 fbe8 fff8"},
    {"icon_signal_1", &icon_signal_1, 17, 8, plain_palette, "fff000 fff700 fff700 fc1700 fdd700 05d700 75d700 041000"},
    {"icon_signal_2", &icon_signal_2, 17, 8, plain_palette, "fff000 fff700 fff700 fc1700 fdd700 05d700 05d700 041000"},
    {"icon_signal_3", &icon_signal_3, 17, 8, plain_palette, "fff000 fff700 fff700 fc1700 fc1700 041700 041700 041000"},
    {"icon_signal_4", &icon_signal_4, 17, 8, plain_palette, "fff000 fff000 fff000 fc1000 fc1000 041000 041000 041000"},
    {"icon_reboot", &icon_reboot, 22, 22, plain_palette,
     "fffffc ff03fc fcfcfc fbff7c f7ffbc efffdc efffdc dfffec dfffec dfffec dfffec ffffec "
     "ffffec ffffdc ffffdc ff7fbc feff7c fdfcfc f803fc fdfffc fefffc ff7ffc"},
    {"icon_error", &icon_error, 22, 22, plain_palette,
     "fffffc fffffc ff03fc fc00fc f8fc7c f1ff3c e0ff9c e47f9c ce3fcc cf1fcc cf8fcc cfc7cc "
     "cfe3cc cff1cc e7f89c e7fc1c f3fe3c f8fc7c fc00fc ff03fc fffffc fffffc"},
    {"icon_ignition", &icon_ignition, 22, 22, plain_palette,
     "fffc7c fdbbbc fa46dc f7ffdc f803bc fffc7c fffffc f8007c f7ffbc efffdc efffdc efffdc "
     "c0000c bffff4 7703b8 637b18 7703b8 7ffff8 000000 0fffc0 0fffc0 0fffc0"},
};

std::vector<uint8_t> bytes_of(const std::string &hex) {
    std::istringstream groups(hex);
    std::string group;
    std::vector<uint8_t> bytes;
    while (groups >> group)
        for (size_t at = 0; at < group.size(); at += 2)
            bytes.push_back(static_cast<uint8_t>(std::strtoul(group.substr(at, 2).c_str(), nullptr, 16)));
    return bytes;
}

} // namespace

TEST(Art, FontsHaveTheirLineAndBaseLine) {
    EXPECT_EQ(font_16.line_height, 16);
    EXPECT_EQ(font_16.base_line, 4);
    EXPECT_EQ(font_32.line_height, 32);
    EXPECT_EQ(font_32.base_line, 8);
    EXPECT_EQ(font_8.line_height, 8);
    EXPECT_EQ(font_8.base_line, 2);
}

TEST(Art, FontsAreOneBitWithoutKerningOrSubpixels) {
    for (const lv_font_t *font : {&font_16, &font_32, &font_8}) {
        EXPECT_EQ(font->subpx, LV_FONT_SUBPX_NONE);
        EXPECT_EQ(font->get_glyph_dsc, lv_font_get_glyph_dsc_fmt_txt);
        EXPECT_EQ(font->get_glyph_bitmap, lv_font_get_bitmap_fmt_txt);
        const auto *description = static_cast<const lv_font_fmt_txt_dsc_t *>(font->dsc);
        EXPECT_EQ(description->bpp, 1);
        EXPECT_EQ(description->kern_dsc, nullptr);
    }
}

TEST(Art, ExampleGlyphsHaveTheirBoxes) {
    expect_glyph(font_16, '!', 2, 10, 3);
    expect_glyph(font_16, 'C', 6, 10, 7);
    expect_glyph(font_32, '!', 4, 20, 6);
    expect_glyph(font_32, 'C', 12, 20, 14);
}

TEST(Art, TextFontsCoverTheirNinetyCharactersAndNoOther) {
    ASSERT_EQ(text_characters().size(), 90u);
    expect_characters(font_16, text_characters());
    expect_characters(font_32, text_characters());
}

TEST(Art, SmallFontCoversItsNinetySixCharactersAndNoOther) {
    ASSERT_EQ(small_characters().size(), 96u);
    expect_characters(font_8, small_characters());
}

TEST(Art, GlyphsAreFoundInAnyOrder) {
    expect_any_order(font_16, text_characters());
    expect_any_order(font_32, text_characters());
    expect_any_order(font_8, small_characters());
}

TEST(Art, CharactersWithoutGlyphTakeNoRoom) {
    for (const char *missing : {"'", "@", "^", "`", "~", "\xC3\xA4", "\xE2\x82\xAC"}) {
        EXPECT_EQ(width_of(font_16, missing), 0) << missing;
        EXPECT_EQ(width_of(font_32, missing), 0) << missing;
    }
}

TEST(Art, GlyphsStayInsideTheirLine) {
    expect_inside_line(font_16, text_characters());
    expect_inside_line(font_32, text_characters());
    expect_inside_line(font_8, small_characters());
}

TEST(Art, EveryCharacterLooksDifferent) {
    expect_all_differ(font_16, text_characters());
    expect_all_differ(font_8, small_characters());
}

// For three rows a stem may thin, where a diagonal or a third leg needs the room.
TEST(Art, UprightStemsAreTwoPixelsWide) {
    for (char letter : alphanumerics()) EXPECT_LE(longest_thin_stem(cell_of(font_16, letter)), 3) << letter;
}

// What is read from an arm's length in names, serial numbers and voltages, where no word helps to guess a letter.
TEST(Art, LettersThatLookAlikeDifferInManyPixels) {
    for (const char *pair : {"MH", "MN", "NH", "WH", "MW", "0O", "0D", "0Q", "08", "OD", "OQ", "DQ", "VU", "VY",
                             "UW", "vu", "wu", "mn", "1l", "1I", "lI", "8B", "86", "83", "89", "6G", "5S", "2Z"})
        EXPECT_GE(pixels_between(font_16, pair[0], pair[1]), 7) << pair;
    for (const char *pair : {"0O", "0D", "VU", "vu"}) EXPECT_GE(pixels_between(font_16, pair[0], pair[1]), 12) << pair;
}

// Without it M is an H with a high bar.
TEST(Art, TheMiddleOfMAndWStandsFreeOfBothLegs) {
    for (char letter : {'M', 'W', 'm', 'w'}) {
        const std::vector<std::string> rows = glyph_of(font_16, static_cast<unsigned char>(letter)).rows;
        const auto free = [](const std::string &row) { return strokes_in(row) == 3; };
        EXPECT_GE(std::count_if(rows.begin(), rows.end(), free), 2) << letter;
    }
}

TEST(Art, LettersThatEndInAPointDoSo) {
    for (char letter : {'V', 'v'}) {
        const std::vector<std::string> rows = glyph_of(font_16, static_cast<unsigned char>(letter)).rows;
        for (size_t row : {rows.size() - 1, rows.size() - 2}) EXPECT_EQ(rows[row], "..##..") << letter;
        EXPECT_EQ(rows[rows.size() - 3], ".####.") << letter;
    }
}

// What goes lower than that stands on the rule below the top row, or is cut off on the production screen.
TEST(Art, OnlyLettersWithADescenderGoBelowTheBaseLine) {
    const std::string descending = "gjpqy";
    for (char letter : alphanumerics()) {
        const bool descends = descending.find(letter) != std::string::npos;
        EXPECT_EQ(glyph_of(font_16, static_cast<unsigned char>(letter)).box.ofs_y, descends ? -2 : 0) << letter;
    }
}

TEST(Art, LettersOfOneKindAreEquallyHigh) {
    for (char letter : alphanumerics()) {
        const int height = glyph_of(font_16, static_cast<unsigned char>(letter)).box.box_h;
        const bool capital_or_digit = std::islower(static_cast<unsigned char>(letter)) == 0;
        const bool low = std::string("acemnorsuvwxz").find(letter) != std::string::npos;
        if (capital_or_digit || low) {
            EXPECT_EQ(height, low ? 7 : 10) << letter;
        }
    }
}

// Two letters stand a pixel apart, and the strokes of one letter two.
TEST(Art, WordsStandClearlyFurtherApartThanLetters) {
    const lv_font_glyph_dsc_t blank = glyph_of(font_16, ' ').box, letter = glyph_of(font_16, 'H').box;
    const int between_letters = letter.adv_w - letter.ofs_x - letter.box_w;
    EXPECT_GE(blank.adv_w + between_letters, 5 * between_letters);
}

// Three blanks are to put the upper word over the middle of the lower one.
TEST(Art, CheckStandsOverTheMiddleOfIgnition) {
    const int left = width_of(font_16, "   "), right = width_of(font_16, "IGNITION") - width_of(font_16, "   CHECK");
    EXPECT_LE(std::abs(left - right), 3);
}

TEST(Art, SignsOfTheSmallFontAreOpenEnoughToRead) {
    EXPECT_GE(enclosed_pixels(glyph_of(font_8, '#').rows), 4) << "the square in the middle";
    EXPECT_GE(enclosed_pixels(glyph_of(font_8, '@').rows), 1) << "the letter inside";
    const std::vector<std::string> dollar = glyph_of(font_8, '$').rows;
    EXPECT_EQ(dollar.front(), "..#..") << "the stroke shows above the S";
    EXPECT_EQ(dollar.back(), "..#..") << "and below it";
}

TEST(Art, LargeFontIsTheTextFontDoubled) {
    for (uint32_t code : text_characters()) {
        const Glyph small = glyph_of(font_16, code), large = glyph_of(font_32, code);
        EXPECT_EQ(large.box.adv_w, small.box.adv_w * 2) << "code " << code;
        EXPECT_EQ(large.box.ofs_x, small.box.ofs_x * 2) << "code " << code;
        EXPECT_EQ(large.box.ofs_y, small.box.ofs_y * 2) << "code " << code;
        EXPECT_EQ(large.box.box_w, small.box.box_w * 2) << "code " << code;
        EXPECT_EQ(large.rows, doubled(small.rows)) << "code " << code;
    }
}

TEST(Art, DigitsAreEquallyWide) {
    for (const lv_font_t *font : {&font_16, &font_32, &font_8})
        for (uint32_t digit = '1'; digit <= '9'; ++digit)
            EXPECT_EQ(glyph_of(*font, digit).box.adv_w, glyph_of(*font, '0').box.adv_w) << "code " << digit;
}

// 118 pixels, the text in the middle, a 13-pixel icon at each end.
TEST(Art, ModeTextsFitBetweenTheirIcons) { expect_fits(font_16, 118 - 2 * 13, ALL_MODE_TEXTS); }

// 118 pixels, the text in the middle; icons of at most 13 pixels on the right, the signal's 17 on the left.
TEST(Art, ConnectivityTextsFitBesideTheirIcons) {
    expect_fits(font_16, 118 - 2 * 13, {"WireGuard VPN", "USB", "HOTSPOT", "BLUETOOTH"});
    for (uint32_t code : text_characters()) {
        const std::string longest_name(11, static_cast<char>(code));
        expect_fits(font_16, 118 - 2 * 17, {longest_name.c_str()});
    }
}

TEST(Art, VoltagesFitTheirBoxes) {
    expect_fits(font_32, 63, {"24.8v", "14.2v", "00.0v", "-.-v"});
    expect_fits(font_16, 57, {"Max. 14.2", "Max. -.-", "Min. 14.2", "Min. -.-", "Max. 00.0"});
}

// Boxes 120 wide. The message's icon is 22 wide, 30 (34 beside an error) left of the middle, the text 20 (14)
// right of it; both centred, so the text must reach neither the icon nor the 2-pixel frame.
TEST(Art, OverlayTextsFitBesideTheirIcons) {
    const int beside_error_icon = 2 * (34 + 14 - 22 / 2), beside_icon = 2 * (60 - 20 - 2);
    expect_fits(font_16, beside_error_icon, {"ERROR: WIFI\n Connection", "ERROR\n LX-M4-1"});
    expect_fits(font_16, beside_icon, {"PLEASE\nREBOOT", "   CHECK  \nIGNITION"});
    expect_fits(font_16, 120 - 2 * 2, {"FW UPGRADE..."});
    expect_fits(font_8, 120 - 2 * 2, {"FT_MAINAPP_J2534"});
}

TEST(Art, ProductionRowsFitTheScreen) {
    expect_fits(font_16, 128, {"FW: Updating...", "FW: Error Updating", "FW: Latest Version", "HW: QB418T"});
}

TEST(Art, PicturesHaveTheirBytes) {
    for (const Picture &picture : pictures) {
        SCOPED_TRACE(picture.name);
        const lv_img_dsc_t &image = *picture.image;
        const std::vector<uint8_t> wanted = bytes_of(std::string(picture.palette) + " " + picture.rows);
        ASSERT_EQ(wanted.size(), 8 + (picture.width + 7) / 8 * picture.height);
        ASSERT_EQ(image.data_size, wanted.size());
        EXPECT_EQ(std::vector<uint8_t>(image.data, image.data + image.data_size), wanted);
    }
}

TEST(Art, PicturesHaveTheirSizeAndFormat) {
    for (const Picture &picture : pictures) {
        SCOPED_TRACE(picture.name);
        const lv_img_header_t &header = picture.image->header;
        EXPECT_EQ(header.cf, static_cast<unsigned>(LV_IMG_CF_INDEXED_1BIT));
        EXPECT_EQ(header.always_zero, 0u);
        EXPECT_EQ(header.w, picture.width);
        EXPECT_EQ(header.h, picture.height);
    }
}

// LVGL reads the palette as 32-bit colours.
TEST(Art, PalettesAreAlignedForLvgl) {
    for (const Picture &picture : pictures)
        EXPECT_EQ(reinterpret_cast<uintptr_t>(picture.image->data) % 4, 0u) << picture.name;
}
