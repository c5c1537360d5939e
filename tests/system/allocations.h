// The library's allocations: how many blocks live, and the n-th one made to fail. Stands in for the library's
// M_malloc and its kin in the whole program.
#pragma once
#include <cstddef>

size_t live_allocations();

// Makes the n-th allocation (1 is the next), or all from there on, fail while the object lives.
class failing_allocation {
  public:
    explicit failing_allocation(size_t nth, bool all_after = false);
    ~failing_allocation();
    bool reached() const; // the n-th allocation was asked for
};
