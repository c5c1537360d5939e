#include "foundation/log_line.h"
#include "foundation/log.h"
#include "foundation/result.h"
#include "foundation/timer.h"
#include <stdio.h>
#include <string.h>

namespace {
constexpr uint32_t tag_length = 7;
constexpr char tags[][tag_length + 1] = {"[ERROR]", "[WARN] ", "[INFO] ", "[DEBUG]", "[TRACE]"};
constexpr uint32_t shortest_elapsed = 17; // "[000.000000000 s]"
constexpr int64_t nanoseconds_per_second = 1000000000;

int32_t print_date(char *buffer, uint32_t size)
{
    time_data now = {};
    timer__get_time_data(&now);
    return snprintf(buffer, size, "[%02d/%02d/%04d %02d:%02d:%02d]", now.day, now.month, now.year, now.hour, now.minute,
                    now.second);
}

clock_data elapsed_since(const clock_data &before, const clock_data &now)
{
    clock_data elapsed = {now.seconds - before.seconds, now.nanoseconds - before.nanoseconds};
    if (elapsed.nanoseconds >= 0) return elapsed;
    return {elapsed.seconds - 1, elapsed.nanoseconds + nanoseconds_per_second};
}
} // namespace

int32_t log__format_header(char *buffer, uint32_t size, int32_t level)
{
    const int32_t date_length = print_date(buffer, size);
    if (date_length < 0) return -1;
    const uint32_t tag_position = static_cast<uint32_t>(date_length) + 1;
    const uint32_t position = tag_position + tag_length + 1;
    if (position > size) return -1;
    buffer[tag_position - 1] = ' ';
    if (level < LOG__ERROR || level > LOG__TRACE) return -1;
    memcpy(buffer + tag_position, tags[level - LOG__ERROR], tag_length);
    buffer[position - 1] = ' ';
    if (position + shortest_elapsed >= size) return -1;
    clock_data now = {};
    if (timer__get_clock_data(&now) != RESULT__OK) return -1;
    const clock_data elapsed = elapsed_since(g_clock_data, now);
    const uint32_t room = size - position;
    const int32_t printed =
        snprintf(buffer + position, room, "[%03lld.%09lld s]", static_cast<long long>(elapsed.seconds),
                 static_cast<long long>(elapsed.nanoseconds));
    if (printed < 0 || static_cast<uint32_t>(printed) >= room) return -1;
    g_clock_data = now;
    const uint32_t end = position + static_cast<uint32_t>(printed);
    buffer[end] = '\t';
    return static_cast<int32_t>(end + 1);
}

void log__print_chunked(char buffer[LOG_PIECE_BYTES], uint32_t start, const char *text, uint32_t length,
                        uint8_t add_newline)
{
    constexpr uint32_t piece_length = LOG_PIECE_BYTES - 1;
    memset(buffer + start, 0, LOG_PIECE_BYTES - start);
    uint32_t position = start;
    while (length > piece_length - position) {
        const uint32_t copied = piece_length - position;
        memcpy(buffer + position, text, copied);
        hw_printf(buffer);
        memset(buffer, 0, LOG_PIECE_BYTES);
        text += copied;
        length -= copied;
        position = 0;
    }
    if (length > 0) memcpy(buffer + position, text, length);
    position += length;
    if (add_newline && position == piece_length) {
        hw_printf(buffer);
        memset(buffer, 0, LOG_PIECE_BYTES);
        position = 0;
    }
    if (add_newline) buffer[position] = '\n';
    hw_printf(buffer);
    memset(buffer, 0, LOG_PIECE_BYTES);
}
