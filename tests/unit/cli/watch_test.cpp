#include "cli/outcome.h"
#include "unit/cli/scripted_library.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {
using testing::HasSubstr;

class watch : public testing::Test {
  protected:
    void SetUp() override { library = {}; }
};

TEST_F(watch, tells_what_each_event_means)
{
    for (uint32_t number = 0; number < 9; ++number)
        library.events.push_back({"gsm.modem" + std::to_string(number % 5), number, number == 3 ? 16U : 0U,
                                  number == 1 ? "8900000000000001234" : ""});
    const run_outcome outcome = run({"watch", "--count", "9"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "modem0: profile download: done\n"
                           "modem1: profile enabling of 8900000000000001234: done\n"
                           "modem2: profile disabling: done\n"
                           "modem3: profile deletion: code 16 (result code 16)\n"
                           "modem4: notification delivery: done\n"
                           "modem0: nickname change: done\n"
                           "modem1: reset: done\n"
                           "modem2: primary profile download: done\n"
                           "modem3: event 8: done\n");
    EXPECT_EQ(outcome.err, "lpa: watch: waiting for update events, Ctrl-C ends\n");
}

TEST_F(watch, prints_a_document_a_line_with_json)
{
    library.events = {{"gsm.modem0", 1, 0, "8900000000000001234"}, {"other\x1B\xFF", 6, 14, ""}};
    const run_outcome outcome = run({"watch", "--json", "--count", "2"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              R"({"modem":"modem0","event":1,"meaning":"profile enabling","state":0,"iccid":"8900000000000001234"})"
              "\n"
              R"({"modem":"other\u001b)"
              "\xEF\xBF\xBD"
              R"(","event":6,"meaning":"reset","state":14})"
              "\n");
}

TEST_F(watch, tells_of_one_modem_only_when_it_is_named)
{
    library.events = {
        {"gsm.modem1", 0, 0, ""}, {"gsm.modem0", 1, 0, ""}, {"gsm.modem", 2, 0, ""}, {"gsm.modem1", 3, 0, ""}};
    EXPECT_EQ(run({"watch", "-m", "modem1", "--count", "2"}).out, "modem1: profile download: done\n"
                                                                  "modem1: profile deletion: done\n");
    for (const char *name : {"modem0", "modem"})
        EXPECT_EQ(run({"watch", "-m", name, "--count", "2"}).out, "modem0: profile enabling: done\n"
                                                                  "modem: profile disabling: done\n")
            << name;
}

TEST_F(watch, ends_after_so_many_events)
{
    library.events = {{"gsm.modem0", 1, 0, ""}, {"gsm.modem0", 2, 0, ""}};
    EXPECT_EQ(run({"watch", "--count", "1"}).out, "modem0: profile enabling: done\n");
}

TEST_F(watch, does_not_say_that_it_waits_when_it_is_to_be_quiet)
{
    library.events = {{"gsm.modem0", 1, 0, ""}};
    EXPECT_EQ(run({"watch", "--quiet", "--count", "1"}).err, "");
}

TEST_F(watch, takes_no_other_number_of_events)
{
    for (const char *count : {"0", "-1", "1.5", "many", "1234567890", ""})
        EXPECT_EQ(run({"watch", "--count", count}).status, EXIT__USAGE) << count;
    EXPECT_THAT(run({"watch", "--count", "0"}).err, HasSubstr("there is no such number of events: 0"));
}

TEST_F(watch, tells_that_the_bus_is_gone)
{
    library.events = {{"gsm.modem0", 1, 0, ""}};
    run_outcome outcome = run({"watch"});
    EXPECT_EQ(outcome.status, EXIT__NO_BUS);
    EXPECT_EQ(outcome.out, "modem0: profile enabling: done\n");
    EXPECT_THAT(outcome.err, HasSubstr("lpa: watch: the bus cannot be reached, or is gone"));
    library.has_bus = false;
    outcome = run({"watch", "--json"});
    EXPECT_EQ(outcome.status, EXIT__NO_BUS);
    EXPECT_EQ(json::parse(outcome.out).at("result"), EXIT__NO_BUS);
}

} // namespace
