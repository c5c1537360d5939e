// simulator/card_download.h: the RSP session of a simulated eUICC: authentication of the SM-DP+, preparation,
// cancellation, and the loading of a Bound Profile Package segment by segment (SGP.22 v2.2, ES10b).
#pragma once
#include "simulator/card_functions.h"
#include "simulator/profile_package.h"

namespace sim {

class card_download {
  public:
    card_download(card_store &store, card_functions &functions, const card_identity &who)
        : store_(store), functions_(functions), who_(who)
    {
    }
    // The answer to a session function (BF2E, BF38, BF21, BF41), or nothing for another tag.
    std::optional<card_answer> execute(const element &request);
    // One STORE DATA series of a package being loaded; nothing when data is no piece of a package.
    std::optional<card_answer> load(byte_view data);
    void reset(); // the session is volatile

    // A test's order: loading fails at this command (bppCommandId) with this reason, whatever the package holds.
    void fail_at(uint8_t command, uint8_t reason, uint32_t times);
    // Error answers of AuthenticateServer (BF38) or PrepareDownload (BF21) that a test orders.
    void force_error(uint16_t tag, uint8_t error, uint32_t times);
    uint16_t sima_response_tag = 0x82; // 04 on some cards

  private:
    struct authentication { // what GetEUICCChallenge begins and AuthenticateServer fills
        byte_vector challenge;
        byte_vector transaction_id;
        std::string server_address;
        byte_vector euicc_signature; // euiccSignature1, whole element
        bool server_known = false;
    };
    struct preparation {
        key_pair one_time_key;
        byte_vector dp_point; // public key of CERT.DPpb
    };
    enum class phase { secure_channel, configure, metadata_head, metadata, after_metadata, elements };
    struct installation {
        phase now = phase::secure_channel;
        size_t left = 0; // bytes of the current sequence that are still to come
        std::optional<segment_protection> protection;
        byte_vector metadata;
        profile_package_reader package;
        card_profile profile;
    };
    struct failure {
        uint8_t command;
        uint8_t reason;
    };
    struct forced {
        uint16_t tag;
        uint8_t error;
        uint32_t times;
    };

    byte_vector get_challenge();
    card_answer authenticate_server(byte_view request);
    std::optional<uint8_t> authentication_error(byte_view request);
    card_answer prepare_download(byte_view request);
    std::optional<uint8_t> preparation_error(byte_view request);
    card_answer cancel_session(byte_view request);
    std::optional<uint8_t> take_forced(uint16_t tag);

    card_answer step(std::optional<failure> failed);
    std::optional<failure> ordered_failure(uint8_t command);
    std::optional<failure> open_secure_channel(byte_view data);
    std::optional<failure> configure_isdp(byte_view data);
    std::optional<failure> take_metadata(byte_view segment);
    std::optional<failure> read_metadata();
    std::optional<failure> replace_session_keys(byte_view data);
    std::optional<failure> take_element(byte_view segment);
    std::optional<failure> install();
    card_answer installation_result(std::optional<failure> failed);

    card_store &store_;
    card_functions &functions_;
    card_identity who_;
    std::optional<authentication> session_;
    std::optional<preparation> prepared_;
    std::optional<installation> loading_;
    std::vector<forced> forced_;
    std::optional<failure> ordered_;
    uint32_t ordered_times_ = 0;
};

} // namespace sim
