#include "unit/euicc/failing_calls.h"
#include "euicc/modem_channel.h"
#include "foundation/result.h"
#include <cerrno>
#include <cstdarg>

failing_calls_type failing_calls;

extern "C" {
int32_t __real_close_modem(ModemHandle *handle);
int __real_flock(int descriptor, int operation);
int __real_vsnprintf(char *text, size_t size, const char *format, va_list arguments);
uint32_t __real_byte_utils__byte_array_to_hex_string(const uint8_t *bytes, uint32_t count, char *text, uint32_t size);
uint32_t __real_byte_utils__hex_string_to_short(const char *text, uint16_t *value);
uint32_t __real_byte_utils__hex_string_to_byte(const char *text, uint8_t *value);

int32_t __wrap_close_modem(ModemHandle *handle)
{
    failing_calls.closed_channel = handle ? handle->logical_channel : UINT32_MAX;
    const int32_t rc = __real_close_modem(handle);
    return failing_calls.close_modem ? -1 : rc;
}

int __wrap_flock(int descriptor, int operation)
{
    failing_calls.flock_operation = operation;
    if (failing_calls.flock_errno == 0) return __real_flock(descriptor, operation);
    errno = failing_calls.flock_errno;
    return -1;
}

int __wrap_vsnprintf(char *text, size_t size, const char *format, va_list arguments)
{
    if (failing_calls.unprintable_format == format) return -1;
    return __real_vsnprintf(text, size, format, arguments);
}

uint32_t __wrap_byte_utils__byte_array_to_hex_string(const uint8_t *bytes, uint32_t count, char *text, uint32_t size)
{
    if (failing_calls.unprintable_byte-- == 0) return RESULT__BAD_ARGUMENT;
    return __real_byte_utils__byte_array_to_hex_string(bytes, count, text, size);
}

uint32_t __wrap_byte_utils__hex_string_to_short(const char *text, uint16_t *value)
{
    if (failing_calls.hex_string_to_short) return RESULT__BAD_ARGUMENT;
    return __real_byte_utils__hex_string_to_short(text, value);
}

uint32_t __wrap_byte_utils__hex_string_to_byte(const char *text, uint8_t *value)
{
    if (failing_calls.unreadable_byte-- == 0) return RESULT__BAD_ARGUMENT;
    return __real_byte_utils__hex_string_to_byte(text, value);
}
}
