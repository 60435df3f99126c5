/* The millisecond clock that LVGL reads (LV_TICK_CUSTOM). */
#ifndef PORT_TICK_H
#define PORT_TICK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Milliseconds since the first call. The microseconds behind it are kept in 32 bits, so the value jumps back
 * by about 4 294 967 ms every 71.6 minutes (2^32 us); see docs/compatibility.md. */
uint32_t custom_tick_get(void);

#ifdef __cplusplus
}
#endif

#endif
