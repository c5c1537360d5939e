// simulator/faults.h: what is to go wrong between modem and card, and when.
#pragma once
#include <csignal>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace sim {

// What a fault counts: AT commands as they were typed, or the APDUs among them, as hex.
enum class fault_unit { command, apdu };

enum class fault_kind {
    error,       // ERROR
    cme_error,   // +CME ERROR: with a text
    status_word, // instead of the card's answer
    answer,      // a text as it stands
    truncate,    // the answer's last digits are missing
    odd,         // the answer's very last digit is missing
    no_digits,   // the answer's digits are none
    garbage,     // noise before and behind the answer
    silence,     // no answer at all
    hang_up,     // the terminal goes away
    power_cut,   // the card loses its power
    kill,        // a process gets a signal instead of an answer
};

struct process_signal {
    int process = 0; // none
    int number = SIGKILL;
    void send() const;
};
// "pid" and "signal" of a command. Throws std::invalid_argument for what would concern more than one process.
process_signal process_signal_of(const nlohmann::json &command);

struct fault {
    fault_unit unit = fault_unit::command;
    fault_kind kind = fault_kind::error;
    std::string contains;         // counts only commands or APDUs that contain this text; empty: all
    uint32_t nth = 1;             // the first one concerned, counted from the time the fault was set
    uint32_t times = 1;           // how many are concerned in a row; 0: all from then on
    bool after = false;           // the command is carried out, only its answer is lost
    std::string text;             // of cme_error, status_word (as hex) and answer
    std::optional<size_t> length; // digits that truncate leaves; half of them when absent
    int return_ms = -1;           // of hang_up; negative: the terminal stays away until it is told to return
    process_signal sent;          // of kill
    uint32_t counted = 0;
};

class fault_plan {
  public:
    // {"kind": ..., ...} as docs/simulator.md lists. Throws std::invalid_argument.
    void add(const nlohmann::json &command);
    void clear() { faults_.clear(); }
    uint32_t fired() const { return fired_; } // how often one was met, so far
    nlohmann::json describe() const;
    // The fault that concerns this command or APDU, which is counted for all of them.
    std::optional<fault> take(fault_unit unit, const std::string &text);

  private:
    std::vector<fault> faults_;
    uint32_t fired_ = 0;
};

const char *fault_name(fault_kind kind);

} // namespace sim
