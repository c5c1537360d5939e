// The fields of a ProfileInfo and of the operator that owns a profile (SGP.22 section 5.7.15).
#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/result.h"
#include "tlv/element_value.h"
#include "tlv/tlv_data_extractor.h"
#include <string.h>

namespace {

constexpr uint16_t mcc_mnc_tag = 0x80;
constexpr uint16_t gid1_tag = 0x81;
constexpr uint16_t gid2_tag = 0x82;

constexpr uint16_t profile_info_tag = 0xE3;
constexpr uint16_t iccid_tag = 0x5A;
constexpr uint16_t profile_nickname_tag = 0x90;
constexpr uint16_t service_provider_name_tag = 0x91;
constexpr uint16_t profile_name_tag = 0x92;
constexpr uint16_t profile_state_tag = 0x9F70;

struct field_value {
    const uint8_t *data; // null: it runs past the end of what was received
    uint32_t length;
};

// message has one %d, the code.
uint32_t refuse_unreadable(const char *message, uint32_t rc)
{
    log__string(LOG__ERROR, message, (int)rc);
    return rc;
}

// Reads the element at offset. A wrong length is told before a missing value.
uint32_t read_element(const uint8_t *buffer, uint32_t size, uint32_t offset, const char *unreadable,
                      ber_tlv_record *record, field_value *value)
{
    const uint32_t rc = ber_tlv_parser__ber_tlv_2(buffer, size, offset, record);
    if (rc != RESULT__OK) return refuse_unreadable(unreadable, rc);
    *value = {whole_value(buffer, size, offset, *record), record->length};
    return RESULT__OK;
}

uint32_t read_mcc_mnc(const uint8_t *buffer, uint32_t size, uint32_t from, OperatorId *operator_id)
{
    const int32_t offset = ber_tlv_parser__find_tlv_by_tag_2(buffer, size, from, mcc_mnc_tag);
    if (offset < 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__operator_id] Result code TAG %02X not found", mcc_mnc_tag);
        return RESULT__FATAL_ERROR;
    }
    constexpr const char *unreadable = "[tlv_data_extractor__operator_id] Error parsing the mccMnc TLV, rc %d";
    ber_tlv_record record = {};
    field_value value = {};
    const uint32_t rc = read_element(buffer, size, offset, unreadable, &record, &value);
    if (rc != RESULT__OK) return rc;
    const uint32_t expected = sizeof operator_id->mccMnc;
    if (value.length != expected) {
        log__string(
            LOG__ERROR,
            "[tlv_data_extractor__operator_id] Unexpected mccMnc size on OperatorId TLV. Expected %u, current %u.",
            expected, value.length);
        return RESULT__FATAL_ERROR;
    }
    if (!value.data) return refuse_unreadable(unreadable, RESULT__FATAL_ERROR);
    memcpy(operator_id->mccMnc, value.data, expected);
    return RESULT__OK;
}

struct gid_rule {
    uint16_t tag;
    const char *absent;
    const char *unreadable; // %d code
};
constexpr gid_rule gid1_rule = {gid1_tag,
                                "[es10_tlv_extractor__profile_info] gid1 TLV is not present in the OperatorId",
                                "[tlv_data_extractor__operator_id] Error parsing the gid1 TLV, rc %d"};
constexpr gid_rule gid2_rule = {gid2_tag,
                                "[es10_tlv_extractor__profile_info] gid2 TLV is not present in the OperatorId",
                                "[tlv_data_extractor__operator_id] Error parsing the gid2 TLV, rc %d"};

uint32_t read_gid(const gid_rule &rule, const uint8_t *buffer, uint32_t size, uint32_t from, field_value *gid,
                  uint8_t *present)
{
    const int32_t offset = ber_tlv_parser__find_tlv_by_tag_2(buffer, size, from, rule.tag);
    if (offset < 0) {
        log__string(LOG__ERROR, "%s", rule.absent);
        return RESULT__OK;
    }
    ber_tlv_record record = {};
    const uint32_t rc = read_element(buffer, size, offset, rule.unreadable, &record, gid);
    if (rc != RESULT__OK) return rc;
    if (!gid->data) return refuse_unreadable(rule.unreadable, RESULT__FATAL_ERROR);
    *present = 1;
    return RESULT__OK;
}

// Where the fields of a ProfileInfo go.
struct profile_info_fields {
    uint8_t *iccid_present;
    uint8_t *iccid;
    uint8_t *state_present;
    uint8_t *state;
    char *nickname;
    char *service_provider_name;
    char *profile_name;
};

constexpr const char *child_unreadable = "[tlv_data_extractor__profile_info] ber_tlv_parser__ber_tlv_2 failed, rc %d";

uint32_t store_iccid(const field_value &value, const profile_info_fields &fields)
{
    if (value.length != ICCID_BYTES) {
        log__string(LOG__ERROR, "[tlv_data_extractor__profile_info] Wrong iccid length [%zu]", (size_t)value.length);
        return RESULT__FATAL_ERROR;
    }
    if (!value.data) return refuse_unreadable(child_unreadable, RESULT__FATAL_ERROR);
    for (uint32_t i = 0; i < ICCID_BYTES; ++i)
        fields.iccid[i] = byte_utils__byte_nibble_swap(value.data[i]);
    *fields.iccid_present = 1;
    log__data(LOG__DEBUG, "[tlv_data_extractor__profile_info] ProfileInfo iccid", fields.iccid, ICCID_BYTES);
    return RESULT__OK;
}

uint32_t store_state(const field_value &value, const profile_info_fields &fields)
{
    if (value.length != 1) {
        log__string(LOG__ERROR, "[tlv_data_extractor__profile_info] Wrong profileState length [%zu]",
                    (size_t)value.length);
        return RESULT__FATAL_ERROR;
    }
    if (!value.data) return refuse_unreadable(child_unreadable, RESULT__FATAL_ERROR);
    *fields.state = value.data[0];
    *fields.state_present = 1;
    log__string(LOG__DEBUG, "[tlv_data_extractor__profile_info] ProfileInfo profileState %02X", value.data[0]);
    return RESULT__OK;
}

// wrong_length has one %zu, stored one %s.
uint32_t store_text(const field_value &value, char *text, uint32_t text_size, const char *wrong_length,
                    const char *stored)
{
    if (value.length >= text_size) {
        log__string(LOG__ERROR, wrong_length, (size_t)value.length);
        return RESULT__FATAL_ERROR;
    }
    if (!value.data) return refuse_unreadable(child_unreadable, RESULT__FATAL_ERROR);
    memcpy(text, value.data, value.length);
    text[value.length] = '\0';
    log__string(LOG__DEBUG, stored, text);
    return RESULT__OK;
}

uint32_t store_child(uint16_t tag, const field_value &value, const profile_info_fields &fields)
{
    switch (tag) {
    case iccid_tag:
        return store_iccid(value, fields);
    case profile_state_tag:
        return store_state(value, fields);
    case profile_nickname_tag:
        return store_text(value, fields.nickname, PROFILE_NICKNAME_TEXT_SIZE,
                          "[tlv_data_extractor__profile_info] Wrong profileNickname length [%zu]",
                          "[tlv_data_extractor__profile_info] ProfileInfo profileNickname %s");
    case service_provider_name_tag:
        return store_text(value, fields.service_provider_name, SERVICE_PROVIDER_NAME_TEXT_SIZE,
                          "[tlv_data_extractor__profile_info] Wrong serviceProviderName length [%zu]",
                          "[tlv_data_extractor__profile_info] ProfileInfo serviceProviderName %s");
    case profile_name_tag:
        return store_text(value, fields.profile_name, PROFILE_NAME_TEXT_SIZE,
                          "[tlv_data_extractor__profile_info] Wrong profileName length [%zu]",
                          "[tlv_data_extractor__profile_info] ProfileInfo profileName %s");
    default:
        log__string(
            LOG__DEBUG,
            "[tlv_data_extractor__profile_info] Profile tag found not included in tlv_data_extractor__profile_info [0x%04X]",
            tag);
        if (!value.data) return refuse_unreadable(child_unreadable, RESULT__FATAL_ERROR);
        return RESULT__OK;
    }
}

uint32_t store_children(const uint8_t *buffer, uint32_t size, uint32_t offset, const profile_info_fields &fields)
{
    while (offset < size) {
        ber_tlv_record record = {};
        field_value value = {};
        uint32_t rc = read_element(buffer, size, offset, child_unreadable, &record, &value);
        if (rc != RESULT__OK) return rc;
        log__string(
            LOG__TRACE,
            "[tlv_data_extractor__profile_info] Attribute TLV parsed: tag=[%04X], nTag=%02X, len=[%zu] nLen=%02X",
            record.tag, record.tag_bytes, (size_t)record.length, record.length_bytes);
        log__data(LOG__TRACE, "[tlv_data_extractor__profile_info] ProfileInfo child value", value.data, value.length);
        rc = store_child(record.tag, value, fields);
        if (rc != RESULT__OK) return rc;
        offset = value_offset_of(offset, record) + record.length;
    }
    return RESULT__OK;
}

} // namespace

uint32_t tlv_data_extractor__operator_id(uint16_t tag, const uint8_t *buffer, uint32_t size, OperatorId *operator_id)
{
    if (!buffer || size == 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__operator_id] tlv is empty/null");
        return RESULT__BAD_ARGUMENT;
    }
    log__data(LOG__DEBUG, "[tlv_data_extractor__operator_id] operatorId TLV", buffer, size);
    const int32_t offset = ber_tlv_parser__find_tlv_by_tag_2(buffer, size, 0, tag);
    if (offset < 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__operator_id] Result code TAG %02X not found", tag);
        return RESULT__FATAL_ERROR;
    }
    const uint32_t inside = ber_tlv_parser__get_value_offset(buffer, offset);
    log__string(LOG__DEBUG, "[tlv_data_extractor__operator_id] PROFILE_INFO_OWNER TAG found at %u", inside);

    OperatorId found = {};
    uint32_t rc = read_mcc_mnc(buffer, size, inside, &found);
    if (rc != RESULT__OK) return rc;
    field_value gid1 = {};
    rc = read_gid(gid1_rule, buffer, size, inside, &gid1, &found.gid1_present);
    if (rc != RESULT__OK) return rc;
    field_value gid2 = {};
    rc = read_gid(gid2_rule, buffer, size, inside, &gid2, &found.gid2_present);
    if (rc != RESULT__OK) return rc;
    found.gid1 = gid1.data;
    found.gid1_length = gid1.length;
    found.gid2 = gid2.data;
    found.gid2_length = gid2.length;
    *operator_id = found;
    return RESULT__OK;
}

uint32_t tlv_data_extractor__profile_info(const uint8_t *buffer, uint32_t size, uint8_t *iccid_present, uint8_t *iccid,
                                          uint8_t *state_present, uint8_t *state,
                                          char nickname[PROFILE_NICKNAME_TEXT_SIZE],
                                          char service_provider_name[SERVICE_PROVIDER_NAME_TEXT_SIZE],
                                          char profile_name[PROFILE_NAME_TEXT_SIZE])
{
    if (!buffer || size == 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__profile_info] tlv is empty/null");
        return RESULT__BAD_ARGUMENT;
    }
    log__data(LOG__DEBUG, "[tlv_data_extractor__profile_info] tlv", buffer, size);
    const int32_t offset = ber_tlv_parser__find_tlv_by_tag_2(buffer, size, 0, profile_info_tag);
    if (offset < 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__profile_info] ProfileInfo TAG 0x%02X not found",
                    profile_info_tag);
        return RESULT__FATAL_ERROR;
    }
    ber_tlv_record record = {};
    ber_tlv_parser__ber_tlv(buffer, offset, &record); // the search has read this head already
    const uint32_t inside = value_offset_of(offset, record);
    const uint32_t received = size - inside;
    log__data(LOG__DEBUG, "[tlv_data_extractor__profile_info] ProfileInfo value", buffer + inside,
              record.length < received ? record.length : received);
    *iccid_present = 0;
    *state_present = 0;
    *nickname = '\0';
    *service_provider_name = '\0';
    *profile_name = '\0';
    return store_children(buffer, size, inside,
                          {iccid_present, iccid, state_present, state, nickname, service_provider_name, profile_name});
}
