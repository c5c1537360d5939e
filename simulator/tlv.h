// simulator/tlv.h: BER-TLV for the simulated card and server: DER out, strict reading in. Independent of the library's
// own codec, so that an error there shows here.
#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace sim {

using byte_vector = std::vector<uint8_t>;
using byte_view = std::span<const uint8_t>;

// One element: tlv(0xBF2D, value). DER lengths; tags of one or two bytes.
byte_vector tlv(uint16_t tag, byte_view value = {});
byte_vector join(std::initializer_list<byte_view> pieces);
byte_vector integer_value(uint32_t value); // contents of a non-negative INTEGER

struct element {
    uint16_t tag;
    byte_view value;
    byte_view whole; // tag and length included
};

// First element of data, or nothing when data does not begin with a whole one. Takes every definite length form.
std::optional<element> read_element(byte_view data);
// All elements of data; nothing when something is left over.
std::optional<std::vector<element>> read_elements(byte_view data);
// First child of data with this tag (one level).
std::optional<element> find_child(byte_view data, uint16_t tag);
uint32_t to_uint(byte_view value);

} // namespace sim
