// simulator/at_interpreter.h: a modem's understanding of AT commands (V.250, TS 27.007), without its terminal.
#pragma once
#include "simulator/faults.h"
#include "simulator/tlv.h"
#include <functional>
#include <string_view>

namespace sim {

// The card in the modem's slot.
struct card_slot {
    std::function<byte_vector(byte_view command)> transmit;
    std::function<void()> reset;
};

// Habits that modems differ in.
struct modem_habits {
    uint32_t latency_ms = 0;             // from a command to its answer
    uint32_t piece = 0;                  // bytes of one write; 0: all at once
    uint32_t unsolicited_every = 0;      // commands from one unsolicited line to the next; 0: none
    bool announces_restart = false;      // RDY and +CPIN: READY after AT+CFUN=1
    bool quotes = true;                  // +CSIM: 4,"9000"
    bool blank = true;                   // behind the colon
    bool lower_case = false;             // the response's digits
    bool cr_cr_lf = false;               // at the end of lines
    bool collects = false;               // follows 61xx itself and answers with the whole response
    bool occupies_channel = false;       // opens a logical channel for itself whenever the card starts
    uint32_t line_limit = 0;             // longest command line taken; 0: any
    std::string beyond_limit = "ignore"; // longer ones: ignore, or repeat the previous answer
    std::string pin = "READY";           // answer to AT+CPIN?
    std::string cmee_modes = "(0-2)";    // answer to AT+CMEE=?, and what AT+CMEE= takes
    uint32_t cfun_errors = 0;            // so many AT+CFUN=1 are answered ERROR
    uint32_t sim_busy = 0;               // so many AT+CPIN? are answered "SIM busy" after a restart
    std::string refresh = "ignore";      // what 91xx makes the modem do: ignore, restart (the card) or vanish
    int vanish_ms = -1;                  // AT+CFUN=1 takes the terminal away for this time; negative: it stays
};

// What one command makes the modem do.
struct modem_reaction {
    std::string at_once; // echo and what comes before it
    std::string answer;  // after the latency
    bool vanishes = false;
    int return_ms = 0; // negative: not by itself
};

struct exchange_entry {
    std::string command;
    std::string answer;
    const char *fault; // that was met; null: none
};

class at_interpreter {
  public:
    at_interpreter(int number, card_slot card);
    // Takes what came over the terminal; one reaction for every command line that is complete with it.
    std::vector<modem_reaction> receive(std::string_view bytes);
    void forget_partial_line() { line_.clear(); }
    std::string unsolicited(const std::string &text) const; // as a line of its own
    void restart_card();

    modem_habits habits;
    fault_plan faults;
    std::vector<exchange_entry> log;         // in order
    void set(const nlohmann::json &command); // habits, and the echo; throws std::invalid_argument
    nlohmann::json describe() const;

  private:
    struct answer {
        std::vector<std::string> lines;
        std::string result = "OK";
        std::string noise = ""; // before all
    };
    // One command on its way.
    struct progress {
        modem_reaction reaction;
        std::optional<std::string> raw; // goes out instead of an answer; empty: silence
        std::string afterwards;         // lines that follow the answer
        const char *fault = nullptr;
    };
    using execution = std::function<answer()>;
    modem_reaction react(const std::string &line);
    answer run(const std::string &line, progress &state);
    answer set_error_mode(const std::string &argument);
    answer set_function(const std::string &argument, progress &state);
    answer exchange(const std::string &argument, progress &state);
    answer transmit(byte_view apdu, progress &state);
    answer with_faults(fault_unit unit, const std::string &text, progress &state, const execution &execute);
    answer apply(const fault &applied, progress &state, const execution &execute);
    answer error(int cme_code) const;
    bool is_busy();
    std::string format(const answer &formatted) const;
    void add_unsolicited(modem_reaction &reaction);
    std::string csim_line(byte_view response) const;
    const char *line_end() const { return habits.cr_cr_lf ? "\r\r\n" : "\r\n"; }

    int number_;
    card_slot card_;
    std::string line_; // being received
    std::string previous_answer_;
    bool echo_ = true;
    int error_mode_ = 0; // of AT+CMEE
    int function_ = 1;   // of AT+CFUN
    uint32_t busy_left_ = 0;
    uint32_t commands_ = 0;
    uint32_t unsolicited_lines_ = 0;
};

} // namespace sim
