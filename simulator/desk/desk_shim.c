/* Preloaded into the daemon at the desk: makes a plain file /dev/fb0 answer like a framebuffer, drives time.
 *
 *   DESK_PANEL=64x128x1           xres x yres x bits per pixel
 *   DESK_PANEL_LINE_LENGTH=16     bytes a row, when not as few as hold it
 *   DESK_PANEL_OFFSET=0x0         xoffset x yoffset
 *   DESK_PANEL_FAIL=fix|var|mmap  makes that call on the panel fail
 *   DESK_CLOCK=FILE               the shared clock (desk_clock.h); without it time is left alone
 *   DESK_TARGET=NAME              act only in a program of that name, so that a wrapper (valgrind's shell
 *                                 script, an emulator) hands everything on
 *
 * The constructor takes these and LD_PRELOAD out of the environment: shells that the daemon starts run
 * plainly. System calls are made directly, because the sanitizers' own wrappers may lie behind the names that
 * are taken here. */
#define _GNU_SOURCE
#undef _FILE_OFFSET_BITS /* mmap and mmap64 are both defined here, each under its own name */
#include <errno.h>
#include <fcntl.h>
#include <linux/fb.h>
#include <linux/futex.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "simulator/desk/desk_clock.h"

static struct {
    int present;
    unsigned xres, yres, depth, line_length, xoffset, yoffset;
    char failing[8];
} panel;

static struct desk_clock *shared;
static int64_t last_real_us;

/* ---- start ---- */

static void *map(void *address, size_t length, int protection, int flags, int fd, int64_t offset) {
#ifdef SYS_mmap2
    const long result = syscall(SYS_mmap2, address, length, protection, flags, fd, (long)(offset >> 12));
#else
    const long result = syscall(SYS_mmap, address, length, protection, flags, fd, (long)offset);
#endif
    return (void *)result; /* -1 is MAP_FAILED */
}

static void read_panel(void) {
    const char *geometry = getenv("DESK_PANEL");
    if (!geometry || sscanf(geometry, "%ux%ux%u", &panel.xres, &panel.yres, &panel.depth) != 3) return;
    panel.present = 1;
    panel.line_length = (panel.xres * panel.depth + 7) / 8;
    const char *line_length = getenv("DESK_PANEL_LINE_LENGTH");
    if (line_length) panel.line_length = (unsigned)strtoul(line_length, NULL, 10);
    const char *offset = getenv("DESK_PANEL_OFFSET");
    if (offset) (void)!sscanf(offset, "%ux%u", &panel.xoffset, &panel.yoffset);
    const char *failing = getenv("DESK_PANEL_FAIL");
    if (failing) snprintf(panel.failing, sizeof(panel.failing), "%s", failing);
}

static void read_clock(void) {
    const char *path = getenv("DESK_CLOCK");
    if (!path) return;
    const int fd = open(path, O_RDWR | O_CLOEXEC);
    if (fd < 0) return;
    void *place = map(NULL, sizeof(*shared), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (place == MAP_FAILED) return;
    shared = place;
    if (shared->magic != DESK_CLOCK_MAGIC) shared = NULL;
}

__attribute__((constructor)) static void begin(void) {
    const char *target = getenv("DESK_TARGET");
    if (target && strcmp(target, program_invocation_short_name) != 0) return;
    read_panel();
    read_clock();
    static const char *const ours[] = {"LD_PRELOAD",        "DESK_PANEL",      "DESK_PANEL_LINE_LENGTH",
                                       "DESK_PANEL_OFFSET", "DESK_PANEL_FAIL", "DESK_CLOCK",
                                       "DESK_TARGET"};
    for (size_t i = 0; i < sizeof(ours) / sizeof(ours[0]); i++) unsetenv(ours[i]);
}

/* ---- the panel ---- */

static void fixed_information(struct fb_fix_screeninfo *fixed) {
    memset(fixed, 0, sizeof(*fixed));
    memcpy(fixed->id, "desk", 5);
    fixed->smem_len = panel.line_length * panel.yres;
    fixed->type = FB_TYPE_PACKED_PIXELS;
    fixed->visual = panel.depth == 1 ? FB_VISUAL_MONO10 : FB_VISUAL_TRUECOLOR;
    fixed->line_length = panel.line_length;
}

static void variable_information(struct fb_var_screeninfo *variable) {
    memset(variable, 0, sizeof(*variable));
    variable->xres = panel.xres;
    variable->yres = panel.yres;
    variable->xres_virtual = panel.xres + panel.xoffset;
    variable->yres_virtual = panel.yres + panel.yoffset;
    variable->xoffset = panel.xoffset;
    variable->yoffset = panel.yoffset;
    variable->bits_per_pixel = panel.depth;
}

/* The path is opened and not asked by name: on 32 bits that would be statx, which proot hands on untranslated. */
static int is_panel(int fd) {
    struct stat64 device, file;
    if (!panel.present || fstat64(fd, &file) != 0 || !S_ISREG(file.st_mode)) return 0;
    const int place = open("/dev/fb0", O_PATH | O_CLOEXEC);
    if (place < 0) return 0;
    const int known = fstat64(place, &device) == 0;
    close(place);
    return known && device.st_dev == file.st_dev && device.st_ino == file.st_ino;
}

static int answer(unsigned long request, void *argument) {
    const int fixed = request == FBIOGET_FSCREENINFO;
    if (strcmp(panel.failing, fixed ? "fix" : "var") == 0) {
        errno = fixed ? EIO : EINVAL;
        return -1;
    }
    if (fixed) {
        fixed_information(argument);
    } else {
        variable_information(argument);
    }
    return 0;
}

int ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    const int result = (int)syscall(SYS_ioctl, fd, request, argument);
    if (result != -1 || errno != ENOTTY) return result;
    if (request != FBIOGET_FSCREENINFO && request != FBIOGET_VSCREENINFO) return result;
    if (!is_panel(fd)) {
        errno = ENOTTY;
        return -1;
    }
    return answer(request, argument);
}

static void *map_unless_failing(void *address, size_t length, int protection, int flags, int fd, int64_t offset) {
    if (fd >= 0 && strcmp(panel.failing, "mmap") == 0 && is_panel(fd)) {
        errno = EINVAL;
        return MAP_FAILED;
    }
    return map(address, length, protection, flags, fd, offset);
}

void *mmap64(void *address, size_t length, int protection, int flags, int fd, __off64_t offset) {
    return map_unless_failing(address, length, protection, flags, fd, offset);
}

void *mmap(void *address, size_t length, int protection, int flags, int fd, __off_t offset) {
    return map_unless_failing(address, length, protection, flags, fd, offset);
}

/* ---- time ---- */

static int64_t real_us(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

static void sleep_real(int64_t us) {
    struct timespec rest = {(time_t)(us / 1000000), (long)(us % 1000000) * 1000};
    while (nanosleep(&rest, &rest) == -1 && errno == EINTR) {
    }
}

#define load(field) __atomic_load_n(&shared->field, __ATOMIC_SEQ_CST)
#define store(field, value) __atomic_store_n(&shared->field, (value), __ATOMIC_SEQ_CST)

/* Scaled time moves with each look at it, from the first one of that mode on; stepped time only in usleep. LVGL asks
 * some ten times a pass, so the real clock is not read for nothing. */
static int64_t look_at_clock(void) {
    const int64_t before = load(now_us);
    if (load(mode) == DESK_CLOCK_STEPPED) {
        last_real_us = 0;
        return before;
    }
    const int64_t real = real_us();
    const int64_t elapsed = last_real_us ? real - last_real_us : 0;
    last_real_us = real;
    const int64_t now = before + elapsed * load(speed_thousandths) / 1000;
    store(now_us, now);
    return now;
}

/* ---- looks at the panel ---- */

static const unsigned char *panel_in_sight; /* a mapping of our own; NULL: not tried yet, or there is none */
static unsigned char panel_seen[DESK_LOOK_BYTES];
static int64_t next_look_us;

/* Where the daemon stands still the desk looks itself, so from there on a change is one from that. */
static void begin_looks(void) {
    const int64_t every = load(look_us);
    if (every <= 0) return;
    if (!panel_in_sight) {
        const int fd = open("/dev/fb0", O_RDONLY | O_CLOEXEC);
        void *place = fd < 0 ? MAP_FAILED : map(NULL, shared->panel_bytes, PROT_READ, MAP_SHARED, fd, 0);
        if (fd >= 0) close(fd);
        if (place == MAP_FAILED) return;
        panel_in_sight = place;
    }
    memcpy(panel_seen, panel_in_sight, shared->panel_bytes);
    next_look_us = load(now_us) + every;
}

/* The daemon sleeps until then: what it has drawn is what the panel shows at each moment before. */
static void look_at_panel(int64_t until) {
    const int64_t every = load(look_us);
    if (every <= 0 || !panel_in_sight) return;
    for (; next_look_us < until; next_look_us += every) {
        const uint32_t kept = load(looks_kept);
        if (kept >= DESK_MOST_LOOKS || memcmp(panel_seen, panel_in_sight, shared->panel_bytes) == 0) continue;
        memcpy(panel_seen, panel_in_sight, shared->panel_bytes);
        memcpy(shared->looks[kept].panel, panel_seen, shared->panel_bytes);
        shared->looks[kept].at_us = next_look_us;
        store(looks_kept, kept + 1);
    }
}

/* ---- passing it ---- */

static void wait_for_change(uint32_t seen) {
    syscall(SYS_futex, &shared->changes, FUTEX_WAIT, seen, NULL, NULL, 0);
    last_real_us = real_us(); /* what passed meanwhile counts in no mode */
}

/* One try to let `until` come; 1 when it is there. */
static int pass_time(int64_t until) {
    const uint32_t seen = load(changes);
    const int64_t now = look_at_clock();
    if (now >= until) return 1;
    if (load(mode) == DESK_CLOCK_STEPPED) {
        const int64_t limit = load(limit_us);
        if (until <= limit) {
            look_at_panel(until);
            store(now_us, until);
            return 1;
        }
        store(stands_at_us, limit);
        wait_for_change(seen);
        begin_looks();
        return 0;
    }
    const int64_t speed = load(speed_thousandths);
    if (speed <= 0) {
        wait_for_change(seen);
        return 0;
    }
    const int64_t rest = (until - now) * 1000 / speed;
    sleep_real(rest < 1 ? 1 : rest > 100000 ? 100000 : rest);
    return 0;
}

int usleep(useconds_t us) {
    if (!shared) {
        sleep_real(us);
        return 0;
    }
    __atomic_add_fetch(&shared->passes, 1, __ATOMIC_SEQ_CST);
    const int64_t until = look_at_clock() + (int64_t)us;
    while (!pass_time(until)) {
    }
    return 0;
}

static int64_t wall_clock_us(void) {
    if (shared) return load(origin_us) + look_at_clock();
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return (int64_t)now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

int gettimeofday(struct timeval *restrict now, void *restrict zone) {
    (void)zone;
    const int64_t us = wall_clock_us();
    now->tv_sec = (time_t)(us / 1000000);
    now->tv_usec = (suseconds_t)(us % 1000000);
    return 0;
}

#if __SIZEOF_LONG__ == 4
/* What the names above become on 32 bits in programs that are built with 64-bit time. */
struct wide_timeval {
    int64_t seconds, microseconds;
};
int __gettimeofday64(struct wide_timeval *now, void *zone);
int __gettimeofday64(struct wide_timeval *now, void *zone) {
    (void)zone;
    const int64_t us = wall_clock_us();
    now->seconds = us / 1000000;
    now->microseconds = us % 1000000;
    return 0;
}
int __ioctl_time64(int fd, unsigned long request, void *argument);
int __ioctl_time64(int fd, unsigned long request, void *argument) { return ioctl(fd, request, argument); }
#endif
