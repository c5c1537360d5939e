// simulator/card_store.h: what a simulated eUICC keeps when it loses power.
//
// The state is one JSON file, written beside and renamed into place: a power cut at any byte leaves the old state or
// the new one. A power cut may be ordered for the n-th write from now.
#pragma once
#include "simulator/tlv.h"
#include <filesystem>
#include <string>

namespace sim {

enum notification_event : uint32_t { event_install, event_enable, event_disable, event_delete, event_count };

struct notification_configuration { // one entry of NotificationConfigurationInfo
    uint32_t events = 0;            // bit n: notification_event n
    std::string address;
};

enum policy_rule : uint32_t { ppr1_no_disable = 1, ppr2_no_delete = 2 };

struct card_profile {
    byte_vector iccid; // 10 bytes, card order (98 ...)
    byte_vector aid;   // 16 bytes
    bool enabled = false;
    std::string nickname;
    std::string provider;
    std::string name;
    uint8_t profile_class = 2;
    uint32_t policy = 0; // policy_rule bits
    byte_vector owner;   // contents of profileOwner (B7), may be empty
    std::vector<notification_configuration> notifications;
    uint32_t size = 0;          // of the profile package, what it takes of the card's memory
    std::string package_sha256; // of the profile package as it was decrypted, hex
};

struct card_notification {
    uint32_t sequence_number = 0;
    uint32_t event = 0;
    std::string address;
    byte_vector iccid;   // card order
    byte_vector pending; // PendingNotification: BF37 or 30, whole
};

struct card_state {
    std::string eid; // 32 digits
    uint32_t memory = 16 * 1024 * 1024;
    uint32_t next_sequence_number = 1;
    uint32_t next_aid = 1;
    std::string default_dp_address;
    std::string root_ds_address = "lpa.ds.gsma.com";
    std::vector<card_profile> profiles;
    std::vector<card_notification> notifications;
    uint32_t free_memory() const;
    card_profile *find_by_iccid(byte_view iccid);
    card_profile *find_by_aid(byte_view aid);
};

struct power_cut {}; // thrown by commit in the middle of a write

class card_store {
  public:
    card_store(std::filesystem::path file, const std::string &eid);
    card_state &state() { return state_; } // changes count once they are committed
    const card_state &state() const { return state_; }
    void commit();                                                  // writes the whole state
    void reload();                                                  // back to what was committed last
    void cut_power_at_write(uint32_t nth);                          // 1 is the next commit
    uint32_t writes_until_cut() const { return writes_until_cut_; } // 0: none is ordered, or it is over

  private:
    std::filesystem::path file_;
    card_state state_;
    uint32_t writes_until_cut_ = 0;
};

} // namespace sim
