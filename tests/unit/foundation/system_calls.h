// Clocks that stand still and file modes that cannot be changed, for the log and timer tests.
#pragma once
#include <cstdint>
#include <ctime>
#include <optional>

struct system_calls_type {
    std::optional<time_t> wall_clock;        // what time() tells
    std::optional<timespec> monotonic_clock; // what clock_gettime(CLOCK_MONOTONIC) tells
    bool monotonic_clock_fails = false;
    bool fchown_fails = false; // EPERM
    bool fchmod_fails = false;
    void reset() { *this = {}; }
};
extern system_calls_type system_calls; // all unset: the real ones
