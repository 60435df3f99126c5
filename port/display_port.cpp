// Brings LVGL up on the framebuffer: draw buffers, driver registration.
#include "port/display_port.h"

#include <stdint.h>

#include "lvgl.h"

#include <display/fbdev.h>

// Far larger than the panel and than what LVGL is told: on a framebuffer that is not one bit deep the driver
// copies rows as if our one-byte pixels were up to four bytes wide, and so reads on behind the drawn area.
constexpr uint32_t BUFFER_PIXELS = 1310720;
constexpr uint32_t ANNOUNCED_PIXELS = 131072;

static lv_disp_buf_t disp_buf;
static lv_color_t buf1[BUFFER_PIXELS];
static lv_color_t buf2[BUFFER_PIXELS];

void display_port_init() {
    lv_init();
    fbdev_init();
    lv_disp_buf_init(&disp_buf, buf1, buf2, ANNOUNCED_PIXELS);

    lv_disp_drv_t disp_drv;
    lv_disp_drv_init(&disp_drv);
    disp_drv.buffer = &disp_buf;
    disp_drv.flush_cb = fbdev_flush;
    lv_disp_drv_register(&disp_drv);
}
