// simulator/es9_service.h: the five ES9+ functions (SGP.22 v2.2) behind the HTTPS interface: sessions, checks, binding,
// notifications. Knows JSON, not HTTP. Not locked: one thread at a time.
#pragma once
#include "simulator/certificates.h"
#include "simulator/es9_faults.h"
#include "simulator/es9_orders.h"
#include <map>

namespace sim {

// A function's refusal: functionExecutionStatus "Failed" with these codes.
struct refusal {
    std::string subject_code;
    std::string reason_code;
    std::string message;
};
nlohmann::ordered_json refusal_document(const refusal &why);
// What a server cannot take for a request of this interface at all; HTTP status 400.
struct bad_request {
    std::string reason;
};

struct es9_answer {                  // NOLINT(bugprone-exception-escape): the JSON library's move only asserts
    nlohmann::ordered_json document; // null: no content (HTTP status 204)
    // A member too large to be handled as JSON: name and plain text.
    std::string large_member;
    std::string large_text;
};

class es9_service {
  public:
    explicit es9_service(certificate_authority &authority);
    void set_address(const std::string &address) { address_ = address; }
    const std::string &address() const { return address_; }

    // endpoint: the last part of the path. Throws refusal or bad_request.
    es9_answer answer(const std::string &endpoint, const nlohmann::json &request, const fired_faults &faults);
    nlohmann::json add_order(const nlohmann::json &command); // in place of an old one with the same matching id
    nlohmann::json set_order(const nlohmann::json &command); // only the members that the command has
    void remove_order(const std::string &matching_id);
    void set_lower_case_ids(bool lower) { lower_case_ids_ = lower; }
    void clear_history(); // sessions and what was received
    nlohmann::json orders() const;
    nlohmann::json sessions() const;
    const nlohmann::json &notifications() const { return notifications_; }
    const nlohmann::json &cancelled_sessions() const { return cancelled_; }

  private:
    enum class progress { initiated, authenticated, bound, cancelled, refused };
    struct session {
        byte_vector transaction_id;
        progress now = progress::initiated;
        byte_vector server_challenge;
        std::optional<certificate> euicc; // once its chain has been checked
        std::string matching_id;
        bool code_required = false;
        byte_vector smdp_signature2; // whole element
        std::optional<uint32_t> euicc_error;
        std::optional<refusal> refused;
    };

    es9_answer initiate_authentication(const nlohmann::json &request, const fired_faults &faults);
    es9_answer authenticate_client(const nlohmann::json &request, const fired_faults &faults);
    es9_answer get_bound_profile_package(const nlohmann::json &request, const fired_faults &faults);
    es9_answer handle_notification(const nlohmann::json &request);
    es9_answer cancel_session(const nlohmann::json &request);

    session &find_session(const nlohmann::json &request, std::initializer_list<progress> expected);
    template <typename Step> auto in_session(session &current, Step step);
    std::string id_text(byte_view transaction_id) const;
    struct client {
        std::string eid;
        std::string matching_id;
        byte_vector signature; // euiccSignature1, whole element
        uint32_t free_memory;
    };
    client check_client(session &current, byte_view response);
    void check_chain(byte_view euicc, byte_view eum) const;
    order &find_order(const client &asking);
    order &eligible_order(const client &asking);
    byte_vector store_metadata(const order &wanted) const;
    es9_answer client_answer(session &current, order &wanted, const client &asking, const fired_faults &faults);
    es9_answer package_answer(session &current, byte_view response, const fired_faults &faults);
    void check_confirmation_code(const session &current, order &wanted, const std::optional<element> &hash) const;
    void check_cancellation(const session &current, const element &cancelled, byte_view signature) const;
    void add_metadata(const element &metadata, nlohmann::json &record) const;
    identity server_identity(const identity &right, const fired_faults &faults) const;
    void note_installation(const element &pending, nlohmann::json &record);
    void note_event(const element &pending, nlohmann::json &record);
    void settle_order(session &current, const nlohmann::json &result);

    certificate_authority &authority_;
    std::string address_;
    std::map<std::string, order> orders_;
    std::vector<session> sessions_;
    std::map<std::string, certificate> known_euiccs_; // by EID
    nlohmann::json notifications_ = nlohmann::json::array();
    nlohmann::json cancelled_ = nlohmann::json::array();
    bool lower_case_ids_ = false;
    uint64_t next_iccid_ = 8999900000000000001; // of orders that name none
};

} // namespace sim
