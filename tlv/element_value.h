// tlv/element_value.h: the value of an element, if it was received whole. Internal to tlv/.
#pragma once
#include "tlv/ber_tlv_parser.h"

// Offset of the value of the element at offset, whose record ber_tlv_parser__ber_tlv_2 read within size.
constexpr uint32_t value_offset_of(uint32_t offset, const ber_tlv_record &record)
{
    return offset + record.tag_bytes + record.length_bytes;
}

// First byte of that value; null when the value runs past size, which the record alone does not tell.
constexpr const uint8_t *whole_value(const uint8_t *buffer, uint32_t size, uint32_t offset,
                                     const ber_tlv_record &record)
{
    const uint32_t value_offset = value_offset_of(offset, record);
    return record.length <= size - value_offset ? buffer + value_offset : nullptr;
}
