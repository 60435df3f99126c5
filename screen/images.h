// The program's 1-bit pictures (LV_IMG_CF_INDEXED_1BIT). Their source is screen/art/images.txt.
//
// LVGL leaves out entry 1 of the palette (it is the transparent colour at this depth) and paints entry 0
// white, so a picture's clear bits are what lights up on the panel.
#pragma once

#include "lvgl.h"

extern "C" {
extern const lv_img_dsc_t img_activity_1, img_activity_2, img_activity_3;              ///< normal frames
extern const lv_img_dsc_t img_activity_alt_1, img_activity_alt_2, img_activity_alt_3;  ///< while "/tmp/bada" exists
extern const lv_img_dsc_t img_supply_1;  ///< voltage comes from the supply input
extern const lv_img_dsc_t img_jack;      ///< voltage comes from the vehicle jack

extern const lv_img_dsc_t icon_bt, icon_usb, icon_wifi, icon_hotspot;
extern const lv_img_dsc_t icon_signal_1, icon_signal_2, icon_signal_3, icon_signal_4;  ///< weak to strong

extern const lv_img_dsc_t icon_reboot, icon_error, icon_ignition;  ///< overlays, 22 x 22
}
