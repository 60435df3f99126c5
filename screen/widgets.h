// Widget recipes that more than one screen area uses.
#pragma once

#include "lvgl.h"

/// A plain box on the active screen. `style` must live as long as the box.
lv_obj_t *create_box(lv_coord_t x, lv_coord_t y, lv_coord_t width, lv_coord_t height, const lv_style_t *style);
