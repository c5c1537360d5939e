// A process that does some work of the library's and may be ended from outside.
#pragma once
#include <functional>
#include <sys/types.h>

class child {
  public:
    // It waits until it is told to begin. Then it exits with what work gives, or with failed_check.
    explicit child(const std::function<int()> &work);
    ~child(); // kills it
    child(const child &) = delete;
    child &operator=(const child &) = delete;

    static constexpr int failed_check = 99;
    pid_t process() const { return process_; }
    void begin();
    bool has_ended() const;
    int wait(); // for its end: the exit status, or the negative number of the signal that ended it

  private:
    pid_t process_ = -1; // of one that was not waited for
    int gate_ = -1;
};
