// BIT STRING, OBJECT IDENTIFIER, INTEGER, hexadecimal text and ICCID digits.
// Input: size of the output (1 byte), contents.
#include "foundation/byte_utils.h"
#include "fuzz/fuzz_input.h"
#include <string>
#include <vector>

namespace {
std::vector<uint8_t> without_trailing_zeros(input_bytes bits)
{
    std::vector<uint8_t> result(bits.begin(), bits.end());
    while (!result.empty() && result.back() == 0)
        result.pop_back();
    return result;
}

std::vector<uint8_t> decoded_bits(const exact_bytes &content)
{
    const int32_t count = byte_utils__bit_string_decode(nullptr, 0, content.data(), content.size());
    REQUIRE(count >= 0);
    const exact_bytes bits(static_cast<size_t>(count));
    REQUIRE(byte_utils__bit_string_decode(bits.data(), bits.size(), content.data(), content.size()) == count);
    if (count > 0)
        REQUIRE(byte_utils__bit_string_decode(bits.data(), bits.size() - 1, content.data(), content.size()) == -7);
    return without_trailing_zeros(bits.all());
}

void bit_string(const exact_bytes &content)
{
    if (byte_utils__bit_string_decode(nullptr, 0, content.data(), content.size()) < 0) return;
    const auto bits = decoded_bits(content);
    const auto count = static_cast<uint32_t>(bits.size());
    const int32_t size = byte_utils__bit_string_encode(nullptr, 0, bits.data(), count);
    REQUIRE(size >= 0 && (size == 0) == bits.empty());
    const exact_bytes encoded(static_cast<size_t>(size));
    REQUIRE(byte_utils__bit_string_encode(encoded.data(), encoded.size(), bits.data(), count) == size);
    // Whole bytes are encoded in a way of their own.
    if (bits.size() % 8 != 0) REQUIRE(decoded_bits(encoded) == bits);
}

void object_identifier(const exact_bytes &text, uint32_t room)
{
    const auto *start = reinterpret_cast<const char *>(text.data());
    const int32_t size = byte_utils__oid_encode(nullptr, 0, start, text.size());
    const exact_bytes out(room);
    const int32_t written = byte_utils__oid_encode(out.data(), out.size(), start, text.size());
    if (size < 0) REQUIRE(written < 0);
    else REQUIRE(written == (static_cast<uint32_t>(size) <= room ? size : -7));
}

void integer(const exact_bytes &bytes)
{
    uint32_t value = 0;
    if (byte_utils__byte_array_to_uint(bytes.data(), bytes.size(), &value) != 0) return;
    const exact_bytes out(size_t{5});
    const int32_t size = byte_utils__uint_to_byte_array(out.data(), out.size(), value);
    REQUIRE(size >= 1 && size <= 5);
    const exact_bytes exact(out.all().first(static_cast<size_t>(size)));
    REQUIRE(byte_utils__uint_to_byte_array(exact.data(), exact.size(), value) == size);
    uint32_t same = 0;
    REQUIRE(byte_utils__byte_array_to_uint(exact.data(), exact.size(), &same) == 0 && same == value);
}

void hex_text(const exact_bytes &bytes, uint32_t room)
{
    const exact_bytes text(size_t{bytes.size()} * 2);
    auto *digits = reinterpret_cast<char *>(text.data());
    REQUIRE(byte_utils__byte_array_to_hex_string(bytes.data(), bytes.size(), digits, text.size()) == 0);
    const exact_bytes back(bytes.size());
    REQUIRE(byte_utils__hex_string_to_byte_array(digits, text.size(), back.data(), back.size()) ==
            static_cast<int32_t>(bytes.size()));
    REQUIRE(std::ranges::equal(back.all(), bytes.all()));
    const exact_bytes out(room);
    const int32_t count = byte_utils__hex_string_to_byte_array(reinterpret_cast<const char *>(bytes.data()),
                                                               bytes.size(), out.data(), out.size());
    REQUIRE(count <= static_cast<int32_t>(room));
    const exact_text terminated(bytes.all());
    uint8_t byte = 0;
    uint16_t number = 0;
    byte_utils__hex_string_to_byte(terminated.data(), &byte);
    byte_utils__hex_string_to_short(terminated.data(), &number);
}

void iccid(const exact_bytes &bytes)
{
    if (bytes.size() < ICCID_BYTES) return;
    const exact_bytes digits(bytes.all().first(ICCID_BYTES));
    if (byte_utils__iccid_parse_format(digits.data(), ICCID_ORDER_SWAPPED) != 0) return;
    REQUIRE(digits.data()[0] == 0x98);
    REQUIRE(byte_utils__iccid_parse_format(digits.data(), ICCID_ORDER_PLAIN) == 0 && digits.data()[0] == 0x89);
    for (uint32_t i = 0; i < digits.size(); ++i) {
        const bool was_plain = bytes.data()[0] == 0x89;
        REQUIRE(digits.data()[i] == (was_plain ? bytes.data()[i] : byte_utils__byte_nibble_swap(bytes.data()[i])));
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint32_t room = input.byte() % 64;
    const exact_bytes content(input.rest());
    bit_string(content);
    object_identifier(content, room);
    integer(content);
    hex_text(content, room);
    iccid(content);
    return 0;
}
