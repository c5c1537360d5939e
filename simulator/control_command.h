// simulator/control_command.h: one command of the control socket, {"card": 0, "do": "set", "memory": 4} for example.
// What it does not know it refuses: a misspelled member must not pass for one that was left out.
#pragma once
#include <nlohmann/json.hpp>
#include <string>

namespace sim {

class control_command {
  public:
    // subject: the member that tells whom the command is for; verb: the one that tells what to do.
    control_command(const nlohmann::json &command, const char *subject, const char *verb = "do");
    const std::string &name() const { return name_; }
    // Whether it is the command called name, whose members are checked by who carries it out.
    bool is_called(const char *name) const { return name_ == name; }
    // Whether it is; throws std::invalid_argument when it is and has members other than these.
    bool is(const char *name, const std::string &members = "") const;

  private:
    const nlohmann::json &command_;
    std::string address_; // the members that every command of this subject has
    std::string name_;
};

// Throws std::invalid_argument when object has a member that is not among known, names with blanks between them.
void check_members(const nlohmann::json &object, const std::string &known);

} // namespace sim
