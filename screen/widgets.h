// What the screens are put together from: style recipes, containers, labels, and texts on their way into labels, which
// are cut to whole UTF-8 and set only when they changed.
#pragma once

#include "lvgl.h"

// ---- Styles. They live as long as the process: LVGL keeps pointers.

/// Black ground without border or rounding: that of every row and area of both screens.
void style_set_black_ground(lv_style_t *style);

/// White `font` text on the style's ground.
void style_set_text(lv_style_t *style, const lv_font_t *font);

// ---- Widgets

/// A plain container on the active screen. `style` must live as long as the container.
lv_obj_t *create_container(lv_coord_t x, lv_coord_t y, lv_coord_t width, lv_coord_t height, const lv_style_t *style);

/// A label in `parent`, aligned within it. A NULL text leaves what LVGL gives a new label.
lv_obj_t *create_label(lv_obj_t *parent, lv_style_t *style, const char *text, lv_align_t align, lv_coord_t x = 0,
                       lv_coord_t y = 0);

/// A picture in `parent`, aligned within it. A NULL source shows nothing; LVGL would draw a white "No data" block.
lv_obj_t *create_image(lv_obj_t *parent, lv_style_t *style, const lv_img_dsc_t *source, lv_align_t align, lv_coord_t x,
                       lv_coord_t y);

// ---- Texts

/// Makes `text` safe for LVGL in place: a sequence cut off at the end is dropped, every other byte that is
/// not valid UTF-8 becomes '?'. LVGL 6 reads past the end of a text that stops inside a sequence.
void make_whole_utf8(char *text);

/// Sets the label's text if it differs from the one it has. LVGL frees, allocates and redraws even for the
/// same text. The text is made whole UTF-8 and cut to 255 bytes on the way: more than the panel can show
/// of any line, and little enough for LVGL's memory pool. A NULL label is left alone.
void set_label_text(lv_obj_t *label, const char *text);

/// `set_label_text` and then `lv_obj_align` within the parent. A NULL label is left alone.
void set_aligned_text(lv_obj_t *label, const char *text, lv_align_t align, lv_coord_t x, lv_coord_t y);
