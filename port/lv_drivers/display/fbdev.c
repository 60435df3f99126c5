/* Linux framebuffer driver for LVGL 6; see fbdev.h.
 *
 * Only one bit per pixel gives a right picture with LV_COLOR_DEPTH 1. On deeper devices a row is copied as
 * one block, as if our one-byte pixels were as wide as the device's. */
#include "fbdev.h"

#include <fcntl.h>
#include <linux/fb.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>

static int fb_fd = -1; /* stays open as long as the mapping, which is for good */
static struct fb_fix_screeninfo fix_info;
static struct fb_var_screeninfo var_info;
static uint8_t *fb_map; /* NULL until the framebuffer is mapped */
static size_t fb_size;

/* Standard output may be a pipe, and these lines are for whoever watches the start. */
static void say(const char *text) {
    puts(text);
    fflush(stdout);
}

void fbdev_init(void) {
    fb_map = NULL;
    fb_fd = open(FBDEV_PATH, O_RDWR | O_CLOEXEC);
    if (fb_fd == -1) {
        perror("Error: cannot open framebuffer device");
        return;
    }
    say("The framebuffer device was opened successfully.");

    if (ioctl(fb_fd, FBIOGET_FSCREENINFO, &fix_info) == -1) {
        perror("Error reading fixed information");
        return;
    }
    if (ioctl(fb_fd, FBIOGET_VSCREENINFO, &var_info) == -1) {
        perror("Error reading variable information");
        return;
    }
    printf("%dx%d, %dbpp\n", (int)var_info.xres, (int)var_info.yres, (int)var_info.bits_per_pixel);
    fflush(stdout);

    fb_size = (size_t)fix_info.line_length * var_info.yres;
    void *map = mmap(NULL, fb_size, PROT_READ | PROT_WRITE, MAP_SHARED, fb_fd, 0);
    if (map == MAP_FAILED) {
        perror("Error: failed to map framebuffer device to memory");
        return;
    }
    fb_map = map;
    say("The framebuffer device was mapped to memory successfully.");
}

/* The three offsets below are computed in 64 bits and checked against the mapping: the kernel's offsets may
 * point behind it. */

/* Whole pixels before the row, counted in the order of the formula: the bytes of the lines above it are divided
 * once, not each line. With 24 bits, counted as 4 bytes a pixel, the last rows end behind the mapping. */
static void copy_row(uint64_t x, uint64_t y, const lv_color_t *row, size_t pixels, size_t pixel_bytes) {
    const uint64_t index = x + var_info.xoffset + (y + var_info.yoffset) * fix_info.line_length / pixel_bytes;
    const uint64_t offset = index * pixel_bytes;
    if (offset >= fb_size) return;
    const size_t length = pixels * pixel_bytes;
    const size_t room = fb_size - (size_t)offset;
    memcpy(fb_map + offset, row, length < room ? length : room);
}

static void copy_row_as_bits(uint64_t x, uint64_t y, const lv_color_t *row, size_t pixels) {
    for (size_t i = 0; i < pixels; i++) {
        const uint64_t index = x + i + var_info.xoffset + (y + var_info.yoffset) * var_info.xres;
        if (index / 8 >= fb_size) return;
        uint8_t *byte = fb_map + index / 8;
        const unsigned bit = index % 8;
        /* Only the low bit: a pixel made of other values must not spill into its neighbours. */
        *byte = (uint8_t)((*byte & ~(1u << bit)) | ((row[i].full & 1u) << bit));
    }
}

static void copy_area(const lv_area_t *area, const lv_color_t *color_p) {
    const int32_t x1 = area->x1 < 0 ? 0 : area->x1;
    const int32_t y1 = area->y1 < 0 ? 0 : area->y1;
    const int32_t x2 = (uint32_t)area->x2 >= var_info.xres ? (int32_t)var_info.xres - 1 : area->x2;
    const int32_t y2 = (uint32_t)area->y2 >= var_info.yres ? (int32_t)var_info.yres - 1 : area->y2;
    const size_t pixels = (size_t)(x2 - x1 + 1);
    const ptrdiff_t source_width = area->x2 - area->x1 + 1;

    for (int32_t y = y1; y <= y2; y++) {
        /* Columns and rows cut off on the left and at the top do not move the source. */
        const lv_color_t *row = color_p + (y - y1) * source_width;
        switch (var_info.bits_per_pixel) {
            case 32:
            case 24: copy_row((uint64_t)x1, (uint64_t)y, row, pixels, 4); break;
            case 16: copy_row((uint64_t)x1, (uint64_t)y, row, pixels, 2); break;
            case 8: copy_row((uint64_t)x1, (uint64_t)y, row, pixels, 1); break;
            case 1: copy_row_as_bits((uint64_t)x1, (uint64_t)y, row, pixels); break;
            default: return;
        }
    }
}

static bool is_on_device(const lv_area_t *area) {
    return area->x2 >= 0 && area->y2 >= 0 && area->x1 <= area->x2 && area->y1 <= area->y2 &&
           (area->x1 < 0 || (uint32_t)area->x1 < var_info.xres) && (area->y1 < 0 || (uint32_t)area->y1 < var_info.yres);
}

void fbdev_flush(lv_disp_drv_t *drv, const lv_area_t *area, lv_color_t *color_p) {
    if (fb_map != NULL && is_on_device(area)) copy_area(area, color_p);
    lv_disp_flush_ready(drv);
}
