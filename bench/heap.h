// The library's allocations by their sizes. Stands in for the library's M_malloc and its kin in the whole program.
#pragma once
#include <cstddef>

size_t heap_peak(); // bytes in use at most so far, as the C library rounds them up
