#include "screen/widgets.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

void style_set_black_ground(lv_style_t *style) {
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

// ---- Widgets ----

lv_obj_t *create_container(lv_coord_t x, lv_coord_t y, lv_coord_t width, lv_coord_t height, const lv_style_t *style) {
    lv_obj_t *container = lv_obj_create(lv_disp_get_scr_act(lv_disp_get_default()), nullptr);
    lv_obj_set_size(container, width, height);
    lv_obj_set_style(container, style);
    lv_obj_set_pos(container, x, y);
    return container;
}

lv_obj_t *create_label(lv_obj_t *parent, lv_style_t *style, const char *text, lv_align_t align, lv_coord_t x,
                       lv_coord_t y) {
    lv_obj_t *label = lv_label_create(parent, nullptr);
    lv_obj_set_style(label, style);
    if (text != nullptr) set_label_text(label, text);
    lv_obj_align(label, nullptr, align, x, y);
    return label;
}

lv_obj_t *create_image(lv_obj_t *parent, lv_style_t *style, const lv_img_dsc_t *source, lv_align_t align, lv_coord_t x,
                       lv_coord_t y) {
    lv_obj_t *image = lv_img_create(parent, nullptr);
    if (source != nullptr) lv_img_set_src(image, source);
    lv_obj_set_hidden(image, source == nullptr);
    lv_obj_set_style(image, style);
    lv_obj_align(image, nullptr, align, x, y);
    return image;
}

// ---- Texts ----

// Length of the well-formed UTF-8 sequence at `text` (RFC 3629), 0 if there is none. `*cut` tells whether
// what stands there is the beginning of one that the end of the text cut off.
static size_t sequence_length(const char *text, bool *cut) {
    const auto *byte = reinterpret_cast<const uint8_t *>(text);
    *cut = false;
    if (byte[0] < 0x80) return 1;
    if (byte[0] < 0xC2 || byte[0] > 0xF4) return 0;
    const size_t length = byte[0] < 0xE0 ? 2 : byte[0] < 0xF0 ? 3 : 4;

    // The second byte's range excludes overlong forms, surrogates and what lies beyond U+10FFFF.
    uint8_t low = 0x80, high = 0xBF;
    if (byte[0] == 0xE0) low = 0xA0;
    if (byte[0] == 0xED) high = 0x9F;
    if (byte[0] == 0xF0) low = 0x90;
    if (byte[0] == 0xF4) high = 0x8F;
    for (size_t i = 1; i < length; i++) {
        *cut = byte[i] == '\0';
        if (byte[i] < low || byte[i] > high) return 0;
        low = 0x80;
        high = 0xBF;
    }
    return length;
}

void make_whole_utf8(char *text) {
    while (*text != '\0') {
        bool cut;
        const size_t length = sequence_length(text, &cut);
        if (length == 0 && cut) {
            *text = '\0';
            return;
        }
        if (length == 0) *text = '?';
        text += length == 0 ? 1 : length;
    }
}

void set_label_text(lv_obj_t *label, const char *text) {
    if (label == nullptr) return;
    char shown[256];
    snprintf(shown, sizeof shown, "%s", text);
    make_whole_utf8(shown);
    if (strcmp(lv_label_get_text(label), shown) != 0) lv_label_set_text(label, shown);
}

void set_aligned_text(lv_obj_t *label, const char *text, lv_align_t align, lv_coord_t x, lv_coord_t y) {
    if (label == nullptr) return;
    set_label_text(label, text);
    lv_obj_align(label, nullptr, align, x, y);
}
