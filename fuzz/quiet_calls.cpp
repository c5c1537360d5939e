// The library's pauses and its log during a fuzz run: nobody waits; each line is formatted and each dumped byte read,
// which shows what is read beyond its end, but nothing is written. With LPA_FUZZ_LOG set the lines go to standard
// error, to see what an input makes the library do.
#include "foundation/log.h"
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {
constexpr uint32_t longest_dump = 8196;
const bool shown = getenv("LPA_FUZZ_LOG") != nullptr;
volatile uint8_t dumped;

void read_all(const char *title, const uint8_t *data, uint32_t length)
{
    if (shown) fprintf(stderr, "%s: %u bytes\n", title, length);
    for (uint32_t i = 0; data && i < length; ++i)
        dumped = data[i];
}
} // namespace

// The entry that has no wrapper here, for plain text on standard error, is quiet at this level.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    g_log_level = 0;
    return 0;
}

extern "C" void __wrap_log__string(int32_t, const char *format, ...)
{
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (shown) fprintf(stderr, "%s\n", line);
}

extern "C" void __wrap_log__data(int32_t, const char *title, const uint8_t *data, uint32_t length)
{
    read_all(title, data, std::min(length, longest_dump));
}

extern "C" void __wrap_log__utf8_data(int32_t, const char *title, const uint8_t *data, uint32_t length)
{
    read_all(title, data, length);
}

extern "C" void __wrap_timer__sleep(uint32_t) {}

// What every program runs with, under scripts/fuzz or alone.
extern "C" const char *__asan_default_options() { return "strict_string_checks=1:detect_stack_use_after_return=1"; }

extern "C" const char *__ubsan_default_options() { return "print_stacktrace=1"; }
