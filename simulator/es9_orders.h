// simulator/es9_orders.h: what the simulated SM-DP+ has to deliver: one order per profile, found by matching id.
#pragma once
#include "simulator/bound_package.h"
#include <nlohmann/json.hpp>

namespace sim {

enum class order_state {
    unreleased, // known, not yet confirmed by the operator
    released,   // may be downloaded
    downloaded, // the package was handed out; the same eUICC may fetch it again
    installed,  // the eUICC reported success
    failed,     // the eUICC reported an error that no retry mends, or the user refused
    expired,
};

struct order {
    std::string matching_id;
    order_state state = order_state::released;
    std::string eid; // only for this eUICC, when not empty
    std::string confirmation_code;
    std::optional<bool> code_flag; // what ccRequiredFlag says, when not the truth
    bool eligible = true;          // some profile suits this eUICC and device
    uint32_t attempts = 0;         // of the download
    uint32_t max_attempts = 0;     // 0: any number
    uint32_t wrong_codes = 0;
    uint32_t max_wrong_codes = 3;
    bool replace_session_keys = true;
    bool offers_one_time_key = false; // tells the eUICC its earlier one-time key on a retry
    std::string downloaded_by;        // EID
    byte_vector earlier_otpk;
    profile_metadata metadata{.iccid = {},
                              .provider = "Desk Operator",
                              .name = "Desk Profile",
                              .profile_class = 2,
                              .icon_type = {},
                              .icon = {},
                              .notifications = {{notify_install | notify_enable | notify_disable | notify_delete, {}}},
                              .owner = {}};
    std::string iccid_digits;
    size_t profile_size = 4096;
    uint64_t profile_seed = 1;
    std::string profile_sha256;
};

constexpr const char *order_members =
    "matching_id state eid confirmation_code code_flag eligible attempts max_attempts wrong_codes max_wrong_codes "
    "replace_session_keys offers_one_time_key iccid size seed provider name class icon_type icon policy owner "
    "notifications";
// Reads the members that the command has, into a new order or over an old one. Throws std::invalid_argument.
void read_order(const nlohmann::json &command, order &into);
nlohmann::json to_json(const order &subject, const std::string &own_address);
const char *name_of(order_state state);

} // namespace sim
