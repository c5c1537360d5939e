// A program in a pseudo-terminal of its own, as somebody at a keyboard meets it.
#pragma once
#include <string>
#include <sys/types.h>
#include <vector>

class terminal_program {
  public:
    explicit terminal_program(const std::vector<std::string> &arguments); // the first one is the program's path
    ~terminal_program();                                                  // kills it
    terminal_program(const terminal_program &) = delete;
    terminal_program &operator=(const terminal_program &) = delete;

    // Reads on until this text has come; false when the program ended or nothing came for a minute.
    bool shows(const std::string &text);
    void type(const std::string &keys); // "\x03" is Ctrl-C
    bool echoes() const;
    int wait(); // for its end: the exit status, or the negative number of the signal that ended it
    const std::string &screen() const { return screen_; } // all that has come; lines end with CR LF

  private:
    bool read_some();

    pid_t process_ = -1; // of one that was not waited for
    int terminal_ = -1;
    std::string screen_;
    size_t seen_ = 0; // end of the last text that was waited for
};
