/* tlv/tlv_generator.h: appends BER-TLV elements to a buffer.
 *
 * Sizing     with a null buffer nothing is written and the end offset is returned, so that a message is built by
 *            running the same sequence twice.
 * Errors     a negative return is a negated result code (-7: the buffer is too small and untouched), -1 a length that
 *            cannot be encoded; where told, a positive code of the conversion that failed. Callers treat every result
 *            that is not beyond the offset passed in as a failure. */
#pragma once
#include "foundation/export.h"
#include "tlv/transaction_id.h"
#include <stdint.h>

LPA_API_BEGIN

#define OCTET_ARRAY_RAW 0
#define OCTET_ARRAY_BASE64 1

typedef struct OctetArray {
    const uint8_t *data; /* bytes, or base64 text */
    uint32_t length;
    int32_t format; /* OCTET_ARRAY_RAW or OCTET_ARRAY_BASE64 */
} OctetArray;

int32_t tlv_generator__add_tag(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag);

/* Lengths 127, 255 and 65535 take one byte more than DER asks; above 0xFFFFFE returns -1. */
int32_t tlv_generator__add_length(uint8_t *buffer, uint32_t size, uint32_t offset, uint32_t length);
int32_t tlv_generator__add_tag_and_length(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                          uint32_t length);

/* A null value with a length writes the header alone and returns the offset after it. */
int32_t tlv_generator__add_tlv(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag, const uint8_t *value,
                               uint32_t length);

/* Copies an element that is already encoded; an empty one adds nothing. */
int32_t tlv_generator__add_tlv_full_bytes(uint8_t *buffer, uint32_t size, uint32_t offset, const uint8_t *tlv,
                                          uint32_t length);
int32_t tlv_generator__add_tlv_integer_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                             uint32_t value);
int32_t tlv_generator__add_tlv_boolean_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                             uint8_t flag);
int32_t tlv_generator__add_tlv_null_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag);
int32_t tlv_generator__add_tlv_base64_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                            const char *text, uint32_t text_length);
int32_t tlv_generator__add_tlv_octet_array_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                                 const OctetArray *octets);
int32_t tlv_generator__add_tlv_bit_string_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                                const uint8_t *bits, uint32_t bit_count);
int32_t tlv_generator__add_tlv_oid_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                         const char *text, uint32_t text_length);

/* Returns 4 for a null identifier or a length outside 1..16. */
int32_t tlv_generator__add_tlv_transaction_id_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                                    const TransactionId *transaction_id);

/* The ten ICCID bytes in card order. Returns 4 when they begin with neither 89 nor 98. */
int32_t tlv_generator__add_tlv_iccid_nibble_swap_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                                       const uint8_t *iccid);

/* deviceInfo contents: a zero tac and no capabilities. */
int32_t tlv_generator__add_device_info_value(uint8_t *buffer, uint32_t size, uint32_t offset);

/* Whole CtxParams1 element, always from offset 0. */
int32_t tlv_generator__add_ctx_params1_value(uint8_t *buffer, uint32_t size, const uint8_t *matching_id,
                                             uint32_t matching_id_length);

/* AuthenticateServerRequest from the SM-DP+ answer to InitiateAuthentication (json, terminated) and the matching
 * identifier. On success *data (released with M_free) and *length hold the request; else *data is null.
 * Returns 0, 1 for undecodable fields, 9 for no memory, or the JSON scanner's code for a missing field. */
uint32_t tlv_generator__authenticate_server_request(const char *json, const uint8_t *matching_id,
                                                    uint32_t matching_id_length, uint8_t **data, uint32_t *length);

LPA_API_END
