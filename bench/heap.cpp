#include "bench/heap.h"
#include "lpa/memory.h"
#include <algorithm>
#include <cstdlib>
#include <malloc.h>

namespace {
size_t in_use = 0;
size_t peak = 0;

void *taken(void *block)
{
    in_use += malloc_usable_size(block);
    peak = std::max(peak, in_use);
    return block;
}
} // namespace

size_t heap_peak() { return peak; }

void *M_malloc(size_t size) { return taken(malloc(size)); }

void *M_calloc(size_t count, size_t size) { return taken(calloc(count, size)); }

void *M_realloc(void *pointer, size_t size)
{
    const size_t before = malloc_usable_size(pointer);
    void *const block = realloc(pointer, size);
    if (!block) return nullptr;
    in_use -= before;
    return taken(block);
}

void M_free(void *pointer)
{
    in_use -= malloc_usable_size(pointer);
    free(pointer);
}
