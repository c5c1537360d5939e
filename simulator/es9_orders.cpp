#include "simulator/es9_orders.h"
#include "simulator/control_command.h"
#include "simulator/profile_package.h"
#include <algorithm>

namespace sim {
namespace {
using nlohmann::json;

struct state_name {
    const char *name;
    order_state state;
};
constexpr state_name state_names[] = {
    {"unreleased", order_state::unreleased}, {"released", order_state::released},
    {"downloaded", order_state::downloaded}, {"installed", order_state::installed},
    {"failed", order_state::failed},         {"expired", order_state::expired},
};
constexpr const char *event_names[] = {"install", "enable", "disable", "delete"};

order_state state_argument(const std::string &name)
{
    const auto *found = std::ranges::find_if(state_names, [&](const state_name &row) { return name == row.name; });
    if (found == std::end(state_names)) throw std::invalid_argument("no order state is called \"" + name + "\"");
    return found->state;
}

std::vector<notification_target> notifications_argument(const json &entries)
{
    std::vector<notification_target> result;
    for (const json &entry : entries) {
        check_members(entry, "events address");
        notification_target target{0, entry.value("address", "")};
        for (const json &event : entry.at("events")) {
            const std::string name = event;
            const auto *found = std::ranges::find_if(event_names, [&](const char *known) { return name == known; });
            if (found == std::end(event_names)) throw std::invalid_argument("no event is called \"" + name + "\"");
            target.events |= 1U << static_cast<uint32_t>(found - std::begin(event_names));
        }
        result.push_back(target);
    }
    return result;
}

template <typename Value> void read(const json &command, const char *name, Value &into)
{
    if (command.contains(name)) command.at(name).get_to(into);
}

std::optional<uint8_t> optional_number(const json &value)
{
    return value.is_null() ? std::nullopt : std::optional<uint8_t>(value.get<uint8_t>());
}

void read_metadata(const json &command, profile_metadata &into)
{
    read(command, "provider", into.provider);
    read(command, "name", into.name);
    read(command, "policy", into.policy);
    if (command.contains("class")) into.profile_class = optional_number(command.at("class"));
    if (command.contains("icon_type")) into.icon_type = optional_number(command.at("icon_type"));
    if (command.contains("icon")) into.icon = from_hex(command.at("icon"));
    if (command.contains("owner")) into.owner = from_hex(command.at("owner"));
    if (command.contains("notifications")) into.notifications = notifications_argument(command.at("notifications"));
}

std::string activation_code(const order &subject, const std::string &own_address)
{
    const std::string code = "1$" + own_address + "$" + subject.matching_id;
    return subject.confirmation_code.empty() ? code : code + "$$1";
}
} // namespace

const char *name_of(order_state state)
{
    return std::ranges::find_if(state_names, [&](const state_name &row) { return state == row.state; })->name;
}

void read_order(const json &command, order &into)
{
    into.matching_id = command.at("matching_id");
    read(command, "eid", into.eid);
    read(command, "confirmation_code", into.confirmation_code);
    read(command, "eligible", into.eligible);
    read(command, "attempts", into.attempts);
    read(command, "max_attempts", into.max_attempts);
    read(command, "wrong_codes", into.wrong_codes);
    read(command, "max_wrong_codes", into.max_wrong_codes);
    read(command, "replace_session_keys", into.replace_session_keys);
    read(command, "offers_one_time_key", into.offers_one_time_key);
    read(command, "iccid", into.iccid_digits);
    read(command, "size", into.profile_size);
    read(command, "seed", into.profile_seed);
    if (command.contains("code_flag")) into.code_flag = command.at("code_flag").get<bool>();
    if (command.contains("state")) into.state = state_argument(command.at("state"));
    read_metadata(command, into.metadata);
    into.metadata.iccid = iccid_to_card(into.iccid_digits);
    into.profile_sha256 =
        to_hex(sha256(encode_profile_package(into.metadata.iccid, into.profile_size, into.profile_seed)));
}

json to_json(const order &subject, const std::string &own_address)
{
    return {{"matching_id", subject.matching_id},
            {"activation_code", activation_code(subject, own_address)},
            {"state", name_of(subject.state)},
            {"eid", subject.eid},
            {"confirmation_code", subject.confirmation_code},
            {"attempts", subject.attempts},
            {"wrong_codes", subject.wrong_codes},
            {"downloaded_by", subject.downloaded_by},
            {"iccid", subject.iccid_digits},
            {"provider", subject.metadata.provider},
            {"name", subject.metadata.name},
            {"size", subject.profile_size},
            {"sha256", subject.profile_sha256}};
}

} // namespace sim
