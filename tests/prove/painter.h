// Draws what must be seen from the art sheets alone: without LVGL, its compiled fonts or the daemon's widgets.
//
// A scene is a list of areas, the lower ones first. Each covers what lies below it with black; what is in it is clipped
// to it. On one bit nothing shines through: letters and the clear bits of a picture light up, the rest stays as it is.
#pragma once

#include <stdint.h>

#include <array>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "lv_conf.h"

constexpr int PANEL_WIDTH = LV_HOR_RES_MAX;
constexpr int PANEL_HEIGHT = LV_VER_RES_MAX;

enum class Place { centre, left, right, top_left, bottom_left, top_right, bottom_right };

/// Something in an area: a text in a font, a picture, or a bar that is lit over `lit` of its columns.
struct Item {
    enum Kind { text, centred_text, picture, bar } kind;
    std::string what; ///< the text, or the picture's name
    int font = 16;    ///< 8, 16 or 32
    int line_space = 0;
    Place place = Place::centre;
    int x = 0, y = 0; ///< away from the place; a bar's and a centred text's are from the area's corner
    int lit = 0;
};

struct Area {
    int x, y, width, height;
    int border = 0, radius = 0;
    std::vector<Item> items;
};

/// What is lit from the left to the right end of a row, over all that came before.
struct Rule {
    int x1, x2, y;
};

struct Scene {
    std::vector<Area> rows;
    std::vector<Rule> rules;
    std::vector<Area> boxes;
    std::string key() const; ///< the same for scenes that look the same
};

/// What a pixel must be. `either` is for what is at LVGL's discretion: see Painter::draw_line.
enum Pixel : uint8_t { dark, lit, either };

/// Row by row.
using Picture = std::array<Pixel, static_cast<size_t>(PANEL_WIDTH) * PANEL_HEIGHT>;

/// The sheets of fonts and pictures in screen/art.
extern const char *const SHEET_FONT_16, *const SHEET_FONT_8, *const SHEET_IMAGES;

/// Where a pixel stands in a picture.
constexpr size_t index_of(int x, int y) { return static_cast<size_t>(y) * PANEL_WIDTH + static_cast<size_t>(x); }

class Painter {
public:
    Painter(); ///< reads the sheets
    const Picture &paint(const Scene &scene);

private:
    using Drawing = std::vector<std::string>; ///< '#' and '.'
    struct Glyph {
        int advance = 0, left = 0, bottom = 0;
        Drawing drawing;
    };
    struct Font {
        int line_height = 0, base_line = 0;
        std::map<char, Glyph> glyphs;
    };
    struct Rectangle {
        int x1, y1, x2, y2;
    };
    void read_font(const char *text, Font &font);
    void read_pictures(const char *text);
    int width_of(const Font &font, const std::string &line) const;
    void set(int x, int y, const Rectangle &clip, Pixel pixel);
    void draw(const Area &area, bool redrawn_in_parts);
    void draw_frame(const Area &area);
    void draw_text(const Item &item, const Area &area);
    void draw_line(const Font &font, const std::string &line, int x, int y, int step, const Rectangle &clip);
    void draw_picture(const Item &item, const Area &area);
    void draw_bar(const Item &item, const Area &area);

    std::map<int, Font> fonts;
    std::map<std::string, Drawing> pictures;
    Picture canvas{};
    bool in_parts = false; ///< what is being drawn lies over areas that change
    std::unordered_map<std::string, Picture> painted;
};
