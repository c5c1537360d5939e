// simulator/crypto.h: the cryptography of SGP.22: P-256 keys, raw ECDSA, the session keys and segment protection of a
// Bound Profile Package (SCP03t). OpenSSL does the work.
#pragma once
#include "simulator/tlv.h"
#include <array>
#include <memory>
#include <string>

typedef struct evp_pkey_st EVP_PKEY;

namespace sim {

class key_pair {
  public:
    static key_pair generate();
    static key_pair from_pem(const std::string &pem); // throws std::runtime_error
    std::string to_pem() const;
    byte_vector public_point() const;        // 04 || x || y, 65 bytes
    byte_vector sign(byte_view data) const;  // ECDSA SHA-256, r || s, 64 bytes
    byte_vector agree(byte_view peer) const; // x coordinate of ECDH with an uncompressed point; throws on a bad one
    EVP_PKEY *get() const { return key_.get(); }

  private:
    std::shared_ptr<EVP_PKEY> key_;
};

bool verify_signature(byte_view public_point, byte_view data, byte_view signature);
byte_vector sha256(byte_view data);
byte_vector random_bytes(size_t count);
std::string to_base64(byte_view data);
byte_vector from_base64(const std::string &text); // throws on bad text
std::string to_hex(byte_view data);               // upper case
byte_vector from_hex(const std::string &text);    // throws on bad text

struct session_keys {
    std::array<uint8_t, 16> mac_chaining_value; // the initial one
    std::array<uint8_t, 16> enc;                // S-ENC
    std::array<uint8_t, 16> mac;                // S-MAC
};
// X9.63 KDF with SHA-256 over the shared secret.
session_keys derive_session_keys(byte_view shared_secret, byte_view host_id, byte_view eid);

// One direction of the protection; both sides keep one and feed it the segments in order.
class segment_protection {
  public:
    explicit segment_protection(const session_keys &keys);
    byte_vector protect(uint16_t tag, byte_view data);  // encrypted and MACed: 87 and 86
    byte_vector mac_only(uint16_t tag, byte_view data); // 88
    // Contents of a whole segment; nothing when its MAC or padding is wrong.
    std::optional<byte_vector> open(byte_view segment);
    std::optional<byte_vector> open_mac_only(byte_view segment);
    static constexpr size_t max_segment_bytes = 1020;

  private:
    session_keys keys_;
    uint32_t block_counter_ = 1;
};

} // namespace sim
