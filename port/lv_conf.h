/* How LVGL is built for the 64 x 128 one-bit panel. Only our own decisions stand here; every other setting
 * keeps the default that LVGL's configuration checker gives it, at the end of this file. */
#ifndef LV_CONF_H
#define LV_CONF_H

#include <stdint.h>

/* Portrait as the panel is mounted, although the layout is drawn for 128 x 66: a device shows the left part.
 * The build sets both to the layout's size for the desk's second view; see simulator/README.md. */
#ifndef LV_HOR_RES_MAX
#define LV_HOR_RES_MAX 64
#endif
#ifndef LV_VER_RES_MAX
#define LV_VER_RES_MAX 128
#endif

#define LV_COLOR_DEPTH 1
#define LV_ANTIALIAS 1
#define LV_DISP_DEF_REFR_PERIOD 10 /* ms */
#define LV_IMG_CACHE_DEF_SIZE 1

/* The pool holds the whole screen. Boxes that are never removed can fill it: then the assertion below ends
 * the process. Sanitizer builds set LV_MEM_CUSTOM, so that each object is a heap block of its own. */
#define LV_MEM_SIZE 32768
#ifndef LV_MEM_CUSTOM
#define LV_MEM_CUSTOM 0
#endif

/* Time comes from our own clock; nothing calls lv_tick_inc. */
#define LV_TICK_CUSTOM 1
#define LV_TICK_CUSTOM_INCLUDE "port/tick.h"
#define LV_TICK_CUSTOM_SYS_TIME_EXPR (custom_tick_get())

/* LVGL's own reaction to a failed assertion is an endless loop. */
#include "port/lvgl_assert.h"
#define LV_DEBUG_ASSERT(expr, msg, value)                 \
    do {                                                  \
        if (!(expr)) lvgl_assert_failed((msg), __func__); \
    } while (0)

typedef int16_t lv_coord_t;
typedef void *lv_obj_user_data_t;
typedef void *lv_disp_drv_user_data_t;
typedef void *lv_indev_drv_user_data_t;
typedef void *lv_anim_user_data_t;
typedef void *lv_group_user_data_t;
typedef void *lv_fs_drv_user_data_t;
typedef void *lv_img_decoder_user_data_t;
typedef void *lv_font_user_data_t;

#include "src/lv_conf_checker.h"

#endif
