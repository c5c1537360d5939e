#include "simulator/at_interpreter.h"
#include "simulator/crypto.h"
#include <array>
#include <deque>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
using namespace sim;
using nlohmann::json;
using testing::ElementsAre;

// A card that answers from a list, else 9000, and notes what it is sent.
struct noted_card {
    std::vector<std::string> commands;
    std::deque<std::string> answers;
    int resets = 0;
    card_slot slot()
    {
        return {[this](byte_view command) {
                    commands.push_back(to_hex(command));
                    if (answers.empty()) return from_hex("9000");
                    const std::string answer = answers.front();
                    answers.pop_front();
                    return from_hex(answer);
                },
                [this] { ++resets; }};
    }
};

class at_commands : public testing::Test {
  protected:
    modem_reaction react(const std::string &line)
    {
        const auto reactions = modem.receive(line + "\r\n");
        EXPECT_EQ(reactions.size(), 1U);
        return reactions.empty() ? modem_reaction() : reactions[0];
    }
    std::string answer(const std::string &line) { return react(line).answer; }
    void set(const char *command) { modem.set(json::parse(command)); }
    void fault(const char *command) { modem.faults.add(json::parse(command)); }

    noted_card card;
    at_interpreter modem{2, card.slot()};
};

struct command_case {
    const char *name, *line, *answer;
};
class commands : public at_commands, public testing::WithParamInterface<command_case> {};
TEST_P(commands, are_answered) { EXPECT_EQ(answer(GetParam().line), GetParam().answer); }
INSTANTIATE_TEST_SUITE_P(table, commands,
                         testing::ValuesIn(std::to_array<command_case>({
                             {"at", "AT", "\r\nOK\r\n"},
                             {"lower_case", "at+cpin?", "\r\n+CPIN: READY\r\n\r\nOK\r\n"},
                             {"identification", "ATI",
                              "\r\nDesk\r\n\r\nRouter Modem\r\n\r\nRevision: 1.0\r\n\r\nOK\r\n"},
                             {"maker", "AT+CGMI", "\r\nDesk\r\n\r\nOK\r\n"},
                             {"model", "AT+CGMM", "\r\nRouter Modem\r\n\r\nOK\r\n"},
                             {"revision", "AT+CGMR", "\r\n1.0\r\n\r\nOK\r\n"},
                             {"serial_number", "AT+CGSN", "\r\n352099001761424\r\n\r\nOK\r\n"},
                             {"error_modes", "AT+CMEE=?", "\r\n+CMEE: (0-2)\r\n\r\nOK\r\n"},
                             {"error_mode", "AT+CMEE?", "\r\n+CMEE: 0\r\n\r\nOK\r\n"},
                             {"unknown_error_mode", "AT+CMEE=3", "\r\nERROR\r\n"},
                             {"functions", "AT+CFUN=?", "\r\n+CFUN: (0,1,4),(0,1)\r\n\r\nOK\r\n"},
                             {"function", "AT+CFUN?", "\r\n+CFUN: 1\r\n\r\nOK\r\n"},
                             {"unknown_function", "AT+CFUN=7", "\r\nERROR\r\n"},
                             {"card_access", "AT+CSIM=?", "\r\nOK\r\n"},
                             {"apdu", "AT+CSIM=10,\"0070000001\"", "\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n"},
                             {"apdu_in_lower_case", "at+csim=10,\"80ca00ff00\"", "\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n"},
                             {"unknown", "AT+UNHEARD", "\r\nERROR\r\n"},
                             {"not_a_command", "HELLO", ""},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

struct refused_case {
    const char *name, *line;
    int cme;
};
class refused_apdus : public at_commands, public testing::WithParamInterface<refused_case> {};
TEST_P(refused_apdus, give_an_error_number)
{
    answer("AT+CMEE=1");
    EXPECT_EQ(answer(GetParam().line), "\r\n+CME ERROR: " + std::to_string(GetParam().cme) + "\r\n");
    EXPECT_THAT(card.commands, testing::IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(table, refused_apdus,
                         testing::ValuesIn(std::to_array<refused_case>({
                             {"no_length", "AT+CSIM=\"0070000001\"", 50},
                             {"no_comma", "AT+CSIM=10", 50},
                             {"length_with_letters", "AT+CSIM=1A,\"0070000001\"", 50},
                             {"endless_length", "AT+CSIM=0000000010,\"0070000001\"", 50},
                             {"no_quotes", "AT+CSIM=10,0070000001", 50},
                             {"no_closing_quote", "AT+CSIM=10,\"0070000001", 50},
                             {"length_of_bytes", "AT+CSIM=5,\"0070000001\"", 50},
                             {"odd_digits", "AT+CSIM=11,\"00700000011\"", 50},
                             {"no_digits", "AT+CSIM=10,\"00700000XY\"", 50},
                             {"header_alone", "AT+CSIM=8,\"00700000\"", 3},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(at_commands, take_apdus_of_261_bytes_and_no_more)
{
    EXPECT_EQ(answer("AT+CSIM=522,\"" + std::string(522, 'A') + "\""), "\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n");
    EXPECT_EQ(answer("AT+CSIM=524,\"" + std::string(524, 'A') + "\""), "\r\nERROR\r\n");
    EXPECT_EQ(card.commands.size(), 1U);
}

TEST_F(at_commands, are_echoed_until_told_otherwise)
{
    EXPECT_EQ(react("AT").at_once, "AT\r");
    EXPECT_EQ(react("ate0").at_once, "ate0\r");
    EXPECT_EQ(react("AT").at_once, "");
    EXPECT_EQ(react("ATE1").at_once, "");
    EXPECT_EQ(react("AT").at_once, "AT\r");
}

TEST_F(at_commands, come_in_pieces)
{
    EXPECT_TRUE(modem.receive("A").empty());
    EXPECT_TRUE(modem.receive("T\n").empty());
    EXPECT_EQ(modem.receive("\r\r\nATI\rAT").size(), 2U);
    modem.forget_partial_line();
    EXPECT_EQ(modem.receive("E0\r")[0].answer, ""); // "AT" was forgotten
}

TEST_F(at_commands, meet_errors_as_the_error_mode_says)
{
    answer("AT+CFUN=0");
    EXPECT_EQ(answer("AT+CPIN?"), "\r\nERROR\r\n");
    answer("AT+CMEE=1");
    EXPECT_EQ(answer("AT+CPIN?"), "\r\n+CME ERROR: 10\r\n");
    answer("AT+CMEE=2");
    EXPECT_EQ(answer("AT+CPIN?"), "\r\n+CME ERROR: SIM not inserted\r\n");
    EXPECT_EQ(answer("AT+CSIM=10,\"0070000001\""), "\r\n+CME ERROR: SIM not inserted\r\n");
    EXPECT_EQ(answer("AT+CMEE=7"), "\r\n+CME ERROR: Incorrect parameters\r\n");
}

TEST_F(at_commands, restart_the_card)
{
    answer("ATE0");
    answer("AT+CMEE=2");
    answer("AT+CFUN=0");
    EXPECT_EQ(card.resets, 0);
    EXPECT_EQ(answer("AT+CFUN=1"), "\r\nOK\r\n");
    EXPECT_EQ(card.resets, 1);
    EXPECT_EQ(react("AT+CMEE?").at_once, "AT+CMEE?\r"); // the echo is back
    EXPECT_EQ(answer("AT+CMEE?"), "\r\n+CMEE: 0\r\n\r\nOK\r\n");
    EXPECT_EQ(answer("AT+CPIN?"), "\r\n+CPIN: READY\r\n\r\nOK\r\n");
    answer("AT+CFUN=1"); // is so already
    answer("AT+CFUN=4");
    answer("AT+CFUN=1");
    EXPECT_EQ(card.resets, 1);
    answer("AT+CFUN=1,1");
    EXPECT_EQ(card.resets, 2);
}

struct mode_case {
    const char *name, *modes, *taken;
};
class error_modes : public at_commands, public testing::WithParamInterface<mode_case> {};
TEST_P(error_modes, are_those_that_are_offered)
{
    modem.set({{"cmee_modes", GetParam().modes}});
    EXPECT_EQ(answer("AT+CMEE=?"), std::string("\r\n+CMEE: ") + GetParam().modes + "\r\n\r\nOK\r\n");
    std::string taken;
    for (const char *mode : {"0", "1", "2"})
        if (answer(std::string("AT+CMEE=") + mode) == "\r\nOK\r\n") taken += mode;
    EXPECT_EQ(taken, GetParam().taken);
}
INSTANTIATE_TEST_SUITE_P(table, error_modes,
                         testing::ValuesIn(std::to_array<mode_case>({
                             {"range", "(0-2)", "012"},
                             {"short_range", "(0-1)", "01"},
                             {"list", "(0,2)", "02"},
                             {"one", "0", "0"},
                             {"none", "", ""},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(at_commands, refuse_to_switch_on_for_a_while)
{
    set(R"({"cfun_errors":2})");
    EXPECT_EQ(answer("AT+CFUN=0"), "\r\nOK\r\n");
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(answer("AT+CFUN=1"), "\r\nERROR\r\n");
    EXPECT_EQ(card.resets, 0);
    EXPECT_EQ(answer("AT+CFUN=1"), "\r\nOK\r\n");
    EXPECT_EQ(card.resets, 1);
}

TEST_F(at_commands, are_logged_without_line_ends)
{
    answer("AT");
    fault(R"({"kind":"error"})");
    answer("ATI");
    ASSERT_EQ(modem.log.size(), 2U);
    EXPECT_EQ(modem.log[0].command, "AT");
    EXPECT_EQ(modem.log[0].answer, "OK");
    EXPECT_EQ(modem.log[0].fault, nullptr);
    EXPECT_EQ(modem.log[1].command, "ATI");
    EXPECT_EQ(modem.log[1].answer, "ERROR");
    EXPECT_STREQ(modem.log[1].fault, "error");
}

struct habit_case {
    const char *name, *habits, *answer; // to an APDU whose response is AB9000
};
class habits : public at_commands, public testing::WithParamInterface<habit_case> {};
TEST_P(habits, shape_the_answer)
{
    set(GetParam().habits);
    card.answers = {"AB9000"};
    EXPECT_EQ(answer("AT+CSIM=10,\"80CA00FF00\""), GetParam().answer);
}
INSTANTIATE_TEST_SUITE_P(table, habits,
                         testing::ValuesIn(std::to_array<habit_case>({
                             {"none", "{}", "\r\n+CSIM: 6,\"AB9000\"\r\n\r\nOK\r\n"},
                             {"no_quotes", R"({"quotes":false})", "\r\n+CSIM: 6,AB9000\r\n\r\nOK\r\n"},
                             {"no_blank", R"({"blank":false})", "\r\n+CSIM:6,\"AB9000\"\r\n\r\nOK\r\n"},
                             {"lower_case", R"({"lower_case":true})", "\r\n+CSIM: 6,\"ab9000\"\r\n\r\nOK\r\n"},
                             {"cr_cr_lf", R"({"cr_cr_lf":true})", "\r\r\n+CSIM: 6,\"AB9000\"\r\r\n\r\r\nOK\r\r\n"},
                             {"short_lines_ignore", R"({"line_limit":10})", ""},
                             {"short_lines_repeat", R"({"line_limit":10,"beyond_limit":"repeat"})", ""},
                             {"line_fits", R"({"line_limit":23})", "\r\n+CSIM: 6,\"AB9000\"\r\n\r\nOK\r\n"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(at_commands, beyond_the_line_limit_bring_the_previous_answer_again)
{
    set(R"({"line_limit":3,"beyond_limit":"repeat"})");
    answer("ATI");
    EXPECT_THAT(answer("AT+CPIN?"), testing::HasSubstr("Router Modem"));
    EXPECT_STREQ(modem.log[1].fault, "line_limit");
}

TEST_F(at_commands, follow_61xx_when_the_modem_does_that)
{
    card.answers = {"6102", "AA6101", "BB9000"};
    set(R"({"collects":true})");
    EXPECT_EQ(answer("AT+CSIM=12,\"81E2910000FF\""), "\r\n+CSIM: 8,\"AABB9000\"\r\n\r\nOK\r\n");
    EXPECT_THAT(card.commands, ElementsAre("81E2910000FF", "81C0000002", "81C0000001"));
}

TEST_F(at_commands, leave_61xx_alone_otherwise)
{
    card.answers = {"6102"};
    EXPECT_EQ(answer("AT+CSIM=10,\"81E2910000\""), "\r\n+CSIM: 4,\"6102\"\r\n\r\nOK\r\n");
}

TEST_F(at_commands, are_answered_busy_after_a_restart)
{
    set(R"({"sim_busy":2,"occupies_channel":true,"announces_restart":true})");
    answer("AT+CFUN=0");
    EXPECT_EQ(answer("AT+CFUN=1"), "\r\nOK\r\n\r\nRDY\r\n\r\n+CPIN: READY\r\n");
    answer("AT+CMEE=1");
    EXPECT_EQ(answer("AT+CPIN?"), "\r\n+CME ERROR: 14\r\n");
    EXPECT_EQ(answer("AT+CPIN?"), "\r\n+CME ERROR: 14\r\n");
    EXPECT_EQ(answer("AT+CPIN?"), "\r\n+CPIN: READY\r\n\r\nOK\r\n");
    EXPECT_THAT(card.commands, ElementsAre("0070000001")); // the modem's own channel
}

TEST_F(at_commands, follow_a_refresh_as_the_modem_is_used_to)
{
    card.answers = {"9114", "9114", "9114"};
    EXPECT_FALSE(react("AT+CSIM=10,\"81E2910000\"").vanishes);
    EXPECT_EQ(card.resets, 0);
    set(R"({"refresh":"restart"})");
    EXPECT_FALSE(react("AT+CSIM=10,\"81E2910000\"").vanishes);
    EXPECT_EQ(card.resets, 1);
    set(R"({"refresh":"vanish","vanish_ms":30})");
    const auto reaction = react("AT+CSIM=10,\"81E2910000\"");
    EXPECT_TRUE(reaction.vanishes);
    EXPECT_EQ(reaction.return_ms, 30);
    EXPECT_EQ(card.resets, 2);
}

TEST_F(at_commands, may_take_the_terminal_away)
{
    set(R"({"vanish_ms":20})");
    EXPECT_FALSE(react("AT+CFUN=0").vanishes);
    const auto reaction = react("AT+CFUN=1");
    EXPECT_TRUE(reaction.vanishes);
    EXPECT_EQ(reaction.return_ms, 20);
    EXPECT_EQ(reaction.answer, "\r\nOK\r\n");
}

TEST_F(at_commands, meet_unsolicited_lines_in_three_places)
{
    set(R"({"unsolicited_every":2})");
    std::vector<std::string> seen;
    for (int i = 0; i < 6; ++i) {
        const auto reaction = react("AT");
        seen.push_back(reaction.at_once + "|" + reaction.answer);
    }
    EXPECT_THAT(seen, ElementsAre("AT\r|\r\nOK\r\n", "AT\r\r\n+CREG: 1\r\n|\r\nOK\r\n", "AT\r|\r\nOK\r\n",
                                  "\r\n+CGEV: ME DETACH\r\nAT\r|\r\nOK\r\n", "AT\r|\r\nOK\r\n",
                                  "AT\r|\r\nOK\r\n\r\n+CIEV: 1,3\r\n"));
}

TEST_F(at_commands, tell_the_pin_state_that_was_set)
{
    set(R"({"pin":"SIM PIN"})");
    EXPECT_EQ(answer("AT+CPIN?"), "\r\n+CPIN: SIM PIN\r\n\r\nOK\r\n");
}

struct fault_case {
    const char *name, *fault, *answer; // to an APDU whose response is AABBCC9000
    bool executed;
};
class faults : public at_commands, public testing::WithParamInterface<fault_case> {};
TEST_P(faults, spoil_the_answer)
{
    fault(GetParam().fault);
    card.answers = {"AABBCC9000"};
    EXPECT_EQ(answer("AT+CSIM=10,\"80CA00FF00\""), GetParam().answer);
    EXPECT_EQ(card.commands.size(), GetParam().executed ? 1U : 0U);
    card.answers = {};
    EXPECT_EQ(answer("AT+CSIM=10,\"80CA00FF00\""), "\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n");
}
INSTANTIATE_TEST_SUITE_P(
    table, faults,
    testing::ValuesIn(std::to_array<fault_case>({
        {"error", R"({"kind":"error"})", "\r\nERROR\r\n", false},
        {"error_after_execution", R"({"kind":"error","after":true})", "\r\nERROR\r\n", true},
        {"error_at_apdu", R"({"kind":"error","apdu":true})", "\r\nERROR\r\n", false},
        {"cme_error_whatever_cmee_says", R"({"kind":"cme-error","text":"14"})", "\r\n+CME ERROR: 14\r\n", false},
        {"status_word", R"({"kind":"status-word","apdu":true,"text":"6985"})", "\r\n+CSIM: 4,\"6985\"\r\n\r\nOK\r\n",
         false},
        {"data_and_status_word", R"({"kind":"status-word","text":"019000"})", "\r\n+CSIM: 6,\"019000\"\r\n\r\nOK\r\n",
         false},
        {"answer", R"({"kind":"answer","text":"\r\n+CSIM: 2,\"90\"\r\nOK\r\n"})", "\r\n+CSIM: 2,\"90\"\r\nOK\r\n",
         false},
        {"half_of_it", R"({"kind":"truncate"})", "\r\n+CSIM: 10,\"AABB\"\r\n\r\nOK\r\n", true},
        {"three_digits_of_it", R"({"kind":"truncate","length":3})", "\r\n+CSIM: 10,\"AAB\"\r\n\r\nOK\r\n", true},
        {"no_digit_of_it", R"({"kind":"truncate","length":0})", "\r\n+CSIM: 10,\"\"\r\n\r\nOK\r\n", true},
        {"more_than_it_has", R"({"kind":"truncate","length":11})", "\r\n+CSIM: 10,\"AABBCC9000\"\r\n\r\nOK\r\n", true},
        {"odd", R"({"kind":"odd","apdu":true})", "\r\n+CSIM: 10,\"AABBCC900\"\r\n\r\nOK\r\n", true},
        {"no_digits", R"({"kind":"no-digits"})", "\r\n+CSIM: 10,\"ZZZZZZZZZZ\"\r\n\r\nOK\r\n", true},
        {"garbage", R"({"kind":"garbage"})",
         "\r\n+CIEV: 1,3\r\n\x01\x7f~\r\n+CSIM: 10,\"AABBCC9000\"\r\n\r\nOK\r\n\r\n+CIEV: 1,3\r\n\x01\x7f~", true},
        {"silence", R"({"kind":"silence"})", "", false},
        {"silence_after_execution", R"({"kind":"silence","after":true})", "", true},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(at_commands, meet_faults_by_number_and_contents)
{
    fault(R"({"kind":"status-word","apdu":true,"text":"6F00","contains":"81E2","nth":2,"times":2})");
    std::string seen;
    for (const char *apdu : {"81E2000000", "80CA000000", "81E2000000", "81E2000000", "81E2000000"})
        seen += answer("AT+CSIM=10,\"" + std::string(apdu) + "\"").substr(12, 4) + " ";
    EXPECT_EQ(seen, "9000 9000 6F00 6F00 9000 ");
    EXPECT_EQ(modem.faults.describe()[0]["counted"], 4);
}

TEST_F(at_commands, meet_a_fault_for_ever)
{
    fault(R"({"kind":"error","times":0,"nth":2})");
    EXPECT_EQ(answer("AT"), "\r\nOK\r\n");
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(answer("AT"), "\r\nERROR\r\n");
    modem.faults.clear();
    EXPECT_EQ(answer("AT"), "\r\nOK\r\n");
}

TEST_F(at_commands, meet_the_first_of_two_faults)
{
    fault(R"({"kind":"error"})");
    fault(R"({"kind":"silence","times":2})");
    EXPECT_EQ(answer("AT"), "\r\nERROR\r\n");
    EXPECT_EQ(answer("AT"), "");
}

TEST_F(at_commands, count_every_command_or_apdus_alone)
{
    fault(R"({"kind":"silence","nth":2})");
    fault(R"({"kind":"error","apdu":true,"contains":"00700000"})");
    EXPECT_EQ(answer("AT"), "\r\nOK\r\n");
    EXPECT_EQ(answer("AT"), "");
    EXPECT_EQ(answer("AT+CSIM=10,\"0070000001\""), "\r\nERROR\r\n");
    EXPECT_EQ(modem.describe()["faults_fired"], 2);
}

TEST_F(at_commands, spoil_digits_without_quotes_and_other_lines)
{
    set(R"({"quotes":false})");
    fault(R"({"kind":"odd","times":2})");
    EXPECT_EQ(answer("AT+CSIM=10,\"0070000001\""), "\r\n+CSIM: 4,900\r\n\r\nOK\r\n");
    EXPECT_EQ(answer("AT+CGMI"), "\r\nDes\r\n\r\nOK\r\n");
}

TEST_F(at_commands, meet_a_power_cut)
{
    answer("AT+CMEE=2");
    fault(R"({"kind":"power-cut","apdu":true,"after":true})");
    EXPECT_EQ(answer("AT+CSIM=10,\"81E2000000\""), "\r\n+CME ERROR: SIM failure\r\n");
    EXPECT_EQ(card.commands.size(), 1U);
    EXPECT_EQ(card.resets, 1);
    fault(R"({"kind":"power-cut"})");
    answer("AT+CSIM=10,\"81E2000000\"");
    EXPECT_EQ(card.commands.size(), 1U);
}

TEST_F(at_commands, meet_a_signal_to_a_process_instead_of_an_answer)
{
    for (const int number : {SIGKILL, SIGTERM}) {
        const pid_t process = fork();
        if (process == 0)
            for (;;)
                pause();
        modem.faults.add({{"kind", "kill"}, {"pid", process}, {"signal", number}, {"after", number == SIGTERM}});
        EXPECT_EQ(answer("AT+CSIM=10,\"81E2000000\""), "");
        EXPECT_EQ(card.commands.size(), number == SIGTERM ? 1U : 0U);
        int status = 0;
        EXPECT_EQ(waitpid(process, &status, 0), process);
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), number);
    }
    for (const int many : {1, 0, -1})
        EXPECT_THROW(modem.faults.add({{"kind", "kill"}, {"pid", many}}), std::invalid_argument) << many;
    EXPECT_ANY_THROW(modem.faults.add({{"kind", "kill"}}));
}

TEST_F(at_commands, meet_a_card_that_loses_its_power_by_itself)
{
    card.answers = {""};
    answer("AT+CMEE=1");
    EXPECT_EQ(answer("AT+CSIM=10,\"81E2000000\""), "\r\n+CME ERROR: 13\r\n");
}

TEST_F(at_commands, meet_a_hang_up)
{
    fault(R"({"kind":"hang-up"})");
    const auto reaction = react("AT");
    EXPECT_TRUE(reaction.vanishes);
    EXPECT_EQ(reaction.return_ms, -1);
    EXPECT_EQ(reaction.answer, "");
}

TEST_F(at_commands, refuse_unknown_switches_and_faults)
{
    for (const char *command : {R"({"unheard":1})", R"({"refresh":"often"})", R"({"beyond_limit":"break"})"})
        EXPECT_THROW(set(command), std::invalid_argument) << command;
    EXPECT_THROW(set(R"({"pin":1})"), json::exception);
    for (const char *command :
         {R"({"kind":"unheard"})", R"({"kind":"error","unheard":1})", R"({"kind":"error","nth":0})",
          R"({"kind":"status-word"})", R"({"kind":"status-word","text":"90"})",
          R"({"kind":"status-word","text":"90000"})", R"({"kind":"status-word","text":"90xx"})"})
        EXPECT_THROW(fault(command), std::invalid_argument) << command;
    EXPECT_THROW(fault("{}"), json::exception);
}

TEST_F(at_commands, describe_the_modem)
{
    set(R"({"latency_ms":5,"echo":false})");
    answer("AT+CFUN=4");
    const json told = modem.describe();
    EXPECT_EQ(told["echo"], false);
    EXPECT_EQ(told["cmee"], 0);
    EXPECT_EQ(told["radio"], false);
    EXPECT_EQ(told["imei"], "352099001761424");
    EXPECT_EQ(told["faults"], json::array());
    EXPECT_EQ(told["function"], 4);
    EXPECT_EQ(told["commands"], 1);
    EXPECT_EQ(told["switches"]["latency_ms"], 5);
    EXPECT_EQ(told["switches"]["quotes"], true);
}
} // namespace
