// Makes calls fail that a test cannot make fail from outside, and sees what they were given (the linker's --wrap).
#pragma once
#include <cstdint>
#include <string>

struct failing_calls_type {
    bool close_modem = false;             // closes the modem and reports -1
    int flock_errno = 0;                  // 0: flock works
    int flock_operation = 0;              // of the last call
    uint32_t closed_channel = UINT32_MAX; // the handle's channel when close_modem was called
    std::string unprintable_format = {};  // vsnprintf fails for this format
    int unprintable_byte = -1;            // byte_utils__byte_array_to_hex_string fails at this call, counted from 0
    bool hex_string_to_short = false;
    int unreadable_byte = -1; // byte_utils__hex_string_to_byte fails at this call
    void reset() { *this = {}; }
};
extern failing_calls_type failing_calls;
