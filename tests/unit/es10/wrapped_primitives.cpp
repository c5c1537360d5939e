// What the es10 tests can make fail below the encoders and decoders.
#include "tlv/ber_tlv_parser.h"
#include "unit/fakes/primitive_fault.h"

WRAP(int32_t, tlv_generator__add_tag, (uint8_t * buffer, uint32_t size, uint32_t offset, uint16_t tag),
     (buffer, size, offset, tag))
WRAP(int32_t, tlv_generator__add_tag_and_length,
     (uint8_t * buffer, uint32_t size, uint32_t offset, uint16_t tag, uint32_t length),
     (buffer, size, offset, tag, length))
WRAP(int32_t, tlv_generator__add_tlv,
     (uint8_t * buffer, uint32_t size, uint32_t offset, uint16_t tag, const uint8_t *value, uint32_t length),
     (buffer, size, offset, tag, value, length))
WRAP(int32_t, tlv_generator__add_tlv_full_bytes,
     (uint8_t * buffer, uint32_t size, uint32_t offset, const uint8_t *tlv, uint32_t length),
     (buffer, size, offset, tlv, length))
WRAP(int32_t, tlv_generator__add_tlv_integer_value,
     (uint8_t * buffer, uint32_t size, uint32_t offset, uint16_t tag, uint32_t value),
     (buffer, size, offset, tag, value))
WRAP(int32_t, tlv_generator__add_tlv_boolean_value,
     (uint8_t * buffer, uint32_t size, uint32_t offset, uint16_t tag, uint8_t flag), (buffer, size, offset, tag, flag))
WRAP(int32_t, tlv_generator__add_tlv_bit_string_value,
     (uint8_t * buffer, uint32_t size, uint32_t offset, uint16_t tag, const uint8_t *bits, uint32_t bit_count),
     (buffer, size, offset, tag, bits, bit_count))
WRAP(uint32_t, ber_tlv_parser__ber_tlv_2,
     (const uint8_t *buffer, uint32_t size, uint32_t offset, ber_tlv_record *record), (buffer, size, offset, record))
WRAP(uint32_t, tlv_data_extractor__iccid,
     (uint16_t tag, const uint8_t *buffer, uint32_t size, uint8_t *present, uint8_t *iccid, uint8_t optional),
     (tag, buffer, size, present, iccid, optional))
WRAP(uint32_t, byte_utils__byte_array_to_hex_string, (const uint8_t *bytes, uint32_t count, char *text, uint32_t size),
     (bytes, count, text, size))
