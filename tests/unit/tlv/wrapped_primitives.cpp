// What the tlv tests can make fail below the appenders and readers.
#include "tlv/ber_tlv_parser.h"
#include "unit/fakes/primitive_fault.h"

WRAP(int32_t, tlv_generator__add_tag, (uint8_t * buffer, uint32_t size, uint32_t offset, uint16_t tag),
     (buffer, size, offset, tag))
WRAP(int32_t, tlv_generator__add_length, (uint8_t * buffer, uint32_t size, uint32_t offset, uint32_t length),
     (buffer, size, offset, length))
WRAP(int32_t, byte_utils__uint_to_byte_array, (uint8_t * out, uint32_t size, uint32_t value), (out, size, value))
WRAP(int32_t, byte_utils__bit_string_encode, (uint8_t * out, uint32_t size, const uint8_t *bits, uint32_t count),
     (out, size, bits, count))
WRAP(int32_t, byte_utils__oid_encode, (uint8_t * out, uint32_t size, const char *text, uint32_t length),
     (out, size, text, length))
WRAP(uint32_t, ber_tlv_parser__ber_tlv_2,
     (const uint8_t *buffer, uint32_t size, uint32_t offset, ber_tlv_record *record), (buffer, size, offset, record))
