#include "system/child.h"
#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

child::child(const std::function<int()> &work)
{
    int gate[2];
    fflush(nullptr);
    if (pipe(gate) != 0 || (process_ = fork()) < 0) throw std::runtime_error("no process");
    close(gate[process_ == 0]);
    gate_ = gate[process_ != 0];
    if (process_ > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    char begun = 0;
    const int result = read(gate_, &begun, 1) == 1 ? work() : failed_check;
    fflush(nullptr);
    _exit(testing::Test::HasFailure() ? failed_check : result);
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

int child::wait()
{
    int status = 0;
    if (waitpid(process_, &status, 0) != process_) throw std::runtime_error("no such process");
    process_ = -1;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}
