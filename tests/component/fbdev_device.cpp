// The framebuffer device that is not there.
// The __wrap_ functions stand in for the C library's through the linker's --wrap, see tests/CMakeLists.txt.
#include "fbdev_device.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

FakeDevice device;
static int device_fd = -2; ///< no file's, and not the -1 of anonymous memory

static int failed(int error) {
    errno = error;
    return -1;
}

static int open_device(int flags) {
    device.calls.push_back((flags & O_ACCMODE) == O_RDWR ? "open rw" : "open otherwise");
    if (device.open_error != 0) return failed(device.open_error);
    device_fd = dup(STDERR_FILENO);
    return device_fd;
}

extern "C" int __real_open(const char *path, int flags, ...);
extern "C" int __real_open64(const char *path, int flags, ...);
extern "C" int __wrap_open(const char *path, int flags, ...);
extern "C" int __wrap_open64(const char *path, int flags, ...);

static mode_t mode_argument(int flags, va_list arguments) {
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

extern "C" int __wrap_open(const char *path, int flags, ...) {
    if (device.present && strcmp(path, "/dev/fb0") == 0) return open_device(flags);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    return __real_open(path, flags, mode);
}

extern "C" int __wrap_open64(const char *path, int flags, ...) {
    if (device.present && strcmp(path, "/dev/fb0") == 0) return open_device(flags);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    return __real_open64(path, flags, mode);
}

static int tell_fixed(fb_fix_screeninfo *fixed) {
    device.calls.push_back("fixed");
    if (device.fixed_error != 0) return failed(device.fixed_error);
    *fixed = {};
    fixed->line_length = device.line_length;
    fixed->smem_len = device.line_length * device.yres;
    return 0;
}

static int tell_variable(fb_var_screeninfo *variable) {
    device.calls.push_back("variable");
    if (device.variable_error != 0) return failed(device.variable_error);
    *variable = {};
    variable->xres = variable->xres_virtual = device.xres;
    variable->yres = variable->yres_virtual = device.yres;
    variable->xoffset = device.xoffset;
    variable->yoffset = device.yoffset;
    variable->bits_per_pixel = device.bits;
    return 0;
}

extern "C" int __real_ioctl(int fd, unsigned long request, ...);
extern "C" int __wrap_ioctl(int fd, unsigned long request, ...);
extern "C" int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (device.present && request == FBIOGET_FSCREENINFO && fd == device_fd) {
        return tell_fixed(static_cast<fb_fix_screeninfo *>(argument));
    }
    if (device.present && request == FBIOGET_VSCREENINFO && fd == device_fd) {
        return tell_variable(static_cast<fb_var_screeninfo *>(argument));
    }
    return __real_ioctl(fd, request, argument);
}

static void *map_device(size_t length, int protection, int flags, long long offset) {
    std::string call = "map " + std::to_string(length);
    if (protection == (PROT_READ | PROT_WRITE)) call += " rw";
    if (flags == MAP_SHARED) call += " shared";
    device.calls.push_back(call + " at " + std::to_string(offset));
    if (device.map_error == 0) return device.memory;
    errno = device.map_error;
    return MAP_FAILED;
}

extern "C" void *__real_mmap(void *at, size_t length, int protection, int flags, int fd, long offset);
extern "C" void *__real_mmap64(void *at, size_t length, int protection, int flags, int fd, off64_t offset);
extern "C" void *__wrap_mmap(void *at, size_t length, int protection, int flags, int fd, long offset);
extern "C" void *__wrap_mmap64(void *at, size_t length, int protection, int flags, int fd, off64_t offset);

extern "C" void *__wrap_mmap(void *at, size_t length, int protection, int flags, int fd, long offset) {
    if (device.present && fd == device_fd) return map_device(length, protection, flags, offset);
    return __real_mmap(at, length, protection, flags, fd, offset);
}

extern "C" void *__wrap_mmap64(void *at, size_t length, int protection, int flags, int fd, off64_t offset) {
    if (device.present && fd == device_fd) return map_device(length, protection, flags, offset);
    return __real_mmap64(at, length, protection, flags, fd, offset);
}

uint8_t *guarded(size_t size, bool at_the_end) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t whole = (size + page - 1) / page * page;
    void *block = mmap(nullptr, whole + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    uint8_t *usable = static_cast<uint8_t *>(block) + page;
    if (block == MAP_FAILED || mprotect(usable, whole, PROT_READ | PROT_WRITE) != 0) abort();
    return at_the_end ? usable + whole - size : usable;
}
