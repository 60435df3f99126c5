// The program's own 1-bit fonts. Their source is the glyph sheets in screen/art; the build makes LVGL's form.
// The descriptors are writable because LVGL remembers the last letter looked up in them.
#pragma once

#include "lvgl.h"

extern "C" {
extern lv_font_t font_16;  ///< line height 16, base line 4
extern lv_font_t font_32;  ///< font_16 at double size: line height 32, base line 8
extern lv_font_t font_8;   ///< line height 8, base line 2; for the firmware type
}
