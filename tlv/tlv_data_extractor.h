/* tlv/tlv_data_extractor.h: typed readers for the fields of card responses and signed structures.
 *
 * Search     a field is looked for among the elements of one level; nested elements are not entered.
 * Errors     0; 4 for a null or empty buffer; 1 when the field is missing or has a wrong length; a parser's code.
 * Outputs    written only when the field's length is right. Nothing is allocated; pointers point into buffer. */
#pragma once
#include "foundation/export.h"
#include "tlv/transaction_id.h"
#include <stdint.h>

LPA_API_BEGIN

#define FQDN_TEXT_SIZE 256 /* 255 bytes and the terminator */
#define SUBJECT_KEY_IDENTIFIER_BYTES 20
#define EUICC_CHALLENGE_BYTES 16
#define EID_BYTES 16
#define PROFILE_NICKNAME_TEXT_SIZE 65
#define SERVICE_PROVIDER_NAME_TEXT_SIZE 33
#define PROFILE_NAME_TEXT_SIZE 65

/* State of a walk over an ASN.1 SEQUENCE OF. */
typedef struct asn1_list {
    uint16_t element_tag;
    const uint8_t *value; /* of the list element */
    uint32_t value_length;
    uint32_t offset; /* of the next element, within value */
} asn1_list;

typedef struct OperatorId {
    uint8_t mccMnc[3]; /* as coded */
    const uint8_t *gid1;
    uint32_t gid1_length;
    const uint8_t *gid2;
    uint32_t gid2_length;
    uint8_t gid1_present;
    uint8_t gid2_present;
} OperatorId;

uint32_t tlv_data_extractor__result_code(uint16_t tag, const uint8_t *buffer, uint32_t size, uint8_t *result);
uint32_t tlv_data_extractor__result_code_with_parent_tlv(uint16_t parent_tag, uint16_t tag, const uint8_t *buffer,
                                                         uint32_t size, uint8_t *result);
uint32_t tlv_data_extractor__uint32(uint16_t tag, const uint8_t *buffer, uint32_t size, uint32_t *value);
uint32_t tlv_data_extractor__boolean(uint16_t tag, const uint8_t *buffer, uint32_t size, uint8_t *flag);
uint32_t tlv_data_extractor__subject_key_identifier(uint16_t tag, const uint8_t *buffer, uint32_t size,
                                                    uint8_t identifier[SUBJECT_KEY_IDENTIFIER_BYTES]);

/* iccid: 10 bytes in plain digit order. With optional set, an absent tag gives 8. */
uint32_t tlv_data_extractor__iccid(uint16_t tag, const uint8_t *buffer, uint32_t size, uint8_t *present, uint8_t *iccid,
                                   uint8_t optional);
uint32_t tlv_data_extractor__fqdn(uint16_t tag, const uint8_t *buffer, uint32_t size, char fqdn[FQDN_TEXT_SIZE]);

/* bits: one per byte. Returns 0, not the bit count; entries beyond the encoded bits are left as they were. */
uint32_t tlv_data_extractor__bit_string(uint16_t tag, const uint8_t *buffer, uint32_t size, uint8_t *bits,
                                        uint32_t bits_size);

/* An absent tag is no error: present and the record's length become 0. */
uint32_t tlv_data_extractor__transaction_id(uint16_t tag, const uint8_t *buffer, uint32_t size, uint8_t *present,
                                            TransactionId *transaction_id);

/* First element inside BF2E, 16 bytes. */
uint32_t tlv_data_extractor__euicc_challenge(const uint8_t *buffer, uint32_t size,
                                             uint8_t challenge[EUICC_CHALLENGE_BYTES]);

/* First element inside BF3E, 16 bytes. */
uint32_t tlv_data_extractor__get_euicc_data_response(const uint8_t *buffer, uint32_t size, uint8_t eid[EID_BYTES]);

/* Starts a walk over the elements of list_tag. Returns 7 when the list runs past size. */
uint32_t tlv_data_extractor__asn1_list_init(asn1_list *list, uint16_t list_tag, uint16_t element_tag,
                                            const uint8_t *buffer, uint32_t size);

/* Next element with its whole size; null with result 0 ends the list. */
uint32_t tlv_data_extractor__asn1_list_get_next(asn1_list *list, const uint8_t **element, uint32_t *element_size);

uint32_t tlv_data_extractor__operator_id(uint16_t tag, const uint8_t *buffer, uint32_t size, OperatorId *operator_id);

/* Fields of one ProfileInfo (E3); texts are terminated UTF-8, empty when absent. */
uint32_t tlv_data_extractor__profile_info(const uint8_t *buffer, uint32_t size, uint8_t *iccid_present, uint8_t *iccid,
                                          uint8_t *state_present, uint8_t *state,
                                          char nickname[PROFILE_NICKNAME_TEXT_SIZE],
                                          char service_provider_name[SERVICE_PROVIDER_NAME_TEXT_SIZE],
                                          char profile_name[PROFILE_NAME_TEXT_SIZE]);

LPA_API_END
