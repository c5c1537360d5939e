#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/result.h"

namespace {
constexpr char hex_digits[] = "0123456789ABCDEF";

// '0'..'9', 'A'..'F' and 'a'..'f' by arithmetic; what any other character gives has no meaning.
uint8_t unchecked_hex_value(char digit)
{
    return static_cast<uint8_t>(((static_cast<uint8_t>(digit) & 0x1F) + 9) % 25);
}

int32_t hex_value(char digit)
{
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

bool has_characters(const char *text, uint32_t count)
{
    if (!text) return false;
    for (uint32_t i = 0; i < count; ++i)
        if (text[i] == '\0') return false;
    return true;
}

uint8_t big_endian_byte(uint32_t value, uint32_t index) { return static_cast<uint8_t>(value >> (8 * (3 - index))); }

int32_t log_no_room_for_integer(uint32_t size, uint32_t needed)
{
    log__string(LOG__ERROR,
                "Not enough space to add the unsigned integer to the buffer. Buffer size %u, buffer size needed %u",
                size, needed);
    return -RESULT__BAD_ARGUMENT;
}

constexpr uint8_t iccid_plain_start = 0x89; // ISO 7812: 89 is the telecommunication industry
constexpr uint8_t iccid_swapped_start = 0x98;
} // namespace

uint32_t byte_utils__hex_string_to_byte(const char *text, uint8_t *value)
{
    if (!has_characters(text, 2)) return RESULT__BAD_ARGUMENT;
    *value = static_cast<uint8_t>(unchecked_hex_value(text[0]) << 4 | unchecked_hex_value(text[1]));
    return RESULT__OK;
}

uint32_t byte_utils__hex_string_to_short(const char *text, uint16_t *value)
{
    if (!has_characters(text, 4)) return RESULT__BAD_ARGUMENT;
    uint8_t high = 0;
    uint8_t low = 0;
    byte_utils__hex_string_to_byte(text, &high);
    byte_utils__hex_string_to_byte(text + 2, &low);
    *value = byte_utils__bytes_to_short(high, low);
    return RESULT__OK;
}

uint16_t byte_utils__bytes_to_short(uint8_t high, uint8_t low) { return static_cast<uint16_t>(high << 8 | low); }

uint32_t byte_utils__char_UTF8_to_byte(char character, uint8_t *value)
{
    if (character == '\0') return RESULT__BAD_ARGUMENT;
    *value = static_cast<uint8_t>(character);
    return RESULT__OK;
}

uint32_t byte_utils__byte_array_to_hex_string(const uint8_t *bytes, uint32_t count, char *text, uint32_t size)
{
    if (size / 2 < count) return RESULT__BAD_ARGUMENT;
    for (uint32_t i = 0; i < count; ++i) {
        text[2 * i] = hex_digits[bytes[i] >> 4];
        text[2 * i + 1] = hex_digits[bytes[i] & 0x0F];
    }
    return RESULT__OK;
}

int32_t byte_utils__hex_string_to_byte_array(const char *text, uint32_t length, uint8_t *bytes, uint32_t size)
{
    const uint32_t count = length / 2 + length % 2;
    if (!text || count > size || count > INT32_MAX) return -RESULT__BAD_ARGUMENT;
    for (uint32_t i = 0; i < count; ++i) {
        bytes[i] = 0;
        const bool has_second = 2 * i + 1 < length; // an odd last digit is half a byte
        const int32_t high = hex_value(text[2 * i]);
        const int32_t low = has_second ? hex_value(text[2 * i + 1]) : -1;
        if (high < 0 || low < 0) return -1;
        bytes[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return static_cast<int32_t>(count);
}

int32_t byte_utils__uint_to_byte_array(uint8_t *out, uint32_t size, uint32_t value)
{
    log__string(LOG__TRACE, "[byte_utils__uint_to_byte_array] value=%lu", static_cast<unsigned long>(value));
    if (value == 0) {
        if (!out) return 1;
        if (size == 0) return log_no_room_for_integer(size, 1);
        out[0] = 0;
        return 1;
    }
    uint32_t first = 0;
    while (big_endian_byte(value, first) == 0)
        ++first;
    const bool looks_negative = (big_endian_byte(value, first) & 0x80) != 0; // DER INTEGER is signed
    const uint32_t needed = (looks_negative ? 1U : 0U) + 4U - first;
    log__string(LOG__TRACE, "[byte_utils__uint_to_byte_array] int_value_size=%u", needed);
    if (!out) return static_cast<int32_t>(needed);
    if (needed > size) return log_no_room_for_integer(size, needed);
    if (looks_negative) *out++ = 0;
    for (; first < 4; ++first)
        *out++ = big_endian_byte(value, first);
    return static_cast<int32_t>(needed);
}

int32_t byte_utils__byte_array_to_uint(const uint8_t *bytes, uint32_t length, uint32_t *value)
{
    if (!bytes) length = 0;
    for (; length > 0 && *bytes == 0; --length)
        ++bytes;
    if (length > sizeof *value) {
        log__string(
            LOG__ERROR,
            "[byte_utils__byte_array_to_uint] Cannot convert the value of this buffer to a uint32_t. Bytes of the uint32_t %u, bytes needed %lu",
            static_cast<uint32_t>(sizeof *value), static_cast<unsigned long>(length));
        return -RESULT__BAD_ARGUMENT;
    }
    uint32_t number = 0;
    for (uint32_t i = 0; i < length; ++i)
        number = number << 8 | bytes[i];
    *value = number;
    return RESULT__OK;
}

uint8_t byte_utils__byte_nibble_swap(uint8_t value) { return static_cast<uint8_t>(value << 4 | value >> 4); }

uint32_t byte_utils__iccid_parse_format(uint8_t *iccid, uint8_t wanted_order)
{
    if (!iccid) return RESULT__BAD_ARGUMENT;
    const uint8_t start = iccid[0];
    if (start != iccid_plain_start && start != iccid_swapped_start) {
        log__string(
            LOG__ERROR,
            "[is_iccid_nibble_swaped] The first byte of the ICCID is not correct. Expected: %02X or %02X, current: %02X",
            iccid_plain_start, iccid_swapped_start, start);
        log__string(LOG__ERROR, "[byte_utils__iccid_plain] The ICCID has an invalid format, rc %d",
                    RESULT__BAD_ARGUMENT);
        return RESULT__BAD_ARGUMENT;
    }
    const uint8_t order = start == iccid_swapped_start ? ICCID_ORDER_SWAPPED : ICCID_ORDER_PLAIN;
    if (order == wanted_order) return RESULT__OK;
    for (uint32_t i = 0; i < ICCID_BYTES; ++i)
        iccid[i] = byte_utils__byte_nibble_swap(iccid[i]);
    return RESULT__OK;
}
