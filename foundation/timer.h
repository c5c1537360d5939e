/* foundation/timer.h: wall clock, monotonic clock and pauses. */
#pragma once
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

typedef struct clock_data {
    int64_t seconds;
    int64_t nanoseconds;
} clock_data;

typedef struct time_data { /* local time */
    uint8_t second;
    uint8_t minute;
    uint8_t hour;
    uint8_t day;
    uint8_t month; /* 1..12 */
    uint16_t year; /* all four digits */
} time_data;

/* Fills time with the current local time and returns it. */
time_data *timer__get_time_data(time_data *time);

/* Reads CLOCK_MONOTONIC. Returns 0, or -4 for a null clock or a clock that cannot be read. */
int32_t timer__get_clock_data(clock_data *clock);

/* Sleeps for whole seconds. Every pause of the library goes through here. */
void timer__sleep(uint32_t seconds);

LPA_API_END
