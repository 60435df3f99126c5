// What LVGL is told of the panel, and the size of its pool.
#include "port/display_port.h"

#include <display/fbdev.h>
#include <stdlib.h>

#include "fbdev_device.h"
#include "support.h"

// The display that is flushed to the framebuffer; the tests' own is registered beside it.
static lv_disp_t *framebuffer_display() {
    for (lv_disp_t *display = lv_disp_get_next(nullptr); display != nullptr; display = lv_disp_get_next(display)) {
        if (display->driver.flush_cb == fbdev_flush) return display;
    }
    return nullptr;
}

static std::string describe(const lv_disp_t *display) {
    if (display == nullptr) return "none";
    const lv_disp_buf_t &buffer = *display->driver.buffer;
    std::string text = std::to_string(display->driver.hor_res) + "x" + std::to_string(display->driver.ver_res);
    text += ", " + std::to_string(buffer.size) + " pixels";
    if (buffer.buf1 == nullptr || buffer.buf2 == nullptr || buffer.buf1 == buffer.buf2) text += ", not two buffers";
    const ptrdiff_t apart = static_cast<char *>(buffer.buf1) - static_cast<char *>(buffer.buf2);
    if (labs(apart) < 1310720) text += ", too close";
    if (!display->driver.antialiasing) text += ", no antialiasing";
    const lv_disp_drv_t &driver = display->driver;
    if (driver.set_px_cb || driver.rounder_cb || driver.monitor_cb) text += ", more callbacks";
    return text;
}

TEST(DisplayPort, RegistersThePanelWithTwoBuffers) {
    const ChildOutcome outcome = in_child([] {
        device.present = true;
        device.memory = guarded(1024, true);
        display_port_init();
        return describe(framebuffer_display());
    });
    EXPECT_TRUE(outcome.survived) << outcome.err;
    EXPECT_EQ(outcome.report, "64x128, 131072 pixels");
}

TEST(DisplayPort, PoolIsOfThirtyTwoKilobytes) {
#if LV_MEM_CUSTOM
    GTEST_SKIP() << "LVGL's objects lie on the heap in sanitized builds";
#else
    lv_mem_monitor_t pool;
    lv_mem_monitor(&pool);
    EXPECT_EQ(pool.total_size, 32768u);
#endif
}
