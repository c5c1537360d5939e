#pragma GCC visibility push(default)
extern "C" {
#include "platform/modem/lgsm.h"
}
#pragma GCC visibility pop
#include "platform/modem/at_answer.h"
#include "platform/modem/modem_config.h"
#include "platform/modem/terminal.h"
#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

namespace {
constexpr int highest_modem = 4;
constexpr int default_timeout_s = 60;
constexpr int open_pause_ms = 50;

// lgsm_exec's results; callers only tell zero from the rest.
enum exec_result { EXEC_OK, EXEC_FAILED };

int64_t now_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

int left_until(int64_t deadline)
{
    const int64_t left = deadline - now_ms();
    if (left <= 0) return 0;
    return left > INT32_MAX ? INT32_MAX : static_cast<int>(left);
}

int64_t deadline_for(const modem_config *config, int timeout_s)
{
    int64_t limit = int64_t{timeout_s > 0 ? timeout_s : default_timeout_s} * 1000;
    if (config->timeout_ms > 0 && config->timeout_ms < limit) limit = config->timeout_ms;
    return now_ms() + limit;
}

struct open_terminal {
    int descriptor = -1;
    open_terminal() = default;
    open_terminal(const open_terminal &) = delete;
    open_terminal &operator=(const open_terminal &) = delete;
    ~open_terminal()
    {
        if (descriptor >= 0) terminal__close(descriptor);
    }
};

// A modem that restarts takes its terminal away for some seconds.
bool open_until(const modem_config *config, int64_t deadline, int *descriptor)
{
    for (bool told = false;; told = true) {
        const terminal_result rc = terminal__open(config->terminal.c_str(), config->speed, descriptor);
        if (rc != TERMINAL_ABSENT) return rc == TERMINAL_OK;
        if (!told) fprintf(stderr, "lgsm: %s is not there, waiting for it\n", config->terminal.c_str());
        if (left_until(deadline) == 0) {
            fprintf(stderr, "lgsm: %s did not appear\n", config->terminal.c_str());
            return false;
        }
        poll(nullptr, 0, open_pause_ms);
    }
}

bool failed(const modem_config *config, const char *problem)
{
    fprintf(stderr, "lgsm: %s: %s\n", config->terminal.c_str(), problem);
    return false;
}

bool would_block(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

// Both report no failure for a terminal that merely is not ready.
bool write_some(int descriptor, const char **from)
{
    const ssize_t written = write(descriptor, *from, strlen(*from));
    if (written > 0) *from += written;
    return written >= 0 || would_block(errno);
}

bool read_some(int descriptor, at_answer *answer)
{
    char bytes[512];
    const ssize_t count = read(descriptor, bytes, sizeof bytes);
    if (count < 0) return would_block(errno);
    return count > 0 && at_answer__take(answer, bytes, static_cast<size_t>(count));
}

// Sends the command while already listening: a modem echoes as it receives.
bool exchange(const modem_config *config, int descriptor, const char *command, at_answer *answer, int64_t deadline)
{
    while (!answer->complete) {
        pollfd waited = {.fd = descriptor, .events = POLLIN, .revents = 0};
        if (*command) waited.events |= POLLOUT;
        const int ready = poll(&waited, 1, left_until(deadline));
        if (ready < 0 && errno != EINTR) return failed(config, strerror(errno));
        if (ready == 0)
            return failed(config, *command ? "the modem does not take the command"
                                           : "no final result code within the time limit");
        if (ready < 0) continue;
        // A hang-up counts after what came before it has been read.
        if (waited.revents & POLLIN) {
            if (!read_some(descriptor, answer))
                return failed(config, "the terminal is gone, or the answer does not end");
        } else if (waited.revents & (POLLHUP | POLLERR | POLLNVAL)) {
            return failed(config, "the terminal is gone");
        }
        if (waited.revents & POLLOUT && !write_some(descriptor, &command))
            return failed(config, "the terminal is gone");
        if (!answer->complete && left_until(deadline) == 0)
            return failed(config, "no final result code within the time limit");
    }
    return true;
}
} // namespace

int lgsm_exec(struct ubus_context *, const char *command, char **response, int modem, int timeout)
{
    if (!command || !response) return EXEC_FAILED;
    *response = nullptr;
    modem_config config;
    if (modem < 0 || modem > highest_modem || !modem_config__read(&config, modem)) return EXEC_FAILED;

    const int64_t deadline = deadline_for(&config, timeout);
    open_terminal terminal;
    if (!open_until(&config, deadline, &terminal.descriptor)) return EXEC_FAILED;
    at_answer answer(command);
    if (!exchange(&config, terminal.descriptor, command, &answer, deadline)) return EXEC_FAILED;
    *response = at_answer__hand_over(&answer);
    return *response ? EXEC_OK : EXEC_FAILED;
}
