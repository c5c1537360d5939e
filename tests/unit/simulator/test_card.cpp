#include "unit/simulator/test_card.h"
#include <algorithm>

namespace {
using sim::byte_vector;
using sim::byte_view;
using sim::find_child;

bool same(byte_view a, byte_view b) { return std::ranges::equal(a, b); }

// Opens every segment of a sequence; nothing when one does not open.
std::optional<byte_vector> open_all(sim::segment_protection &protection, byte_view sequence, uint16_t tag, int &count)
{
    byte_vector result;
    const auto segments = sim::read_elements(sequence);
    if (!segments) return std::nullopt;
    for (const auto &segment : *segments) {
        if (segment.tag != tag || segment.whole.size() > sim::segment_protection::max_segment_bytes)
            return std::nullopt;
        const auto data = tag == 0x88 ? protection.open_mac_only(segment.whole) : protection.open(segment.whole);
        if (!data) return std::nullopt;
        result.insert(result.end(), data->begin(), data->end());
        ++count;
    }
    return result;
}
} // namespace

test_card::unpacked test_card::unpack(byte_view package, byte_view transaction_id, byte_view smdp_point) const
{
    unpacked result;
    const auto fail = [&](const char *where) {
        result.failed_at = where;
        return result;
    };
    const auto outer = sim::read_element(package);
    if (!outer || outer->tag != 0xBF36 || outer->whole.size() != package.size()) return fail("package");
    const auto opening = find_child(outer->value, 0xBF23);
    if (!opening) return fail("package");
    const auto fields = sim::read_elements(opening->value);
    if (!fields || fields->size() != 5) return fail("secure channel");
    const auto &[operation, transaction, control, point, sign] =
        std::tie((*fields)[0], (*fields)[1], (*fields)[2], (*fields)[3], (*fields)[4]);
    if (operation.tag != 0x82 || !same(operation.value, byte_vector{1})) return fail("remote operation");
    if (transaction.tag != 0x80 || !same(transaction.value, transaction_id)) return fail("transaction id");
    const auto host = find_child(control.value, 0x84);
    if (control.tag != 0xA6 || !same(control.value.first(6), sim::from_hex("800188810110")) || !host)
        return fail("control reference template");
    const byte_vector signed_data = sim::join({operation.whole, transaction.whole, control.whole, point.whole,
                                               sim::tlv(0x5F49, one_time_key.public_point())});
    if (!sim::verify_signature(smdp_point, signed_data, sign.value)) return fail("signature");
    byte_vector secret;
    try {
        secret = one_time_key.agree(point.value);
    } catch (const std::runtime_error &) {
        return fail("one-time key");
    }
    const byte_vector eid = sim::from_hex(euicc.cert.subject_serial_number);
    sim::segment_protection protection(sim::derive_session_keys(secret, host->value, eid));

    const auto first = find_child(outer->value, 0xA0);
    const auto configure = first ? open_all(protection, first->value, 0x87, result.segments[0x87]) : std::nullopt;
    if (!configure || sim::to_hex(*configure) != "BF2400") return fail("configure");
    const auto second = find_child(outer->value, 0xA1);
    const auto metadata = second ? open_all(protection, second->value, 0x88, result.segments[0x88]) : std::nullopt;
    const auto stored = metadata ? sim::read_element(*metadata) : std::nullopt;
    const auto iccid = stored ? find_child(stored->value, 0x5A) : std::nullopt;
    if (!iccid || iccid->value.size() != 10) return fail("metadata");
    result.metadata = *metadata;
    if (const auto third = find_child(outer->value, 0xA2)) {
        const auto command = open_all(protection, third->value, 0x87, result.segments[0x87]);
        const auto keys = command ? sim::read_elements(sim::read_element(*command)->value) : std::nullopt;
        if (!keys || keys->size() != 3) return fail("session keys");
        sim::session_keys replaced{};
        for (size_t i = 0; i < 3; ++i) {
            auto &into = i == 0 ? replaced.mac_chaining_value : i == 1 ? replaced.enc : replaced.mac;
            if ((*keys)[i].tag != 0x80 + i || (*keys)[i].value.size() != into.size()) return fail("session keys");
            std::ranges::copy((*keys)[i].value, into.begin());
        }
        protection = sim::segment_protection(replaced);
        result.keys_replaced = true;
    }
    const auto fourth = find_child(outer->value, 0xA3);
    if (!fourth) return fail("package");
    sim::profile_package_reader reader;
    const auto profile = open_all(protection, fourth->value, 0x86, result.segments[0x86]);
    if (!profile) return fail("segment");
    if (reader.add(*profile) != sim::profile_package_reader::progress::complete) return fail("profile element");
    if (!same(reader.iccid(), iccid->value)) return fail("iccid");
    result.iccid = reader.iccid();
    result.size = reader.size();
    result.sha256 = sim::to_hex(reader.sha256());
    return result;
}
