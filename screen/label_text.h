// Texts on their way into LVGL labels: cut to whole UTF-8, and set only when they changed.
#pragma once

#include "lvgl.h"

/// Makes `text` safe for LVGL in place: a sequence cut off at the end is dropped, every other byte that is
/// not valid UTF-8 becomes '?'. LVGL 6 reads past the end of a text that stops inside a sequence.
void make_whole_utf8(char *text);

/// Sets the label's text if it differs from the one it has. LVGL frees, allocates and redraws even for the
/// same text. The text is made whole UTF-8 and cut to 255 bytes on the way: more than the panel can show
/// of any line, and little enough for LVGL's memory pool. A NULL label is left alone.
void set_label_text(lv_obj_t *label, const char *text);

/// `set_label_text` and then `lv_obj_align` within the parent. A NULL label is left alone.
void set_aligned_text(lv_obj_t *label, const char *text, lv_align_t align, lv_coord_t x, lv_coord_t y);
