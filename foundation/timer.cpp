#include "foundation/timer.h"
#include "foundation/log.h"
#include "foundation/result.h"
#include <time.h>
#include <unistd.h>

time_data *timer__get_time_data(time_data *record)
{
    if (!record) return nullptr;
    const time_t now = time(nullptr);
    struct tm local = {};
    tzset(); // localtime_r alone would keep the time zone of the first call
    localtime_r(&now, &local);
    record->second = static_cast<uint8_t>(local.tm_sec);
    record->minute = static_cast<uint8_t>(local.tm_min);
    record->hour = static_cast<uint8_t>(local.tm_hour);
    record->day = static_cast<uint8_t>(local.tm_mday);
    record->month = static_cast<uint8_t>(local.tm_mon + 1);
    record->year = static_cast<uint16_t>(local.tm_year + 1900);
    return record;
}

int32_t timer__get_clock_data(clock_data *clock)
{
    if (!clock) {
        log__string(LOG__ERROR, "[timer__get_clock_data]\tclock_data instance is null");
        return -RESULT__BAD_ARGUMENT;
    }
    struct timespec now = {};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) return -RESULT__BAD_ARGUMENT;
    clock->seconds = now.tv_sec;
    clock->nanoseconds = now.tv_nsec;
    return RESULT__OK;
}

void timer__sleep(uint32_t seconds) { sleep(seconds); }
