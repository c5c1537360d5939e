// A pseudo-terminal whose far end follows a script: for each command line it is told what to write back.
#pragma once
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

class scripted_terminal {
  public:
    // What the modem does after one command: pieces are written so that each is taken by the reader before the next.
    struct reply {
        std::vector<std::string> pieces;
        bool hang_up = false;
    };
    scripted_terminal();
    ~scripted_terminal();
    const std::string &path() const { return path_; }
    // Answers the next commands, one reply each, then falls silent. Called once.
    void play(std::vector<reply> replies);
    // Ends the script: nobody reads any more. The commands received, line ends included.
    std::vector<std::string> commands();
    void write(const std::string &text) const; // from the modem, at once
    std::function<void()> on_command;          // called while the reader waits for the answer

  private:
    void hang_up();
    std::string read_command() const;
    bool write_and_wait(const std::string &text) const;
    int master_ = -1;
    int slave_ = -1; // held open, so that the reader's closing is no hang-up
    std::string path_;
    std::vector<std::string> commands_;
    std::atomic<bool> ends_ = false;
    std::thread player_;
};

// A file with this text, below /tmp, named in an environment variable; both are gone with the object.
class file_in_environment {
  public:
    file_in_environment(const char *variable, const std::string &text);
    ~file_in_environment();
    void rewrite(const std::string &text) const;

  private:
    const char *variable_;
    std::string path_;
};

// Standard error while the object lives.
class captured_stderr {
  public:
    captured_stderr();
    ~captured_stderr();
    std::string text();                       // so far
    bool wait_for(const std::string &wanted); // at most some seconds

  private:
    int saved_;
    int read_end_;
    std::string text_;
};
