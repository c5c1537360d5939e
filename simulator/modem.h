// simulator/modem.h: a cellular modem on a pseudo-terminal: AT commands (3GPP TS 27.007) and their answers, the habits
// of real modems as switches, faults on order.
#pragma once
#include "simulator/descriptor.h"
#include "simulator/euicc.h"
#include <deque>
#include <mutex>
#include <thread>

namespace sim {

struct modem_switches {
    bool echo = true; // comes back after a restart
    bool quotes = true;
    bool blank = true;       // after the colon of +CSIM:
    bool lower_case = false; // the response's digits
    bool cr_cr_lf = false;
    bool collects = false;          // follows 61xx itself and answers with the whole response
    uint32_t piece = 0;             // bytes of one write; 0: all at once
    uint32_t latency_ms = 0;        // before each answer
    uint32_t unsolicited_every = 0; // an unsolicited line before every n-th answer
    std::string cmee_modes = "(0-2)";
    uint32_t cfun_errors = 0; // so many AT+CFUN=1 are answered ERROR
    uint32_t sim_busy = 0;    // after a restart so many AT+CPIN? are answered "SIM busy"
};

class modem {
  public:
    // Serves a new pseudo-terminal in a thread of its own; terminal becomes a link to it.
    modem(uint32_t number, std::filesystem::path terminal, euicc &card);
    ~modem();
    const std::filesystem::path &terminal() const { return terminal_; }
    // {"do": "log" | "clear-log" | "set" | "fault" | "clear-faults" | "hang-up" | "return" | "inspect", ...}, as
    // docs/simulator.md tells. Throws std::invalid_argument.
    nlohmann::json control(const nlohmann::json &command);

  private:
    struct fault {
        std::string contains; // in the command; empty: any
        uint32_t skip = 0;    // matching commands that pass first
        uint32_t times = 1;   // commands it hits; 0 when it is used up
        std::string kind;
        std::string text;   // status word, answer or code, by kind
        size_t length = 0;  // characters that a truncated answer keeps
        bool after = false; // the command is carried out, only its answer is lost
    };
    struct exchange {
        std::string command;
        std::string answer; // as written, without line ends
    };

    void open_terminal();
    void close_terminal();
    void serve();
    void take(const char *bytes, size_t count);
    void execute(const std::string &line);
    std::string answer_to(const std::string &line);
    std::string apply(const fault &hit, const std::string &line);
    std::optional<fault> take_fault(const std::string &line);
    std::string csim(const std::string &arguments);
    byte_vector exchange_apdu(byte_view command);
    std::string csim_text(byte_view response) const;
    std::string cfun(const std::string &value);
    std::string cme_error(int code) const;
    std::string line(const std::string &text) const; // with line ends
    std::string ok() const { return line("OK"); }
    void write(const std::string &text);

    const uint32_t number_;
    const std::filesystem::path terminal_;
    euicc &card_;
    mutable std::recursive_mutex mutex_; // what follows, against control
    modem_switches switches_;
    descriptor master_;
    descriptor slave_; // held, so that the terminal outlives its users
    std::string input_;
    std::vector<exchange> log_;
    std::deque<fault> faults_;
    uint32_t faults_fired_ = 0;
    uint32_t answers_ = 0;
    int cmee_ = 0;
    bool radio_ = true;
    uint32_t busy_left_ = 0;
    descriptor wake_;
    bool stopping_ = false;
    std::thread thread_;
};

} // namespace sim
