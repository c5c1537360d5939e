// Makes the n-th call of one primitive (a TLV writer or reader) return a chosen result while the object lives, without
// running it. Calls from the primitive's own module are not counted.
#pragma once
#include <cstdint>

class primitive_fault {
  public:
    primitive_fault(const char *primitive, int nth, int32_t result); // 1 is the next call; a null primitive never fails
    ~primitive_fault();
    static bool reached(); // the n-th call took place
};
