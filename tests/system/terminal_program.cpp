#include "system/terminal_program.h"
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

terminal_program::terminal_program(const std::vector<std::string> &arguments)
{
    std::vector<char *> words;
    for (const std::string &argument : arguments)
        words.push_back(const_cast<char *>(argument.c_str()));
    words.push_back(nullptr);
    const winsize size = {.ws_row = 25, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
    process_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (process_ < 0) throw std::runtime_error("no pseudo-terminal");
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execv(words[0], words.data());
        _exit(127);
    }
    fcntl(terminal_, F_SETFD, FD_CLOEXEC);
}

terminal_program::~terminal_program()
{
    close(terminal_);
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

// A terminal whose program has ended gives an error.
bool terminal_program::read_some()
{
    constexpr int patience_ms = 60000;
    pollfd waited = {.fd = terminal_, .events = POLLIN, .revents = 0};
    if (poll(&waited, 1, patience_ms) != 1) return false;
    char bytes[4096];
    const ssize_t count = read(terminal_, bytes, sizeof bytes);
    if (count <= 0) return false;
    screen_.append(bytes, static_cast<size_t>(count));
    return true;
}

bool terminal_program::shows(const std::string &text)
{
    for (;;) {
        const size_t place = screen_.find(text, seen_);
        if (place != std::string::npos) {
            seen_ = place + text.size();
            return true;
        }
        if (!read_some()) return false;
    }
}

void terminal_program::type(const std::string &keys)
{
    if (write(terminal_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
        throw std::runtime_error("the terminal takes nothing");
}

bool terminal_program::echoes() const
{
    termios settings = {};
    return tcgetattr(terminal_, &settings) == 0 && (settings.c_lflag & ECHO);
}

int terminal_program::wait()
{
    while (read_some()) {}
    int status = 0;
    if (waitpid(process_, &status, 0) != process_) throw std::runtime_error("no such process");
    process_ = -1;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}
