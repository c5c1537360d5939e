#include "simulator/es9_faults.h"
#include "simulator/bound_package.h"
#include "simulator/control_command.h"
#include "simulator/faults.h"
#include <algorithm>
#include <stdexcept>

namespace sim {
namespace {
using nlohmann::json;

struct fault_kind {
    const char *name;
    const char *required = ""; // parameter; empty: none
    const char *others = "";
};
constexpr fault_kind kinds[] = {
    // the answer is not what was worked out
    {"http-status", "status", "body"},
    {"refuse", "", "subject reason message"},
    {"execution-status", "value"},
    {"remove-member", "member"},
    {"set-member", "member", "value"},
    {"body", "body"},
    {"escape", "characters"},
    {"empty-body"},
    {"truncated-body", "bytes"},
    // the connection fails
    {"close"},
    {"cut-connection", "bytes", "reset"},
    {"silence"},
    {"kill", "pid", "signal"},
    {"slow-body", "milliseconds", "piece"},
    {"endless-body", "", "milliseconds piece"},
    // the server works wrongly
    {"wrong-signature"},
    {"wrong-certificate", "which"},
    {"wrong-transaction-id"},
    {"wrong-challenge"},
    {"wrong-address"},
    {"unknown-ci"},
    {"code-flag", "value"},
    {"package", "defect", "place tag"},
};
constexpr const char *endpoints[] = {"initiateAuthentication", "authenticateClient", "getBoundProfilePackage",
                                     "handleNotification", "cancelSession"};
constexpr const char *wrong_certificates[] = {"foreign-ci", "other-role", "expired", "damaged"};

template <size_t Count> void require_one_of(const char *const (&known)[Count], const std::string &name)
{
    if (std::ranges::find_if(known, [&](const char *one) { return name == one; }) == std::end(known))
        throw std::invalid_argument("\"" + name + "\" is not known");
}
} // namespace

const json *fired_faults::find(const std::string &kind) const
{
    const auto found = std::ranges::find_if(all, [&](const json &fault) { return fault.at("kind") == kind; });
    return found == all.end() ? nullptr : &*found;
}

void ordered_faults::add(const json &command)
{
    const std::string endpoint = command.at("endpoint");
    const std::string name = command.at("kind");
    require_one_of(endpoints, endpoint);
    const auto *kind = std::ranges::find_if(kinds, [&](const auto &row) { return name == row.name; });
    if (kind == std::end(kinds)) throw std::invalid_argument("no fault is called \"" + name + "\"");
    if (*kind->required && !command.contains(kind->required))
        throw std::invalid_argument("\"" + name + "\" needs \"" + kind->required + "\"");
    check_members(command,
                  std::string("server do endpoint kind at times processed ") + kind->required + " " + kind->others);
    if (name == "wrong-certificate") require_one_of(wrong_certificates, command.at("which"));
    if (name == "package") package_defect_named(command.at("defect")); // throws for an unknown one
    if (name == "kill") process_signal_of(command);                    // likewise
    const uint32_t at = command.value("at", 1U);
    const uint32_t times = command.value("times", 1U);
    if (at == 0 || times == 0) throw std::invalid_argument("\"at\" and \"times\" count from 1");
    faults_.push_back({endpoint, at, times, command});
}

fired_faults ordered_faults::take(const std::string &endpoint)
{
    fired_faults result;
    for (fault &entry : faults_) {
        if (entry.endpoint != endpoint) continue;
        if (entry.at > 1) {
            --entry.at;
            continue;
        }
        result.all.push_back(entry.parameters);
        --entry.times;
    }
    std::erase_if(faults_, [](const fault &entry) { return entry.times == 0; });
    return result;
}

json ordered_faults::to_json() const
{
    json result = json::array();
    for (const fault &entry : faults_) {
        json parameters = entry.parameters;
        parameters["at"] = entry.at;
        parameters["times"] = entry.times;
        result.push_back(parameters);
    }
    return result;
}

} // namespace sim
