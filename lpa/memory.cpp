#include "lpa/memory.h"
#include <stdlib.h>

void *M_malloc(size_t size) { return malloc(size); }

void *M_calloc(size_t count, size_t size) { return calloc(count, size); }

void *M_realloc(void *pointer, size_t size) { return realloc(pointer, size); }

void M_free(void *pointer)
{
    if (pointer) free(pointer);
}
