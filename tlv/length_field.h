// tlv/length_field.h: the length field of an element that we write. Internal to tlv/.
#pragma once
#include <cstdint>

inline constexpr uint32_t longest_length_field = 4;

// Bytes of the field, 0 for a length that cannot be encoded. Each threshold lies one below DER's: 127, 255 and 65535
// take one byte more than they need, which the eUICC accepts.
constexpr uint32_t length_field_size(uint32_t length)
{
    if (length < 0x7F) return 1;
    if (length < 0xFF) return 2;
    if (length < 0xFFFF) return 3;
    return length < 0xFFFFFF ? longest_length_field : 0;
}

// Writes the field of length_field_size bytes.
constexpr void write_length_field(uint8_t *field, uint32_t size, uint32_t length)
{
    if (size > 1) field[0] = (uint8_t)(0x80 | (size - 1));
    for (uint32_t i = size; i > (size > 1 ? 1u : 0u); --i, length >>= 8)
        field[i - 1] = (uint8_t)length;
}
