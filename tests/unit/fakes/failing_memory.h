// Makes the n-th allocation (M_malloc, M_calloc, M_realloc) fail while the object lives.
#pragma once

class failing_memory {
  public:
    explicit failing_memory(int nth); // 1 is the next allocation
    ~failing_memory();
    static bool reached(); // the n-th allocation took place (and failed)
};
