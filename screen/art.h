// The program's own 1-bit fonts and pictures. Their source is the sheets in screen/art; the build makes LVGL's form.
//
// The font descriptors are writable because LVGL remembers the last letter looked up in them. Of a picture
// (LV_IMG_CF_INDEXED_1BIT) LVGL leaves out entry 1 of the palette (it is the transparent colour at this depth) and
// paints entry 0 white, so a picture's clear bits are what lights up on the panel.
#pragma once

#include "lvgl.h"

extern "C" {
extern lv_font_t font_16; ///< line height 16, base line 4
extern lv_font_t font_32; ///< font_16 at double size: line height 32, base line 8
extern lv_font_t font_8;  ///< line height 8, base line 2; for the firmware type

extern const lv_img_dsc_t img_activity_1, img_activity_2, img_activity_3;             ///< normal frames
extern const lv_img_dsc_t img_activity_alt_1, img_activity_alt_2, img_activity_alt_3; ///< while "/tmp/bada" exists
extern const lv_img_dsc_t img_supply_1; ///< voltage comes from the supply input
extern const lv_img_dsc_t img_jack;     ///< voltage comes from the vehicle jack

extern const lv_img_dsc_t icon_bt, icon_usb, icon_wifi, icon_hotspot;
extern const lv_img_dsc_t icon_signal_1, icon_signal_2, icon_signal_3, icon_signal_4; ///< weak to strong

extern const lv_img_dsc_t icon_reboot, icon_error, icon_ignition; ///< overlays, 22 x 22
}
