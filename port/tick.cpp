// The millisecond clock that LVGL reads.
#include "port/tick.h"

#include <sys/time.h>

// Zero means that no origin has been taken yet; an origin that happens to be 0 is taken again.
static int64_t start_ms;

static int32_t now_ms() {
    timeval now;
    gettimeofday(&now, nullptr);
    const uint32_t us = static_cast<uint32_t>(now.tv_sec) * 1000000u + static_cast<uint32_t>(now.tv_usec);
    // Signed, and truncating towards zero: the wrap is part of the clock and must not be widened away.
    return static_cast<int32_t>(us) / 1000;
}

uint32_t custom_tick_get(void) {
    if (start_ms == 0) start_ms = now_ms();
    return static_cast<uint32_t>(now_ms() - start_ms);
}
