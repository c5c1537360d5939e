#include "unit/platform/scripted_terminal.h"
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {
constexpr int patience_ms = 60000; // of a busy machine

bool readable(int descriptor, int timeout_ms)
{
    pollfd waited = {.fd = descriptor, .events = POLLIN, .revents = 0};
    return poll(&waited, 1, timeout_ms) > 0 && waited.revents & POLLIN;
}
} // namespace

scripted_terminal::scripted_terminal()
{
    char name[64];
    termios settings = {};
    cfmakeraw(&settings);
    EXPECT_EQ(openpty(&master_, &slave_, name, &settings, nullptr), 0);
    path_ = name;
}

scripted_terminal::~scripted_terminal()
{
    commands();
    hang_up();
}

void scripted_terminal::hang_up()
{
    for (int *descriptor : {&master_, &slave_}) {
        if (*descriptor >= 0) close(*descriptor);
        *descriptor = -1;
    }
}

void scripted_terminal::write(const std::string &text) const
{
    EXPECT_EQ(::write(master_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

// Up to the LF that ends it, or what came within the time.
std::string scripted_terminal::read_command() const
{
    std::string command;
    while (!command.ends_with('\n') && readable(master_, patience_ms)) {
        char c = 0;
        if (read(master_, &c, 1) != 1) break;
        command += c;
    }
    return command;
}

bool scripted_terminal::write_and_wait(const std::string &text) const
{
    write(text);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience_ms);
    for (int unread = 1; unread > 0;) {
        if (ends_) return false;
        if (ioctl(slave_, FIONREAD, &unread) != 0 || std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::yield();
    }
    return true;
}

void scripted_terminal::play(std::vector<reply> replies)
{
    player_ = std::thread([this, replies = std::move(replies)] {
        for (const reply &next : replies) {
            commands_.push_back(read_command());
            if (on_command) on_command();
            for (const std::string &piece : next.pieces)
                if (!write_and_wait(piece)) return;
            if (next.hang_up) hang_up();
        }
    });
}

std::vector<std::string> scripted_terminal::commands()
{
    ends_ = true;
    if (player_.joinable()) player_.join();
    return commands_;
}

file_in_environment::file_in_environment(const char *variable, const std::string &text) : variable_(variable)
{
    char name[] = "/tmp/lpa_platform_test_XXXXXX";
    const int descriptor = mkstemp(name);
    EXPECT_GE(descriptor, 0);
    close(descriptor);
    path_ = name;
    rewrite(text);
    setenv(variable_, name, 1);
}

file_in_environment::~file_in_environment()
{
    unsetenv(variable_);
    unlink(path_.c_str());
}

void file_in_environment::rewrite(const std::string &text) const { std::ofstream(path_) << text; }

captured_stderr::captured_stderr() : saved_(dup(STDERR_FILENO))
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    read_end_ = ends[0];
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
}

captured_stderr::~captured_stderr()
{
    dup2(saved_, STDERR_FILENO);
    close(saved_);
    close(read_end_);
}

std::string captured_stderr::text()
{
    char bytes[512];
    for (ssize_t count = 0; (count = read(read_end_, bytes, sizeof bytes)) > 0;)
        text_.append(bytes, static_cast<size_t>(count));
    return text_;
}

bool captured_stderr::wait_for(const std::string &wanted)
{
    while (text().find(wanted) == std::string::npos)
        if (!readable(read_end_, patience_ms)) return false;
    return true;
}
