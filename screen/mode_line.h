// The mode word in the bottom row, made from the mode flags of DisplayState.
#pragma once

#include "lvgl.h"

/// LVGL task, every 500 ms: turns the mode flags into the text of `mode_label` and clears the flags that lose.
void mode_line_task(lv_task_t *task);
