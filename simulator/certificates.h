// simulator/certificates.h: the test certificates of one simulated world: CI, EUM, eUICCs, SM-DP+ (auth, pb, TLS).
#pragma once
#include "simulator/crypto.h"
#include <filesystem>

namespace sim {

// A parsed certificate.
struct certificate {
    byte_vector der;
    byte_vector public_point;          // 65 bytes
    byte_vector subject_key_id;        // 20 bytes
    byte_vector authority_key_id;      // 20 bytes
    std::string subject_serial_number; // an eUICC's EID as 32 digits; empty for others
    std::vector<std::string> policies; // OIDs as dotted text
    byte_vector registered_id;         // an SM-DP+'s OID, as the contents of an 06 element; empty for others
};
std::optional<certificate> read_certificate(byte_view der);
bool carries_policy(const certificate &cert, const char *policy);

enum class issue_check {
    good,
    other_issuer,  // names or key ids do not match, or the issuer may not issue
    bad_signature, // names match, the signature does not
    not_valid_now, // all well but for the dates
};
issue_check check_issued_by(const certificate &subject, const certificate &issuer);
bool is_signed_by(const certificate &subject, const certificate &issuer); // signature, names, validity

struct identity {
    key_pair key;
    certificate cert;
};

// For certificates beside those of the world: a foreign CI, an expired eUICC.
struct certificate_template {
    std::string common_name = {};
    std::string organization = "Desk Test";
    std::string serial_number = {};    // of the subject, not of the certificate
    std::string policy = {};           // one of those below
    std::string subject_alt_name = {}; // in OpenSSL's form: "DNS:localhost"; may be empty
    bool issues = false;               // a CI or an EUM
    std::string not_before = "20200101000000Z";
    std::string not_after = "20491231235959Z";
};
identity issue_certificate(const certificate_template &contents, const identity *issuer = nullptr); // null: self-signed

constexpr const char *policy_ci = "2.23.146.1.2.1.0";
constexpr const char *policy_euicc = "2.23.146.1.2.1.1";
constexpr const char *policy_eum = "2.23.146.1.2.1.2";
constexpr const char *policy_dp_tls = "2.23.146.1.2.1.3";
constexpr const char *policy_dp_auth = "2.23.146.1.2.1.4";
constexpr const char *policy_dp_pb = "2.23.146.1.2.1.5";

constexpr const char *smdp_oid_text = "2.999.10"; // of DPauth, DPpb and DPtls: 06 03 88 37 0A

// Made once and kept as files below directory: NAME.pem with key and certificate, NAME.der with the certificate. A
// second world in the same directory is the same world, in another process or at the same time too. Any thread may
// call. A damaged file throws std::runtime_error.
class certificate_authority {
  public:
    explicit certificate_authority(const std::filesystem::path &directory);
    const identity &ci() const;
    const identity &eum() const;
    const identity &dp_auth() const;
    const identity &dp_pb() const;
    const identity &dp_tls() const;                // host name localhost, addresses 127.0.0.1 and ::1
    const identity &euicc(const std::string &eid); // 32 digits; made on first use, signed by the EUM

  private:
    struct state;
    std::shared_ptr<state> state_;
};

} // namespace sim
