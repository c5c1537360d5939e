#include "foundation/timer.h"
#include "support/log_capture.h"
#include "unit/fakes/fake_clock.h"
#include "unit/foundation/system_calls.h"
#include <cstdlib>
#include <gtest/gtest.h>

namespace {
class timer : public testing::Test {
  protected:
    ~timer() override
    {
        unsetenv("TZ");
        system_calls.reset();
    }
};

TEST_F(timer, tells_local_time_with_month_from_1_and_the_full_year)
{
    setenv("TZ", "EET-2", 1);             // two hours east
    system_calls.wall_clock = 1798754399; // 2026-12-31 21:59:59 UTC
    time_data now = {};
    EXPECT_EQ(timer__get_time_data(&now), &now);
    EXPECT_EQ(now.year, 2026);
    EXPECT_EQ(now.month, 12);
    EXPECT_EQ(now.day, 31);
    EXPECT_EQ(now.hour, 23);
    EXPECT_EQ(now.minute, 59);
    EXPECT_EQ(now.second, 59);
    system_calls.wall_clock = 1798754400;
    timer__get_time_data(&now);
    EXPECT_EQ(now.year, 2027);
    EXPECT_EQ(now.month, 1);
    EXPECT_EQ(now.day, 1);
    EXPECT_EQ(now.hour, 0);
}

TEST_F(timer, tells_the_time_after_january_2038)
{
    setenv("TZ", "UTC0", 1);
    system_calls.wall_clock = 4102444799; // 2099-12-31 23:59:59 UTC
    time_data now = {};
    EXPECT_EQ(timer__get_time_data(&now)->year, 2099);
}

TEST_F(timer, takes_up_a_changed_time_zone)
{
    system_calls.wall_clock = 1798754399;
    time_data now = {};
    setenv("TZ", "CET-1", 1);
    EXPECT_EQ(timer__get_time_data(&now)->hour, 22);
    setenv("TZ", "YYY+1", 1);
    EXPECT_EQ(timer__get_time_data(&now)->hour, 20);
}

TEST_F(timer, returns_a_null_record_as_it_is) { EXPECT_EQ(timer__get_time_data(nullptr), nullptr); }

TEST_F(timer, reads_the_monotonic_clock)
{
    system_calls.monotonic_clock = timespec{1234567, 999999999};
    clock_data now = {};
    EXPECT_EQ(timer__get_clock_data(&now), 0);
    EXPECT_EQ(now.seconds, 1234567);
    EXPECT_EQ(now.nanoseconds, 999999999);
}

TEST_F(timer, answers_minus_4_for_a_null_clock_and_logs_it)
{
    log_capture log;
    EXPECT_EQ(timer__get_clock_data(nullptr), -4);
    EXPECT_EQ(log.up_to(5), "1 [timer__get_clock_data]\tclock_data instance is null\n");
}

TEST_F(timer, answers_minus_4_for_a_clock_that_cannot_be_read_and_leaves_the_record)
{
    system_calls.monotonic_clock_fails = true;
    clock_data now = {1, 2};
    EXPECT_EQ(timer__get_clock_data(&now), -4);
    EXPECT_EQ(now.seconds, 1);
    EXPECT_EQ(now.nanoseconds, 2);
}

TEST_F(timer, sleeps_through_sleep_for_whole_seconds)
{
    pauses.clear();
    timer__sleep(5);
    timer__sleep(0);
    EXPECT_EQ(pauses, (std::vector<unsigned>{5, 0}));
}
} // namespace
