// es10/response_reader.h: how the decoders find an element and measure its value without leaving the answer. Internal
// to es10/.
#pragma once
#include "foundation/log.h"
#include "foundation/result.h"
#include "tlv/ber_tlv_parser.h"
#include <span>
#include <stdint.h>

using response_bytes = std::span<const uint8_t>;

inline uint32_t size_of(response_bytes bytes) { return static_cast<uint32_t>(bytes.size()); }

inline bool response_reader__is_empty(const uint8_t *tlv, uint32_t length, const char *text)
{
    if (tlv && length > 0) return false;
    log__string(LOG__ERROR, "%s", text);
    return true;
}

// Returns 0, the parser's code, or 1 when the element at offset does not end within tlv.
inline uint32_t response_reader__element(response_bytes tlv, uint32_t offset, ber_tlv_record *record,
                                         response_bytes *value)
{
    const uint32_t rc = ber_tlv_parser__ber_tlv_2(tlv.data(), size_of(tlv), offset, record);
    if (rc != RESULT__OK) return rc;
    const uint32_t head = static_cast<uint32_t>(record->tag_bytes) + record->length_bytes;
    const response_bytes rest = tlv.subspan(offset + head); // the head was read, so it is whole
    if (record->length > rest.size()) return RESULT__FATAL_ERROR;
    *value = rest.first(record->length);
    return RESULT__OK;
}

inline uint32_t response_reader__value(response_bytes tlv, uint32_t offset, response_bytes *value)
{
    ber_tlv_record record;
    return response_reader__element(tlv, offset, &record, value);
}

// The value of the answer's own element. False when no whole element with that tag is there.
inline bool response_reader__outer(response_bytes response, uint16_t tag, response_bytes *value)
{
    const int32_t offset = ber_tlv_parser__find_tlv_by_tag(response.data(), size_of(response), 0, tag);
    return offset >= 0 && response_reader__value(response, static_cast<uint32_t>(offset), value) == RESULT__OK;
}

// Offset of tag among the direct children in value, or -1.
inline int32_t response_reader__find_child(response_bytes value, uint16_t tag)
{
    return ber_tlv_parser__find_tlv_by_tag_2(value.data(), size_of(value), 0, tag);
}

// Returns 0, 8 when there is no such direct child, or what response_reader__element returns.
inline uint32_t response_reader__child(response_bytes parent, uint16_t tag, response_bytes *value)
{
    const int32_t offset = response_reader__find_child(parent, tag);
    if (offset < 0) return RESULT__NO_DATA;
    return response_reader__value(parent, static_cast<uint32_t>(offset), value);
}
