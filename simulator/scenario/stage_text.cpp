// Glyphs into pictures.
#include "simulator/scenario/stage_text.h"

#include <algorithm>

#include "screen/art.h"

namespace desk {

// A glyph's rows follow one another without padding, most significant bit first.
static void draw_glyph(panel::Picture &picture, const lv_font_glyph_dsc_t &glyph, const uint8_t *bitmap, int x) {
    const int top = font_16.line_height - font_16.base_line - glyph.box_h - glyph.ofs_y;
    for (int row = 0; row < glyph.box_h; row++) {
        for (int column = 0; column < glyph.box_w; column++) {
            const int bit = row * glyph.box_w + column;
            if ((bitmap[bit / 8] >> (7 - bit % 8) & 1) != 0) {
                picture.set(x + glyph.ofs_x + column, top + row, true);
            }
        }
    }
}

panel::Picture text_picture(const std::string &text) {
    panel::Picture wide(static_cast<int>(text.size()) * text_height + 1, text_height);
    int x = 0;
    for (char character : text) {
        const auto letter = static_cast<uint32_t>(static_cast<unsigned char>(character));
        lv_font_glyph_dsc_t glyph{};
        if (!lv_font_get_glyph_dsc(&font_16, &glyph, letter, 0)) continue;
        const uint8_t *bitmap = lv_font_get_glyph_bitmap(&font_16, letter);
        if (bitmap != nullptr) draw_glyph(wide, glyph, bitmap, x);
        x += glyph.adv_w;
    }
    return wide.part(0, 0, x, text_height);
}

// The smallest part that holds all lit pixels.
static panel::Picture lit_part(const panel::Picture &picture) {
    int left = picture.width();
    int right = -1;
    int top = picture.height();
    int bottom = -1;
    for (int y = 0; y < picture.height(); y++) {
        for (int x = 0; x < picture.width(); x++) {
            if (!picture.at(x, y)) continue;
            left = std::min(left, x);
            right = std::max(right, x);
            top = std::min(top, y);
            bottom = std::max(bottom, y);
        }
    }
    if (right < 0) return {};
    return picture.part(left, top, right - left + 1, bottom - top + 1);
}

bool shows_exactly(const panel::Picture &picture, const std::string &text) {
    return lit_part(picture) == lit_part(text_picture(text));
}

void copy_lit(const panel::Picture &from, panel::Picture &to, int x, int y) {
    for (int row = 0; row < from.height(); row++) {
        for (int column = 0; column < from.width(); column++) {
            if (from.at(column, row)) to.set(x + column, y + row, true);
        }
    }
}

} // namespace desk
