/* Preloaded into the daemon, before the desk's own shim: makes chosen calls fail, as struct fault_control says.
 *
 *   FAULT_CONTROL=FILE   the mapped struct
 *   FAULT_TARGET=NAME    act only in a program of that name
 *
 * What can be had for real is not made here: missing files, folders, pipes, tools and limits are. Left are the answers
 * of a driver, and files that change between two calls of the daemon. */
#define _GNU_SOURCE
#undef _FILE_OFFSET_BITS /* the calls with and without 64 are both defined here */
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/prove/fault_control.h"

static struct fault_control *control;

/* The descriptor that the struck file was opened as; it counts until the next opening. */
static int struck_fd = -1;
static int interruptions;

#define load(field) __atomic_load_n(&control->field, __ATOMIC_SEQ_CST)

/* Fills next_NAME with the next library's function of that name. */
#define FIND_NEXT(name) \
    if (!next_##name) *(void **)&next_##name = dlsym(RTLD_NEXT, #name)

static void map_control(const char *path) {
    const int fd = (int)syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC);
    if (fd < 0) return;
#ifdef SYS_mmap2
    const long place = syscall(SYS_mmap2, NULL, sizeof(*control), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0L);
#else
    const long place = syscall(SYS_mmap, NULL, sizeof(*control), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0L);
#endif
    syscall(SYS_close, fd);
    if (place == -1) return;
    struct fault_control *found = (struct fault_control *)place;
    if (found->magic == FAULT_CONTROL_MAGIC) control = found;
}

__attribute__((constructor)) static void begin(void) {
    const char *target = getenv("FAULT_TARGET");
    const char *path = getenv("FAULT_CONTROL");
    if (!path || !target || strcmp(target, program_invocation_short_name) != 0) return;
    map_control(path);
    unsetenv("FAULT_CONTROL");
    unsetenv("FAULT_TARGET");
}

/* ---- the framebuffer ---- */

typedef int (*ioctl_function)(int, unsigned long, ...);
static ioctl_function next_ioctl;

int ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    int32_t error = 0;
    if (control && request == FBIOGET_FSCREENINFO) error = load(fixed_error);
    if (control && request == FBIOGET_VSCREENINFO) error = load(variable_error);
    if (error != 0) {
        errno = error;
        return -1;
    }
    FIND_NEXT(ioctl);
    return next_ioctl(fd, request, argument);
}

/* Nothing but the framebuffer is mapped shared by the daemon itself. */
static int map_fails(int flags, int fd) {
    if (!control || fd < 0 || !(flags & MAP_SHARED) || load(map_error) == 0) return 0;
    errno = load(map_error);
    return 1;
}

typedef void *(*mmap_function)(void *, size_t, int, int, int, __off_t);
static mmap_function next_mmap;

void *mmap(void *address, size_t length, int protection, int flags, int fd, __off_t offset) {
    if (map_fails(flags, fd)) return MAP_FAILED;
    FIND_NEXT(mmap);
    return next_mmap(address, length, protection, flags, fd, offset);
}

typedef void *(*mmap64_function)(void *, size_t, int, int, int, __off64_t);
static mmap64_function next_mmap64;

void *mmap64(void *address, size_t length, int protection, int flags, int fd, __off64_t offset) {
    if (map_fails(flags, fd)) return MAP_FAILED;
    FIND_NEXT(mmap64);
    return next_mmap64(address, length, protection, flags, fd, offset);
}

/* ---- files ---- */

/* What happens to this file now; FAULT_NONE for any other one. */
static uint32_t fault_of(const char *path) {
    if (!control || load(at_open) == FAULT_NONE || strcmp(path, control->path) != 0) return FAULT_NONE;
    if (load(spared) > 0) {
        __atomic_sub_fetch(&control->spared, 1, __ATOMIC_SEQ_CST);
        return FAULT_NONE;
    }
    __atomic_add_fetch(&control->struck, 1, __ATOMIC_SEQ_CST);
    return load(at_open);
}

static void strike(uint32_t fault, const char *path, int fd) {
    struck_fd = -1;
    if (fd < 0) return;
    if (fault == FAULT_EMPTY_AFTER_OPEN) (void)!truncate(path, 0);
    if (fault == FAULT_EMPTY_AFTER_OPEN || fault == FAULT_REMOVED_AFTER_OPEN) unlink(path);
    if (fault == FAULT_READ_FAILS || fault == FAULT_READ_INTERRUPTED) struck_fd = fd;
    interruptions = 3;
}

typedef int (*open_function)(const char *, int, ...);

static int open_struck(open_function next, const char *path, int flags, mode_t mode) {
    const uint32_t fault = fault_of(path);
    if (fault == FAULT_GONE_BEFORE_OPEN) unlink(path);
    const int fd = next(path, flags, mode);
    const int error = errno;
    if (fault != FAULT_NONE || fd == struck_fd) strike(fault, path, fd);
    errno = error;
    return fd;
}

/* The mode is there only when a file may be made; otherwise nobody reads what is taken for it. */
#define DEFINE_OPEN(name)                                                    \
    static open_function next_##name;                                        \
    int name(const char *path, int flags, ...) {                             \
        va_list arguments;                                                   \
        va_start(arguments, flags);                                          \
        const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0; \
        va_end(arguments);                                                   \
        FIND_NEXT(name);                                                     \
        return open_struck(next_##name, path, flags, mode);                  \
    }

DEFINE_OPEN(open)
DEFINE_OPEN(open64)

typedef ssize_t (*read_function)(int, void *, size_t);
static read_function next_read;

ssize_t read(int fd, void *buffer, size_t size) {
    FIND_NEXT(read);
    if (!control || fd != struck_fd || fd < 0) return next_read(fd, buffer, size);
    if (load(at_open) == FAULT_READ_FAILS) {
        errno = load(read_error);
        return -1;
    }
    if (interruptions-- > 0) {
        errno = EINTR;
        return -1;
    }
    return next_read(fd, buffer, size < 1 ? size : 1);
}
