/* foundation/log.h: levelled log lines and hex dumps.
 *
 * File       /tmp/mobile/lpa.log, opened in append mode for each line; its directory must exist.
 * Level      read once from /etc/vorn_config.json (key "log_level", default 3) by the first log__string, unless the
 *            host program sets it with log__set_log_level.
 * Errors     logging never fails its caller; file problems are reported on standard error. */
#pragma once
#include "foundation/export.h"
#include "foundation/timer.h"
#include <stddef.h>
#include <stdint.h>

#define LOG__ERROR 1
#define LOG__WARN 2
#define LOG__INFO 3
#define LOG__DEBUG 4
#define LOG__TRACE 5

LPA_API_BEGIN

extern int32_t g_log_level;      /* -1: not read yet; a line is written when its level is at most this */
extern uint8_t g_log_to_console; /* when set, lines also go to standard error */
extern clock_data g_clock_data;  /* monotonic time of the previous line's prefix */

/* Writes one line, printf style. The only entry that reads the configuration file. */
void log__string(int32_t level, const char *format, ...) __attribute__((format(printf, 2, 3)));

/* Writes title (used as a format: no conversions in it) and a hex dump of at most 8196 bytes of data. */
void log__data(int32_t level, const char *title, const uint8_t *data, uint32_t length);

/* Writes text and a newline to standard error only. */
void log__cstring(int32_t level, const char *text);

/* Writes a prefix, title and length raw bytes to standard error only: for UTF-8 that a dump would make unreadable. */
void log__utf8_data(int32_t level, const char *title, const uint8_t *data, uint32_t length);

/* Sets the level, turns the console echo on and restarts the elapsed time. For the host program. */
void log__set_log_level(int32_t level);
int32_t log__get_log_level(void);

/* Level from the configuration file; 3 when it cannot be had or is above 5. */
int32_t log__get_log_level_from_file(void);

/* Makes sure file exists with the owner and group of directory and mode 0660. */
void create_file_with_directory_permissions(const char *directory, const char *file);

/* Writes text to standard error. */
void hw_printf(const char *text);

LPA_API_END
