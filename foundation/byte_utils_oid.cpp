// OBJECT IDENTIFIER contents (X.690 8.19) from dotted decimal text.
#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/result.h"
#include <algorithm>
#include <stdlib.h>
#include <string.h>

namespace {
constexpr uint32_t node_characters = 11; // a 32-bit number and its dot
constexpr uint32_t node_bytes = 5;       // 32 bits in groups of seven
constexpr uint8_t more_follows = 0x80;
constexpr uint32_t further_nodes_limit = 129;

// Reads the number at offset. Returns the offset after it and its dot; -4 when the text is over.
int32_t byte_utils__get_next_oid_node_value(const char *text, uint32_t length, uint32_t offset, uint32_t *value)
{
    if (!text || offset >= length) return -RESULT__BAD_ARGUMENT;
    char chunk[node_characters + 1] = {};
    memcpy(chunk, text + offset, std::min(length - offset, node_characters));
    log__string(LOG__TRACE, "[byte_utils__get_next_oid_node_value] OID chunk: %s", chunk);
    char *dot = strchr(chunk, '.');
    if (dot) *dot = '\0';
    log__string(LOG__TRACE, "[byte_utils__get_next_oid_node_value] OID subId: %s", chunk);
    // Eleven digits are beyond 32 bits; where unsigned long has more, it is cut to what 32 bits would give.
    *value = static_cast<uint32_t>(std::min<unsigned long>(strtoul(chunk, nullptr, 10), UINT32_MAX));
    return static_cast<int32_t>(offset + 1 + strlen(chunk));
}

// Appends one node. Returns the offset after it; -7 when it does not fit.
int32_t byte_utils__oid_encode_node(uint8_t *out, uint32_t size, uint32_t offset, uint32_t value)
{
    log__string(LOG__DEBUG, "[byte_utils__oid_encode_node] Node value: %u", value);
    uint8_t groups[node_bytes];
    for (uint32_t i = 0; i < node_bytes; ++i)
        groups[i] = static_cast<uint8_t>((value >> (7 * (node_bytes - 1 - i)) & 0x7F) | more_follows);
    groups[node_bytes - 1] &= 0x7F;
    uint32_t first = 0;
    while (groups[first] == more_follows) // the last group never is
        ++first;
    const uint32_t encoded = node_bytes - first;
    log__data(LOG__DEBUG, "[byte_utils__oid_encode_node] Node encoded", groups + first, encoded);
    const uint32_t end = offset + encoded;
    if (!out) return static_cast<int32_t>(end);
    if (end > size) {
        log__string(
            LOG__ERROR,
            "[esipa_tlv_generator__ipa_euicc_data] Not enough space to add the OID node %u. Buffer size %lu, buffer size needed %lu",
            value, static_cast<unsigned long>(size), static_cast<unsigned long>(end));
        return -RESULT__NOT_ENOUGH_BUFFER;
    }
    memcpy(out + offset, groups + first, encoded);
    return static_cast<int32_t>(end);
}

// The first two nodes share one number (X.690 8.19.4).
int32_t byte_utils__oid_encode_first_two_nodes(uint8_t *out, uint32_t size, uint32_t first, uint32_t second)
{
    log__string(LOG__DEBUG, "[byte_utils__oid_encode_first_two_nodes] First subID: %u, second subID: %u", first,
                second);
    if (first > 2) {
        log__string(
            LOG__ERROR,
            "[byte_utils__oid_encode_first_two_nodes] The valid values of the first subID are 0, 1, or 2. First subID: %u",
            first);
        return -RESULT__BAD_ARGUMENT;
    }
    if (first < 2 && second >= 40) {
        log__string(
            LOG__ERROR,
            "[byte_utils__oid_encode_first_two_nodes] If the first subID has a value of 0 or 1, the second subID can have a value only of 0 through 39. First subID: %u, second subID: %u",
            first, second);
        return -RESULT__BAD_ARGUMENT;
    }
    return byte_utils__oid_encode_node(out, size, 0, first * 40 + second);
}

// Encodes the nodes after the second one, which end at end in out. Returns the end of the last.
int32_t encode_further_nodes(uint8_t *out, uint32_t size, int32_t end, const char *text, uint32_t length,
                             uint32_t offset)
{
    for (uint32_t node = 3; offset < length && node < 3 + further_nodes_limit; ++node) {
        uint32_t value = 0;
        const int32_t next = byte_utils__get_next_oid_node_value(text, length, offset, &value);
        if (next < 0) {
            log__string(LOG__ERROR, "[byte_utils__oid_encode] Error extracting the %u node, rc %d", node, next);
            return next;
        }
        offset = static_cast<uint32_t>(next);
        end = byte_utils__oid_encode_node(out, size, static_cast<uint32_t>(end), value);
        if (end < 0) {
            log__string(LOG__ERROR, "[byte_utils__oid_encode] Error encoding the %u node with value %u, rc %d", node,
                        value, end);
            return end;
        }
    }
    return end;
}
} // namespace

int32_t byte_utils__oid_encode(uint8_t *out, uint32_t size, const char *text, uint32_t length)
{
    if (!text) {
        log__string(LOG__ERROR, "[byte_utils__oid_encode] OID is empty or null");
        return RESULT__BAD_ARGUMENT;
    }
    log__utf8_data(LOG__DEBUG, "[byte_utils__oid_encode] OID: ", reinterpret_cast<const uint8_t *>(text), length);
    uint32_t first = 0;
    int32_t offset = byte_utils__get_next_oid_node_value(text, length, 0, &first);
    if (offset < 0) {
        log__string(LOG__ERROR, "[byte_utils__oid_encode] Error extracting the first node, rc %d", offset);
        return offset;
    }
    uint32_t second = 0;
    offset = byte_utils__get_next_oid_node_value(text, length, static_cast<uint32_t>(offset), &second);
    if (offset < 0) {
        log__string(LOG__ERROR, "[byte_utils__oid_encode] Error extracting the second node, rc %d", offset);
        return offset;
    }
    int32_t end = byte_utils__oid_encode_first_two_nodes(out, size, first, second);
    if (end < 0) {
        log__string(LOG__ERROR, "[byte_utils__oid_encode] Error encoding the fist two nodes, rc %d", end);
        return end;
    }
    end = encode_further_nodes(out, size, end, text, length, static_cast<uint32_t>(offset));
    if (end < 0) return end;
    log__data(LOG__DEBUG, "[byte_utils__oid_encode] OID encoded", out, static_cast<uint32_t>(end));
    return end;
}
