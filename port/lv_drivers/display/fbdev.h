/* Linux framebuffer driver for LVGL 6, under lv_drivers' own file and function names: a checkout of
 * lv_drivers 6.0 can take this folder's place (-DLV_DRIVERS_DIR). */
#ifndef FBDEV_H
#define FBDEV_H

#ifdef __cplusplus
extern "C" {
#endif

#include "lvgl.h"

/* Opens FBDEV_PATH, reads its geometry, prints it and maps the framebuffer. On any failure it says which
 * call failed (perror) and returns: the display then runs without a panel. */
void fbdev_init(void);

/* LVGL's flush callback: copies the pixels of `area` into the framebuffer, clipped to the device, and
 * acknowledges with lv_disp_flush_ready, also when there is nothing to copy or nowhere to copy it to. */
void fbdev_flush(lv_disp_drv_t *drv, const lv_area_t *area, lv_color_t *color_p);

#ifdef __cplusplus
}
#endif

#endif
