#include "simulator/control_command.h"
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>

namespace sim {
using nlohmann::json;

control_command::control_command(const json &command, const char *subject, const char *verb)
    : command_(command), address_(std::string(subject) + " " + verb), name_(command.at(verb))
{
}

bool control_command::is(const char *name, const std::string &members) const
{
    if (!is_called(name)) return false;
    check_members(command_, address_ + " " + members);
    return true;
}

void check_members(const json &object, const std::string &known)
{
    std::istringstream words(known);
    const std::set<std::string> names{std::istream_iterator<std::string>(words), {}};
    for (const auto &[name, value] : object.items())
        if (!names.contains(name)) throw std::invalid_argument("the member \"" + name + "\" is not known here");
}

} // namespace sim
