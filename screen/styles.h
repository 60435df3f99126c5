// Style recipes that more than one screen area uses. Styles live as long as the process: LVGL keeps pointers.
#pragma once

#include "lvgl.h"

/// A black box without border or rounding: the ground of every row and box of both screens.
void style_set_black_box(lv_style_t *style);

/// White `font` text on the style's ground.
void style_set_text(lv_style_t *style, const lv_font_t *font);
