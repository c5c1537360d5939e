#include "simulator/profile_package.h"
#include <algorithm>
#include <openssl/evp.h>
#include <stdexcept>
#include <utility>

namespace sim {
namespace {
constexpr uint16_t header_tag = 0xA0;
constexpr uint16_t filler_tag = 0xA1;
constexpr uint16_t end_tag = 0xAA;
constexpr uint16_t unknown_tag = 0xB9;
constexpr size_t iccid_bytes = 10;
constexpr uint8_t version = 1;
constexpr size_t filler_data_bytes = 4000;
constexpr size_t longest_filler = filler_data_bytes + 16; // with its tags, lengths and index

// splitmix64: fast, and the same everywhere.
struct byte_source {
    uint64_t state;
    byte_vector take(size_t count)
    {
        byte_vector result;
        result.reserve(count + 8);
        while (result.size() < count) {
            state += 0x9E3779B97F4A7C15U;
            uint64_t word = state;
            word = (word ^ (word >> 30U)) * 0xBF58476D1CE4E5B9U;
            word = (word ^ (word >> 27U)) * 0x94D049BB133111EBU;
            word ^= word >> 31U;
            for (int i = 0; i < 8; ++i)
                result.push_back(static_cast<uint8_t>(word >> (8 * i)));
        }
        result.resize(count);
        return result;
    }
};

byte_vector header_element(byte_view iccid, size_t padding)
{
    static constexpr char type[] = "simulated";
    byte_vector text(type, type + sizeof type - 1);
    text.resize(text.size() + padding, ' ');
    const uint8_t version_value[] = {version};
    return tlv(header_tag, join({tlv(0x80, version_value), tlv(0x81, iccid), tlv(0x82, text)}));
}

byte_vector filler_element(uint32_t index, byte_view data)
{
    return tlv(filler_tag, join({tlv(0x80, integer_value(index)), tlv(0x81, data)}));
}

byte_vector end_element(uint32_t fillers) { return tlv(end_tag, tlv(0x80, integer_value(fillers))); }

// Data bytes that make a filler of at most size bytes, as near to it as lengths allow; nothing when none fits.
std::optional<size_t> filler_data_for(uint32_t index, size_t size)
{
    const size_t empty = filler_element(index, {}).size();
    if (size < empty) return std::nullopt;
    size_t data = size - empty;
    while (filler_element(index, byte_vector(data)).size() > size)
        --data;
    return data;
}

byte_vector encode(byte_view iccid, size_t size, uint64_t seed, bool with_unknown_element)
{
    if (size < smallest_profile_package) throw std::invalid_argument("profile package too small");
    byte_source source{seed};
    byte_vector bad_element = with_unknown_element ? tlv(unknown_tag) : byte_vector{}; // until it has been placed
    // The header comes first but is made last: its text takes up the bytes that no length of a filler can fill.
    const size_t header_size = header_element(iccid, 0).size();
    byte_vector fillers;
    fillers.reserve(size);
    uint32_t count = 0;
    const auto append = [&](const byte_vector &next) { fillers.insert(fillers.end(), next.begin(), next.end()); };
    const auto room = [&] {
        return size - header_size - fillers.size() - bad_element.size() - end_element(count + 1).size();
    };
    while (room() >= 2 * longest_filler) {
        append(filler_element(count++, source.take(filler_data_bytes)));
        if (fillers.size() > size / 2) append(std::exchange(bad_element, {}));
    }
    append(std::exchange(bad_element, {}));
    for (int last = 0; last < 2; ++last) { // two of about the same length, so that each stays below the longest
        const auto data = filler_data_for(count, last == 0 ? room() / 2 : room());
        if (!data) break;
        append(filler_element(count++, source.take(*data)));
    }
    const byte_vector end = end_element(count);
    const size_t padding = size - header_size - fillers.size() - end.size();
    return join({header_element(iccid, padding), fillers, end});
}
} // namespace

byte_vector encode_profile_package(byte_view iccid, size_t size, uint64_t seed)
{
    return encode(iccid, size, seed, false);
}

byte_vector encode_bad_profile_package(byte_view iccid, size_t size, uint64_t seed)
{
    return encode(iccid, size, seed, true);
}

profile_package_reader::profile_package_reader() : hash_(EVP_MD_CTX_new(), EVP_MD_CTX_free)
{
    if (!hash_ || EVP_DigestInit_ex(hash_.get(), EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 failed");
}

profile_package_reader::progress profile_package_reader::add(byte_view piece)
{
    size_ += piece.size();
    if (EVP_DigestUpdate(hash_.get(), piece.data(), piece.size()) != 1) throw std::runtime_error("SHA-256 failed");
    if (state_ == progress::bad) return state_;
    unread_.insert(unread_.end(), piece.begin(), piece.end());
    byte_view rest = unread_;
    while (!rest.empty() && state_ != progress::bad) {
        const auto next = read_element(rest);
        if (!next) break;
        state_ = take(*next);
        rest = rest.subspan(next->whole.size());
    }
    // No element is longer than a filler: what grows beyond it never ends.
    if (rest.size() > longest_filler || (state_ == progress::complete && !rest.empty())) state_ = progress::bad;
    unread_ = byte_vector(rest.begin(), rest.end());
    return state_;
}

profile_package_reader::progress profile_package_reader::take(const element &next)
{
    const auto first = find_child(next.value, 0x80);
    if (state_ == progress::complete || !first) return progress::bad;
    const bool is_header = next.tag == header_tag;
    if (is_header != iccid_.empty()) return progress::bad; // the header, and only it, comes first
    const auto second = find_child(next.value, 0x81);
    if (is_header) {
        if (to_uint(first->value) != version || !second || second->value.size() != iccid_bytes) return progress::bad;
        iccid_.assign(second->value.begin(), second->value.end());
        return progress::more;
    }
    if (next.tag == end_tag) return to_uint(first->value) == fillers_ ? progress::complete : progress::bad;
    if (next.tag != filler_tag || !second || to_uint(first->value) != fillers_) return progress::bad;
    ++fillers_;
    return progress::more;
}

byte_vector profile_package_reader::sha256() const
{
    const std::shared_ptr<EVP_MD_CTX> copy(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    byte_vector result(32);
    if (!copy || EVP_MD_CTX_copy_ex(copy.get(), hash_.get()) != 1 ||
        EVP_DigestFinal_ex(copy.get(), result.data(), nullptr) != 1)
        throw std::runtime_error("SHA-256 failed");
    return result;
}

} // namespace sim
