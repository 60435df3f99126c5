// Wi-Fi station on "wlan0": is the link up, which network, how strong; and the raw readings for service.
// Each probe runs a shell pipeline and blocks until it ends.
#pragma once

#include <stdint.h>

#include "lvgl.h"

/// Returns 1 when the link is up and the tool that tells the network's name could be run; otherwise 0.
/// `wifi_ssid` then holds the last line it printed, or what it held before when it printed nothing. A link that is
/// down empties `wifi_ssid`; a file that cannot be opened, or a tool that cannot be run, leaves it as it was.
int wifi_link_probe();

/// Reads the signal strength and points `wifi_quality` at its percentage. Returns 0 without a reading,
/// else 1. A reading outside -1 to -1000 dBm leaves `wifi_quality` as it was.
int wifi_quality_probe();

/// LVGL task, every 500 ms, only with the debug panel: shows the tools' raw signal and noise lines.
void wifi_debug_task(lv_task_t *task);
