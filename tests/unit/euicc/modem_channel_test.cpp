#include "euicc/modem_channel.h"
#include "euicc/modem_signals.h"
#include "foundation/log.h"
#include "lpa/memory.h"
#include "support/log_capture.h"
#include "unit/euicc/failing_calls.h"
#include "unit/fakes/failing_memory.h"
#include "unit/fakes/fake_bus.h"
#include "unit/fakes/fake_clock.h"
#include "unit/fakes/fake_modem.h"
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
using testing::ElementsAre;
using testing::HasSubstr;

std::string lock_path(int number) { return "/var/lock/vorn_modem_" + std::to_string(number) + ".lock"; }

std::string executable() { return std::filesystem::read_symlink("/proc/self/exe"); }

std::string pid() { return std::to_string(getpid()); }

bool is_locked(const std::string &path)
{
    const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    const bool locked = flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    close(descriptor);
    return locked;
}

int close_descriptors_of(const std::string &path)
{
    std::vector<int> found;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        const auto target = std::filesystem::read_symlink(entry.path(), ignored);
        // /var/lock is a link to /run/lock
        if (target.filename() == std::filesystem::path(path).filename())
            found.push_back(std::stoi(entry.path().filename()));
    }
    for (const int descriptor : found)
        close(descriptor);
    return static_cast<int>(found.size());
}

class modem_channel : public testing::Test {
  protected:
    modem_channel()
    {
        fake_bus.reset();
        fake_modem.reset();
        failing_calls.reset();
        pauses.clear();
        LPA__set_reload_disabled(0);
    }

    ~modem_channel() override
    {
        EXPECT_EQ(fake_bus.open_connections, 0);
        EXPECT_EQ(fake_bus.unfreed_messages, 0);
        fake_bus.reset();
        failing_calls.reset();
        LPA__set_reload_disabled(0);
    }

    log_capture log;
};

// Opening

struct valid_name {
    const char *label, *name;
    int number;
};
class open_modem_accepts : public modem_channel, public testing::WithParamInterface<valid_name> {};

TEST_P(open_modem_accepts, and_takes_the_number)
{
    ModemHandle *handle = open_modem(GetParam().name);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->modem_number, GetParam().number);
    EXPECT_EQ(handle->logical_channel, 0U);
    EXPECT_GE(handle->lock_descriptor, 0);
    EXPECT_EQ(fake_bus.open_connections, 1);
    EXPECT_TRUE(is_locked(lock_path(GetParam().number)));
    EXPECT_EQ(close_modem(handle), 0);
    EXPECT_FALSE(is_locked(lock_path(GetParam().number)));
}

INSTANTIATE_TEST_SUITE_P(table, open_modem_accepts,
                         testing::ValuesIn(std::to_array<valid_name>({
                             {"modem_alone_is_modem_0", "modem", 0},
                             {"modem0", "modem0", 0},
                             {"modem4_is_modem_4", "modem4", 4},
                             {"modem2x_is_modem_2", "modem2x", 2},
                             {"leading_zeros", "modem003", 3},
                             {"no_digits_is_modem_0", "modemx", 0},
                             {"a_blank_is_no_digit", "modem 3", 0},
                             {"a_sign_is_no_digit", "modem-1", 0},
                         })),
                         [](const auto &info) { return std::string(info.param.label); });

struct invalid_name {
    const char *label, *name, *log;
};
class open_modem_refuses : public modem_channel, public testing::WithParamInterface<invalid_name> {};

TEST_P(open_modem_refuses, and_says_why)
{
    EXPECT_EQ(open_modem(GetParam().name), nullptr);
    EXPECT_EQ(log.up_to(LOG__INFO), GetParam().log);
    EXPECT_TRUE(fake_bus.calls.empty());
}

INSTANTIATE_TEST_SUITE_P(table, open_modem_refuses,
                         testing::ValuesIn(std::to_array<invalid_name>({
                             {"modem5", "modem5", "1 [open_modem] modem no 5 >= 5\n"},
                             {"modem10", "modem10", "1 [open_modem] modem no 10 >= 5\n"},
                             {"a_number_of_more_than_32_bits", "modem4294967296",
                              "1 [open_modem] modem no 429496729 >= 5\n"},
                             {"usb0", "usb0", "1 [open_modem] process name `usb0` invalid\n"},
                             {"upper_case", "Modem0", "1 [open_modem] process name `Modem0` invalid\n"},
                             {"a_part_of_the_word", "mode", "1 [open_modem] process name `mode` invalid\n"},
                             {"empty", "", "1 [open_modem] process name `` invalid\n"},
                             {"null", nullptr, "1 [open_modem] process name `(null)` invalid\n"},
                         })),
                         [](const auto &info) { return std::string(info.param.label); });

TEST_F(modem_channel, logs_process_and_path_when_opened_and_closed)
{
    close_modem(open_modem("modem1"));
    EXPECT_EQ(log.up_to(LOG__TRACE), "3 [open_modem]  1 process PID: " + pid() + " PATH: " + executable() +
                                         "\n3 [close_modem] 1 process PID: " + pid() + " PATH: " + executable() + "\n");
}

TEST_F(modem_channel, open_without_memory_fails)
{
    const failing_memory memory(1);
    EXPECT_EQ(open_modem("modem0"), nullptr);
    EXPECT_TRUE(failing_memory::reached());
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [open_modem] no memory\n");
}

TEST_F(modem_channel, open_does_not_register_the_handle)
{
    ModemHandle *handle = open_modem("modem1");
    EXPECT_EQ(modem_table[1], nullptr);
    close_modem(handle);
}

TEST_F(modem_channel, open_uses_a_registered_handle_and_close_removes_it)
{
    open_modem("usb0"); // whatever comes first empties the table
    auto *registered = static_cast<ModemHandle *>(M_calloc(1, sizeof(ModemHandle)));
    registered->modem_number = 3;
    registered->lock_descriptor = -1;
    modem_table[3] = registered;
    EXPECT_EQ(open_modem("modem3"), registered);
    close_modem(registered);
    EXPECT_EQ(modem_table[3], nullptr);
}

TEST_F(modem_channel, open_without_the_file_service_fails)
{
    fake_bus.writes_files = false;
    EXPECT_EQ(open_modem("modem1"), nullptr);
    EXPECT_THAT(log.up_to(LOG__INFO),
                testing::StartsWith("1 [create_file_with_ubus] Failed to invoke UBUS call\n\n"
                                    "1 [do_lock] unable to create /var/lock/vorn_modem_1.lock file via UBUS\n"
                                    "1 [open_modem] 1 lock error, process PID: " +
                                    pid() + " lock result: -2 errno "));
}

TEST_F(modem_channel, open_reports_the_errno_of_the_lock)
{
    const std::string path = lock_path(2);
    std::filesystem::remove(path);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(open_modem("modem2"), nullptr);
    std::filesystem::remove(path);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [do_lock] unable to open /var/lock/vorn_modem_2.lock file: Is a directory\n"
                                    "1 [open_modem] 2 lock error, process PID: " +
                                        pid() + " lock result: -2 errno Is a directory\n");
}

TEST_F(modem_channel, open_without_a_bus_connection_fails_and_keeps_the_lock)
{
    fake_bus.connections_left = 1; // the file service's
    EXPECT_EQ(open_modem("modem4"), nullptr);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [open_modem] unable to connect to UBUS\n");
    EXPECT_TRUE(is_locked(lock_path(4)));
    EXPECT_EQ(close_descriptors_of(lock_path(4)), 1);
}

TEST_F(modem_channel, closing_nothing_is_harmless)
{
    EXPECT_EQ(close_modem(nullptr), 0);
    EXPECT_EQ(log.up_to(LOG__TRACE), "");
}

// Locking

struct unlocked_handle : ModemHandle {
    unlocked_handle(int32_t number) : ModemHandle{}
    {
        modem_number = number;
        lock_descriptor = -1;
    }
};

TEST_F(modem_channel, second_lock_fails_already_locked)
{
    unlocked_handle handle(3);
    EXPECT_EQ(do_lock(&handle), 0);
    EXPECT_EQ(do_lock(&handle), -2);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [do_lock] modem no 3 already locked\n");
    EXPECT_EQ(do_unlock(&handle), 0);
}

TEST_F(modem_channel, second_unlock_fails_already_unlocked)
{
    unlocked_handle handle(3);
    EXPECT_EQ(do_lock(&handle), 0);
    EXPECT_EQ(do_unlock(&handle), 0);
    EXPECT_EQ(handle.lock_descriptor, -1);
    EXPECT_EQ(do_unlock(&handle), -2);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [do_unlock] modem no 3 already unlocked\n");
}

TEST_F(modem_channel, lock_creates_the_file_every_time)
{
    for (int i = 0; i < 2; ++i) {
        unlocked_handle handle(0);
        EXPECT_EQ(do_lock(&handle), 0);
        EXPECT_EQ(do_unlock(&handle), 0);
    }
    EXPECT_EQ(fake_bus.calls.size(), 2U);
}

TEST_F(modem_channel, a_failed_flock_closes_the_descriptor)
{
    unlocked_handle handle(1);
    failing_calls.flock_errno = ENOLCK;
    EXPECT_EQ(do_lock(&handle), -2);
    EXPECT_EQ(errno, ENOLCK);
    EXPECT_EQ(handle.lock_descriptor, -1);
    EXPECT_EQ(close_descriptors_of(lock_path(1)), 0);
    EXPECT_EQ(log.up_to(LOG__TRACE),
              "1 [do_lock] unable to lock /var/lock/vorn_modem_1.lock file: No locks available\n");
}

TEST_F(modem_channel, a_lock_that_cannot_be_opened_leaves_the_handle_unlocked)
{
    unlocked_handle handle(0);
    const std::string path = lock_path(0);
    std::filesystem::remove(path);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(do_lock(&handle), -2);
    EXPECT_EQ(handle.lock_descriptor, -1);
    std::filesystem::remove(path);
}

TEST_F(modem_channel, another_process_waits_for_the_lock)
{
    ModemHandle *handle = open_modem("modem1");
    // Exclusive, and without LOCK_NB: whoever comes second waits.
    EXPECT_EQ(failing_calls.flock_operation, LOCK_EX);
    EXPECT_EXIT(_exit(is_locked(lock_path(1)) ? 0 : 1), testing::ExitedWithCode(0), "");
    close_modem(handle);
    EXPECT_EXIT(_exit(is_locked(lock_path(1)) ? 1 : 0), testing::ExitedWithCode(0), "");
}

// The file service

TEST_F(modem_channel, file_is_created_by_the_file_service)
{
    const std::string path = lock_path(0);
    std::filesystem::remove(path);
    EXPECT_EQ(create_file_with_ubus(path.c_str()), 0);
    EXPECT_TRUE(std::filesystem::exists(path));
    ASSERT_EQ(fake_bus.calls.size(), 1U);
    const auto &call = fake_bus.calls[0];
    EXPECT_EQ(call.method, "write");
    EXPECT_EQ(call.timeout, 3000);
    ASSERT_EQ(call.fields.size(), 2U);
    EXPECT_EQ(call.fields[0].type, BLOBMSG_TYPE_STRING);
    EXPECT_EQ(call.fields[0].name, "path");
    EXPECT_EQ(call.fields[0].data, path + '\0');
    EXPECT_EQ(call.fields[1].type, BLOBMSG_TYPE_STRING);
    EXPECT_EQ(call.fields[1].name, "data");
    EXPECT_EQ(call.fields[1].data, std::string(1, '\0'));
    EXPECT_EQ(log.up_to(LOG__TRACE), "");
}

TEST_F(modem_channel, file_creation_without_a_bus_fails)
{
    fake_bus.connects = false;
    EXPECT_EQ(create_file_with_ubus("/var/lock/x"), -1);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [create_file_with_ubus] Failed to connect to UBUS\n\n");
}

TEST_F(modem_channel, file_creation_without_the_file_object_fails)
{
    fake_bus.has_file_object = false;
    EXPECT_EQ(create_file_with_ubus("/var/lock/x"), -1);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [create_file_with_ubus] Failed to look up UBUS object\n\n");
}

TEST_F(modem_channel, file_creation_that_the_service_refuses_fails)
{
    fake_bus.writes_files = false;
    EXPECT_EQ(create_file_with_ubus("/var/lock/x"), -1);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [create_file_with_ubus] Failed to invoke UBUS call\n\n");
}

TEST_F(modem_channel, file_creation_without_memory_for_the_message_fails)
{
    fake_bus.builds_messages = false;
    EXPECT_EQ(create_file_with_ubus("/var/lock/x"), -1);
    EXPECT_TRUE(fake_bus.calls.empty());
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [create_file_with_ubus] Failed to invoke UBUS call\n\n");
}

// Signals. Each runs in a process of its own, because handlers are installed once per process.

void say(const std::string &text)
{
    if (write(STDERR_FILENO, text.data(), text.size()) < 0) _exit(99);
}

void host_int_handler(int signo) { say("<int handler " + std::to_string(signo) + ">"); }
void host_term_handler(int signo) { say("<term handler " + std::to_string(signo) + ">"); }
void host_stop_handler(int signo) { say("<stop handler " + std::to_string(signo) + ">"); }

std::string address(void (*function)(int))
{
    char text[32];
    snprintf(text, sizeof text, "%p", reinterpret_cast<void *>(function));
    return text;
}

void say_log(const log_capture &log) { say("{" + log.up_to(LOG__TRACE) + "}"); }

// At exit, so that what the signal handler itself has logged is seen too.
void say_log_at_exit(log_capture &log)
{
    static const log_capture *told = &log;
    atexit([] { say_log(*told); });
}

class modem_signals : public modem_channel {
  protected:
    modem_signals() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    ~modem_signals() override { GTEST_FLAG_SET(death_test_style, "fast"); }

    void install_and_raise(int signo)
    {
        open_modem("nothing"); // any first call installs
        log.clear();
        say_log_at_exit(log);
        raise(signo);
    }
};

class every_signal : public modem_signals, public testing::WithParamInterface<int> {};

TEST_P(every_signal, received_while_no_handle_is_registered_still_calls_the_saved_handlers_and_exits_with_status_0)
{
    const std::string number = std::to_string(GetParam());
    EXPECT_EXIT(
        {
            signal(SIGINT, host_int_handler);
            signal(SIGTERM, host_term_handler);
            signal(SIGTSTP, host_stop_handler);
            install_and_raise(GetParam());
        },
        testing::ExitedWithCode(0),
        HasSubstr("<int handler " + number + "><term handler " + number + "><stop handler " + number +
                  ">{2 [signal_handler] signo " + number + " received\n}"));
}

INSTANTIATE_TEST_SUITE_P(table, every_signal, testing::Values(SIGINT, SIGTERM, SIGTSTP),
                         [](const auto &info) { return std::string("SIG") + sigabbrev_np(info.param); });

TEST_F(modem_signals, default_and_ignored_handlers_are_not_saved)
{
    EXPECT_EXIT(
        {
            signal(SIGINT, SIG_IGN);
            signal(SIGTERM, host_term_handler);
            signal(SIGTSTP, SIG_DFL);
            open_modem("nothing");
            // The address differs between processes, so this one tells whether its own was logged.
            const bool told = log.at(LOG__INFO) ==
                              "3 [setup_signal] saved handler for signal 15: " + address(host_term_handler) + "\n";
            say(told ? "told;" : "not told;");
            raise(SIGINT);
        },
        testing::ExitedWithCode(0), HasSubstr("told;<term handler 2>"));
}

TEST_F(modem_signals, handlers_are_installed_once)
{
    EXPECT_EXIT(
        {
            open_modem("nothing");
            signal(SIGTERM, host_term_handler);
            open_modem("nothing");
            raise(SIGTERM);
            _exit(7); // the host's own handler came back
        },
        testing::ExitedWithCode(7), HasSubstr("<term handler 15>"));
}

TEST_F(modem_signals, a_registered_handle_is_terminated_on_its_channel)
{
    EXPECT_EXIT(
        {
            ModemHandle *handle = open_modem("modem2");
            handle->logical_channel = 1;
            modem_table[2] = handle;
            fake_modem.script = {{csim("9000")}};
            say_log_at_exit(log);
            atexit([] { say("(" + fake_modem.commands.at(0) + (modem_table[2] ? ", held)" : ", gone)")); });
            log.clear();
            raise(SIGTERM);
        },
        testing::ExitedWithCode(0),
        testing::AllOf(HasSubstr("2 [signal_handler] signo 15 received\n"
                                 "2 [signal_handler] modem 2 logical channel 1 terminated\n"),
                       HasSubstr("(AT+CSIM=10,\"0070800100\", gone)"), HasSubstr("4 [eUICC__terminate] modem closed")));
}

TEST_F(modem_signals, a_registered_handle_without_a_channel_is_terminated_all_the_same)
{
    EXPECT_EXIT(
        {
            modem_table[4] = open_modem("modem4");
            say_log_at_exit(log);
            log.clear();
            raise(SIGINT);
        },
        testing::ExitedWithCode(0), HasSubstr("2 [signal_handler] modem 4 logical channel 0 terminated\n"));
}

TEST_F(modem_signals, a_registered_handle_with_a_negative_channel_is_only_closed)
{
    EXPECT_EXIT(
        {
            ModemHandle *handle = open_modem("modem2");
            handle->logical_channel = UINT32_MAX;
            modem_table[2] = handle;
            say_log_at_exit(log);
            atexit([] { say(fake_modem.commands.empty() && !modem_table[2] ? "(no command, gone)" : "(wrong)"); });
            log.clear();
            raise(SIGTERM);
        },
        testing::ExitedWithCode(0),
        testing::AllOf(HasSubstr("2 [signal_handler] modem 2 closed\n3 [close_modem] 2 process PID: "),
                       HasSubstr("(no command, gone)")));
}

// Reloading

class reload : public modem_channel {
  protected:
    // Lines of the reload alone, without those of open_modem and close_modem.
    std::string lines(int level) const
    {
        std::string result;
        for (const auto &line : log.lines())
            if (line.level <= level && !line.text.starts_with("[open_modem]  ") &&
                !line.text.starts_with("[close_modem]"))
                result += std::to_string(line.level) + " " + line.text + "\n";
        return result;
    }
};

const fake_modem_type::answer ok = {"\r\nOK\r\n"};
const fake_modem_type::answer error = {"\r\nERROR\r\n"};
const fake_modem_type::answer ready = {"\r\n+CPIN: READY\r\n\r\nOK\r\n"};
const fake_modem_type::answer not_sent = {"", -5};

TEST_F(reload, turns_the_radio_off_and_on_and_waits_for_the_sim)
{
    fake_modem.script = {ok, ok, ready};
    EXPECT_EQ(reload_modem("modem3", 0), 0U);
    EXPECT_THAT(fake_modem.commands, ElementsAre("AT+CFUN=0", "AT+CFUN=1", "AT+cpin?"));
    EXPECT_THAT(fake_modem.modems, ElementsAre(3, 3, 3));
    EXPECT_THAT(fake_modem.timeouts, ElementsAre(60, 60, 60));
    EXPECT_THAT(pauses, ElementsAre(1U));
    EXPECT_EQ(lines(LOG__TRACE), "3 [reload_modem] modem3\n"
                                 "4 [send_AT_command] at_command [AT+CFUN=0\r\n]\n"
                                 "4 [send_AT_command] gsm_response [\r\nOK\r\n]\n"
                                 "4 [send_AT_command] at_command [AT+CFUN=1\r\n]\n"
                                 "4 [send_AT_command] gsm_response [\r\nOK\r\n]\n"
                                 "4 [send_AT_command] at_command [AT+cpin?\r\n]\n"
                                 "4 [send_AT_command] gsm_response [\r\n+CPIN: READY\r\n\r\nOK\r\n]\n");
    EXPECT_FALSE(is_locked(lock_path(3)));
}

TEST_F(reload, waits_while_radio_and_sim_are_not_ready)
{
    fake_modem.script = {ok, error, error, ok, error, error, error, ready};
    EXPECT_EQ(reload_modem("modem0", 1), 0U);
    EXPECT_THAT(pauses, ElementsAre(1U, 1U, 1U, 1U, 1U, 1U));
    EXPECT_EQ(lines(LOG__WARN), "1 [process_AT_command] OK not found in AT response\n"
                                "1 [process_AT_command] OK not found in AT response\n"
                                "1 [process_AT_command] READY not found in AT response\n"
                                "1 [process_AT_command] READY not found in AT response\n"
                                "1 [process_AT_command] READY not found in AT response\n");
}

TEST_F(reload, disabled_and_not_forced_does_not_touch_the_modem)
{
    EXPECT_EQ(LPA__get_reload_disabled(), 0);
    EXPECT_EQ(LPA__set_reload_disabled(1), 0U);
    EXPECT_EQ(LPA__get_reload_disabled(), 1);
    EXPECT_EQ(reload_modem("modem0", 0), 0U);
    EXPECT_TRUE(fake_modem.commands.empty());
    EXPECT_TRUE(fake_bus.calls.empty());
    EXPECT_EQ(log.up_to(LOG__TRACE), "2 [reload_modem] reload disabled, skipping\n");
}

TEST_F(reload, disabled_but_forced_still_runs_the_full_sequence)
{
    LPA__set_reload_disabled(1);
    fake_modem.script = {ok, ok, ready};
    EXPECT_EQ(reload_modem("modem0", 1), 0U);
    EXPECT_THAT(fake_modem.commands, ElementsAre("AT+CFUN=0", "AT+CFUN=1", "AT+cpin?"));
}

struct reload_failure {
    const char *label;
    std::deque<fake_modem_type::answer> script;
    size_t pauses;
    std::string log; // lines at level 1
};
class reload_fails : public reload, public testing::WithParamInterface<reload_failure> {};

TEST_P(reload_fails, with_code_1_and_closes_the_modem)
{
    fake_modem.script = GetParam().script;
    EXPECT_EQ(reload_modem("modem1", 1), 1U);
    EXPECT_TRUE(fake_modem.script.empty());
    EXPECT_EQ(fake_modem.commands.size(), GetParam().script.size());
    EXPECT_EQ(pauses, std::vector<unsigned>(GetParam().pauses, 1));
    EXPECT_EQ(lines(LOG__ERROR), GetParam().log);
    EXPECT_FALSE(is_locked(lock_path(1)));
}

std::string repeated(int times, const std::string &text)
{
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

std::deque<fake_modem_type::answer> answers(std::initializer_list<fake_modem_type::answer> first, size_t errors,
                                            std::initializer_list<fake_modem_type::answer> last = {})
{
    std::deque<fake_modem_type::answer> result(first);
    result.insert(result.end(), errors, error);
    result.insert(result.end(), last);
    return result;
}

const std::string not_ok = "1 [process_AT_command] OK not found in AT response\n";
const std::string not_ready = "1 [process_AT_command] READY not found in AT response\n";

INSTANTIATE_TEST_SUITE_P(table, reload_fails,
                         testing::ValuesIn(std::to_array<reload_failure>({
                             {"radio_off_not_sent", answers({not_sent}, 0), 0,
                              "1 [send_AT_command] write_serial_port failed, rc -5\n"
                              "1 [process_AT_command] send_AT_command AT+CFUN=0 failed, rc 1\n"
                              "1 [reload_modem] process_AT_command AT+CFUN=0 failed, rc 2\n"},
                             {"radio_off_refused", answers({}, 1), 0,
                              not_ok + "1 [reload_modem] process_AT_command AT+CFUN=0 failed, rc 1\n"},
                             {"radio_on_not_sent", answers({ok}, 1, {not_sent}), 2,
                              not_ok + "1 [send_AT_command] write_serial_port failed, rc -5\n"
                                       "1 [process_AT_command] send_AT_command AT+CFUN=1 failed, rc 1\n"
                                       "1 [reload_modem] send_AT_command attempt 1 failed, rc 2\n"},
                             {"radio_on_refused_fifteen_times_takes_16_seconds", answers({ok}, 15), 16,
                              repeated(15, not_ok) + "1 [reload_modem] waiting for CFUN=1 timeout\n"},
                             {"sim_not_asked", answers({ok, ok}, 0, {not_sent}), 1,
                              "1 [send_AT_command] write_serial_port failed, rc -5\n"
                              "1 [process_AT_command] send_AT_command AT+cpin? failed, rc 1\n"
                              "1 [reload_modem] send_AT_command attempt 0 failed, rc 2\n"},
                             {"sim_never_ready", answers({ok, ok}, 15), 16,
                              repeated(15, not_ready) + "1 [reload_modem] waiting for PIN ready timeout\n"},
                         })),
                         [](const auto &info) { return std::string(info.param.label); });

TEST_F(reload, of_a_modem_that_cannot_be_opened_fails)
{
    EXPECT_EQ(reload_modem("modem7", 0), 1U);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [open_modem] modem no 7 >= 5\n"
                                     "3 [reload_modem] modem7\n"
                                     "1 [reload_modem] open_modem modem7 failed\n");
}

TEST_F(reload, without_a_name_fails)
{
    EXPECT_EQ(reload_modem(nullptr, 0), 1U);
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [open_modem] process name `(null)` invalid\n"
                                     "3 [reload_modem] (null)\n"
                                     "1 [reload_modem] open_modem (null) failed\n");
}
} // namespace
