#include "unit/fakes/failing_memory.h"
#include <cstddef>

namespace {
int allocations_left = 0; // until the failing one; 0: none fails
bool failed = false;

bool fails_now()
{
    if (allocations_left == 0 || --allocations_left > 0) return false;
    failed = true;
    return true;
}
} // namespace

failing_memory::failing_memory(int nth)
{
    allocations_left = nth;
    failed = false;
}

failing_memory::~failing_memory() { allocations_left = 0; }

bool failing_memory::reached() { return failed; }

extern "C" { // the linker's --wrap
void *__real_M_malloc(size_t size);
void *__real_M_calloc(size_t count, size_t size);
void *__real_M_realloc(void *pointer, size_t size);

void *__wrap_M_malloc(size_t size) { return fails_now() ? nullptr : __real_M_malloc(size); }

void *__wrap_M_calloc(size_t count, size_t size) { return fails_now() ? nullptr : __real_M_calloc(count, size); }

void *__wrap_M_realloc(void *pointer, size_t size) { return fails_now() ? nullptr : __real_M_realloc(pointer, size); }
}
