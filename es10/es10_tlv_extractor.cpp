#include "es10/es10_tlv_extractor.h"
#include "es10/es10_tags.h"
#include "es10/response_reader.h"
#include "foundation/log.h"
#include <algorithm>
#include <string.h>

namespace {

// The results that SGP.22 defines for one response; with the texts each one's own wording.
struct result_rule {
    uint16_t response_tag;
    std::span<const uint8_t> accepted;
    const char *empty;
    const char *unreadable; // %d code
    const char *undefined;  // %02X result
};

constexpr uint8_t enable_results[] = {0, 1, 2, 3, 4, 5, 127};
constexpr uint8_t disable_results[] = {0, 1, 2, 3, 5, 127};
constexpr uint8_t delete_results[] = {0, 1, 2, 3, 127};
constexpr uint8_t set_nickname_results[] = {0, 1, 127};
constexpr uint8_t set_default_dp_address_results[] = {0, 127};
constexpr uint8_t delete_notification_statuses[] = {0, 1, 127};
constexpr uint8_t reset_results[] = {0, 1, 5, 127};

constexpr result_rule enable_rule = {
    TAG__ENABLE_PROFILE, enable_results, "[es10_tlv_extractor__enable_profile_response] tlv is empty/null",
    "[es10_tlv_extractor__enable_profile_response] Error extracting the enableResult, rc %d",
    "[es10_tlv_extractor__enable_profile_response] Result %02X not defined in the enableResult"};
constexpr result_rule disable_rule = {
    TAG__DISABLE_PROFILE, disable_results, "[es10_tlv_extractor__disable_profile_response] tlv is empty/null",
    "[es10_tlv_extractor__disable_profile_response] Error extracting the disableResult, rc %d",
    "[es10_tlv_extractor__disable_profile_response] Result %02X not defined in the disableResult"};
constexpr result_rule delete_rule = {
    TAG__DELETE_PROFILE, delete_results, "[es10_tlv_extractor__delete_profile_response] tlv is empty/null",
    "[es10_tlv_extractor__delete_profile_response] Error extracting the deleteResult, rc %d",
    "[es10_tlv_extractor__delete_profile_response] Result %02X not defined in the deleteResult"};
constexpr result_rule set_nickname_rule = {
    TAG__SET_NICKNAME, set_nickname_results, "[es10_tlv_extractor__set_nickname_response] tlv is empty/null",
    "[es10_tlv_extractor__set_nickname_response] Error extracting the setNicknameResult, rc %d",
    "[es10_tlv_extractor__set_nickname_response] Result %02X not defined in the setNicknameResult"};
constexpr result_rule set_default_dp_address_rule = {
    TAG__SET_DEFAULT_DP_ADDRESS, set_default_dp_address_results,
    "[es10_tlv_extractor__set_default_dp_address_response] tlv is empty/null",
    "[es10_tlv_extractor__set_default_dp_address_response] Error extracting the setDefaultDpAddressResult, rc %d",
    "[es10_tlv_extractor__set_default_dp_address_response] Result %02X not defined in the setDefaultDpAddressResult"};
constexpr result_rule notification_sent_rule = {
    TAG__NOTIFICATION_SENT, delete_notification_statuses,
    "[es10_tlv_extractor__notification_sent_response] tlv is empty/null",
    "[es10_tlv_extractor__notification_sent_response] Error extracting the result of the TLV, rc %d",
    "[es10_tlv_extractor__notification_sent_response] Result %02X not defined in the deleteNotificationStatus"};
constexpr result_rule memory_reset_rule = {
    TAG__EUICC_MEMORY_RESET, reset_results, "[es10_tlv_extractor__euicc_memory_reset_response] tlv is empty/null",
    "[es10_tlv_extractor__euicc_memory_reset_response] Error extracting the resetResult, rc %d",
    "[es10_tlv_extractor__euicc_memory_reset_response] Result %02X not defined in the resetResult"};

// rc and value: what reading the result's byte gave.
uint32_t accept_result(const result_rule &rule, uint32_t rc, uint8_t value, uint32_t *result)
{
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, rule.unreadable, static_cast<int>(rc));
        return rc;
    }
    if (std::ranges::find(rule.accepted, value) == rule.accepted.end()) {
        log__string(LOG__ERROR, rule.undefined, value);
        return RESULT__FATAL_ERROR;
    }
    *result = value;
    return RESULT__OK;
}

uint32_t read_result_byte(const result_rule &rule, const uint8_t *response, uint32_t length, uint8_t *value)
{
    return tlv_data_extractor__result_code_with_parent_tlv(rule.response_tag, TAG__CONTEXT_0, response, length, value);
}

uint32_t read_result(const result_rule &rule, const uint8_t *response, uint32_t length, uint32_t *result)
{
    if (response_reader__is_empty(response, length, rule.empty)) return RESULT__BAD_ARGUMENT;
    uint8_t value = 0;
    const uint32_t rc = read_result_byte(rule, response, length, &value);
    return accept_result(rule, rc, value, result);
}

// One address of EuiccConfiguredAddresses.
struct address_rule {
    uint16_t tag;
    void (*trace_head)(const ber_tlv_record &record);
    const char *unreadable; // %d code
    const char *title;
};

// One row per text.
// clang-format off
constexpr address_rule default_dp_address_rule = {
    TAG__CONTEXT_0,
    [](const ber_tlv_record &record) { log__string(LOG__TRACE, "[es10_tlv_extractor__euicc_configured_addresses_response] defaultDpAddress TAG %04X, nTag %02X, LENGTH %u, nLength %02X", record.tag, record.tag_bytes, record.length, record.length_bytes); },
    "[es10_tlv_extractor__euicc_configured_addresses_response] Error parsing the defaultDpAddress TLV, rc %d",
    "[es10_tlv_extractor__euicc_configured_addresses_response] defaultDpAddress: "};
constexpr address_rule root_ds_address_rule = {
    TAG__CONTEXT_1,
    [](const ber_tlv_record &record) { log__string(LOG__TRACE, "[es10_tlv_extractor__euicc_configured_addresses_response] rootDsAddress TAG %04X, nTag %02X, LENGTH %u, nLength %02X", record.tag, record.tag_bytes, record.length, record.length_bytes); },
    "[es10_tlv_extractor__euicc_configured_addresses_response] Error parsing the rootDsAddress TLV, rc %d",
    "[es10_tlv_extractor__euicc_configured_addresses_response] rootDsAddress: "};
// clang-format on

uint32_t read_address(const address_rule &rule, response_bytes addresses, uint32_t offset, const char **address,
                      uint16_t *address_length)
{
    ber_tlv_record record;
    response_bytes value;
    uint32_t rc = response_reader__element(addresses, offset, &record, &value);
    if (rc == RESULT__OK && record.length > UINT16_MAX) rc = RESULT__FATAL_ERROR; // more than the record can tell
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, rule.unreadable, static_cast<int>(rc));
        return rc;
    }
    rule.trace_head(record);
    *address = reinterpret_cast<const char *>(value.data());
    *address_length = static_cast<uint16_t>(record.length);
    log__utf8_data(LOG__DEBUG, rule.title, value.data(), record.length);
    return RESULT__OK;
}

struct profile_info {
    uint8_t state_present;
    uint8_t state;
    uint8_t owner_present;
    OperatorId owner;
};

constexpr uint8_t profile_enabled = 1;

uint32_t read_profile_state(response_bytes fields, profile_info *info)
{
    if (response_reader__find_child(fields, TAG__PROFILE_STATE) < 0) {
        log__string(LOG__TRACE, "[es10_tlv_extractor__profile_info] TAG of profileInfoState (%04X) not found",
                    TAG__PROFILE_STATE);
        return RESULT__OK;
    }
    const uint32_t rc =
        tlv_data_extractor__result_code(TAG__PROFILE_STATE, fields.data(), size_of(fields), &info->state);
    if (rc != RESULT__OK) return rc;
    if (info->state > profile_enabled) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__profile_info] State %02X not defined in the profileInfoState",
                    info->state);
        return RESULT__FATAL_ERROR;
    }
    info->state_present = 1;
    return RESULT__OK;
}

uint32_t read_profile_owner(response_bytes fields, profile_info *info)
{
    if (response_reader__find_child(fields, TAG__PROFILE_OWNER) < 0) {
        log__string(LOG__TRACE, "[es10_tlv_extractor__profile_info] TAG of profileInfoOwner (%02X) not found",
                    TAG__PROFILE_OWNER);
        return RESULT__OK;
    }
    const uint32_t rc =
        tlv_data_extractor__operator_id(TAG__PROFILE_OWNER, fields.data(), size_of(fields), &info->owner);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__profile_info] Error extracting the profileInfoOwner, rc %d",
                    static_cast<int>(rc));
        return rc;
    }
    info->owner_present = 1;
    return RESULT__OK;
}

// tlv: one whole ProfileInfo.
uint32_t es10_tlv_extractor__profile_info(response_bytes tlv, profile_info *info)
{
    *info = {};
    log__data(LOG__DEBUG, "[es10_tlv_extractor__profile_info] ProfileInfo", tlv.data(), size_of(tlv));
    response_bytes fields;
    uint32_t rc = response_reader__value(tlv, 0, &fields);
    if (rc != RESULT__OK) return rc;
    rc = read_profile_state(fields, info);
    return rc == RESULT__OK ? read_profile_owner(fields, info) : rc;
}

// Walks to the first enabled profile. When there is none, info is zero and the result the iterator's code.
uint32_t find_enabled_profile(asn1_list *list, profile_info *info)
{
    for (;;) {
        const uint8_t *element = nullptr;
        uint32_t element_size = 0;
        uint32_t rc = tlv_data_extractor__asn1_list_get_next(list, &element, &element_size);
        if (rc != RESULT__OK || !element) {
            log__string(
                LOG__ERROR,
                "[es10_tlv_extractor__profile_info_list_response] Error iterating over the profileInfoListOk, rc %d",
                static_cast<int>(rc));
            *info = {};
            return rc;
        }
        rc = es10_tlv_extractor__profile_info({element, element_size}, info);
        if (rc != RESULT__OK) {
            log__string(LOG__ERROR,
                        "[es10_tlv_extractor__profile_info_list_response] Error extracting the profileInfo, rc %d",
                        static_cast<int>(rc));
            return rc;
        }
        if (info->state_present && info->state == profile_enabled) return RESULT__OK;
    }
}

} // namespace

uint32_t es10_tlv_extractor__enable_profile_response(const uint8_t *response, uint32_t length, uint32_t *result)
{
    return read_result(enable_rule, response, length, result);
}

uint32_t es10_tlv_extractor__disable_profile_response(const uint8_t *response, uint32_t length, uint32_t *result)
{
    return read_result(disable_rule, response, length, result);
}

uint32_t es10_tlv_extractor__delete_profile_response(const uint8_t *response, uint32_t length, uint32_t *result)
{
    return read_result(delete_rule, response, length, result);
}

uint32_t es10_tlv_extractor__set_nickname_response(const uint8_t *response, uint32_t length, uint32_t *result)
{
    return read_result(set_nickname_rule, response, length, result);
}

uint32_t es10_tlv_extractor__set_default_dp_address_response(const uint8_t *response, uint32_t length, uint32_t *result)
{
    return read_result(set_default_dp_address_rule, response, length, result);
}

uint32_t es10_tlv_extractor__notification_sent_response(const uint8_t *response, uint32_t length, uint32_t *result)
{
    if (response_reader__is_empty(response, length, notification_sent_rule.empty)) return RESULT__BAD_ARGUMENT;
    uint8_t value = 0;
    const uint32_t rc = read_result_byte(notification_sent_rule, response, length, &value);
    if (rc == RESULT__OK)
        log__string(
            LOG__DEBUG,
            "[es10_tlv_extractor__notification_sent_response] NotificationSentResponse(deleteNotificationStatus=%02X)",
            value);
    return accept_result(notification_sent_rule, rc, value, result);
}

uint32_t es10_tlv_extractor__euicc_memory_reset_response(const uint8_t *response, uint32_t length, uint32_t *result)
{
    if (response_reader__is_empty(response, length, memory_reset_rule.empty)) return RESULT__BAD_ARGUMENT;
    response_bytes contents;
    if (!response_reader__outer({response, length}, memory_reset_rule.response_tag, &contents)) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__euicc_memory_reset_response] TAG of EuiccMemoryResetResponse (%04X) not found",
            memory_reset_rule.response_tag);
        return RESULT__FATAL_ERROR;
    }
    uint8_t value = 0;
    const uint32_t rc = tlv_data_extractor__result_code(TAG__CONTEXT_0, contents.data(), size_of(contents), &value);
    return accept_result(memory_reset_rule, rc, value, result);
}

uint32_t es10_tlv_extractor__euicc_configured_addresses_response(const uint8_t *response, uint32_t length,
                                                                 EuiccConfiguredAddresses *addresses)
{
    if (response_reader__is_empty(response, length,
                                  "[es10_tlv_extractor__euicc_configured_addresses_response] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    log__data(LOG__TRACE, "[es10_tlv_extractor__euicc_configured_addresses_response] EuiccConfiguredAddressesResponse",
              response, length);
    const int32_t tag_offset = ber_tlv_parser__find_tlv_by_tag(response, length, 0, TAG__EUICC_CONFIGURED_ADDRESSES);
    response_bytes contents;
    if (tag_offset < 0 || response_reader__value({response, length}, tag_offset, &contents) != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__euicc_configured_addresses_response] TAG of EuiccConfiguredAddressesResponse (%04X) not found",
            TAG__EUICC_CONFIGURED_ADDRESSES);
        return RESULT__FATAL_ERROR;
    }
    log__string(
        LOG__TRACE,
        "[es10_tlv_extractor__euicc_configured_addresses_response] EuiccConfiguredAddressesResponse TAG offset %d",
        tag_offset);
    log__string(
        LOG__TRACE,
        "[es10_tlv_extractor__euicc_configured_addresses_response] EuiccConfiguredAddressesResponse VALUE offset %u",
        static_cast<uint32_t>(contents.data() - response));

    int32_t offset = response_reader__find_child(contents, default_dp_address_rule.tag);
    if (offset >= 0) {
        const uint32_t rc = read_address(default_dp_address_rule, contents, offset, &addresses->defaultDpAddress,
                                         &addresses->defaultDpAddress_length);
        if (rc != RESULT__OK) return rc;
    } else {
        log__string(LOG__DEBUG,
                    "[es10_tlv_extractor__euicc_configured_addresses_response] defaultDpAddress not present");
    }

    uint32_t rc = RESULT__FATAL_ERROR;
    offset = response_reader__find_child(contents, root_ds_address_rule.tag);
    if (offset >= 0)
        rc = read_address(root_ds_address_rule, contents, offset, &addresses->rootDsAddress,
                          &addresses->rootDsAddress_length);
    else
        log__string(LOG__ERROR,
                    "[es10_tlv_extractor__euicc_configured_addresses_response] TAG of rootDsAddress (%02X) not found",
                    root_ds_address_rule.tag);
    if (rc != RESULT__OK) {
        addresses->defaultDpAddress = nullptr;
        addresses->defaultDpAddress_length = 0;
    }
    return rc;
}

uint32_t es10_tlv_extractor__profile_info_list_response_mcc_mnc_enabled_profile(const uint8_t *response,
                                                                                uint32_t length, uint8_t mcc_mnc[3],
                                                                                uint8_t *found)
{
    if (response_reader__is_empty(response, length,
                                  "[es10_tlv_extractor__profile_info_list_response] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    log__data(LOG__DEBUG, "[es10_tlv_extractor__profile_info_list_response] tlv", response, length);
    const int32_t tag_offset = ber_tlv_parser__find_tlv_by_tag(response, length, 0, TAG__PROFILE_INFO_LIST);
    response_bytes contents;
    if (tag_offset < 0 || response_reader__value({response, length}, tag_offset, &contents) != RESULT__OK) {
        log__string(LOG__DEBUG, "[es10_tlv_extractor__profile_info_list_response] not found PROFILE_INFO_LIST TAG");
        return RESULT__FATAL_ERROR;
    }
    log__string(LOG__DEBUG, "[es10_tlv_extractor__profile_info_list_response] PROFILE_INFO_LIST TAG found at %d",
                tag_offset);
    if (response_reader__find_child(contents, TAG__CONTEXT_1) >= 0) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__profile_info_list_response] ProfileInfoListResponse contains a profileInfoListError");
        return RESULT__FATAL_ERROR;
    }
    asn1_list list = {};
    uint32_t rc = tlv_data_extractor__asn1_list_init(&list, TAG__CONSTRUCTED_0, TAG__PROFILE_INFO, contents.data(),
                                                     size_of(contents));
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__profile_info_list_response] Error initializing the profileInfoListOk of the ProfileInfoListResponse, rc %d",
            static_cast<int>(rc));
        return rc;
    }
    profile_info enabled = {};
    rc = find_enabled_profile(&list, &enabled);
    if (rc != RESULT__OK || !enabled.state_present) return rc;
    if (!enabled.owner_present) {
        log__string(
            LOG__DEBUG,
            "[es10_tlv_extractor__profile_info_list_response] The current enabled profile doesn't have operatorId mccMnc");
        return RESULT__OK;
    }
    memcpy(mcc_mnc, enabled.owner.mccMnc, sizeof enabled.owner.mccMnc);
    *found = 1;
    log__data(LOG__DEBUG, "[es10_tlv_extractor__profile_info_list_response] operatorId mccMnc value", mcc_mnc,
              sizeof enabled.owner.mccMnc);
    return RESULT__OK;
}
