#include "foundation/base64.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "lpa/memory.h"
#include <array>
#include <string.h>
#include <string_view>

namespace {
constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char pad = '=';
constexpr std::string_view escaped_pad = "\\u003d"; // how some JSON writers send "="
constexpr uint32_t escape_length = escaped_pad.size();
constexpr uint32_t escape_surplus = escape_length - 1; // what a text shrinks by when "=" takes its place

constexpr uint8_t value_bits = 0x3F;
constexpr uint8_t padding = 0x40; // of the pad, which counts as value 0
constexpr uint8_t skipped = 0x80; // of a character that has no value
using value_table = std::array<uint8_t, 256>;

constexpr value_table make_value_table()
{
    value_table table = {};
    table.fill(skipped);
    for (uint8_t i = 0; i < 64; ++i)
        table[static_cast<uint8_t>(alphabet[i])] = i;
    table[static_cast<uint8_t>(pad)] = padding;
    return table;
}
constexpr value_table values = make_value_table();

uint8_t value_of(char character) { return values[static_cast<uint8_t>(character)]; }

// Whether an escaped "=" begins position characters before the end of text.
bool escape_before_end(const char *text, uint32_t length, uint32_t position)
{
    return length >= position && memcmp(text + length - position, escaped_pad.data(), escape_length) == 0;
}

// Four characters become three bytes, collected here until the group is full.
struct group {
    uint32_t bits = 0;
    uint32_t characters = 0;

    bool add(uint8_t value)
    {
        bits = bits << 6 | (value & value_bits);
        characters = (characters + 1) % 4;
        return characters == 0;
    }
    void write(uint8_t *out, uint32_t count) const
    {
        for (uint32_t i = 0; i < count; ++i)
            out[i] = static_cast<uint8_t>(bits >> (8 * (2 - i)));
    }
};

void encode_group(char *out, const uint8_t *bytes, uint32_t count)
{
    uint32_t bits = 0;
    for (uint32_t i = 0; i < 3; ++i)
        bits = bits << 8 | (i < count ? bytes[i] : 0U);
    for (uint32_t i = 0; i < 4; ++i)
        out[i] = i <= count ? alphabet[bits >> (6 * (3 - i)) & 0x3F] : pad;
}

// Puts "=" in the place of escaped padding at the end. Returns the new length.
uint32_t unescape_padding(char *text, uint32_t length)
{
    if (length > 2 * escape_length && escape_before_end(text, length, escape_length) &&
        escape_before_end(text, length, 2 * escape_length)) {
        memcpy(text + length - 2 * escape_length, "==", 3); // terminated: the text ends here now
        return length - 2 * escape_surplus;
    }
    if (length > escape_length && escape_before_end(text, length, escape_length)) {
        memcpy(text + length - escape_length, "=", 2);
        return length - escape_surplus;
    }
    return length;
}

uint32_t count_valued_characters(const char *text, uint32_t length)
{
    uint32_t count = 0;
    for (uint32_t i = 0; i < length; ++i)
        if (value_of(text[i]) != skipped) ++count;
    return count;
}

// The whole groups of plain characters that text begins with: nearly always all but the last. Returns the characters
// decoded.
uint32_t decode_plain_groups(uint8_t *out, const char *text, uint32_t length)
{
    uint32_t done = 0;
    for (; length - done >= 4; done += 4, out += 3) {
        const uint32_t a = value_of(text[done]), b = value_of(text[done + 1]);
        const uint32_t c = value_of(text[done + 2]), d = value_of(text[done + 3]);
        if ((a | b | c | d) > value_bits) break;
        out[0] = static_cast<uint8_t>(a << 2 | b >> 4);
        out[1] = static_cast<uint8_t>(b << 4 | c >> 2);
        out[2] = static_cast<uint8_t>(c << 6 | d);
    }
    return done;
}

// Decodes up to the first padded group. Returns the bytes written, or -1 for a group with more than two pads.
int64_t decode_until_padding(uint8_t *out, const char *text, uint32_t length)
{
    const uint32_t plain = decode_plain_groups(out, text, length);
    int64_t written = plain / 4 * 3;
    uint32_t pads = 0;
    group four;
    for (uint32_t i = plain; i < length; ++i) {
        const uint8_t value = value_of(text[i]);
        if (value == skipped) continue;
        if (text[i] == pad) ++pads;
        if (!four.add(value)) continue;
        if (pads > 2) return -1;
        four.write(out + written, 3 - pads);
        written += 3 - pads;
        if (pads > 0) break;
    }
    return written;
}

// Decoded size by the text's length and its last characters alone; -4 when there are no whole groups.
int32_t static_decoded_size(const char *text, uint32_t length)
{
    uint32_t effective = length;
    int32_t pads = 0;
    if (escape_before_end(text, length, escape_length)) {
        effective -= escape_surplus;
        ++pads;
        if (escape_before_end(text, length, 2 * escape_length)) {
            effective -= escape_surplus;
            ++pads;
        }
    }
    if (effective % 4 != 0) return -RESULT__BAD_ARGUMENT;
    if (text[effective - 1] == pad) ++pads;
    if (text[effective - 2] == pad) ++pads;
    return static_cast<int32_t>(effective / 4 * 3) - pads;
}
} // namespace

char *base64_encode(const uint8_t *bytes, uint32_t length, uint32_t *out_length)
{
    // Room for a line end every 72 characters, which is not written. From 2^30 bytes on the sum wraps.
    const uint32_t text_length = length * 4 / 3 + 4;
    const uint32_t size = text_length + 1 + text_length / 72;
    if (size < length) return nullptr;
    char *const text = static_cast<char *>(M_malloc(size));
    if (!text) return nullptr;
    char *end = text;
    for (uint32_t offset = 0; offset < length; offset += 3, end += 4)
        encode_group(end, bytes + offset, length - offset < 3 ? length - offset : 3);
    *end = '\0';
    if (out_length) *out_length = static_cast<uint32_t>(end - text);
    return text;
}

uint8_t *base64_decode(char *text, uint32_t length, uint32_t *out_length)
{
    if (!text) return nullptr;
    length = unescape_padding(text, length);
    const uint32_t count = count_valued_characters(text, length);
    if (count == 0 || count % 4 != 0) return nullptr;
    owned_bytes bytes(static_cast<uint8_t *>(M_malloc(count / 4 * 3)));
    if (!bytes.data) return nullptr;
    const int64_t written = decode_until_padding(bytes.data, text, length);
    if (written < 0) return nullptr;
    if (out_length) *out_length = static_cast<uint32_t>(written);
    return bytes.hand_over();
}

int32_t b64_decode_static(uint8_t *out, uint32_t size, const char *text, uint32_t length)
{
    if (!text || length == 0 || length > INT32_MAX) return -RESULT__BAD_ARGUMENT;
    const int32_t needed = static_decoded_size(text, length);
    if (needed < 0) {
        log__string(LOG__ERROR, "[b64_decode_static] Error calculating the size need it for decode, err %d", needed);
        return needed;
    }
    if (!out) return needed;
    if (size < static_cast<uint32_t>(needed)) {
        log__string(
            LOG__ERROR,
            "[b64_decode_static] Not enough space to decode the base64 to the buffer. Buffer size %lu, buffer size needed %lu",
            static_cast<unsigned long>(size), static_cast<unsigned long>(needed));
        return -RESULT__NOT_ENOUGH_BUFFER;
    }
    // Never writes more than was sized: a character that counts there gives at most one value here, and the pads that
    // were counted lie in the last group. Out may be text itself: a group is written after it was read.
    const uint32_t plain = decode_plain_groups(out, text, length);
    uint32_t written = plain / 4 * 3;
    uint32_t pads = 0;
    group four;
    for (uint32_t i = plain; i < length; ++i) {
        uint8_t value = value_of(text[i]);
        if (text[i] == pad) ++pads;
        if (text[i] == '\\') {
            value = 0;
            if (length - i >= escape_length && memcmp(text + i, escaped_pad.data(), escape_length) == 0) {
                i += escape_surplus;
                ++pads;
            } else {
                log__string(LOG__ERROR, "[b64_decode_static] Wrong character found '%c' on decoding", text[i]);
            }
        }
        if (value == skipped || !four.add(value)) continue;
        const uint32_t count = pads == 0 ? 3 : pads == 1 ? 2 : 1;
        four.write(out + written, count);
        written += count;
    }
    return static_cast<int32_t>(written);
}
