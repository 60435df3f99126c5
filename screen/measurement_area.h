// The measurement area of the status screen: the supply voltage with its extremes or, on a service unit, the raw Wi-Fi
// readings in its place.
#pragma once

#include "lvgl.h"

/// What the area is drawn with. The styles must live as long as the process: LVGL keeps pointers.
struct AreaStyles {
    lv_style_t *area;
    lv_style_t *text;
    lv_style_t *large_text;
};

/// Builds the area on the active screen and creates its LVGL task. The existence of FLAG_WIFI_DEBUG decides between the
/// voltage meter and the Wi-Fi debug panel. Called once, at start-up.
void measurement_area_create(const AreaStyles &styles);

/// LVGL task, every 500 ms: measures and shows the voltage, its minimum and maximum, and where it comes from.
/// Without labels (production screen) it only measures.
void voltage_task(lv_task_t *task);

/// LVGL task, every 500 ms, only with the debug panel: shows the tools' raw signal and noise lines.
void wifi_debug_task(lv_task_t *task);
