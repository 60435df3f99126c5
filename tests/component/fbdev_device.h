// A framebuffer device made of memory: the driver's open, ioctl and mmap of "/dev/fb0" end here.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

struct FakeDevice {
    bool present = false; ///< calls are answered here instead of by the system
    uint32_t xres = 64, yres = 128, bits = 1, line_length = 8, xoffset = 0, yoffset = 0;
    int open_error = 0, fixed_error = 0, variable_error = 0,
        map_error = 0; ///< errno of the call, 0: it works

    uint8_t *memory = nullptr;      ///< what mmap hands out
    std::vector<std::string> calls; ///< what the driver asked for, in order
};

/// The one device. Tests change it in a child process of their own, see in_child().
extern FakeDevice device;

/// Memory for a device between two untouchable pages, close to the first or to the second one.
uint8_t *guarded(size_t size, bool at_the_end);
