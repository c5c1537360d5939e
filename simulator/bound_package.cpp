#include "simulator/bound_package.h"
#include "simulator/profile_package.h"
#include <algorithm>
#include <stdexcept>

namespace sim {
namespace {
// Room for data in a segment of 1020 bytes: tag, three length bytes and the C-MAC leave 1008; encryption needs at
// least one byte of padding.
constexpr size_t mac_only_room = 1008;
constexpr size_t encrypted_room = mac_only_room - 1;

constexpr uint8_t install_bound_profile_package = 1;
constexpr uint8_t key_type_aes = 0x88;
constexpr uint8_t key_type_other = 0x80;
constexpr uint8_t key_length_16 = 0x10;

struct defect_name {
    const char *name;
    package_defect defect;
};
constexpr defect_name defect_names[] = {
    {"none", package_defect::none},
    {"first-tag", package_defect::first_tag},
    {"remote-operation", package_defect::remote_operation},
    {"transaction-id", package_defect::transaction_id},
    {"key-type", package_defect::key_type},
    {"one-time-key", package_defect::one_time_key},
    {"signature", package_defect::signature},
    {"configure-isdp", package_defect::configure_isdp},
    {"store-metadata", package_defect::store_metadata},
    {"metadata-iccid", package_defect::metadata_iccid},
    {"replace-session-keys", package_defect::replace_session_keys},
    {"profile-element", package_defect::profile_element},
    {"segment-mac", package_defect::segment_mac},
    {"cut", package_defect::cut},
};

void append(byte_vector &to, byte_view bytes) { to.insert(to.end(), bytes.begin(), bytes.end()); }

byte_view text_bytes(const std::string &text) { return {reinterpret_cast<const uint8_t *>(text.data()), text.size()}; }

byte_vector one_byte(uint8_t value) { return {value}; }

byte_vector notification_configuration(const std::vector<notification_target> &targets)
{
    byte_vector entries;
    for (const notification_target &target : targets)
        append(entries, tlv(0x30, join({tlv(0x80, named_bits(target.events)), tlv(0x81, text_bytes(target.address))})));
    return targets.empty() ? byte_vector{} : tlv(0xB6, entries);
}

// The secure channel, then the sequences in their order; one protection runs through all of them.
class writer {
  public:
    explicit writer(const package_request &request)
        : request_(request),
          protection_(derive_session_keys(request.smdp_otsk.agree(request.euicc_otpk), request.host_id, request.eid))
    {
    }
    byte_vector write()
    {
        const byte_vector opening = initialise_secure_channel();
        const byte_vector first = sequence(0xA0, 0x87, configure_isdp());
        const byte_vector second = sequence(0xA1, 0x88, metadata());
        const byte_vector third = request_.replace_session_keys ? replace_session_keys() : byte_vector{};
        const byte_vector fourth = sequence(0xA3, 0x86, profile());
        const uint16_t tag = has(package_defect::first_tag) ? 0xBF35 : 0xBF36;
        byte_vector package = tlv(tag, join({opening, first, second, third, fourth}));
        if (has(package_defect::cut)) package.resize(package.size() - std::min(package.size(), request_.defect_place));
        return package;
    }

  private:
    bool has(package_defect defect) const { return request_.defect == defect; }

    byte_vector initialise_secure_channel() const
    {
        byte_vector transaction = request_.transaction_id;
        if (has(package_defect::transaction_id)) transaction.back() ^= 1U;
        byte_vector point = request_.smdp_otsk.public_point();
        if (has(package_defect::one_time_key)) point.back() ^= 1U;
        const uint8_t operation = install_bound_profile_package + (has(package_defect::remote_operation) ? 1 : 0);
        const uint8_t key_type = has(package_defect::key_type) ? key_type_other : key_type_aes;
        const byte_vector control =
            tlv(0xA6,
                join({tlv(0x80, one_byte(key_type)), tlv(0x81, one_byte(key_length_16)), tlv(0x84, request_.host_id)}));
        const byte_vector head =
            join({tlv(0x82, one_byte(operation)), tlv(0x80, transaction), control, tlv(0x5F49, point)});
        byte_vector signature = request_.signer.sign(join({head, tlv(0x5F49, request_.euicc_otpk)}));
        if (has(package_defect::signature)) signature.back() ^= 1U;
        return tlv(0xBF23, join({head, tlv(0x5F37, signature)}));
    }

    byte_vector configure_isdp() const { return tlv(has(package_defect::configure_isdp) ? 0xBF2D : 0xBF24); }

    byte_vector metadata() const
    {
        return has(package_defect::store_metadata) ? tlv(0xBF25, tlv(0x5A)) : request_.metadata;
    }

    byte_vector profile() const
    {
        byte_vector iccid = request_.iccid;
        if (has(package_defect::metadata_iccid)) iccid.front() ^= 1U;
        const auto encode = has(package_defect::profile_element) ? encode_bad_profile_package : encode_profile_package;
        return encode(iccid, request_.profile_size, request_.profile_seed);
    }

    byte_vector replace_session_keys()
    {
        session_keys keys{};
        for (auto *key : {&keys.mac_chaining_value, &keys.enc, &keys.mac})
            std::ranges::copy(random_bytes(key->size()), key->begin());
        const byte_view mac = has(package_defect::replace_session_keys) ? byte_view(keys.mac).first(15) : keys.mac;
        const byte_vector command =
            tlv(0xBF26, join({tlv(0x80, keys.mac_chaining_value), tlv(0x81, keys.enc), tlv(0x82, mac)}));
        byte_vector result = sequence(0xA2, 0x87, command);
        protection_ = segment_protection(keys);
        return result;
    }

    byte_vector sequence(uint16_t sequence_tag, uint16_t segment_tag, byte_view data)
    {
        const bool encrypted = segment_tag != 0x88;
        const size_t room = encrypted ? encrypted_room : mac_only_room;
        byte_vector segments;
        segments.reserve(data.size() + data.size() / 40 + segment_protection::max_segment_bytes);
        do {
            const byte_view piece = data.first(std::min(room, data.size()));
            byte_vector segment =
                encrypted ? protection_.protect(segment_tag, piece) : protection_.mac_only(segment_tag, piece);
            if (is_defect_place(segment_tag)) segment.back() ^= 1U;
            append(segments, segment);
            data = data.subspan(piece.size());
        } while (!data.empty());
        return tlv(sequence_tag, segments);
    }

    bool is_defect_place(uint16_t segment_tag)
    {
        if (request_.defect_tag != 0 && request_.defect_tag != segment_tag) return false;
        return ++segments_ == request_.defect_place && has(package_defect::segment_mac);
    }

    const package_request &request_;
    segment_protection protection_;
    size_t segments_ = 0;
};
} // namespace

byte_vector named_bits(uint32_t mask)
{
    byte_vector result{0}; // count of unused bits, then the bits from the left
    for (uint32_t bit = 0; mask >> bit; ++bit) {
        if (bit % 8 == 0) result.push_back(0);
        if (mask >> bit & 1U) result.back() = static_cast<uint8_t>(result.back() | 0x80U >> (bit % 8));
        result[0] = static_cast<uint8_t>(7 - bit % 8);
    }
    return result;
}

byte_vector iccid_to_card(const std::string &digits)
{
    if (digits.empty() || digits.size() > 20 || digits.find_first_not_of("0123456789") != std::string::npos)
        throw std::invalid_argument("an ICCID has 1 to 20 digits");
    std::string padded = digits;
    padded.resize(20, 'F');
    for (size_t i = 0; i < padded.size(); i += 2)
        std::swap(padded[i], padded[i + 1]);
    return from_hex(padded);
}

byte_vector encode_store_metadata(const profile_metadata &metadata)
{
    byte_vector value = join(
        {tlv(0x5A, metadata.iccid), tlv(0x91, text_bytes(metadata.provider)), tlv(0x92, text_bytes(metadata.name))});
    if (metadata.icon_type) append(value, tlv(0x93, one_byte(*metadata.icon_type)));
    if (!metadata.icon.empty()) append(value, tlv(0x94, metadata.icon));
    if (metadata.profile_class) append(value, tlv(0x95, one_byte(*metadata.profile_class)));
    append(value, notification_configuration(metadata.notifications));
    if (!metadata.owner.empty()) append(value, tlv(0xB7, metadata.owner));
    // Bit 0 of the rules is pprUpdateControl, which is none of the two.
    if (metadata.policy != 0) append(value, tlv(0x99, named_bits((metadata.policy & 3U) << 1U)));
    return tlv(0xBF25, value);
}

package_defect package_defect_named(const std::string &name)
{
    const auto *found = std::ranges::find_if(defect_names, [&](const defect_name &row) { return name == row.name; });
    if (found == std::end(defect_names)) throw std::invalid_argument("no package defect is called \"" + name + "\"");
    return found->defect;
}

byte_vector build_bound_package(const package_request &request) { return writer(request).write(); }

} // namespace sim
