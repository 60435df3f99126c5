/* What the allocator has handed out and not taken back, counted by live_blocks.c in a mapped file. */
#ifndef LIVE_BLOCKS_H
#define LIVE_BLOCKS_H

#include <stdint.h>

struct live_blocks {
    int64_t blocks;
    int64_t bytes; /* as malloc_usable_size() has them */
};

#endif
