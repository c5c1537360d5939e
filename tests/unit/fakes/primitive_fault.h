// Makes the n-th call of one primitive (a TLV writer or reader, a conversion) return a chosen result while the object
// lives, without running it. Calls from the primitive's own source are not counted.
#pragma once
#include <cstdint>
#include <string_view>

class primitive_fault {
  public:
    primitive_fault(const char *primitive, int nth, int32_t result); // 1 is the next call; a null primitive never fails
    primitive_fault(const primitive_fault &) = delete;
    primitive_fault &operator=(const primitive_fault &) = delete;
    ~primitive_fault();
    static bool reached();                               // the n-th call took place
    static bool takes_place(std::string_view primitive); // for the wrappers: counts a call
    static int32_t result();
};

// The linker's --wrap. One line says: unless its turn has come, primitive does what it always did.
#define WRAP(type, primitive, parameters, arguments)                                                                   \
    extern "C" type __real_##primitive parameters;                                                                     \
    extern "C" type __wrap_##primitive parameters                                                                      \
    {                                                                                                                  \
        return primitive_fault::takes_place(#primitive) ? static_cast<type>(primitive_fault::result())                 \
                                                        : __real_##primitive arguments;                                \
    }
