// The normal screen: connectivity row on top, measurement area, mode row at the bottom, two rules.
#pragma once

/// Builds the status screen on the active screen and creates its LVGL tasks. Called once, at start-up.
void status_screen_create();
