// lgsm_exec against a terminal that the test drives.
#include "unit/platform/scripted_terminal.h"
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <optional>
#include <pty.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
extern "C" {
#include <lgsm.h>
}

namespace {
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::HasSubstr;

std::string entry(const std::string &terminal, const std::string &more = "")
{
    return R"({"modems":{"3":{"terminal":")" + terminal + "\"" + more + "}}}";
}

// The answer, or nothing when the command was not sent.
std::optional<std::string> exec(const char *command, int timeout = 60, int modem = 3)
{
    char *response = const_cast<char *>("never written");
    const int rc = lgsm_exec(nullptr, command, &response, modem, timeout);
    EXPECT_EQ(rc == 0, response != nullptr);
    const std::optional<std::string> text = response ? std::optional<std::string>(response) : std::nullopt;
    free(response);
    return text;
}

struct answer_case {
    const char *name;
    const char *written; // by the modem
    const char *answer;  // handed out
};

constexpr const char *command = "AT+CSIM=10,\"0070000001\"\r\n";

class answers : public testing::TestWithParam<answer_case> {};

TEST_P(answers, are_handed_out_without_echo)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    terminal.play({{{GetParam().written}}});
    EXPECT_EQ(exec(command), GetParam().answer);
    EXPECT_THAT(terminal.commands(), ElementsAre(command));
}

TEST_P(answers, come_in_pieces_of_one_byte)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    scripted_terminal::reply reply;
    for (const char *c = GetParam().written; *c; ++c)
        reply.pieces.emplace_back(1, *c);
    terminal.play({reply});
    EXPECT_EQ(exec(command), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(
    table, answers,
    testing::ValuesIn(std::to_array<answer_case>({
        {"plain", "\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n", "\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n"},
        {"echo", "AT+CSIM=10,\"0070000001\"\r\r\nOK\r\n", "\r\nOK\r\n"},
        {"echo_with_its_line_feed", "AT+CSIM=10,\"0070000001\"\r\n\r\nOK\r\n", "\n\r\nOK\r\n"},
        {"unsolicited_before_the_echo", "\r\n+CREG: 1\r\nAT+CSIM=10,\"0070000001\"\r\r\nOK\r\n",
         "\r\n+CREG: 1\r\n\r\nOK\r\n"},
        {"unsolicited_between_echo_and_answer",
         "AT+CSIM=10,\"0070000001\"\r\r\n+CIEV: 1,3\r\n\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n",
         "\r\n+CIEV: 1,3\r\n\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n"},
        {"unsolicited_behind_the_answer", "\r\nOK\r\n\r\n+CREG: 5\r\n", "\r\nOK\r\n"},
        {"cr_cr_lf", "\r\r\n+CSIM: 4,\"9000\"\r\r\n\r\r\nOK\r\r\n", "\r\r\n+CSIM: 4,\"9000\"\r\r\n\r\r\nOK\r\n"},
        {"line_feeds_only", "\nOK\n\n", "\nOK\r\n"},
        {"error", "\r\nERROR\r\n", "\r\nERROR\r\n"},
        {"cme_error_number", "\r\n+CME ERROR: 13\r\n", "\r\n+CME ERROR: 13\r\n"},
        {"cme_error_text", "\r\n+CME ERROR: SIM busy\r\n", "\r\n+CME ERROR: SIM busy\r\n"},
        {"cms_error", "\r\n+CMS ERROR: 500\r\n", "\r\n+CMS ERROR: 500\r\n"},
        {"blank_behind_the_result", "\r\nOK \r\n", "\r\nOK \r\n"},
        {"result_within_a_line_is_no_result", "\r\n+CGEV: OK\r\nOK later\r\n\r\nERROR\r\n",
         "\r\n+CGEV: OK\r\nOK later\r\n\r\nERROR\r\n"},
        {"csim_without_quotes", "\r\n+CSIM: 4,9000\r\nOK\r\n", "\r\n+CSIM: 4,\"9000\"\r\nOK\r\n"},
        {"csim_without_blank", "\r\n+CSIM:4,\"9000\"\r\nOK\r\n", "\r\n+CSIM: 4,\"9000\"\r\nOK\r\n"},
        {"csim_in_lower_case", "\r\n+csim: 6,\"ab9000\"\r\nok\r\n", "\r\n+CSIM: 6,\"ab9000\"\r\nok\r\n"},
        {"csim_without_data", "\r\n+CSIM: 0,\"\"\r\nOK\r\n", "\r\n+CSIM: 0,\"\"\r\nOK\r\n"},
        {"csim_that_is_no_hex_stays", "\r\n+CSIM: 4,\"90 zz\"\r\nOK\r\n", "\r\n+CSIM: 4,\"90 zz\"\r\nOK\r\n"},
        {"csim_without_comma_stays", "\r\n+CSIM:9000\r\nOK\r\n", "\r\n+CSIM:9000\r\nOK\r\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(lgsm_exec, leaves_zero_bytes_out)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    terminal.play({{{std::string("\0\r\nO\0K\r\n", 8)}}});
    EXPECT_EQ(exec("AT\r\n"), "\r\nOK\r\n");
}

TEST(lgsm_exec, drops_what_an_earlier_command_left_behind)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    terminal.write("\r\n+CSIM: 4,\"6985\"\r\n\r\nOK\r\n");
    terminal.play({{{"\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n"}}});
    EXPECT_EQ(exec(command), "\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n");
}

TEST(lgsm_exec, takes_an_answer_longer_than_one_read_and_one_buffer)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    const std::string answer = "\r\n+CSIM: 3000,\"" + std::string(3000, 'A') + "\"\r\n\r\nOK\r\n";
    terminal.play({{{answer}}});
    EXPECT_EQ(exec(command), answer);
}

TEST(lgsm_exec, sends_one_command_after_the_other)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    terminal.play({{{"AT\r\r\nOK\r\n"}}, {{"\r\nERROR\r\n"}}});
    EXPECT_EQ(exec("AT\r\n"), "\r\nOK\r\n");
    EXPECT_EQ(exec("AT+X\r\n"), "\r\nERROR\r\n");
    EXPECT_THAT(terminal.commands(), ElementsAre("AT\r\n", "AT+X\r\n"));
}

TEST(lgsm_exec, gives_up_on_a_silent_modem_at_the_configured_time)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path(), R"(,"timeout":0.05)"));
    captured_stderr messages;
    const auto start = steady_clock::now();
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(49));
    EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(messages.text(), "lgsm: " + terminal.path() + ": no final result code within the time limit\n");
}

TEST(lgsm_exec, gives_up_at_the_callers_time_when_that_is_shorter)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path(), R"(,"timeout":3600)"));
    captured_stderr messages;
    terminal.play({{{"\r\n+CREG: 1\r\n"}}});
    EXPECT_EQ(exec("AT\r\n", 1), std::nullopt);
}

TEST(lgsm_exec, waits_for_the_answer_when_the_caller_names_no_time)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    terminal.play({{{"\r\nOK\r\n"}}});
    EXPECT_EQ(exec("AT\r\n", 0), "\r\nOK\r\n");
}

TEST(lgsm_exec, gives_up_at_the_time_limit_though_there_is_always_something_to_read)
{
    const file_in_environment config("LPA_MODEMS", entry("/dev/zero", R"(,"timeout":0.001)"));
    captured_stderr messages;
    alarm(60); // without the limit this has no end
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    alarm(0);
    EXPECT_EQ(messages.text(), "lgsm: /dev/zero: no final result code within the time limit\n");
}

TEST(lgsm_exec, does_not_wait_for_ever_for_a_modem_that_only_talks)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    captured_stderr messages;
    scripted_terminal::reply endless;
    for (int i = 0; i < 70; ++i) // more than the 64 KiB that an answer may have
        endless.pieces.push_back(std::string(1022, 'x') + "\r\n");
    terminal.play({endless});
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_THAT(messages.text(), HasSubstr("the answer does not end"));
}

TEST(lgsm_exec, reports_a_hang_up_at_once)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    captured_stderr messages;
    terminal.play({{{"AT\r\r\n"}, true}});
    const auto start = steady_clock::now();
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_THAT(messages.text(), HasSubstr("the terminal is gone"));
}

TEST(lgsm_exec, waits_for_a_terminal_that_comes_back)
{
    scripted_terminal terminal;
    const std::string link = "/tmp/lpa_platform_test_link_" + std::to_string(getpid());
    const file_in_environment config("LPA_MODEMS", entry(link));
    captured_stderr messages;
    terminal.play({{{"\r\nOK\r\n"}}});
    std::thread plug([&] {
        EXPECT_TRUE(messages.wait_for("lgsm: " + link + " is not there, waiting for it\n"));
        EXPECT_EQ(symlink(terminal.path().c_str(), link.c_str()), 0);
    });
    EXPECT_EQ(exec("AT\r\n"), "\r\nOK\r\n");
    plug.join();
    unlink(link.c_str());
}

TEST(lgsm_exec, stops_waiting_for_a_terminal_at_the_time_limit)
{
    const file_in_environment config("LPA_MODEMS", entry("/tmp/no/such/terminal", R"(,"timeout":0.06)"));
    captured_stderr messages;
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_EQ(messages.text(), "lgsm: /tmp/no/such/terminal is not there, waiting for it\n"
                               "lgsm: /tmp/no/such/terminal did not appear\n");
}

TEST(lgsm_exec, takes_an_input_output_error_for_an_absent_terminal)
{
    int master = -1, slave = -1;
    ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    close(master); // the kernel's answer to who opens the other end from now on
    const std::string path = "/proc/self/fd/" + std::to_string(slave);
    ASSERT_EQ(open(path.c_str(), O_RDWR | O_NOCTTY), -1);
    ASSERT_EQ(errno, EIO);
    const file_in_environment config("LPA_MODEMS", entry(path, R"(,"timeout":0.06)"));
    captured_stderr messages;
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_THAT(messages.text(), HasSubstr("lgsm: " + path + " did not appear\n"));
    close(slave);
}

// As the kernel has it: under an emulator that is the emulator's.
std::string own_name()
{
    std::string name;
    std::getline(std::ifstream("/proc/self/comm"), name);
    return name;
}

TEST(lgsm_exec, names_the_program_that_holds_the_terminal)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t holder = fork();
    if (holder == 0) {
        const int held = open(terminal.path().c_str(), O_RDWR | O_NOCTTY);
        const char byte = static_cast<char>(flock(held, LOCK_EX));
        if (write(ready[1], &byte, 1) == 1) pause();
        _exit(0);
    }
    char byte = 1;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    EXPECT_EQ(byte, 0);
    captured_stderr messages;
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_THAT(messages.text(), HasSubstr("lgsm: " + terminal.path() + " is held by another program: process " +
                                           std::to_string(holder) + " (" + own_name() + ")."));
    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    close(ready[0]);
    close(ready[1]);
}

TEST(lgsm_exec, does_not_know_a_holder_that_it_may_not_see)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    const int held = open(terminal.path().c_str(), O_RDWR | O_NOCTTY); // by ourselves, whom the search leaves out
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    captured_stderr messages;
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_THAT(messages.text(), HasSubstr(" is held by another program, perhaps a modem manager"));
    close(held);
}

// The privileged may open a terminal that is somebody's alone. Without threads: each has its own privileges.
int open_unprivileged(const std::string &path)
{
    constexpr uid_t nobody = 65534;
    EXPECT_EQ(chmod(path.c_str(), 0666), 0);
    const uid_t user = geteuid();
    EXPECT_TRUE(seteuid(nobody) == 0 || errno == EINVAL); // there is nobody else in a user's own namespace
    const int opened = open(path.c_str(), O_RDWR | O_NOCTTY);
    EXPECT_EQ(seteuid(user), 0);
    return opened;
}

TEST(lgsm_exec, has_the_terminal_for_itself)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    int refusal = 0;
    terminal.on_command = [&] { refusal = open_unprivileged(terminal.path()) < 0 ? errno : 0; };
    terminal.play({{{"\r\nOK\r\n"}}});
    EXPECT_EQ(exec("AT\r\n"), "\r\nOK\r\n");
    terminal.commands();
    EXPECT_EQ(refusal, EBUSY);
}

TEST(lgsm_exec, lets_others_open_the_terminal_afterwards)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    terminal.play({{{"\r\nOK\r\n"}}});
    EXPECT_EQ(exec("AT\r\n"), "\r\nOK\r\n");
    terminal.commands();
    const int other = open_unprivileged(terminal.path());
    EXPECT_GE(other, 0);
    EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    close(other);
}

TEST(lgsm_exec, refuses_what_is_no_terminal)
{
    char name[] = "/tmp/lpa_platform_test_XXXXXX";
    close(mkstemp(name));
    const file_in_environment config("LPA_MODEMS", entry(name));
    captured_stderr messages;
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_EQ(messages.text(), std::string("lgsm: cannot use ") + name + ": it is no terminal\n");
    unlink(name);
}

TEST(lgsm_exec, refuses_a_directory)
{
    const file_in_environment config("LPA_MODEMS", entry("/tmp"));
    captured_stderr messages;
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_EQ(messages.text(), "lgsm: cannot use /tmp: Is a directory\n");
}

struct config_case {
    const char *name, *text, *problem;
};

class bad_config : public testing::TestWithParam<config_case> {};

TEST_P(bad_config, is_told)
{
    const file_in_environment config("LPA_MODEMS", GetParam().text);
    captured_stderr messages;
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_THAT(messages.text(), testing::EndsWith(std::string(" for modem 3: ") + GetParam().problem + "\n"));
}

INSTANTIATE_TEST_SUITE_P(
    table, bad_config,
    testing::ValuesIn(std::to_array<config_case>({
        {"no_json", "modems", "it is not well-formed JSON"},
        {"empty", "", "it is not well-formed JSON"},
        {"another_modem", R"({"modems":{"0":{"terminal":"/dev/null"}}})", "it has no entry under \"modems\""},
        {"no_modems", R"([1])", "it has no entry under \"modems\""},
        {"no_terminal", R"({"modems":{"3":{"baud":9600}}})", "its entry has no \"terminal\""},
        {"empty_terminal", R"({"modems":{"3":{"terminal":""}}})", "its entry has no \"terminal\""},
        {"odd_baud", R"({"modems":{"3":{"terminal":"/dev/null","baud":12345}}})", "its \"baud\" is no usual rate"},
        {"fractional_baud", R"({"modems":{"3":{"terminal":"/dev/null","baud":9600.5}}})",
         "its \"baud\" is no usual rate"},
        {"timeout_text", R"({"modems":{"3":{"terminal":"/dev/null","timeout":"1"}}})",
         "its \"timeout\" is no number of seconds"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

// Changed first, when there is something to change.
termios settings_of(const std::string &path, tcflag_t add_control = 0)
{
    termios settings = {};
    const int terminal = open(path.c_str(), O_RDWR | O_NOCTTY);
    EXPECT_EQ(tcgetattr(terminal, &settings), 0);
    settings.c_cflag |= add_control;
    EXPECT_EQ(tcsetattr(terminal, TCSANOW, &settings), 0);
    close(terminal);
    return settings;
}

TEST(lgsm_exec, takes_a_usual_baud_rate)
{
    scripted_terminal terminal;
    const file_in_environment config("LPA_MODEMS", entry(terminal.path(), R"(,"baud":9600)"));
    terminal.play({{{"\r\nOK\r\n"}}});
    EXPECT_EQ(exec("AT\r\n"), "\r\nOK\r\n");
    const termios settings = settings_of(terminal.path());
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
    EXPECT_EQ(settings.c_lflag & ECHO, 0U);
}

TEST(lgsm_exec, leaves_a_line_that_does_not_hang_up_when_it_is_closed)
{
    scripted_terminal terminal;
    constexpr tcflag_t unwanted = HUPCL | CSTOPB | CRTSCTS;
    ASSERT_EQ(settings_of(terminal.path(), unwanted).c_cflag & (unwanted | CLOCAL), unwanted);
    const file_in_environment config("LPA_MODEMS", entry(terminal.path()));
    terminal.play({{{"\r\nOK\r\n"}}});
    EXPECT_EQ(exec("AT\r\n"), "\r\nOK\r\n");
    EXPECT_EQ(settings_of(terminal.path()).c_cflag & (unwanted | CLOCAL), static_cast<tcflag_t>(CLOCAL));
}

TEST(lgsm_exec, tells_when_there_is_no_configuration)
{
    setenv("LPA_MODEMS", "/tmp/no/such/file", 1);
    captured_stderr messages;
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_EQ(messages.text(), "lgsm: cannot use /tmp/no/such/file for modem 3: No such file or directory\n");
    setenv("LPA_MODEMS", "", 1);
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_THAT(messages.text(), HasSubstr("lgsm: cannot use /etc/lpa/modems.json for modem 3: "));
    unsetenv("LPA_MODEMS");
}

TEST(lgsm_exec, refuses_bad_arguments)
{
    const file_in_environment config("LPA_MODEMS", entry("/dev/null"));
    EXPECT_EQ(exec("AT\r\n", 1, -1), std::nullopt);
    EXPECT_EQ(exec("AT\r\n", 1, 5), std::nullopt);
    EXPECT_NE(lgsm_exec(nullptr, "AT\r\n", nullptr, 3, 1), 0);
    char *response = nullptr;
    EXPECT_NE(lgsm_exec(nullptr, nullptr, &response, 3, 1), 0);
}

TEST(lgsm_exec, fails_at_once_on_a_device_that_ends)
{
    const file_in_environment config("LPA_MODEMS", entry("/dev/null"));
    captured_stderr messages;
    EXPECT_EQ(exec("AT\r\n"), std::nullopt);
    EXPECT_THAT(messages.text(), HasSubstr("the terminal is gone"));
}
} // namespace
