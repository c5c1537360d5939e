// simulator/card_functions.h: the ES10 functions of a simulated eUICC that need no RSP session: profiles,
// notifications, addresses, information (SGP.22 v2.2, ES10b and ES10c).
#pragma once
#include "simulator/card_store.h"
#include "simulator/certificates.h"

namespace sim {

struct card_answer {
    byte_vector data;
    uint16_t sw = 0x9000;
};
constexpr uint16_t sw_incorrect_data = 0x6A80;
constexpr uint16_t sw_unknown_request = 0x6A88;

struct card_identity {
    const identity &euicc;
    const identity &eum;
    const identity &ci;
};

class card_functions {
  public:
    card_functions(card_store &store, const card_identity &who) : store_(store), who_(who) {}

    // The answer to one request, or nothing when the tag is not one of these functions'.
    std::optional<card_answer> execute(const element &request);
    byte_vector euicc_info_1() const; // BF20, whole
    byte_vector euicc_info_2() const; // BF22, whole

    // Adds the OtherSignedNotifications that profile asks for on event; the caller commits.
    void notify(const card_profile &profile, notification_event event, const std::string &except_address = {});
    // Contents of NotificationMetadata (BF2F), whole.
    static byte_vector notification_metadata(uint32_t sequence_number, uint32_t event, const std::string &address,
                                             byte_view iccid);

    // Results that a test orders: the next `times` calls of the function with this tag answer with this number and do
    // nothing else. Throws std::invalid_argument for a function whose response holds more than a result.
    void force_result(uint16_t tag, uint8_t result, uint32_t times);
    bool refresh_pending = false; // set when a state change asked for a REFRESH; the card answers 6985 until a restart

  private:
    struct result_function {
        uint16_t tag;
        uint8_t (card_functions::*run)(byte_view request);
    };
    static const result_function *result_function_of(uint16_t tag); // null: its response holds more
    struct forced {
        uint16_t tag;
        uint8_t result;
        uint32_t times;
    };
    std::optional<uint8_t> take_forced(uint16_t tag);
    uint8_t enable(byte_view request);
    uint8_t disable(byte_view request);
    uint8_t remove(byte_view request);
    uint8_t reset_memory(byte_view request);
    uint8_t set_nickname(byte_view request);
    uint8_t set_default_address(byte_view request);
    uint8_t notification_sent(byte_view request);
    byte_vector profile_list(byte_view request) const;
    byte_vector list_notifications(byte_view request) const;
    byte_vector retrieve_notifications(byte_view request) const;
    card_profile *identified(byte_view identifier);
    void leave_enabled_state(card_profile &profile);

    card_store &store_;
    card_identity who_;
    std::vector<forced> forced_;
};

// Contents of a BIT STRING of named bits, trailing zeros dropped.
byte_vector bit_string(uint32_t bits, uint32_t count);
uint32_t bits_of(byte_view content); // bit n of the result: named bit n

} // namespace sim
