#include "unit/fakes/failing_format.h"
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>

namespace {
std::string failing_part;
int formats_left = 0; // until the failing one; 0: none fails
bool failed = false;

using formatter = int (*)(char *, size_t, const char *, va_list);
} // namespace

failing_format::failing_format(const std::string &part_of_format, int nth)
{
    failing_part = part_of_format;
    formats_left = nth;
    failed = false;
}

failing_format::~failing_format() { formats_left = 0; }

bool failing_format::reached() { return failed; }

// Found before the C library's by everything that the test program links.
extern "C" int vsnprintf(char *text, size_t size, const char *format, va_list arguments) noexcept
{
    static const auto real = reinterpret_cast<formatter>(dlsym(RTLD_NEXT, "vsnprintf"));
    if (formats_left > 0 && strstr(format, failing_part.c_str()) && --formats_left == 0) {
        failed = true;
        return -1;
    }
    return real(text, size, format, arguments);
}
