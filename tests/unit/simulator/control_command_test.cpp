#include "simulator/control_command.h"
#include <gtest/gtest.h>

namespace {
using nlohmann::json;

TEST(control_command, is_the_one_that_it_names)
{
    const json command = {{"card", 0}, {"do", "set"}, {"piece", 5}};
    const sim::control_command asked(command, "card");
    EXPECT_EQ(asked.name(), "set");
    EXPECT_TRUE(asked.is_called("set"));
    EXPECT_TRUE(asked.is("set", "memory piece"));
    EXPECT_FALSE(asked.is_called("se"));
    EXPECT_FALSE(asked.is("reset")); // whose members are another matter
    EXPECT_THROW(sim::control_command(json{{"card", 0}}, "card"), json::exception);
    EXPECT_THROW(sim::control_command(json{{"do", 5}}, "card"), json::exception);
}

TEST(control_command, is_told_what_to_do_by_its_verb)
{
    const json command = {{"bus", "clear"}};
    EXPECT_TRUE(sim::control_command(command, "bus", "bus").is("clear"));
    const json both = {{"bus", "clear"}, {"do", "clear"}};
    EXPECT_THROW(sim::control_command(both, "bus", "bus").is("clear"), std::invalid_argument);
}

TEST(control_command, refuses_members_it_does_not_know)
{
    for (const char *member : {"peace", "piec", "piece memory", "", " ", "server"}) {
        json command = {{"card", 0}, {"do", "set"}};
        command[member] = 5;
        EXPECT_THROW(sim::control_command(command, "card").is("set", "memory piece"), std::invalid_argument) << member;
        EXPECT_THROW(sim::control_command(command, "card").is("set"), std::invalid_argument) << member;
    }
}

TEST(control_command, objects_within_a_command_are_checked_likewise)
{
    sim::check_members({{"events", json::array()}}, "events address"); // does not throw
    EXPECT_THROW(sim::check_members({{"event", json::array()}}, "events address"), std::invalid_argument);
}
} // namespace
