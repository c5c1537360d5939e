#include "system/child.h"
#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
// An exception ends the child: nothing but the parent goes on with the tests.
[[noreturn]] void do_work(int gate, const std::function<int()> &work) noexcept
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    char begun = 0;
    const int result = read(gate, &begun, 1) == 1 ? work() : child::failed_check;
    fflush(nullptr);
    _exit(testing::Test::HasFailure() ? child::failed_check : result);
}
} // namespace

child::child(const std::function<int()> &work)
{
    int gate[2];
    fflush(nullptr);
    if (pipe(gate) != 0 || (process_ = fork()) < 0) throw std::runtime_error("no process");
    close(gate[process_ == 0]);
    gate_ = gate[process_ != 0];
    if (process_ > 0) return;
    do_work(gate_, work);
}

child::~child()
{
    close(gate_);
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

void child::begin()
{
    // A byte, not the end of the pipe: other children have inherited this end of it.
    if (write(gate_, "", 1) != 1) throw std::runtime_error("no such process");
}

bool child::has_ended() const
{
    siginfo_t what = {};
    return waitid(P_PID, static_cast<id_t>(process_), &what, WEXITED | WNOHANG | WNOWAIT) != 0 || what.si_pid != 0;
}

int child::wait()
{
    int status = 0;
    if (waitpid(process_, &status, 0) != process_) throw std::runtime_error("no such process");
    process_ = -1;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}
