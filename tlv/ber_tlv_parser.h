/* tlv/ber_tlv_parser.h: reads BER-TLV elements where they lie.
 *
 * Units      sizes, lengths and offsets count bytes; every offset starts at buffer[0], in nested elements too.
 * Ownership  nothing is allocated or copied; whatever points into the buffer dies with it.
 * Errors     status operations return 0 or a result code, searches an offset or -1.
 * Trust      an operation that takes a size never looks beyond it, whatever the bytes say; one that takes
 *            none is for elements that such an operation has already measured. */
#pragma once
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* Head of one element; its value starts tag_bytes + length_bytes further on. */
typedef struct ber_tlv_record {
    uint16_t tag;         /* 0x5A, or 0xBF2D for two bytes; of a longer tag the first byte only */
    uint8_t tag_bytes;    /* 1..11 */
    uint32_t length;      /* of the value alone */
    uint8_t length_bytes; /* 1..4 */
} ber_tlv_record;

uint8_t ber_tlv_parser__get_tag_bytes_count(const uint8_t *buffer, uint32_t offset);
uint8_t ber_tlv_parser__get_length_bytes_count(const uint8_t *buffer, uint32_t length_offset);
uint16_t ber_tlv_parser__get_tlv_tag(const uint8_t *buffer, uint32_t offset);
uint32_t ber_tlv_parser__get_length_offset(const uint8_t *buffer, uint32_t offset);
uint32_t ber_tlv_parser__get_value_offset(const uint8_t *buffer, uint32_t offset);

/* Returns 0, or 4 when there is no byte at offset. */
uint32_t ber_tlv_parser__get_tag_data(const uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t *tag,
                                      uint8_t *tag_bytes);

/* Returns 0, or 1 for a length of four bytes and more. */
uint32_t ber_tlv_parser__get_data_length(const uint8_t *buffer, uint32_t length_offset, uint32_t *length);

/* Size of the whole element (tag, length and value). Returns 0, or 1 when its length cannot be read. */
uint32_t ber_tlv_parser__get_tlv_bytes_count(const uint8_t *buffer, uint32_t offset, uint32_t *tlv_size);
uint32_t ber_tlv_parser__get_full_tlv_length(const uint8_t *buffer, uint32_t offset, uint32_t *tlv_size);

/* Checks that buffer is a run of whole elements with nothing left over; contents are not entered.
 * Returns 0 when it is, 1 when not (null and empty input included). */
uint32_t ber_tlv_parser__validate_tlv(const uint8_t *buffer, uint32_t size);

/* Looks for tag among the siblings from offset on.
 * Returns the offset of the element's first tag byte; -1 when absent or when a sibling cannot be read. */
int32_t ber_tlv_parser__find_tlv_by_tag_2(const uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag);

/* Looks for tag depth first from offset on; nested searches are bounded by the child's length taken as an absolute
 * position. Returns as above. */
int32_t ber_tlv_parser__find_tlv_by_tag(const uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag);

/* 1 for a constructed element, 0 for a primitive one or null. */
uint8_t ber_tlv_parser__is_constructed_2(const uint8_t *tag);

/* Return 0, or 1 when the record is null, the offset lies outside or the length cannot be read. */
uint32_t ber_tlv_parser__ber_tlv(const uint8_t *buffer, uint32_t offset, ber_tlv_record *record);
uint32_t ber_tlv_parser__ber_tlv_2(const uint8_t *buffer, uint32_t size, uint32_t offset, ber_tlv_record *record);

LPA_API_END
