// The top row: through which channel the box is reached.
#pragma once

#include <stdint.h>

#include "lvgl.h"

/// Rebuilds the row when what it should show has changed. `force` (0 or 1) shows the Wi-Fi station even if
/// its quality did not move. Returns 1 when the row was rebuilt, else 0; always 0 on the production screen.
uint32_t connectivity_line(uint32_t force);

/// LVGL task, every 2000 ms: asks the Wi-Fi probes when no other channel is active, then updates the row.
void connectivity_refresh(lv_task_t *task);
