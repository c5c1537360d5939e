#include "simulator/faults.h"
#include <array>
#include <stdexcept>

namespace sim {
namespace {
using nlohmann::json;

constexpr std::array kind_names = {"error",     "cme-error", "status-word", "answer",  "truncate",  "odd",
                                   "no-digits", "garbage",   "silence",     "hang-up", "power-cut", "kill"};

fault_kind kind_of(const std::string &name)
{
    for (size_t i = 0; i < kind_names.size(); ++i)
        if (name == kind_names[i]) return static_cast<fault_kind>(i);
    throw std::invalid_argument("there is no fault \"" + name + "\"");
}

// A spoilt answer presupposes one.
bool spoils_an_answer(fault_kind kind)
{
    return kind == fault_kind::truncate || kind == fault_kind::odd || kind == fault_kind::no_digits ||
           kind == fault_kind::garbage;
}

void set_member(fault *made, const std::string &name, const json &value)
{
    if (name == "contains") made->contains = value.get<std::string>();
    else if (name == "nth") made->nth = value.get<uint32_t>();
    else if (name == "times") made->times = value.get<uint32_t>();
    else if (name == "apdu") made->unit = value.get<bool>() ? fault_unit::apdu : fault_unit::command;
    else if (name == "after") made->after = made->after || value.get<bool>();
    else if (name == "text") made->text = value.get<std::string>();
    else if (name == "length") made->length = value.get<size_t>();
    else if (name == "return_ms") made->return_ms = value.get<int>();
    else if (name != "pid" && name != "signal") throw std::invalid_argument("a fault has no \"" + name + "\"");
}

// Four digits, or data before them.
bool is_response(const std::string &text)
{
    return text.size() >= 4 && text.size() % 2 == 0 && text.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}
} // namespace

void process_signal::send() const { kill(process, number); }

process_signal process_signal_of(const json &command)
{
    const process_signal result = {command.at("pid"), command.value("signal", SIGKILL)};
    if (result.process <= 1) throw std::invalid_argument("\"pid\" is one process other than the first");
    return result;
}

void fault_plan::add(const json &command)
{
    fault made;
    made.kind = kind_of(command.at("kind").get<std::string>());
    made.after = spoils_an_answer(made.kind);
    for (const auto &[name, value] : command.items())
        if (name != "modem" && name != "do" && name != "kind") set_member(&made, name, value);
    if (made.nth == 0) throw std::invalid_argument("\"nth\" counts from 1");
    if (made.kind == fault_kind::status_word && !is_response(made.text))
        throw std::invalid_argument("the \"text\" of a status word is upper-case hexadecimal");
    if (made.kind == fault_kind::kill) made.sent = process_signal_of(command);
    faults_.push_back(made);
}

json fault_plan::describe() const
{
    json result = json::array();
    for (const fault &one : faults_)
        result.push_back({{"kind", fault_name(one.kind)},
                          {"apdu", one.unit == fault_unit::apdu},
                          {"contains", one.contains},
                          {"nth", one.nth},
                          {"times", one.times},
                          {"counted", one.counted}});
    return result;
}

std::optional<fault> fault_plan::take(fault_unit unit, const std::string &text)
{
    std::optional<fault> found;
    for (fault &one : faults_) {
        if (one.unit != unit || text.find(one.contains) == std::string::npos) continue;
        ++one.counted;
        const bool begun = one.counted >= one.nth;
        const bool over = one.times != 0 && one.counted - one.nth >= one.times;
        if (begun && !over && !found) found = one;
    }
    fired_ += found ? 1 : 0;
    return found;
}

const char *fault_name(fault_kind kind) { return kind_names[static_cast<size_t>(kind)]; }

} // namespace sim
