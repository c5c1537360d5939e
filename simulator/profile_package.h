// simulator/profile_package.h: what is inside the encryption of a package: a profile as a run of profile elements.
//
// The elements stand in for those of the interoperable profile format, which no part of the download looks into:
//   header A0 { 80 version 01, 81 iccid (10 bytes, as in StoreMetadata), 82 type text }
//   filler A1 { 80 index from 0, 81 bytes }   any number, in order
//   end    AA { 80 number of fillers }
// Every byte follows from iccid, size and seed, so that a test can compare what the server packed with what the card
// unpacked.
#pragma once
#include "simulator/tlv.h"
#include <memory>

typedef struct evp_md_ctx_st EVP_MD_CTX;

namespace sim {

constexpr size_t smallest_profile_package = 64;

// Exactly size bytes, at least smallest_profile_package. iccid: 10 bytes as on the card (nibbles swapped).
byte_vector encode_profile_package(byte_view iccid, size_t size, uint64_t seed);
// The same with an element in its middle that no card knows.
byte_vector encode_bad_profile_package(byte_view iccid, size_t size, uint64_t seed);

// Reads a profile as its pieces arrive from the package's 86 segments. Keeps size and hash, not the bytes.
class profile_package_reader {
  public:
    enum class progress {
        more,     // well so far, the end element is missing
        complete, // the end element came and nothing after it
        bad,      // an unknown, misplaced or damaged element, or bytes after the end; stays so
    };
    profile_package_reader();
    progress add(byte_view piece);
    progress state() const { return state_; }
    const byte_vector &iccid() const { return iccid_; } // empty until the header has come
    uint64_t size() const { return size_; }             // bytes added so far
    byte_vector sha256() const;                         // of the bytes added so far

  private:
    progress take(const element &next);
    progress state_ = progress::more;
    byte_vector unread_; // the element that is still incomplete
    byte_vector iccid_;
    uint32_t fillers_ = 0;
    uint64_t size_ = 0;
    std::shared_ptr<EVP_MD_CTX> hash_;
};

} // namespace sim
