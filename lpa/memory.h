/* lpa/memory.h: the allocator of every buffer that crosses a module boundary. */
#pragma once
#include "foundation/export.h"
#include <stddef.h>

LPA_API_BEGIN

void *M_malloc(size_t size);
void *M_calloc(size_t count, size_t size);
void *M_realloc(void *pointer, size_t size);
void M_free(void *pointer); /* ignores null */

LPA_API_END
