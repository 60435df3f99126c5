// Style recipes that more than one screen area uses; see styles.h.
#include "screen/styles.h"

void style_set_black_box(lv_style_t *style) {
    lv_style_copy(style, &lv_style_pretty_color);
    style->body.main_color = LV_COLOR_BLACK;
    style->body.grad_color = LV_COLOR_BLACK;
    style->body.border.color = LV_COLOR_WHITE;
    style->body.border.width = 0;
    style->body.radius = 0;
}

void style_set_text(lv_style_t *style, const lv_font_t *font) {
    style->text.color = LV_COLOR_WHITE;
    style->text.font = font;
}
