/* The clock that the desk and the shim share: one mapped file. The desk writes mode, origin_us, limit_us and
 * speed; the shim, on the daemon's side, writes now_us, stands_at_us and passes. Both use atomic loads and
 * stores only. After each write the desk bumps `changes` and wakes whoever sleeps on it.
 * Wide fields come in pairs, so that the layout is the same on 32 and 64 bits. */
#ifndef DESK_CLOCK_H
#define DESK_CLOCK_H

#include <stdint.h>

#define DESK_CLOCK_MAGIC 0x4b534544u

enum { DESK_CLOCK_STEPPED = 0, DESK_CLOCK_SCALED = 1 };

struct desk_clock {
    uint32_t magic;
    uint32_t mode;
    int64_t origin_us;         /* the wall clock at now_us 0 */
    int64_t now_us;            /* virtual microseconds since the origin */
    int64_t limit_us;          /* stepped: time does not pass this */
    int64_t stands_at_us;      /* stepped: the limit that the daemon has arrived at; -1 before the first */
    int64_t speed_thousandths; /* scaled: virtual time in thousandths of real time */
    uint32_t changes;
    uint32_t passes; /* calls of usleep */
};

#endif
