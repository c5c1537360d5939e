#include "es9/printed_text.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include <stdarg.h>
#include <stdio.h>

uint32_t printed_text__print(char **text, const print_messages &messages, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    // The checker does not see va_start. NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int length = vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    if (length < 0) {
        log__string(LOG__ERROR, "%s", messages.bad_length);
        return RESULT__FATAL_ERROR;
    }
    const size_t size = static_cast<size_t>(length) + 1;
    owned_text buffer(static_cast<char *>(M_malloc(size)));
    if (!buffer.data) {
        log__string(LOG__ERROR, "%s", messages.no_memory);
        return RESULT__NO_MEMORY;
    }
    va_start(arguments, format);
    const int printed = vsnprintf(buffer.data, size, format, arguments);
    va_end(arguments);
    if (printed < 0) {
        log__string(LOG__ERROR, "%s", messages.not_printed);
        return RESULT__FATAL_ERROR;
    }
    *text = buffer.hand_over();
    return RESULT__OK;
}
