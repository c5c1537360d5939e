// The modem on its terminal.
#include "simulator/crypto.h"
#include "simulator/descriptor.h"
#include "simulator/modem.h"
#include <chrono>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>

namespace {
using namespace sim;
using nlohmann::json;
using std::chrono::steady_clock;
namespace fs = std::filesystem;
constexpr int patience_ms = 5000;

class modem_terminal : public testing::Test {
  protected:
    modem_terminal()
    {
        fs::create_directories(folder);
        device = std::make_unique<modem>(0, folder / "tty",
                                         card_slot{[](byte_view) { return from_hex("9000"); }, [this] { ++resets; }});
        terminal = open_terminal();
    }
    ~modem_terminal() override { fs::remove_all(folder); }

    descriptor open_terminal() const
    {
        return descriptor(open((folder / "tty").c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    }
    json control(const char *command) { return device->control(json::parse(command)); }
    void send(const std::string &text) const
    {
        ASSERT_EQ(write(terminal.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    // What comes until the text wanted ends it; "(gone)" for a hang-up.
    std::string read_until(const std::string &wanted) const
    {
        std::string text;
        while (!text.ends_with(wanted)) {
            pollfd waited = {terminal.get(), POLLIN, 0};
            if (poll(&waited, 1, patience_ms) <= 0) return text + "(silence)";
            char bytes[4096];
            const ssize_t count = read(terminal.get(), bytes, sizeof bytes);
            if (count <= 0) return text + "(gone)";
            text.append(bytes, static_cast<size_t>(count));
        }
        return text;
    }
    std::string exchange(const std::string &command, const std::string &end = "OK\r\n") const
    {
        send(command + "\r\n");
        return read_until(end);
    }
    bool wait_for_terminal()
    {
        const auto limit = steady_clock::now() + std::chrono::milliseconds(patience_ms);
        while (!(terminal = open_terminal()) && steady_clock::now() < limit)
            std::this_thread::yield();
        return static_cast<bool>(terminal);
    }

    fs::path folder = "/tmp/lpa_modem_test_" + std::to_string(getpid());
    std::atomic<int> resets = 0;
    std::unique_ptr<modem> device;
    descriptor terminal;
};

TEST_F(modem_terminal, echoes_and_answers)
{
    EXPECT_EQ(exchange("AT"), "AT\r\r\nOK\r\n");
    EXPECT_EQ(exchange("ATE0"), "ATE0\r\r\nOK\r\n");
    EXPECT_EQ(exchange("AT+CSIM=10,\"0070000001\""), "\r\n+CSIM: 4,\"9000\"\r\n\r\nOK\r\n");
    control(R"({"do":"fault","kind":"silence"})");
    send("AT\r\n");
    EXPECT_EQ(exchange("ATE0"), "\r\nOK\r\n");
    EXPECT_EQ(control(R"({"do":"log"})")["log"], json::parse(R"([
        {"command":"AT","answer":"OK"}, {"command":"ATE0","answer":"OK"},
        {"command":"AT+CSIM=10,\"0070000001\"","answer":"+CSIM: 4,\"9000\"OK"},
        {"command":"AT","answer":"","fault":"silence"}, {"command":"ATE0","answer":"OK"}])"));
    control(R"({"do":"clear-log"})");
    EXPECT_EQ(control(R"({"do":"log"})")["log"], json::array());
    EXPECT_EQ(control(R"({"do":"inspect"})")["terminal"], (folder / "tty").string());
    EXPECT_EQ(control(R"({"do":"inspect"})")["commands"], 5);
}

TEST_F(modem_terminal, may_be_closed_and_opened_again_and_again)
{
    for (int i = 0; i < 50; ++i) {
        terminal = descriptor();
        terminal = open_terminal();
        ASSERT_TRUE(terminal);
        ASSERT_EQ(exchange("AT"), "AT\r\r\nOK\r\n") << i;
    }
}

TEST_F(modem_terminal, is_free_again_after_an_exclusive_user_died)
{
    ASSERT_EQ(ioctl(terminal.get(), TIOCEXCL), 0);
    control(R"({"do":"set","latency_ms":60000})");
    send("AT\r\n");
    EXPECT_EQ(read_until("AT\r"), "AT\r"); // the answer would come in a minute
    terminal = descriptor();
    int exclusive = 1;
    const auto limit = steady_clock::now() + std::chrono::milliseconds(patience_ms);
    while (exclusive != 0 && steady_clock::now() < limit) {
        const descriptor other = open_terminal();
        if (other) ioctl(other.get(), TIOCGEXCL, &exclusive);
        std::this_thread::yield();
    }
    EXPECT_EQ(exclusive, 0);
    control(R"({"do":"set","latency_ms":0})");
    ASSERT_TRUE(wait_for_terminal());
    EXPECT_EQ(exchange("ATI", "Revision: 1.0\r\n\r\nOK\r\n").substr(0, 4), "ATI\r"); // not the old answer
}

TEST_F(modem_terminal, answers_in_pieces_after_a_while)
{
    control(R"({"do":"set","latency_ms":20,"piece":2})");
    const auto start = steady_clock::now();
    EXPECT_EQ(exchange("AT"), "AT\r\r\nOK\r\n");
    EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(20 + 2));
}

TEST_F(modem_terminal, says_lines_that_nobody_asked_for)
{
    control(R"({"do":"line","text":"+CREG: 5"})");
    EXPECT_EQ(read_until("5\r\n"), "\r\n+CREG: 5\r\n");
}

TEST_F(modem_terminal, hangs_up_and_comes_back_under_the_same_link)
{
    control(R"({"do":"fault","kind":"hang-up","return_ms":5})");
    send("AT\r\n");
    EXPECT_EQ(read_until("never"), "AT\r(gone)");
    ASSERT_TRUE(wait_for_terminal());
    EXPECT_EQ(exchange("AT"), "AT\r\r\nOK\r\n");
    EXPECT_FALSE(fs::exists(folder / "tty.new"));
}

TEST_F(modem_terminal, comes_back_by_itself_after_a_hang_up_with_a_time)
{
    control(R"({"do":"hang-up","return_ms":5})");
    EXPECT_EQ(read_until("never"), "(gone)");
    ASSERT_TRUE(wait_for_terminal());
    EXPECT_EQ(exchange("AT"), "AT\r\r\nOK\r\n");
}

TEST_F(modem_terminal, stays_away_until_told_to_return)
{
    control(R"({"do":"hang-up","return_ms":60000})");
    control(R"({"do":"hang-up"})");
    EXPECT_EQ(read_until("never"), "(gone)");
    EXPECT_FALSE(open_terminal());
    control(R"({"do":"line","text":"unheard"})");
    EXPECT_EQ(control(R"({"do":"inspect"})")["present"], false);
    control(R"({"do":"return"})");
    terminal = open_terminal();
    ASSERT_TRUE(terminal);
    control(R"({"do":"return"})"); // is there already
    EXPECT_EQ(exchange("AT"), "AT\r\r\nOK\r\n");
}

TEST_F(modem_terminal, vanishes_after_the_answer_to_a_restart_was_read)
{
    control(R"({"do":"set","vanish_ms":0})");
    EXPECT_EQ(exchange("AT+CFUN=0"), "AT+CFUN=0\r\r\nOK\r\n");
    EXPECT_EQ(exchange("AT+CFUN=1"), "AT+CFUN=1\r\r\nOK\r\n");
    EXPECT_EQ(read_until("never"), "(gone)");
    ASSERT_TRUE(wait_for_terminal());
    EXPECT_EQ(exchange("AT"), "AT\r\r\nOK\r\n");
    EXPECT_EQ(resets, 1);
}

TEST_F(modem_terminal, keeps_what_is_not_read_up_to_a_limit)
{
    control(R"({"do":"set","echo":false})");
    const std::string line(16384, 'x'); // longer than the terminal's own buffer
    for (int i = 0; i < 100; ++i)
        control((R"({"do":"line","text":")" + line + "\"}").c_str());
    control(R"({"do":"line","text":"end"})");
    const std::string all = read_until("end\r\n");
    EXPECT_TRUE(all.ends_with("end\r\n"));
    EXPECT_GT(all.size(), 900000U);
    EXPECT_LT(all.size(), 100U * 16384U);
}

TEST_F(modem_terminal, takes_commands_of_its_own)
{
    control(R"({"do":"fault","kind":"error","times":0})");
    EXPECT_EQ(exchange("AT", "ERROR\r\n"), "AT\r\r\nERROR\r\n");
    control(R"({"do":"clear-faults"})");
    EXPECT_EQ(exchange("AT"), "AT\r\r\nOK\r\n");
    for (const char *refused :
         {R"({"do":"unheard"})", R"({"do":"log","x":1})", R"({"do":"inspect","x":1})", R"({"do":"clear-log","x":1})",
          R"({"do":"set","latency":1})", R"({"do":"fault","kind":"silence","nht":1})", R"({"do":"clear-faults","x":1})",
          R"({"do":"line","text":"RING","x":1})", R"({"do":"hang-up","return":1})", R"({"do":"return","x":1})"})
        EXPECT_THROW(control(refused), std::invalid_argument) << refused;
    EXPECT_EQ(exchange("AT"), "AT\r\r\nOK\r\n"); // nothing of that was done
    EXPECT_EQ(control(R"({"do":"log"})")["log"].size(), 3U);
    EXPECT_THROW(control("{}"), json::exception);
}
} // namespace
