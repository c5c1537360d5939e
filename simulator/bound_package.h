// simulator/bound_package.h: binds a profile to one eUICC (SGP.22 v2.2, BoundProfilePackage): secure channel, ISD-P,
// metadata, optional session keys, and the profile in protected segments.
#pragma once
#include "simulator/crypto.h"

namespace sim {

// Bits of an event mask, in the order of NotificationEvent.
constexpr uint32_t notify_install = 1U << 0U;
constexpr uint32_t notify_enable = 1U << 1U;
constexpr uint32_t notify_disable = 1U << 2U;
constexpr uint32_t notify_delete = 1U << 3U;

struct notification_target {
    uint32_t events;
    std::string address; // empty: the server fills in its own
};

// What StoreMetadata tells the card; optional members are left out when they are empty.
struct profile_metadata {
    byte_vector iccid; // 10 bytes as on the card
    std::string provider;
    std::string name;
    std::optional<uint8_t> profile_class; // 0 test, 1 provisioning, 2 operational
    std::optional<uint8_t> icon_type;
    byte_vector icon;
    std::vector<notification_target> notifications;
    byte_vector owner;   // contents of B7
    uint32_t policy = 0; // 1: disabling is not allowed, 2: deleting is not allowed
};
byte_vector encode_store_metadata(const profile_metadata &metadata); // BF25
// Contents of a BIT STRING with named bits: trailing zero bits are dropped, as DER asks.
byte_vector named_bits(uint32_t mask);

// 1..20 digits to the 10 bytes on the card (nibbles swapped, F behind the last digit). Throws std::invalid_argument.
byte_vector iccid_to_card(const std::string &digits);

// What may be wrong with a package, each found by the card in another step.
enum class package_defect {
    none,
    first_tag,            // not BF36
    remote_operation,     // the secure channel: not installBoundProfilePackage
    transaction_id,       // another session's
    key_type,             // not AES
    one_time_key,         // no point of the curve
    signature,            // smdpSign
    configure_isdp,       // another command in its place
    store_metadata,       // its iccid has no value
    metadata_iccid,       // the profile names another ICCID
    replace_session_keys, // a key too short
    profile_element,      // one that no card knows
    segment_mac,          // of one segment
    cut,                  // bytes missing at the end
};
// Throws std::invalid_argument for a name that is none of those above, written with dashes.
package_defect package_defect_named(const std::string &name);

struct package_request {
    byte_vector transaction_id;
    byte_vector eid;        // 16 bytes
    byte_vector euicc_otpk; // the card's one-time public key, 65 bytes
    key_pair smdp_otsk;     // the server's one-time key
    key_pair signer;        // SK.DPpb
    byte_vector host_id;    // 1..16 bytes
    byte_vector metadata;   // BF25, whole
    byte_vector iccid;      // of the profile itself
    size_t profile_size = 0;
    uint64_t profile_seed = 0;
    bool replace_session_keys = true; // A2, and other keys for the profile
    package_defect defect = package_defect::none;
    size_t defect_place = 1; // segment_mac: which segment, from 1; cut: how many bytes
    uint16_t defect_tag = 0; // segment_mac: count only segments with this tag; 0: all
};
byte_vector build_bound_package(const package_request &request); // BF36. Throws std::runtime_error on a bad euicc_otpk.

} // namespace sim
