/* Preloaded beside the desk's shim: counts the blocks that the daemon holds, so that a single one that is never given
 * back shows after hours. LIVE_BLOCKS=FILE names the file to count in; without it nothing is counted.
 *
 * The C library's own names lie below these, for asking the linker for them would allocate. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <malloc.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/prove/live_blocks.h"

extern void *__libc_malloc(size_t size);
extern void *__libc_calloc(size_t count, size_t size);
extern void *__libc_realloc(void *block, size_t size);
extern void *__libc_memalign(size_t alignment, size_t size);
extern void __libc_free(void *block);

static struct live_blocks before_main; /* until the file is mapped */
static struct live_blocks *live = &before_main;

__attribute__((constructor)) static void begin(void) {
    const char *path = getenv("LIVE_BLOCKS");
    const int file = path ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (file < 0) return;
    void *place = mmap(NULL, sizeof(*live), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (place == MAP_FAILED) return;
    struct live_blocks *shared = place;
    *shared = before_main;
    live = shared;
    unsetenv("LIVE_BLOCKS");
}

static void *taken(void *block) {
    if (!block) return NULL;
    __atomic_add_fetch(&live->blocks, 1, __ATOMIC_RELAXED);
    __atomic_add_fetch(&live->bytes, (int64_t)malloc_usable_size(block), __ATOMIC_RELAXED);
    return block;
}

static void given_back(void *block) {
    if (!block) return;
    __atomic_sub_fetch(&live->blocks, 1, __ATOMIC_RELAXED);
    __atomic_sub_fetch(&live->bytes, (int64_t)malloc_usable_size(block), __ATOMIC_RELAXED);
}

void *malloc(size_t size) { return taken(__libc_malloc(size)); }
void *calloc(size_t count, size_t size) { return taken(__libc_calloc(count, size)); }
void *memalign(size_t alignment, size_t size) { return taken(__libc_memalign(alignment, size)); }
void *aligned_alloc(size_t alignment, size_t size) { return taken(__libc_memalign(alignment, size)); }

int posix_memalign(void **block, size_t alignment, size_t size) {
    *block = taken(__libc_memalign(alignment, size));
    return *block ? 0 : ENOMEM;
}

void *realloc(void *block, size_t size) {
    given_back(block);
    void *other = __libc_realloc(block, size);
    if (other) return taken(other);
    if (size > 0) taken(block); /* it stays as it was */
    return NULL;
}

void free(void *block) {
    given_back(block);
    __libc_free(block);
}
