#include "foundation/log.h"
#include "es9/json_data_extractor.h"
#include "foundation/configuration.h"
#include "foundation/log_line.h"
#include "foundation/result.h"
#include <algorithm>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

int32_t g_log_level = -1;
uint8_t g_log_to_console = 0;
clock_data g_clock_data = {};

namespace {
constexpr const char *log_directory = "/tmp/mobile";
constexpr const char *log_file = "/tmp/mobile/lpa.log";
constexpr int32_t default_level = LOG__INFO;
constexpr uint32_t longest_line = 8196; // its newline included
constexpr uint32_t longest_dump = 8196;
constexpr uint32_t bytes_per_dump_line = 16;

// As fopen's "a" does it, but without a buffer from the heap, and so that a whole line is one write.
int open_for_appending(const char *file) { return open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666); }

bool append_to_log_file(const char *line, uint32_t length)
{
    create_file_with_directory_permissions(log_directory, log_file);
    const int file = open_for_appending(log_file);
    if (file < 0) {
        perror("fopen");
        return false;
    }
    if (write(file, line, length) < 0) { /* a full disk costs the line, not the caller */
    }
    close(file);
    return true;
}

// Not inside log__string, which most often finds nothing to do and then should not have made room for a line.
__attribute__((noinline)) void write_line(int32_t level, const char *format, va_list arguments)
{
    char line[longest_line + 1];
    const int32_t prefix = std::max(log__format_header(line, sizeof line, level), 0); // a line may go without
    const uint32_t room = longest_line - static_cast<uint32_t>(prefix);
    const int32_t message = vsnprintf(line + prefix, room, format, arguments);
    if (message < 0) return;
    // A message that did not fit was cut so that the newline is the last character of the longest line.
    const uint32_t cut = std::min(static_cast<uint32_t>(prefix) + static_cast<uint32_t>(message), longest_line - 1);
    line[cut] = '\n';
    line[cut + 1] = '\0';
    if (!append_to_log_file(line, cut + 1)) return;
    if (g_log_to_console) hw_printf(line);
}

void dump_whole_line(int32_t level, const uint8_t *b)
{
    log__string(level, "%02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X", b[0], b[1],
                b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
}

void dump_last_line(int32_t level, const uint8_t *data, uint32_t length)
{
    constexpr uint32_t characters_per_byte = 3;
    char line[bytes_per_dump_line * characters_per_byte + 1] = {};
    for (uint32_t i = 0; i < length; ++i)
        if (snprintf(line + i * characters_per_byte, characters_per_byte + 1, "%02X ", data[i]) < 0) return;
    log__string(level, "%s", line);
}
} // namespace

void hw_printf(const char *text) { fputs(text, stderr); }

void create_file_with_directory_permissions(const char *directory, const char *file)
{
    struct stat status = {};
    if (stat(directory, &status) != 0) {
        perror("stat");
        return;
    }
    const int descriptor = open_for_appending(file);
    if (descriptor < 0) {
        perror("fopen");
        return;
    }
    if (fchown(descriptor, status.st_uid, status.st_gid) != 0) perror("chown");
    if (fchmod(descriptor, S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP) != 0) perror("chmod");
    close(descriptor);
}

void log__string(int32_t level, const char *format, ...)
{
    if (g_log_level < 0) g_log_level = log__get_log_level_from_file();
    if (g_log_level < level) return;
    va_list arguments;
    va_start(arguments, format);
    write_line(level, format, arguments);
    va_end(arguments);
}

void log__data(int32_t level, const char *title, const uint8_t *data, uint32_t length)
{
    if (g_log_level < level) return;
    log__string(level, "%s", title);
    if (!data) return;
    uint32_t left = std::min(length, longest_dump);
    for (; left >= bytes_per_dump_line; left -= bytes_per_dump_line, data += bytes_per_dump_line)
        dump_whole_line(level, data);
    if (left > 0) dump_last_line(level, data, left);
}

void log__cstring(int32_t level, const char *text)
{
    if (g_log_level < level || !text) return;
    char piece[LOG_PIECE_BYTES];
    // Start 0 prints over the prefix: it only moves the elapsed time on. Readers of the console expect it so.
    log__format_header(piece, sizeof piece, level);
    log__print_chunked(piece, 0, text, static_cast<uint32_t>(strlen(text)), 1);
}

void log__utf8_data(int32_t level, const char *title, const uint8_t *data, uint32_t length)
{
    if (g_log_level < level || !title) return;
    char piece[LOG_PIECE_BYTES];
    const int32_t prefix = std::max(log__format_header(piece, sizeof piece, level), 0);
    log__print_chunked(piece, static_cast<uint32_t>(prefix), title, static_cast<uint32_t>(strlen(title)), 0);
    log__print_chunked(piece, 0, reinterpret_cast<const char *>(data), data ? length : 0, 1);
}

void log__set_log_level(int32_t level)
{
    g_log_level = level;
    g_log_to_console = 1;
    if (timer__get_clock_data(&g_clock_data) != RESULT__OK) g_clock_data = {};
}

int32_t log__get_log_level(void) { return g_log_level; }

int32_t log__get_log_level_from_file(void)
{
    const int32_t level_before = g_log_level;
    // Reading logs too: with the level still unread, each of its messages would begin to read again, without end.
    if (level_before < 0) g_log_level = default_level;
    char text[CONFIGURATION_BYTES];
    if (get_config_file(text) != RESULT__OK) return default_level;
    int32_t level = default_level;
    const uint32_t rc = json_data_extractor__get_int_value(text, "\"log_level\"", &level);
    g_log_level = level_before; // a negative level in the file leaves it unread
    if (rc != RESULT__OK || level > LOG__TRACE) return default_level;
    return level;
}
