// Brings LVGL up on the framebuffer.
#pragma once

/// Initialises LVGL, opens "/dev/fb0" and registers the display. Must run before anything else of LVGL.
/// A missing or failing framebuffer is reported by the driver and otherwise ignored: LVGL runs all the same.
void display_port_init();
