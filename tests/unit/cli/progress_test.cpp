#include "cli/progress.h"
#include "unit/cli/scripted_library.h"
#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>

namespace {
using testing::HasSubstr;

double now = 0;
uint32_t columns = 80;

constexpr progress_place terminal = {.columns = [] { return columns; }, .seconds = [] { return now; }};
constexpr progress_place elsewhere = {};

const std::string erased = "\r\x1B[K";

class progress : public testing::Test {
  protected:
    progress()
    {
        library = {};
        now = 1000;
        columns = 80;
    }
    void show_on(const progress_place &place) { display = std::make_unique<progress_display>(err, place); }
    void tell(uint32_t step, uint32_t done = 0, uint32_t total = 0, const char *provider = nullptr,
              const char *name = nullptr) const
    {
        const lpa_progress progress = {step, done, total, provider, name};
        library.progress_callback(&progress, library.progress_context);
    }
    // What was written since the last call.
    std::string written()
    {
        const std::string text = err.str();
        err.str("");
        return text;
    }
    std::string after_end()
    {
        display.reset();
        return written();
    }

    std::ostringstream err;
    std::unique_ptr<progress_display> display;
};

TEST_F(progress, listens_to_the_library_while_it_lives)
{
    show_on(elsewhere);
    EXPECT_NE(library.progress_callback, nullptr);
    EXPECT_EQ(after_end(), "");
    EXPECT_EQ(library.progress_callback, nullptr);
}

// ---- Plain lines --------------------------------------------------------------------------------------------------

TEST_F(progress, without_a_terminal_is_a_line_for_each_step_and_each_tenth)
{
    show_on(elsewhere);
    tell(LPA_PROGRESS__OPENING);
    tell(LPA_PROGRESS__AUTHENTICATING);
    tell(LPA_PROGRESS__PREPARING, 0, 0, "Desk Operator", "Travel");
    tell(LPA_PROGRESS__FETCHING, 0, 0, "Desk Operator", "Travel");
    for (uint32_t done = 0; done <= 5000; done += 100)
        tell(LPA_PROGRESS__INSTALLING, done, 5000, "Desk Operator", "Travel");
    tell(LPA_PROGRESS__REPORTING, 0, 0, "Desk Operator", "Travel");
    for (uint32_t done = 0; done <= 2; ++done)
        tell(LPA_PROGRESS__DELIVERING, done, 2, "Desk Operator", "Travel");
    tell(LPA_PROGRESS__DONE, 0, 0, "Desk Operator", "Travel");
    EXPECT_EQ(after_end(), "Opening the card\n"
                           "Authenticating\n"
                           "Profile: Desk Operator, Travel\n"
                           "Preparing the download\n"
                           "Fetching the profile\n"
                           "Installing    0%  0 B of 5.0 kB\n"
                           "Installing   10%  500 B of 5.0 kB\n"
                           "Installing   20%  1.0 kB of 5.0 kB\n"
                           "Installing   30%  1.5 kB of 5.0 kB\n"
                           "Installing   40%  2.0 kB of 5.0 kB\n"
                           "Installing   50%  2.5 kB of 5.0 kB\n"
                           "Installing   60%  3.0 kB of 5.0 kB\n"
                           "Installing   70%  3.5 kB of 5.0 kB\n"
                           "Installing   80%  4.0 kB of 5.0 kB\n"
                           "Installing   90%  4.5 kB of 5.0 kB\n"
                           "Installing  100%  5.0 kB of 5.0 kB\n"
                           "Reporting the result\n"
                           "Delivering notifications  0 of 2\n"
                           "Delivering notifications  1 of 2\n"
                           "Delivering notifications  2 of 2\n"
                           "Done\n");
}

TEST_F(progress, without_a_terminal_is_ten_lines_for_many_notifications)
{
    show_on(elsewhere);
    for (uint32_t done = 0; done <= 1000; ++done)
        tell(LPA_PROGRESS__DELIVERING, done, 1000);
    const std::string all = written();
    EXPECT_EQ(std::ranges::count(all, '\n'), 11);
}

TEST_F(progress, of_a_second_attempt_is_told_again_but_not_the_profile)
{
    show_on(elsewhere);
    tell(LPA_PROGRESS__PREPARING, 0, 0, "Operator", nullptr);
    tell(LPA_PROGRESS__OPENING, 0, 0, "Operator", nullptr);
    tell(LPA_PROGRESS__PREPARING, 0, 0, "Operator", nullptr);
    EXPECT_EQ(written(), "Profile: Operator\nPreparing the download\nOpening the card\nPreparing the download\n");
}

struct profile_case {
    const char *name, *provider, *profile, *shown;
};
class profile_line : public progress, public testing::WithParamInterface<profile_case> {};

TEST_P(profile_line, shows_what_is_known_harmlessly)
{
    show_on(elsewhere);
    tell(LPA_PROGRESS__PREPARING, 0, 0, GetParam().provider, GetParam().profile);
    EXPECT_EQ(written(), std::string(GetParam().shown) + "Preparing the download\n");
}

INSTANTIATE_TEST_SUITE_P(table, profile_line,
                         testing::ValuesIn(std::to_array<profile_case>({
                             {"both", "Operator", "Travel", "Profile: Operator, Travel\n"},
                             {"name_alone", nullptr, "Travel", "Profile: Travel\n"},
                             {"empty_provider", "", "Travel", "Profile: Travel\n"},
                             {"nothing", nullptr, nullptr, ""},
                             {"empty_texts", "", "", ""},
                             {"escape_sequence", "\x1B[31m", "A\nB", "Profile: \\x1B[31m, A\\x0AB\n"},
                             {"no_utf_8", "\xFF", nullptr, "Profile: \\xFF\n"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(progress, of_a_step_that_is_not_known_is_left_out)
{
    show_on(elsewhere);
    tell(LPA_PROGRESS__DONE + 1);
    EXPECT_EQ(written(), "");
}

// ---- On a terminal ------------------------------------------------------------------------------------------------

TEST_F(progress, on_a_terminal_is_one_line_that_is_gone_at_the_end)
{
    show_on(terminal);
    tell(LPA_PROGRESS__OPENING);
    EXPECT_EQ(written(), erased + "Opening the card");
    tell(LPA_PROGRESS__AUTHENTICATING);
    EXPECT_EQ(written(), erased + "Authenticating");
    tell(LPA_PROGRESS__PREPARING, 0, 0, "Desk Operator", "Travel");
    EXPECT_EQ(written(), erased + "Profile: Desk Operator, Travel\n" + erased + "Preparing the download");
    tell(LPA_PROGRESS__INSTALLING, 0, 66000, "Desk Operator", "Travel");
    EXPECT_EQ(written(), erased + "Installing  [..............................]    0%  0 B of 66.0 kB");
    now += 10;
    tell(LPA_PROGRESS__INSTALLING, 33000, 66000, "Desk Operator", "Travel");
    EXPECT_EQ(written(), erased + "Installing  [#########.........]   50%  33.0 kB of 66.0 kB  3.3 kB/s  0:10 left");
    tell(LPA_PROGRESS__DONE, 0, 0, "Desk Operator", "Travel");
    EXPECT_EQ(written(), erased);
    EXPECT_EQ(after_end(), "");
}

TEST_F(progress, on_a_terminal_stays_where_an_operation_failed)
{
    show_on(terminal);
    tell(LPA_PROGRESS__AUTHENTICATING);
    written();
    EXPECT_EQ(after_end(), "\n");
}

TEST_F(progress, on_a_terminal_is_gone_when_all_notifications_are_delivered)
{
    show_on(terminal);
    tell(LPA_PROGRESS__DELIVERING, 0, 2);
    EXPECT_EQ(written(), erased + "Delivering notifications  [..............................]  0 of 2");
    tell(LPA_PROGRESS__DELIVERING, 2, 2);
    EXPECT_EQ(written(), erased + "Delivering notifications  [##############################]  2 of 2");
    EXPECT_EQ(after_end(), erased);
}

TEST_F(progress, on_a_terminal_stays_when_a_delivery_ended_early)
{
    show_on(terminal);
    tell(LPA_PROGRESS__DELIVERING, 1, 2);
    written();
    EXPECT_EQ(after_end(), "\n");
}

TEST_F(progress, on_a_terminal_that_shows_nothing_writes_nothing)
{
    show_on(terminal);
    EXPECT_EQ(after_end(), "");
}

TEST_F(progress, is_drawn_ten_times_a_second_at_most)
{
    show_on(terminal);
    tell(LPA_PROGRESS__INSTALLING, 0, 1000);
    written();
    now += 0.0625;
    tell(LPA_PROGRESS__INSTALLING, 100, 1000);
    EXPECT_EQ(written(), "");
    now += 0.0625;
    tell(LPA_PROGRESS__INSTALLING, 200, 1000);
    EXPECT_THAT(written(), HasSubstr("200 B of 1.0 kB"));
    tell(LPA_PROGRESS__INSTALLING, 999, 1000);
    EXPECT_EQ(written(), "");
    tell(LPA_PROGRESS__INSTALLING, 1000, 1000); // the last one and a new step at once
    EXPECT_THAT(written(), HasSubstr("100%"));
    tell(LPA_PROGRESS__REPORTING);
    EXPECT_EQ(written(), erased + "Reporting the result");
}

struct rate_case {
    const char *name;
    double elapsed;
    uint32_t done, total;
    const char *shown; // behind the percentage
};
class rate : public progress, public testing::WithParamInterface<rate_case> {};

TEST_P(rate, and_remaining_time_come_from_the_clock)
{
    const rate_case &row = GetParam();
    show_on(terminal);
    columns = 200;
    tell(LPA_PROGRESS__INSTALLING, 0, row.total);
    now += row.elapsed;
    written();
    tell(LPA_PROGRESS__INSTALLING, row.done, row.total);
    const std::string line = written();
    EXPECT_EQ(line.substr(line.find('%') + 3), row.shown);
}

INSTANTIATE_TEST_SUITE_P(table, rate,
                         testing::ValuesIn(std::to_array<rate_case>({
                             {"not_in_the_first_second", 0.5, 500, 1000, "500 B of 1.0 kB"},
                             {"not_before_the_first_byte", 5, 0, 1000, "0 B of 1.0 kB"},
                             {"bytes", 2, 500, 1000, "500 B of 1.0 kB  250 B/s  0:02 left"},
                             {"kilobytes", 4, 100000, 250000, "100.0 kB of 250.0 kB  25.0 kB/s  0:06 left"},
                             {"megabytes", 2, 4000000, 8000000, "4.0 MB of 8.0 MB  2.0 MB/s  0:02 left"},
                             {"part_of_a_second", 4, 3000, 4000, "3.0 kB of 4.0 kB  750 B/s  0:02 left"},
                             {"minutes", 64, 1000, 3000, "1.0 kB of 3.0 kB  16 B/s  2:08 left"},
                             {"hours", 3000, 1000, 3000, "1.0 kB of 3.0 kB  0 B/s  1:40:00 left"},
                             {"at_the_end", 4, 4000, 4000, "4.0 kB of 4.0 kB  1.0 kB/s  0:00 left"},
                             {"longest", 4, 1, 4294967295, "1 B of 4295.0 MB  0 B/s  99:59:59 left"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

struct width_case {
    uint32_t columns;
    const char *shown;
};
class width : public progress, public testing::WithParamInterface<width_case> {};

TEST_P(width, leaves_out_what_does_not_fit)
{
    show_on(terminal);
    tell(LPA_PROGRESS__INSTALLING, 0, 66000);
    now += 10;
    written();
    columns = GetParam().columns; // the window's size may change
    tell(LPA_PROGRESS__INSTALLING, 33000, 66000);
    EXPECT_EQ(written(), erased + GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    table, width,
    testing::ValuesIn(std::to_array<width_case>({
        {200, "Installing  [###############...............]   50%  33.0 kB of 66.0 kB  3.3 kB/s  0:10 left"},
        {75, "Installing  [######.......]   50%  33.0 kB of 66.0 kB  3.3 kB/s  0:10 left"},
        {60, "Installing   50%  33.0 kB of 66.0 kB  3.3 kB/s  0:10 left"},
        {56, "Installing   50%  33.0 kB of 66.0 kB  3.3 kB/s"},
        {20, "Installing   50%"},
        {12, "Installing"},
        {6, "Insta"},
        {1, "I"},
        {0, "I"},
    })),
    [](const auto &info) { return "columns_" + std::to_string(info.param.columns); });
} // namespace
