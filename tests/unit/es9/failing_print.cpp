#include "unit/es9/failing_print.h"
#include <cstdarg>
#include <cstddef>

namespace {
std::string failing_format;
int calls_left = 0;

bool fails_now(const char *format) { return calls_left > 0 && failing_format == format && --calls_left == 0; }
} // namespace

failing_print::failing_print(std::string format, int nth)
{
    failing_format = std::move(format);
    calls_left = nth;
}

failing_print::~failing_print() { calls_left = 0; }

extern "C" {
int __real_vsnprintf(char *text, size_t size, const char *format, va_list arguments);

int __wrap_vsnprintf(char *text, size_t size, const char *format, va_list arguments)
{
    return fails_now(format) ? -1 : __real_vsnprintf(text, size, format, arguments);
}
}
