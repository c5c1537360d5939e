#include "cli/outcome.h"
#include "unit/cli/scripted_library.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace {

using testing::HasSubstr;

class program : public testing::Test {
  protected:
    void SetUp() override { library = {}; }
};

// ---- Commands -----------------------------------------------------------------------------------------------------

struct command_case {
    const char *name;
    std::vector<const char *> arguments;
    const char *call;
    const char *document; // null: none
    const char *out;
};
void PrintTo(const command_case &row, std::ostream *out) { *out << row.name; }

class command_test : public program, public testing::WithParamInterface<command_case> {};

TEST_P(command_test, calls_its_operation_and_shows_the_document)
{
    const command_case &row = GetParam();
    if (row.document) library.document = row.document;
    const run_outcome outcome = run(row.arguments);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, row.out);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(library.calls, std::vector<std::string>{row.call});
}

TEST_P(command_test, prints_exactly_one_document_with_json)
{
    const command_case &row = GetParam();
    if (row.document) library.document = row.document;
    std::vector<const char *> arguments = row.arguments;
    arguments.push_back("--json");
    const run_outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, std::string(row.document ? row.document : R"({"result":0,"description":"code 0"})") + "\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_P(command_test, exits_with_the_result_code_and_describes_it)
{
    const command_case &row = GetParam();
    library.code = 11;
    run_outcome outcome = run(row.arguments);
    EXPECT_EQ(outcome.status, 11);
    EXPECT_EQ(outcome.out, "");
    const std::string message = outcome.err;
    EXPECT_THAT(message, testing::StartsWith(std::string("lpa: ") + row.arguments[0] +
                                             ": code 11 (result code 11)\n  Why:  The server could not be reached.\n"));
    std::vector<const char *> arguments = row.arguments;
    arguments.push_back("--json");
    outcome = run(arguments);
    EXPECT_EQ(outcome.status, 11);
    EXPECT_EQ(outcome.out, "{\"result\":11,\"description\":\"code 11\"}\n");
    EXPECT_EQ(outcome.err, message);
}

#define ICCID "8901234567890123456"
constexpr const char *result_document = R"({"result":0,"description":"Profile enabled"})";

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, command_test, testing::ValuesIn(std::vector<command_case>{
    {"eid", {"eid"}, "get_eid modem0", R"({"eid":"89049032123451234512345678901235"})", "EID: 89049032123451234512345678901235\n"},
    {"no_profiles", {"profiles"}, "get_profiles modem0", "[]", "No profiles.\n"},
    {"profiles", {"profiles"}, "get_profiles modem0",
        R"([{"iccid":"8901234567890123456","status":1,"nickname":"Büro","provider":"Op","name":"Data","bootstrap":0},{"iccid":"89012345678901234571","status":0,"bootstrap":1},{"bootstrap":0}])",
        "ICCID                 STATE     NAME  PROVIDER  NICKNAME\n"
        "8901234567890123456   enabled   Data  Op        Büro\n"
        "89012345678901234571  disabled  -     -         -         bootstrap\n"
        "-                     -         -     -         -\n"},
    {"profile_of_an_unknown_state", {"profiles"}, "get_profiles modem0", R"([{"status":7}])",
        "ICCID  STATE  NAME  PROVIDER  NICKNAME\n-      7      -     -         -\n"},
    {"no_notifications", {"notifications"}, "get_notifications modem0", "[]", "No notifications.\n"},
    {"notifications", {"notifications"}, "get_notifications modem0",
        R"([{"sequence_number":5,"event":0,"address":"a.example","iccid":"8901234567890123456"},{"sequence_number":258,"event":3,"address":"b.example"}])",
        "NUMBER  EVENT    ICCID                ADDRESS\n"
        "5       install  8901234567890123456  a.example\n"
        "258     delete   -                    b.example\n"},
    {"addresses", {"addresses"}, "get_addresses modem0", R"({"smds":"ds.example","smdp":"dp.example"})", "Root SM-DS:      ds.example\nDefault SM-DP+:  dp.example\n"},
    {"addresses_without_smdp", {"addresses"}, "get_addresses modem0", R"({"smds":"ds.example"})", "Root SM-DS:      ds.example\nDefault SM-DP+:  -\n"},
    {"memory", {"memory"}, "get_free_memory modem0", R"({"free_memory":65536})", "Free memory:     65536 bytes\n"},
    {"download", {"download", "LPA:1$dp.example$T"}, "start_rsp modem0 LPA:1$dp.example$T ", R"({"result":0,"description":"Profile installed","iccid":"8901234567890123456"})", "Profile installed: ICCID 8901234567890123456\n"},
    {"download_with_confirmation_code", {"download", "1$a$b", "--confirmation-code", "12 34"}, "start_rsp modem0 1$a$b 12 34", result_document, "Profile enabled\n"},
    {"enable", {"enable", ICCID}, "enable_profile modem0 " ICCID, result_document, "Profile enabled\n"},
    {"disable", {"disable", ICCID}, "disable_profile modem0 " ICCID, result_document, "Profile enabled\n"},
    {"delete_with_yes", {"delete", ICCID, "--yes"}, "delete_profile modem0 " ICCID, result_document, "Profile enabled\n"},
    {"nickname", {"nickname", ICCID, "my office"}, "set_profile_nickname modem0 " ICCID " my office", result_document, "Profile enabled\n"},
    {"nickname_removed", {"nickname", ICCID, ""}, "set_profile_nickname modem0 " ICCID " ", result_document, "Profile enabled\n"},
    {"set_smdp", {"set-smdp", "dp.example"}, "set_smdp_address modem0 dp.example", result_document, "Profile enabled\n"},
    {"set_smdp_removed", {"set-smdp", ""}, "set_smdp_address modem0 ", result_document, "Profile enabled\n"},
    {"process_notifications", {"process-notifications"}, "process_notifications modem0", nullptr, "Notifications processed.\n"},
    {"reset_memory_with_yes", {"reset-memory", "--yes"}, "reset_memory modem0", nullptr, "Memory reset.\n"},
    {"reset_settings_with_yes", {"reset-settings", "--yes"}, "reset_settings modem0", nullptr, "Settings reset.\n"},
}), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

// ---- Outcomes -----------------------------------------------------------------------------------------------------

TEST_F(program, tells_the_cards_own_result)
{
    library.code = 16;
    library.document = R"({"result":2,"description":"Profile not enabled. The profile was not in disabled state"})";
    run_outcome outcome = run({"enable", ICCID});
    EXPECT_EQ(outcome.status, 16);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, testing::StartsWith("lpa: enable: the card reported a result of its own: Profile not "
                                                 "enabled. The profile was not in disabled state (result code 16)\n"));
    outcome = run({"--json", "enable", ICCID});
    EXPECT_EQ(outcome.status, 16);
    EXPECT_EQ(outcome.out, *library.document + "\n");
}

class failure : public program, public testing::WithParamInterface<uint32_t> {};

TEST_P(failure, tells_what_happened_why_and_what_to_do)
{
    library.code = GetParam();
    const std::string number = std::to_string(GetParam());
    const run_outcome outcome = run({"eid"});
    EXPECT_EQ(outcome.status, static_cast<int>(GetParam()));
    EXPECT_THAT(outcome.err, testing::MatchesRegex("lpa: eid: [^\n]+ \\(result code " + number +
                                                   "\\)\n  Why:  [^\n]+\\.\n  Next: [^\n]+\\.?\n"));
    EXPECT_EQ(outcome.err.find("without a meaning") != std::string::npos, GetParam() == 19);
    EXPECT_EQ(run({"eid", "--json"}).out, "{\"result\":" + number + ",\"description\":\"code " + number + "\"}\n");
}

INSTANTIATE_TEST_SUITE_P(codes, failure, testing::Range(1U, 20U));

TEST_F(program, tells_what_code_17_means)
{
    library.code = 17;
    EXPECT_THAT(run({"eid"}).err, testing::StartsWith("lpa: eid: eUICC not reached (result code 17)\n"));
}

TEST_F(program, tells_a_code_without_description)
{
    library.code = 9;
    library.describes_codes = false;
    const run_outcome outcome = run({"eid", "--json"});
    EXPECT_EQ(outcome.status, 9);
    EXPECT_EQ(outcome.out, "{\"result\":9,\"description\":\"no description\"}\n");
    EXPECT_THAT(outcome.err, testing::StartsWith("lpa: eid: no description (result code 9)\n"));
}

TEST_F(program, fails_when_what_was_asked_for_cannot_be_read)
{
    for (const char *command : {"eid", "profiles", "notifications", "addresses", "memory", "status"}) {
        const run_outcome outcome = run({command});
        EXPECT_EQ(outcome.status, 8) << command;
        EXPECT_EQ(outcome.out, "") << command;
        EXPECT_THAT(outcome.err, HasSubstr(" (result code 8)\n")) << command;
    }
    EXPECT_EQ(run({"eid", "--json"}).out, "{\"result\":8,\"description\":\"the card's answer could not be read\"}\n");
}

TEST_F(program, tells_when_what_was_done_has_no_document)
{
    const run_outcome outcome = run({"set-smdp", "smdp.example"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "lpa: set-smdp: done, but the card's answer could not be read; see /tmp/mobile/lpa.log\n");
}

run_outcome run_without_output(const std::vector<const char *> &arguments)
{
    std::vector<const char *> words = {"lpa"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::istringstream in;
    std::ostringstream out;
    std::ostringstream err;
    out.setstate(std::ios::badbit);
    const int status = run_program(static_cast<int>(words.size()), words.data(), in, out, err);
    return {status, out.str(), err.str()};
}

TEST_F(program, tells_when_standard_output_takes_nothing)
{
    library.document = "[]";
    library.events = {{"gsm.modem0", 1, 0, ""}};
    for (const auto &arguments : std::vector<std::vector<const char *>>{
             {"profiles"}, {"profiles", "--json"}, {"--help"}, {"--version"}, {"watch", "-q", "--count", "1"}}) {
        const run_outcome outcome = run_without_output(arguments);
        EXPECT_EQ(outcome.status, EXIT__NOT_WRITTEN) << arguments[0];
        EXPECT_EQ(outcome.err, "lpa: cannot write to standard output\n") << arguments[0];
    }
}

TEST_F(program, does_not_hide_a_failure_behind_an_outcome_that_was_not_written)
{
    library.code = 15;
    EXPECT_EQ(run_without_output({"profiles"}).status, 15);
    EXPECT_EQ(run_without_output({"delete", ICCID, "--json"}).status, EXIT__NOT_CONFIRMED);
}

// ---- Texts from the card ------------------------------------------------------------------------------------------

TEST_F(program, shows_no_control_character_of_a_text)
{
    library.document =
        "[{\"iccid\":\"89\",\"name\":\"a\x1B[31m\nb\x7F\",\"provider\":\"\xC2\x9B\xE2\x80\xAE\",\"nickname\":\"\xFF\"}]";
    const run_outcome outcome = run({"profiles"});
    EXPECT_EQ(outcome.out, "ICCID  STATE  NAME                PROVIDER      NICKNAME\n"
                           "89     -      a\\x1B[31m\\x0Ab\\x7F  \\u009B\\u202E  \xEF\xBF\xBD\n");
}

TEST_F(program, prints_json_with_control_characters_escaped)
{
    library.document = "[{\"name\":\"a\x1B[31m\nb\x7F\xC2\x9B\xFF é\"}]";
    EXPECT_EQ(run({"profiles", "--json"}).out, "[{\"name\":\"a\\u001b[31m\\nb\\u007f\\u009b\xEF\xBF\xBD é\"}]\n");
}

TEST_F(program, shows_a_name_with_quote_and_backslash)
{
    library.document = R"([{"iccid":"89","name":"5" or 6\7","bootstrap":0}])";
    EXPECT_EQ(run({"profiles"}).out, "ICCID  STATE  NAME       PROVIDER  NICKNAME\n"
                                     "89     -      5\" or 6\\7  -         -\n");
    EXPECT_EQ(run({"profiles", "--json"}).out, R"([{"iccid":"89","name":"5\" or 6\\7","bootstrap":0}])"
                                               "\n");
}

TEST_F(program, shows_a_document_that_cannot_be_read_as_it_is)
{
    library.document = "[{\"name\":\"a\"b\x1B\"";
    EXPECT_EQ(run({"profiles"}).out, "[{\"name\":\"a\"b\\x1B\"\n");
    EXPECT_EQ(run({"profiles", "--json"}).out,
              R"({"result":0,"description":"code 0","document":"[{\"name\":\"a\"b\u001b\""})"
              "\n");
}

TEST_F(program, shows_a_result_that_cannot_be_read_as_it_is)
{
    library.code = 16;
    library.document = "{\"description\":\"a\"b\n";
    EXPECT_THAT(run({"eid"}).err, testing::StartsWith("lpa: eid: the card reported a result of its own: "
                                                      "{\"description\":\"a\"b\\x0A (result code 16)\n"));
}

// ---- Options ------------------------------------------------------------------------------------------------------

TEST_F(program, takes_the_modem_before_or_after_the_command)
{
    library.document = "[]";
    run({"-m", "modem1", "profiles"});
    run({"profiles", "--modem", "modem4"});
    run({"profiles", "-m", "modem"});
    EXPECT_EQ(library.calls,
              (std::vector<std::string>{"get_profiles modem1", "get_profiles modem4", "get_profiles modem"}));
}

TEST_F(program, hands_the_switches_to_the_library)
{
    library.document = "[]";
    run({"profiles"});
    EXPECT_EQ(library.reload_disabled, 0);
    EXPECT_EQ(library.proxy, "none");
    run({"--no-reload", "--proxy", "10.0.0.1:1080", "profiles"});
    EXPECT_EQ(library.reload_disabled, 1);
    EXPECT_EQ(library.proxy, "10.0.0.1:1080");
}

TEST_F(program, sets_log_level_and_console_each_alone)
{
    library.document = "[]";
    run({"profiles"});
    EXPECT_EQ(library.log_level, -1);
    EXPECT_FALSE(library.logs_to_console);
    run({"--log-level", "4", "profiles"});
    EXPECT_EQ(library.log_level, 4);
    EXPECT_FALSE(library.logs_to_console);
    library.log_level = -1;
    run({"profiles", "--log-to-console"});
    EXPECT_EQ(library.log_level, -1);
    EXPECT_TRUE(library.logs_to_console);
}

TEST_F(program, shows_colours_on_a_terminal_only)
{
    library.document = R"([{"iccid":"89","status":1,"name":"enabled","bootstrap":0}])";
    EXPECT_EQ(run({"profiles"}, "", {.colours = true}).out,
              "\x1B[1mICCID\x1B[0m  \x1B[1mSTATE\x1B[0m    \x1B[1mNAME\x1B[0m     \x1B[1mPROVIDER\x1B[0m  "
              "\x1B[1mNICKNAME\x1B[0m\n"
              "89     \x1B[32menabled\x1B[0m  enabled  -         -\n");
    EXPECT_EQ(run({"profiles"}).out.find('\x1B'), std::string::npos);
    EXPECT_EQ(run({"profiles", "--json"}, "", {.colours = true}).out.find('\x1B'), std::string::npos);
}

TEST_F(program, prints_its_version)
{
    const run_outcome outcome = run({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, testing::MatchesRegex("lpa [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(program, prints_help_with_commands_and_exit_statuses)
{
    const run_outcome outcome = run({"--help"});
    EXPECT_EQ(outcome.status, 0);
    for (const char *part :
         {"eid", "profiles", "process-notifications", "reset-settings", "--modem", "--json",
          "16  the card reported a result of its own", "64  wrong usage", "65  not confirmed", "130  interrupted"})
        EXPECT_THAT(outcome.out, HasSubstr(part));
    EXPECT_EQ(outcome.err, "");
}

TEST_F(program, prints_help_of_a_command)
{
    const run_outcome outcome = run({"download", "--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("--confirmation-code"));
    EXPECT_TRUE(library.calls.empty());
}

class wrong_usage : public program, public testing::WithParamInterface<std::vector<const char *>> {};

TEST_P(wrong_usage, exits_with_64_and_calls_nothing)
{
    const run_outcome outcome = run(GetParam());
    EXPECT_EQ(outcome.status, EXIT__USAGE);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err, "");
    EXPECT_TRUE(library.calls.empty());
}

TEST_P(wrong_usage, is_one_document_with_json)
{
    std::vector<const char *> arguments = GetParam();
    arguments.insert(arguments.begin(), "--json");
    const run_outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, EXIT__USAGE);
    const json document = json::parse(outcome.out);
    EXPECT_EQ(document.at("result"), EXIT__USAGE);
    EXPECT_NE(document.at("description"), "");
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, wrong_usage, testing::ValuesIn(std::vector<std::vector<const char *>>{
    {},
    {"nonsense"},
    {"eid", "extra"},
    {"eid", "profiles"},
    {"enable"},
    {"nickname", ICCID},
    {"download"},
    {"eid", "--yes"},
    {"eid", "--confirmation-code", "1"},
    {"-m", "modem5", "eid"},
    {"-m", "modem00", "eid"},
    {"-m", "usb0", "eid"},
    {"-m"},
    {"--nonsense", "eid"},
    {"--log-level", "6", "eid"},
    {"--log-level", "much", "eid"},
    {"--proxy", "nonsense", "eid"},
    {"--proxy", ":1080", "eid"},
    {"--proxy", "host:", "eid"},
    {"--proxy", "host:0", "eid"},
    {"--proxy", "host:http", "eid"},
    {"--proxy", "host:65536", "eid"},
    {"watch", "--count", "0"},
    {"eid", "--count", "1"},
    {"download", "1$a$b", "--qr", "file"},
    {"download", "LPA:1.example"}, // what the shell leaves of an unquoted code
    {"download", "LPA:1$a"},
    {"download", "LPA:1$$b"},
    {"download", "lpa:1$"},
    {"download", "2$a$b"},
    {"download", "1$a$b$$1"}, // nobody to ask for the confirmation code
    {"enable", ""},
}));
// clang-format on

TEST_F(program, says_what_is_wrong_and_where_to_read_on)
{
    EXPECT_EQ(run({"no\x1Bsuch"}).err, "lpa: there is no command no\\x1Bsuch\n  Next: lpa --help\n");
    EXPECT_EQ(run({"--nonsense"}).err, "lpa: not expected: --nonsense\n  Next: lpa --help\n");
    EXPECT_EQ(run({"eid", "extra"}).err, "lpa: eid: not expected: extra\n  Next: lpa eid --help\n");
    EXPECT_EQ(run({"enable"}).err, "lpa: enable: PROFILE is required\n  Next: lpa enable --help\n");
    EXPECT_EQ(run({"--log-level", "6\x1B", "eid"}).err.find('\x1B'), std::string::npos);
    EXPECT_THAT(run({"--proxy", "nonsense", "eid"}).err, HasSubstr("a proxy is given as HOST:PORT, not nonsense"));
}

TEST_F(program, says_which_modems_there_are)
{
    EXPECT_THAT(run({"-m", "usb\x1B", "eid"}).err, HasSubstr("there is modem0 to modem4, not usb\\x1B"));
}

// ---- Questions ----------------------------------------------------------------------------------------------------

struct question_case {
    const char *name, *answer;
    bool confirmed;
};
class question : public program, public testing::WithParamInterface<question_case> {};

TEST_P(question, comes_before_what_destroys)
{
    for (const auto &arguments :
         std::vector<std::vector<const char *>>{{"delete", ICCID}, {"reset-memory"}, {"reset-settings"}}) {
        library = {};
        library.document = result_document;
        const run_outcome outcome = run(arguments, GetParam().answer);
        EXPECT_THAT(outcome.err, testing::StartsWith("lpa: modem0: Delete "));
        EXPECT_THAT(outcome.err, HasSubstr(*GetParam().answer ? "? [y/N] " : "? [y/N] \n"));
        EXPECT_EQ(outcome.status, GetParam().confirmed ? 0 : EXIT__NOT_CONFIRMED);
        EXPECT_EQ(library.calls.size(), GetParam().confirmed ? 1u : 0u);
        if (!GetParam().confirmed) {
            EXPECT_THAT(outcome.err, testing::EndsWith(std::string("lpa: ") + arguments[0] +
                                                       ": not confirmed, nothing was done (--yes does not ask)\n"));
            EXPECT_EQ(run({"--json", "reset-memory"}, GetParam().answer).out,
                      "{\"result\":65,\"description\":\"not confirmed, nothing was done (--yes does not ask)\"}\n");
        }
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, question, testing::ValuesIn(std::vector<question_case>{
    {"y", "y\n", true},
    {"Y", "Y\n", true},
    {"yes", "yes\n", true},
    {"n", "n\n", false},
    {"empty_line", "\n", false},
    {"end_of_input", "", false},
    {"something_else", "yesterday\n", false},
}), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

// ---- Progress -----------------------------------------------------------------------------------------------------

TEST_F(program, shows_progress_on_standard_error)
{
    library.document = R"({"result":0,"description":"Profile installed"})";
    library.progress = {{LPA_PROGRESS__FETCHING, 0, 0, nullptr, nullptr}};
    for (const bool as_json : {false, true}) {
        const run_outcome outcome = as_json ? run({"download", "1$a$b", "--json"}) : run({"download", "1$a$b"});
        EXPECT_EQ(outcome.err, "Fetching the profile\n");
        EXPECT_EQ(outcome.out, as_json ? *library.document + "\n" : "Profile installed\n");
    }
}

TEST_F(program, shows_no_progress_with_quiet_but_results_and_errors)
{
    library.document = R"({"result":0,"description":"Profile installed"})";
    library.progress = {{LPA_PROGRESS__FETCHING, 0, 0, nullptr, nullptr}};
    for (const char *quiet : {"-q", "--quiet"}) {
        library.code = 0;
        EXPECT_EQ(run({quiet, "download", "1$a$b"}).err, "");
        EXPECT_EQ(run({"download", "1$a$b", quiet}).out, "Profile installed\n");
        library.code = 11;
        EXPECT_THAT(run({"download", "1$a$b", quiet}).err, testing::StartsWith("lpa: download: "));
    }
}
} // namespace
