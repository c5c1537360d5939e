// The host program in a pseudo-terminal.
#include "system/system_test.h"
#include "system/terminal_program.h"
#include <csignal>

namespace {
using testing::HasSubstr;
using testing::IsEmpty;

class terminal : public system_test {
  protected:
    terminal() { setenv("TERM", "xterm", 1); }
};

TEST_F(terminal, asks_before_it_deletes)
{
    desk.card_does({{"do", "add-profile"}, {"iccid", "8999900000000000017"}, {"name", "One"}});
    terminal_program lpa({LPA_PROGRAM, "--no-reload", "delete", "8999900000000000017"});
    ASSERT_TRUE(lpa.shows("[y/N] ")) << lpa.screen();
    EXPECT_EQ(desk.card().at("profiles").size(), 1U);
    lpa.type("y\n");
    EXPECT_EQ(lpa.wait(), 0);
    EXPECT_TRUE(desk.card().at("profiles").empty());
}

TEST_F(terminal, leaves_the_card_whole_when_interrupted)
{
    const json ordered = desk.add_order(order());
    const std::string code = ordered.at("activation_code");
    desk.server_does({{"do", "add-fault"}, {"endpoint", "getBoundProfilePackage"}, {"kind", "silence"}});
    terminal_program lpa({LPA_PROGRAM, "--log-to-console", "download", code});
    ASSERT_TRUE(lpa.shows("ES9.GetBoundProfilePackage")) << lpa.screen();
    lpa.type("\x03");
    EXPECT_EQ(lpa.wait(), 128 + SIGINT);
    EXPECT_THAT(lpa.screen(), HasSubstr("lpa: interrupted"));
    EXPECT_THAT(desk.card().at("profiles"), IsEmpty());
    desk.server_does({{"do", "clear-faults"}}); // the request may not have got there
    terminal_program again({LPA_PROGRAM, "download", code});
    EXPECT_EQ(again.wait(), 0) << again.screen();
    EXPECT_EQ(desk.card().at("profiles").size(), 1U);
    EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());
}

TEST_F(terminal, asks_for_the_confirmation_code_without_showing_it)
{
    const std::string code = desk.add_order(order({{"confirmation_code", "2468"}})).at("activation_code");
    terminal_program lpa({LPA_PROGRAM, "download", code});
    ASSERT_TRUE(lpa.shows("not shown): ")) << lpa.screen();
    lpa.type("2468\n");
    EXPECT_EQ(lpa.wait(), 0) << lpa.screen();
    EXPECT_EQ(lpa.screen().find("2468"), std::string::npos);
    EXPECT_EQ(desk.card().at("profiles").size(), 1U);
}

TEST_F(terminal, shows_what_is_typed_again_after_an_interrupted_question)
{
    for (const auto &[key, signal] : {std::pair{"\x03", SIGINT}, {"\x1A", SIGTSTP}}) {
        terminal_program lpa({LPA_PROGRAM, "download", "1$localhost$TOKEN$$1"});
        ASSERT_TRUE(lpa.shows("not shown): ")) << lpa.screen();
        EXPECT_FALSE(lpa.echoes());
        lpa.type(key);
        EXPECT_EQ(lpa.wait(), 128 + signal);
        EXPECT_TRUE(lpa.echoes());
    }
}

TEST_F(terminal, watches_the_other_commands)
{
    desk.card_does({{"do", "add-profile"}, {"iccid", "8999900000000000017"}});
    terminal_program watch({LPA_PROGRAM, "watch", "--count", "2"});
    terminal_program documents({LPA_PROGRAM, "watch", "--json"});
    ASSERT_TRUE(watch.shows("waiting for update events")) << watch.screen();
    ASSERT_TRUE(documents.shows("waiting for update events")) << documents.screen();
    EXPECT_EQ(run(LPA__set_profile_nickname, "modem0", "8999900000000000017", "Spare").code, 0U);
    EXPECT_EQ(run(LPA__process_notifications, "modem0").code, 0U);
    EXPECT_TRUE(watch.shows("modem0: nickname change of 8999900000000000017: done\r\n")) << watch.screen();
    EXPECT_TRUE(watch.shows("modem0: notification delivery: done\r\n")) << watch.screen();
    EXPECT_EQ(watch.wait(), 0);
    EXPECT_TRUE(documents.shows(R"({"modem":"modem0","event":5,"meaning":"nickname change","state":0,)"
                                R"("iccid":"8999900000000000017"})"
                                "\r\n"))
        << documents.screen();
    documents.type("\x03");
    EXPECT_EQ(documents.wait(), 128 + SIGINT);
    EXPECT_EQ(documents.screen().find("interrupted"), std::string::npos) << "nobody asked for a card";
}

TEST_F(terminal, uses_colours_unless_told_not_to)
{
    desk.card_does({{"do", "add-profile"}, {"iccid", "8999900000000000017"}, {"enabled", true}});
    terminal_program coloured({LPA_PROGRAM, "profiles"});
    EXPECT_TRUE(coloured.shows("\x1B[32menabled\x1B[0m")) << coloured.screen();
    setenv("NO_COLOR", "1", 1);
    terminal_program plain({LPA_PROGRAM, "profiles"});
    unsetenv("NO_COLOR");
    EXPECT_EQ(plain.wait(), 0);
    EXPECT_THAT(plain.screen(), HasSubstr("enabled"));
    EXPECT_EQ(plain.screen().find('\x1B'), std::string::npos);
}
} // namespace
