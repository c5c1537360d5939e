#include "tlv/tlv_data_extractor.h"
#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/result.h"
#include "tlv/element_value.h"
#include <string.h>

namespace {

constexpr uint32_t iccid_bytes = ICCID_BYTES;
constexpr uint32_t longest_fqdn = FQDN_TEXT_SIZE - 1;
constexpr uint32_t any_length = UINT32_MAX;

// How one kind of field is found and what its length may be.
struct field_rule {
    const char *no_input;
    const char *input_title;
    const char *not_found;  // %04X tag
    const char *unreadable; // %d code
    uint32_t least;
    uint32_t most;
    void (*log_wrong_length)(uint32_t length) = nullptr; // null where every length will do
    bool optional = false;                               // absent is "no data", not an error
    int32_t absent_level = LOG__ERROR;
};

struct field_value {
    const uint8_t *data;
    uint32_t length;
};

uint32_t read_field(const field_rule &rule, uint16_t tag, const uint8_t *buffer, uint32_t size, field_value *value)
{
    if (!buffer || size == 0) {
        log__string(LOG__ERROR, "%s", rule.no_input);
        return RESULT__BAD_ARGUMENT;
    }
    log__data(LOG__TRACE, rule.input_title, buffer, size);
    const int32_t offset = ber_tlv_parser__find_tlv_by_tag_2(buffer, size, 0, tag);
    if (offset < 0) {
        log__string(rule.absent_level, rule.not_found, tag);
        return rule.optional ? RESULT__NO_DATA : RESULT__FATAL_ERROR;
    }
    ber_tlv_record record = {};
    uint32_t rc = ber_tlv_parser__ber_tlv_2(buffer, size, offset, &record);
    if (rc == RESULT__OK && (record.length < rule.least || record.length > rule.most)) {
        rule.log_wrong_length(record.length);
        return RESULT__FATAL_ERROR;
    }
    const uint8_t *data = rc == RESULT__OK ? whole_value(buffer, size, offset, record) : nullptr;
    if (!data) {
        if (rc == RESULT__OK) rc = RESULT__FATAL_ERROR;
        log__string(LOG__ERROR, rule.unreadable, (int)rc);
        return rc;
    }
    *value = {data, record.length};
    return RESULT__OK;
}

constexpr field_rule result_code_rule = {
    .no_input = "[tlv_data_extractor__result_code] tlv is empty/null",
    .input_title = "[tlv_data_extractor__result_code] result code TLV",
    .not_found = "[tlv_data_extractor__result_code] Result code TAG %04X not found",
    .unreadable = "[tlv_data_extractor__result_code] Error parsing the result code TLV, rc %d",
    .least = 1,
    .most = 1,
    .log_wrong_length =
        [](uint32_t length) {
            log__string(
                LOG__ERROR,
                "[tlv_data_extractor__result_code] Unexpected length of result code TLV. Expected: %u, current: %u", 1u,
                length);
        },
};

constexpr field_rule uint32_rule = {
    .no_input = "[tlv_data_extractor__uint32] tlv is empty/null",
    .input_title = "[tlv_data_extractor__uint32] INTEGER TLV",
    .not_found = "[tlv_data_extractor__uint32] TAG of INTEGER (%04X) not found",
    .unreadable = "[tlv_data_extractor__uint32] Error parsing the INTEGER TLV, rc %d",
    .least = 0,
    .most = any_length,
};

constexpr field_rule subject_key_identifier_rule = {
    .no_input = "[tlv_data_extractor__subject_key_identifier] tlv is empty/null",
    .input_title = "[tlv_data_extractor__subject_key_identifier] SubjectKeyIdentifier TLV",
    .not_found = "[tlv_data_extractor__subject_key_identifier] TAG of SubjectKeyIdentifier (%04X) not found",
    .unreadable = "[tlv_data_extractor__subject_key_identifier] Error parsing the SubjectKeyIdentifier TLV, rc %d",
    .least = SUBJECT_KEY_IDENTIFIER_BYTES,
    .most = SUBJECT_KEY_IDENTIFIER_BYTES,
    // The text names the two the wrong way round; its readers know it so.
    .log_wrong_length =
        [](uint32_t length) {
            log__string(
                LOG__ERROR,
                "[tlv_data_extractor__subject_key_identifier] Bad SubjectKeyIdentifier LENGTH. Expected value: %u, current value: %u.",
                length, (uint32_t)SUBJECT_KEY_IDENTIFIER_BYTES);
        },
};

constexpr field_rule iccid_rule = {
    .no_input = "[tlv_data_extractor__iccid] tlv is empty/null",
    .input_title = "[tlv_data_extractor__iccid] ICCID TLV",
    .not_found = "[tlv_data_extractor__iccid] TAG of ICCID (%04X) not found",
    .unreadable = "[tlv_data_extractor__iccid] Error parsing the ICCID TLV, rc %d",
    .least = iccid_bytes,
    .most = iccid_bytes,
    // The wrong way round here too.
    .log_wrong_length =
        [](uint32_t length) {
            log__string(LOG__ERROR,
                        "[tlv_data_extractor__iccid] Bad ICCID LENGTH. Expected value: %u, current value: %u.", length,
                        iccid_bytes);
        },
};

constexpr field_rule optional_iccid_rule = [] {
    field_rule rule = iccid_rule;
    rule.optional = true;
    rule.absent_level = LOG__INFO;
    return rule;
}();

constexpr field_rule fqdn_rule = {
    .no_input = "[tlv_data_extractor__fqdn] tlv is empty/null",
    .input_title = "[tlv_data_extractor__fqdn] FQDN TLV",
    .not_found = "[tlv_data_extractor__fqdn] TAG of FQDN (%04X) not found",
    .unreadable = "[tlv_data_extractor__fqdn] Error parsing the FQDN TLV, rc %d",
    .least = 0,
    .most = longest_fqdn,
    .log_wrong_length =
        [](uint32_t length) {
            log__string(LOG__ERROR,
                        "[tlv_data_extractor__fqdn] The FQDN is too long. Max length: %u, actual length: %u",
                        longest_fqdn, length);
        },
};

constexpr field_rule bit_string_rule = {
    .no_input = "[tlv_data_extractor__bit_string] tlv is empty/null",
    .input_title = "[tlv_data_extractor__bit_string] BIT STRING TLV",
    .not_found = "[tlv_data_extractor__bit_string] TAG of BIT STRING (%04X) not found",
    .unreadable = "[tlv_data_extractor__bit_string] Error parsing the BIT STRING TLV, rc %d",
    .least = 0,
    .most = any_length,
};

constexpr field_rule transaction_id_rule = {
    .no_input = "[tlv_data_extractor__transaction_id] tlv is empty/null",
    .input_title = "[tlv_data_extractor__transaction_id] transactionId TLV",
    .not_found = "[tlv_data_extractor__transaction_id] TAG of transactionId (%04X) not found",
    .unreadable = "[tlv_data_extractor__transaction_id] Error parsing the transactionId TLV, rc %d",
    .least = 1,
    .most = TRANSACTION_ID_MAX_BYTES,
    .log_wrong_length =
        [](uint32_t length) {
            log__string(
                LOG__ERROR,
                "[tlv_data_extractor__transaction_id] Bad transactionId size %u. Minumum size 1, maximum size %u",
                length, (uint32_t)TRANSACTION_ID_MAX_BYTES);
        },
    .optional = true,
    .absent_level = LOG__DEBUG,
};

// A response that carries 16 bytes in its first element, whatever that one's tag.
struct sixteen_bytes_rule {
    const char *no_input;
    uint16_t response_tag;
    void (*log_not_found)();
    void (*log_found)(int32_t offset, uint32_t value_offset);
    const char *unreadable; // %d code
    const char *wrong_length;
    void (*log_length)(uint32_t length);
    int32_t value_level;
    const char *value_title;
};

constexpr uint32_t sixteen = 16;
static_assert(EUICC_CHALLENGE_BYTES == sixteen && EID_BYTES == sixteen);

constexpr sixteen_bytes_rule euicc_challenge_rule = {
    .no_input = "[tlv_data_extractor__euicc_challenge] tlv is empty/null",
    .response_tag = 0xBF2E,
    .log_not_found =
        [] { log__string(LOG__DEBUG, "[tlv_data_extractor__euicc_challenge] not found GET_EUICC_CHALLENGE TAG"); },
    .log_found =
        [](int32_t offset, uint32_t value_offset) {
            log__string(LOG__TRACE, "[tlv_data_extractor__euicc_challenge] GET_EUICC_CHALLENGE TAG found at %d",
                        offset);
            log__string(LOG__TRACE, "[tlv_data_extractor__euicc_challenge] offset = %zu", (size_t)value_offset);
        },
    .unreadable = "[tlv_data_extractor__euicc_challenge] Error parsing the eUICC Challenge TLV, rc %d",
    .wrong_length = "[tlv_data_extractor__euicc_challenge] Bad eUICC Challenge length found in the TLV",
    .log_length =
        [](uint32_t length) {
            log__string(LOG__TRACE, "[tlv_data_extractor__euicc_challenge] eUICC challenge Length=%u", length);
        },
    .value_level = LOG__TRACE,
    .value_title = "[tlv_data_extractor__euicc_challenge] eUICC Challenge finded",
};

constexpr sixteen_bytes_rule eid_rule = {
    .no_input = "[tlv_data_extractor__get_euicc_data_response] tlv is empty/null",
    .response_tag = 0xBF3E,
    .log_not_found =
        [] { log__string(LOG__DEBUG, "[tlv_data_extractor__get_euicc_data_response] not found GET_EUICC_DATA TAG"); },
    .log_found =
        [](int32_t offset, uint32_t) {
            log__string(LOG__TRACE, "[tlv_data_extractor__get_euicc_data_response] GET_EUICC_DATA TAG found at %d",
                        offset);
        },
    .unreadable = "[tlv_data_extractor__get_euicc_data_response] ber_tlv_parser__ber_tlv failed, rc %d",
    .wrong_length = "[tlv_data_extractor__get_euicc_data_response] Bad EID length found in the TLV",
    .log_length =
        [](uint32_t length) {
            log__string(LOG__DEBUG, "[tlv_data_extractor__get_euicc_data_response] eid Length=%zu", (size_t)length);
        },
    .value_level = LOG__DEBUG,
    .value_title = "[tlv_data_extractor__get_euicc_data_response] eid finded",
};

uint32_t read_sixteen_bytes(const sixteen_bytes_rule &rule, const uint8_t *buffer, uint32_t size, uint8_t *out)
{
    if (!buffer || size == 0) {
        log__string(LOG__ERROR, "%s", rule.no_input);
        return RESULT__BAD_ARGUMENT;
    }
    const int32_t offset = ber_tlv_parser__find_tlv_by_tag_2(buffer, size, 0, rule.response_tag);
    if (offset < 0) {
        rule.log_not_found();
        return RESULT__FATAL_ERROR;
    }
    const uint32_t first = ber_tlv_parser__get_value_offset(buffer, offset);
    rule.log_found(offset, first);
    ber_tlv_record record = {};
    const uint32_t rc = ber_tlv_parser__ber_tlv_2(buffer, size, first, &record);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, rule.unreadable, (int)rc);
        return rc;
    }
    rule.log_length(record.length);
    const uint8_t *value = whole_value(buffer, size, first, record);
    if (record.length != sixteen || !value) {
        log__string(LOG__ERROR, "%s", rule.wrong_length);
        return RESULT__FATAL_ERROR;
    }
    log__data(rule.value_level, rule.value_title, value, sixteen);
    memcpy(out, value, sixteen);
    return RESULT__OK;
}

} // namespace

uint32_t tlv_data_extractor__result_code(uint16_t tag, const uint8_t *buffer, uint32_t size, uint8_t *result)
{
    field_value value = {};
    const uint32_t rc = read_field(result_code_rule, tag, buffer, size, &value);
    if (rc == RESULT__OK) *result = value.data[0];
    return rc;
}

uint32_t tlv_data_extractor__result_code_with_parent_tlv(uint16_t parent_tag, uint16_t tag, const uint8_t *buffer,
                                                         uint32_t size, uint8_t *result)
{
    if (!buffer || size == 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__result_code_with_parent_tlv] tlv is empty/null");
        return RESULT__BAD_ARGUMENT;
    }
    const int32_t offset = ber_tlv_parser__find_tlv_by_tag_2(buffer, size, 0, parent_tag);
    if (offset < 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__result_code_with_parent_tlv] Parent TAG %04X not found",
                    parent_tag);
        return RESULT__FATAL_ERROR;
    }
    const uint32_t inside = ber_tlv_parser__get_value_offset(buffer, offset);
    return tlv_data_extractor__result_code(tag, buffer + inside, size - inside, result);
}

uint32_t tlv_data_extractor__uint32(uint16_t tag, const uint8_t *buffer, uint32_t size, uint32_t *value)
{
    field_value contents = {};
    const uint32_t rc = read_field(uint32_rule, tag, buffer, size, &contents);
    if (rc != RESULT__OK) return rc;
    uint32_t number = 0;
    const int32_t converted = byte_utils__byte_array_to_uint(contents.data, contents.length, &number);
    if (converted != 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__uint32] Error parsing the INTEGER VALUE, rc %d", converted);
        return RESULT__FATAL_ERROR;
    }
    *value = number;
    return RESULT__OK;
}

uint32_t tlv_data_extractor__boolean(uint16_t tag, const uint8_t *buffer, uint32_t size, uint8_t *flag)
{
    if (!buffer || size == 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__boolean] tlv is empty/null");
        return RESULT__BAD_ARGUMENT;
    }
    uint8_t value = 0;
    const uint32_t rc = tlv_data_extractor__result_code(tag, buffer, size, &value);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[tlv_data_extractor__boolean] Error extracting the BOOLEAN from the TLV, rc %d",
                    (int)rc);
        return rc;
    }
    if (value != 0x00 && value != 0xFF) {
        log__string(LOG__ERROR, "[tlv_data_extractor__boolean] Wrong BOOLEAN value %02X", value);
        return RESULT__FATAL_ERROR;
    }
    *flag = value ? 1 : 0;
    return RESULT__OK;
}

uint32_t tlv_data_extractor__subject_key_identifier(uint16_t tag, const uint8_t *buffer, uint32_t size,
                                                    uint8_t identifier[SUBJECT_KEY_IDENTIFIER_BYTES])
{
    field_value value = {};
    const uint32_t rc = read_field(subject_key_identifier_rule, tag, buffer, size, &value);
    if (rc == RESULT__OK) memcpy(identifier, value.data, SUBJECT_KEY_IDENTIFIER_BYTES);
    return rc;
}

uint32_t tlv_data_extractor__iccid(uint16_t tag, const uint8_t *buffer, uint32_t size, uint8_t *present, uint8_t *iccid,
                                   uint8_t optional)
{
    field_value value = {};
    const uint32_t rc = read_field(optional ? optional_iccid_rule : iccid_rule, tag, buffer, size, &value);
    if (rc != RESULT__OK) return rc;
    for (uint32_t i = 0; i < iccid_bytes; ++i)
        iccid[i] = byte_utils__byte_nibble_swap(value.data[i]);
    *present = 1;
    return RESULT__OK;
}

uint32_t tlv_data_extractor__fqdn(uint16_t tag, const uint8_t *buffer, uint32_t size, char fqdn[FQDN_TEXT_SIZE])
{
    field_value value = {};
    const uint32_t rc = read_field(fqdn_rule, tag, buffer, size, &value);
    if (rc != RESULT__OK) return rc;
    memcpy(fqdn, value.data, value.length);
    fqdn[value.length] = '\0';
    return RESULT__OK;
}

uint32_t tlv_data_extractor__bit_string(uint16_t tag, const uint8_t *buffer, uint32_t size, uint8_t *bits,
                                        uint32_t bits_size)
{
    field_value value = {};
    const uint32_t rc = read_field(bit_string_rule, tag, buffer, size, &value);
    if (rc != RESULT__OK) return rc;
    const int32_t count = byte_utils__bit_string_decode(bits, bits_size, value.data, value.length);
    if (count < 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__bit_string] Error decoding the BIT STRING, rc %d", count);
        return RESULT__FATAL_ERROR;
    }
    return RESULT__OK;
}

uint32_t tlv_data_extractor__transaction_id(uint16_t tag, const uint8_t *buffer, uint32_t size, uint8_t *present,
                                            TransactionId *transaction_id)
{
    field_value value = {};
    const uint32_t rc = read_field(transaction_id_rule, tag, buffer, size, &value);
    if (rc == RESULT__NO_DATA) {
        transaction_id->length = 0;
        *present = 0;
        return RESULT__OK;
    }
    if (rc != RESULT__OK) return rc;
    memcpy(transaction_id->value, value.data, value.length);
    transaction_id->length = (uint8_t)value.length;
    *present = 1;
    log__data(LOG__DEBUG, "[tlv_data_extractor__transaction_id] transactionId", value.data, value.length);
    return RESULT__OK;
}

uint32_t tlv_data_extractor__euicc_challenge(const uint8_t *buffer, uint32_t size,
                                             uint8_t challenge[EUICC_CHALLENGE_BYTES])
{
    return read_sixteen_bytes(euicc_challenge_rule, buffer, size, challenge);
}

uint32_t tlv_data_extractor__get_euicc_data_response(const uint8_t *buffer, uint32_t size, uint8_t eid[EID_BYTES])
{
    return read_sixteen_bytes(eid_rule, buffer, size, eid);
}
