#include "simulator/card_store.h"
#include "simulator/crypto.h"
#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace sim {
namespace {
using nlohmann::json;

json to_json(const card_profile &profile)
{
    json notifications = json::array();
    for (const auto &entry : profile.notifications)
        notifications.push_back({{"events", entry.events}, {"address", entry.address}});
    return {
        {"iccid", to_hex(profile.iccid)}, {"aid", to_hex(profile.aid)},   {"enabled", profile.enabled},
        {"nickname", profile.nickname},   {"provider", profile.provider}, {"name", profile.name},
        {"class", profile.profile_class}, {"policy", profile.policy},     {"owner", to_hex(profile.owner)},
        {"notifications", notifications}, {"size", profile.size},         {"package_sha256", profile.package_sha256}};
}

card_profile profile_from(const json &data)
{
    card_profile profile{.iccid = from_hex(data.at("iccid")),
                         .aid = from_hex(data.at("aid")),
                         .enabled = data.at("enabled"),
                         .nickname = data.at("nickname"),
                         .provider = data.at("provider"),
                         .name = data.at("name"),
                         .profile_class = data.at("class"),
                         .policy = data.at("policy"),
                         .owner = from_hex(data.at("owner")),
                         .notifications = {},
                         .size = data.at("size"),
                         .package_sha256 = data.at("package_sha256")};
    for (const json &entry : data.at("notifications"))
        profile.notifications.push_back({entry.at("events"), entry.at("address")});
    return profile;
}

json to_json(const card_notification &notification)
{
    return {{"sequence_number", notification.sequence_number},
            {"event", notification.event},
            {"address", notification.address},
            {"iccid", to_hex(notification.iccid)},
            {"pending", to_hex(notification.pending)}};
}

card_notification notification_from(const json &data)
{
    return {data.at("sequence_number"), data.at("event"), data.at("address"), from_hex(data.at("iccid")),
            from_hex(data.at("pending"))};
}

json to_json(const card_state &state)
{
    json profiles = json::array();
    for (const auto &profile : state.profiles)
        profiles.push_back(to_json(profile));
    json notifications = json::array();
    for (const auto &notification : state.notifications)
        notifications.push_back(to_json(notification));
    return {{"eid", state.eid},
            {"memory", state.memory},
            {"next_sequence_number", state.next_sequence_number},
            {"next_aid", state.next_aid},
            {"default_dp_address", state.default_dp_address},
            {"root_ds_address", state.root_ds_address},
            {"profiles", profiles},
            {"notifications", notifications}};
}

card_state state_from(const json &data)
{
    card_state state{.eid = data.at("eid"),
                     .memory = data.at("memory"),
                     .next_sequence_number = data.at("next_sequence_number"),
                     .next_aid = data.at("next_aid"),
                     .default_dp_address = data.at("default_dp_address"),
                     .root_ds_address = data.at("root_ds_address"),
                     .profiles = {},
                     .notifications = {}};
    for (const json &profile : data.at("profiles"))
        state.profiles.push_back(profile_from(profile));
    for (const json &entry : data.at("notifications"))
        state.notifications.push_back(notification_from(entry));
    return state;
}
} // namespace

uint32_t card_state::free_memory() const
{
    uint32_t used = 0;
    for (const auto &profile : profiles)
        used += profile.size;
    return used < memory ? memory - used : 0;
}

card_profile *card_state::find_by_iccid(byte_view iccid)
{
    const auto found = std::ranges::find_if(
        profiles, [&](const card_profile &profile) { return std::ranges::equal(profile.iccid, iccid); });
    return found == profiles.end() ? nullptr : &*found;
}

card_profile *card_state::find_by_aid(byte_view aid)
{
    const auto found = std::ranges::find_if(
        profiles, [&](const card_profile &profile) { return std::ranges::equal(profile.aid, aid); });
    return found == profiles.end() ? nullptr : &*found;
}

card_store::card_store(std::filesystem::path file, const std::string &eid) : file_(std::move(file))
{
    if (std::filesystem::exists(file_)) {
        reload();
        return;
    }
    if (eid.size() != 32) throw std::invalid_argument("an EID has 32 digits");
    if (file_.has_parent_path()) std::filesystem::create_directories(file_.parent_path());
    state_.eid = eid;
    commit();
}

void card_store::commit()
{
    // Names from a profile need not be UTF-8; what is not is replaced.
    const std::string text = to_json(state_).dump(1, ' ', false, json::error_handler_t::replace);
    const std::filesystem::path beside = file_.string() + ".new";
    const bool cut = writes_until_cut_ > 0 && --writes_until_cut_ == 0;
    std::ofstream out(beside, std::ios::binary | std::ios::trunc);
    out.write(text.data(), static_cast<std::streamsize>(cut ? text.size() / 2 : text.size()));
    out.close();
    if (cut) throw power_cut{};
    if (!out) throw std::runtime_error("cannot write " + beside.string());
    std::filesystem::rename(beside, file_);
}

void card_store::reload()
{
    std::ifstream in(file_, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + file_.string());
    state_ = state_from(json::parse(in));
}

void card_store::cut_power_at_write(uint32_t nth) { writes_until_cut_ = nth; }

} // namespace sim
