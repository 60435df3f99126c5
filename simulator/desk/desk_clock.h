/* The clock that the desk and the shim share: one mapped file. The desk writes mode, origin_us, limit_us and
 * speed; the shim, on the daemon's side, writes now_us, stands_at_us and passes. Both use atomic loads and
 * stores only. After each write the desk bumps `changes` and wakes whoever sleeps on it.
 * Wide fields come in pairs, so that the layout is the same on 32 and 64 bits.
 *
 * While stepped time runs, the shim looks at the panel for the desk, every `look_us` from where the daemon stood last,
 * and keeps what it held in `looks` whenever that is not what it held before. The desk reads them when the daemon
 * stands still again. */
#ifndef DESK_CLOCK_H
#define DESK_CLOCK_H

#include <stdint.h>

#define DESK_CLOCK_MAGIC 0x4c534544u

enum { DESK_CLOCK_STEPPED = 0, DESK_CLOCK_SCALED = 1 };

/* Of a panel of one bit, 128 x 66. */
enum { DESK_MOST_LOOKS = 7, DESK_LOOK_BYTES = 1056 };

struct desk_look {
    int64_t at_us;
    unsigned char panel[DESK_LOOK_BYTES];
};

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
    int64_t look_us; /* stepped: as often the shim looks at the panel; 0: never */
    uint32_t looks_kept;
    uint32_t panel_bytes; /* of which there are so many, DESK_LOOK_BYTES at most */
    struct desk_look looks[DESK_MOST_LOOKS];
};

#endif
