/* What `faults` tells the preloaded fault_shim.c: one mapped file. Everything is 0 at first, and then nothing fails.
 * Written by the one, read by the other, with atomic loads and stores. */
#ifndef FAULT_CONTROL_H
#define FAULT_CONTROL_H

#include <stdint.h>

#define FAULT_CONTROL_MAGIC 0x544c4146u

enum fault_at_open {
    FAULT_NONE = 0,
    FAULT_GONE_BEFORE_OPEN,   /* the file is removed after whoever looked for it, before it is opened */
    FAULT_EMPTY_AFTER_OPEN,   /* it is cut to nothing and removed between open and read */
    FAULT_REMOVED_AFTER_OPEN, /* it is removed between open and read; what was opened can still be read */
    FAULT_READ_FAILS,         /* read returns read_error */
    FAULT_READ_INTERRUPTED,   /* read is interrupted by a signal a few times, then gives one byte a call */
};

struct fault_control {
    uint32_t magic;
    /* The error of a call on the framebuffer; 0: it is made. */
    int32_t fixed_error, variable_error, map_error;
    /* What happens to the file `path`, at each opening but the first `spared` ones. */
    uint32_t at_open;
    int32_t read_error;
    uint32_t spared;
    uint32_t struck; /* written by the shim: how often that was */
    char path[256];
};

#endif
