/* foundation/log_line.h: the two pieces that log lines are made with. Internal to foundation. */
#pragma once
#include <stdint.h>

/* Writes "[dd/mm/yyyy hh:mm:ss] [LEVEL] [elapsed s]<tab>", not terminated, and moves g_clock_data on.
 * Returns its length; -1 when it does not fit, the level is not 1..5 or the clock cannot be read. */
int32_t log__format_header(char *buffer, uint32_t size, int32_t level);

#define LOG_PIECE_BYTES 257 /* of one piece on standard error, its terminator included */

/* Sends what stands in buffer before start, then text, to standard error in pieces; buffer is clear afterwards. */
void log__print_chunked(char buffer[LOG_PIECE_BYTES], uint32_t start, const char *text, uint32_t length,
                        uint8_t add_newline);
