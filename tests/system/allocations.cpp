#include "system/allocations.h"
#include "lpa/memory.h"
#include <cstdlib>

namespace {
size_t live = 0;
size_t until_failure = 0; // 0: none is ordered
bool failing_on = false;
bool failed = false;

bool must_fail()
{
    if (failed && failing_on) return true;
    if (until_failure == 0 || --until_failure > 0) return false;
    return failed = true;
}

void *counted(void *block)
{
    if (block) ++live;
    return block;
}
} // namespace

size_t live_allocations() { return live; }

failing_allocation::failing_allocation(size_t nth, bool all_after)
{
    until_failure = nth;
    failing_on = all_after;
    failed = false;
}

failing_allocation::~failing_allocation()
{
    until_failure = 0;
    failing_on = false;
}

bool failing_allocation::reached() const { return failed; }

void *M_malloc(size_t size) { return must_fail() ? nullptr : counted(malloc(size)); }

void *M_calloc(size_t count, size_t size) { return must_fail() ? nullptr : counted(calloc(count, size)); }

void *M_realloc(void *pointer, size_t size)
{
    if (must_fail()) return nullptr;
    void *const block = realloc(pointer, size);
    return pointer ? block : counted(block);
}

void M_free(void *pointer)
{
    if (pointer) --live;
    free(pointer);
}
