// The moving icon that shows that the display is alive. A flag file chooses its pictures.
#pragma once

#include "lvgl.h"

/// LVGL task, every 100 ms: moves the activity icon through its frames, 1, 2, 3, 2, in six seconds. The frames are
/// those of the alternative set while FLAG_ACTIVITY_ALT exists.
void activity_icon_task(lv_task_t *task);
