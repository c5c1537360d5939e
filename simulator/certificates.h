// simulator/certificates.h: the test certificates of one simulated world: CI, EUM, eUICCs, SM-DP+ (auth, pb, TLS).
#pragma once
#include "simulator/crypto.h"
#include <filesystem>

namespace sim {

// A parsed certificate.
struct certificate {
    byte_vector der;
    byte_vector public_point;     // 65 bytes
    byte_vector subject_key_id;   // 20 bytes
    byte_vector authority_key_id; // 20 bytes
    std::string subject_serial_number; // an eUICC's EID as 32 digits; empty for others
    std::vector<std::string> policies; // OIDs as dotted text
};
std::optional<certificate> read_certificate(byte_view der);
bool is_signed_by(const certificate &subject, const certificate &issuer); // signature, names, validity

struct identity {
    key_pair key;
    certificate cert;
};

constexpr const char *policy_ci = "2.23.146.1.2.1.0";
constexpr const char *policy_euicc = "2.23.146.1.2.1.1";
constexpr const char *policy_eum = "2.23.146.1.2.1.2";
constexpr const char *policy_dp_tls = "2.23.146.1.2.1.3";
constexpr const char *policy_dp_auth = "2.23.146.1.2.1.4";
constexpr const char *policy_dp_pb = "2.23.146.1.2.1.5";

// Made once and kept as files below directory; a second world in the same directory is the same world.
class certificate_authority {
  public:
    explicit certificate_authority(const std::filesystem::path &directory);
    const identity &ci() const;
    const identity &eum() const;
    const identity &dp_auth() const;
    const identity &dp_pb() const;
    const identity &dp_tls() const; // host name localhost, address 127.0.0.1
    const identity &euicc(const std::string &eid); // 32 digits; made on first use, signed by the EUM

  private:
    struct state;
    std::shared_ptr<state> state_;
};

} // namespace sim
