#include "lpa/lpa_tlv_to_json.h"
#include "es10/es10_tlv_extractor.h"
#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "lpa/json_generator.h"
#include "tlv/ber_tlv_parser.h"
#include "tlv/tlv_data_extractor.h"
#include <string.h>

const uint8_t gsma_iccid[10] = {0x89, 0x00, 0x01, 0x23, 0x45, 0x67, 0x89, 0x01, 0x23, 0x41};

namespace {

constexpr uint16_t profile_info_list_response_tag = 0xBF2D;
constexpr uint16_t profile_info_list_ok_tag = 0xA0;
constexpr uint16_t profile_info_list_error_tag = 0xA1;
constexpr uint16_t profile_info_tag = 0xE3;

// ---- A JSON array that grows --------------------------------------------------------------------------------------

struct json_array {
    owned_text text; // "[" and the elements so far, not terminated; room for "]" and the terminator is there
    size_t length = 0;
};

bool open_array(json_array &array)
{
    array.text.reset(static_cast<char *>(M_malloc(sizeof "[]")));
    if (!array.text.data) return false;
    array.text.data[array.length++] = '[';
    return true;
}

bool append_element(json_array &array, const char *element)
{
    const bool is_first = array.length == 1;
    const size_t element_length = strlen(element);
    const size_t needed = array.length + (is_first ? 0 : 1) + element_length + sizeof "]";
    auto *grown = static_cast<char *>(M_realloc(array.text.data, needed));
    if (!grown) return false;
    array.text.data = grown;
    if (!is_first) grown[array.length++] = ',';
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result): close_array terminates it
    memcpy(grown + array.length, element, element_length);
    array.length += element_length;
    return true;
}

char *close_array(json_array &array)
{
    memcpy(array.text.data + array.length, "]", sizeof "]");
    return array.text.hand_over();
}

// ---- Walk over the profiles of a ProfileInfoListResponse ----------------------------------------------------------

struct profile {
    uint8_t iccid_present = 0;
    uint8_t iccid[ICCID_BYTES] = {};
    uint8_t state_present = 0;
    uint8_t state = 0;
    char nickname[PROFILE_NICKNAME_TEXT_SIZE] = {};
    char service_provider_name[SERVICE_PROVIDER_NAME_TEXT_SIZE] = {};
    char profile_name[PROFILE_NAME_TEXT_SIZE] = {};
};

struct profile_walk_log {
    void (*empty)();
    void (*no_response)(uint16_t tag);
    void (*error_found)(int32_t offset);
    void (*no_list)(uint16_t tag);
    void (*not_measured)(uint32_t rc);
    void (*not_read)(uint32_t rc);
};

struct profile_list {
    uint32_t begin; // first element of the list, counted from the answer's first byte
    uint32_t end;   // as the list's length tells, even when it lies beyond bound
    uint32_t bound; // of the bytes that may be read
};

uint32_t find_profile_list(const profile_walk_log &log, const uint8_t *response, uint32_t length, profile_list *list)
{
    if (!response || length == 0) {
        log.empty();
        return RESULT__BAD_ARGUMENT;
    }
    ber_tlv_record head = {};
    const int32_t outer = ber_tlv_parser__find_tlv_by_tag_2(response, length, 0, profile_info_list_response_tag);
    if (outer < 0 || ber_tlv_parser__ber_tlv_2(response, length, (uint32_t)outer, &head) != RESULT__OK) {
        log.no_response(profile_info_list_response_tag);
        return RESULT__FATAL_ERROR;
    }
    const uint32_t value = (uint32_t)outer + head.tag_bytes + head.length_bytes;
    const uint32_t bound = head.length < length - value ? value + head.length : length;
    const int32_t error = ber_tlv_parser__find_tlv_by_tag_2(response, bound, value, profile_info_list_error_tag);
    if (error >= 0) {
        log.error_found(error);
        return RESULT__FATAL_ERROR;
    }
    const int32_t ok = ber_tlv_parser__find_tlv_by_tag_2(response, bound, value, profile_info_list_ok_tag);
    if (ok < 0 || ber_tlv_parser__ber_tlv_2(response, bound, (uint32_t)ok, &head) != RESULT__OK) {
        log.no_list(profile_info_list_ok_tag);
        return RESULT__FATAL_ERROR;
    }
    list->begin = (uint32_t)ok + head.tag_bytes + head.length_bytes;
    list->end = list->begin + head.length;
    list->bound = bound;
    return RESULT__OK;
}

// Size of the whole element at offset, which must lie within bound.
uint32_t measure_element(const uint8_t *response, uint32_t bound, uint32_t offset, uint16_t *tag, uint32_t *size)
{
    ber_tlv_record head = {};
    const uint32_t rc = ber_tlv_parser__ber_tlv_2(response, bound, offset, &head);
    if (rc != RESULT__OK) return rc;
    *tag = head.tag;
    *size = head.tag_bytes + head.length_bytes + head.length;
    return *size <= bound - offset ? RESULT__OK : RESULT__FATAL_ERROR;
}

uint32_t read_profile(const uint8_t *element, uint32_t size, profile *profile)
{
    return tlv_data_extractor__profile_info(element, size, &profile->iccid_present, profile->iccid,
                                            &profile->state_present, &profile->state, profile->nickname,
                                            profile->service_provider_name, profile->profile_name);
}

bool is_gsma_test_profile(const profile &profile)
{
    return profile.iccid_present && memcmp(profile.iccid, gsma_iccid, sizeof gsma_iccid) == 0;
}

// Calls visit(profile, offset) for each profile but the GSMA test profile, until one call returns something else than
// 0.
template <typename Visit>
uint32_t visit_profiles(const profile_walk_log &log, const uint8_t *response, const profile_list &list, Visit visit)
{
    uint32_t size = 0;
    for (uint32_t offset = list.begin; offset < list.end; offset += size) {
        uint16_t tag = 0;
        uint32_t rc = measure_element(response, list.bound, offset, &tag, &size);
        if (rc != RESULT__OK) {
            log.not_measured(rc);
            return rc;
        }
        if (tag != profile_info_tag) continue;
        profile profile;
        rc = read_profile(response + offset, size, &profile);
        if (rc != RESULT__OK) {
            log.not_read(rc);
            return rc;
        }
        if (is_gsma_test_profile(profile)) continue;
        rc = visit(profile, offset);
        if (rc != RESULT__OK) return rc;
    }
    return RESULT__OK;
}

constexpr profile_walk_log json_walk_log = {
    .empty =
        [] {
            log__string(LOG__ERROR,
                        "[lpa_tlv_to_json__profile_info_list_response] profile_info_list_response is empty/null");
        },
    .no_response =
        [](uint16_t tag) {
            log__string(LOG__ERROR,
                        "[lpa_tlv_to_json__profile_info_list_response] ProfileInfoListResponse TAG 0x%04X not found",
                        tag);
        },
    .error_found =
        [](int32_t offset) {
            log__string(LOG__ERROR,
                        "[lpa_tlv_to_json__profile_info_list_response] ProfileInfoListError found at offset %d",
                        offset);
        },
    .no_list =
        [](uint16_t tag) {
            log__string(LOG__ERROR,
                        "[lpa_tlv_to_json__profile_info_list_response] ProfileInfoListOk TAG 0x%02X not found", tag);
        },
    .not_measured =
        [](uint32_t rc) {
            log__string(
                LOG__ERROR,
                "[lpa_tlv_to_json__profile_info_list_response] ber_tlv_parser__get_tlv_bytes_count failed, rc %d", rc);
        },
    .not_read =
        [](uint32_t rc) {
            log__string(LOG__ERROR,
                        "[lpa_tlv_to_json__profile_info_list_response] json_generator__ProfileInfo failed, rc %d", rc);
        },
};

constexpr const char *records_name = "lpa_tlv_parse_profile_info_list_response";
constexpr profile_walk_log records_walk_log = {
    .empty = [] { log__string(LOG__ERROR, "[%s] profile_info_list_response is empty/null", records_name); },
    .no_response =
        [](uint16_t tag) {
            log__string(LOG__ERROR, "[%s] ProfileInfoListResponse TAG 0x%04X not found", records_name, tag);
        },
    .error_found =
        [](int32_t offset) {
            log__string(LOG__ERROR, "[[%s] ProfileInfoListError found at offset %d", records_name, offset);
        },
    .no_list =
        [](uint16_t tag) { log__string(LOG__ERROR, "[%s] ProfileInfoListOk TAG 0x%02X not found", records_name, tag); },
    .not_measured =
        [](uint32_t rc) {
            log__string(LOG__ERROR, "[%s] ber_tlv_parser__get_tlv_bytes_count failed, rc %d", records_name, rc);
        },
    .not_read =
        [](uint32_t rc) {
            log__string(LOG__ERROR, "[%s] json_generator__ProfileInfo failed, rc %d", records_name, rc);
        },
};

uint32_t append_profile(json_array &array, const profile &profile, uint32_t offset)
{
    owned_text object;
    const uint32_t rc = json_generator__profile_info(profile.iccid_present ? profile.iccid : nullptr,
                                                     profile.state_present ? &profile.state : nullptr, profile.nickname,
                                                     profile.service_provider_name, profile.profile_name, &object.data);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[lpa_tlv_to_json__profile_info_list_response] json_generator__profile_info failed at offset %d, rc %d",
            offset, rc);
        return rc;
    }
    if (!append_element(array, object.data)) {
        log__string(LOG__ERROR,
                    "[lpa_tlv_to_json__profile_info_list_response] Can't reallocate data to json_profiles_list");
        return RESULT__NO_MEMORY;
    }
    return RESULT__OK;
}

} // namespace

uint32_t lpa_tlv_to_json__profile_info_list_response(const uint8_t *response, uint32_t length, char **json)
{
    if (!json) return RESULT__BAD_ARGUMENT;
    *json = nullptr;
    profile_list list = {};
    uint32_t rc = find_profile_list(json_walk_log, response, length, &list);
    if (rc != RESULT__OK) return rc;
    json_array array;
    if (!open_array(array)) {
        log__string(LOG__ERROR, "[lpa_tlv_to_json__profile_info_list_response] Can't allocate data to json");
        return RESULT__NO_MEMORY;
    }
    rc = visit_profiles(json_walk_log, response, list, [&array](const profile &profile, uint32_t offset) {
        return append_profile(array, profile, offset);
    });
    if (rc == RESULT__OK) *json = close_array(array);
    return rc;
}

// ---- Profiles as records ------------------------------------------------------------------------------------------

namespace {

static_assert(sizeof(LpaProfileRecord) == 22);
constexpr size_t bytes_per_record = 32; // what the array grows by, a little more than a record takes

uint32_t append_record(owned<LpaProfileRecord> &records, uint32_t *count, const profile &profile)
{
    if (!profile.iccid_present) return RESULT__OK;
    auto *grown = static_cast<LpaProfileRecord *>(M_realloc(records.data, bytes_per_record * (*count + 1)));
    if (!grown) {
        log__string(LOG__ERROR, "[%s] Can't reallocate data to profile_info", records_name);
        return RESULT__NO_MEMORY;
    }
    records.data = grown;
    LpaProfileRecord &record = grown[(*count)++];
    record.state = profile.state_present ? profile.state : 0;
    uint32_t digit_count = 0;
    return json_generator__remove_iccid_padding(profile.iccid, record.iccid, &digit_count);
}

} // namespace

uint32_t lpa_tlv_parse_profile_info_list_response(const uint8_t *response, uint32_t length, LpaProfileRecord **profiles,
                                                  uint32_t *count)
{
    if (!profiles || !count) return RESULT__BAD_ARGUMENT;
    *profiles = nullptr;
    *count = 0;
    profile_list list = {};
    uint32_t rc = find_profile_list(records_walk_log, response, length, &list);
    if (rc != RESULT__OK) return rc;
    owned<LpaProfileRecord> records;
    uint32_t record_count = 0;
    rc = visit_profiles(records_walk_log, response, list, [&records, &record_count](const profile &profile, uint32_t) {
        return append_record(records, &record_count, profile);
    });
    if (rc != RESULT__OK) return rc;
    *profiles = records.hand_over();
    *count = record_count;
    return RESULT__OK;
}

// ---- EID, addresses, free memory ----------------------------------------------------------------------------------

uint32_t lpa_tlv_to_json__get_euicc_data_response(const uint8_t *response, uint32_t length, char **json)
{
    if (!json) return RESULT__BAD_ARGUMENT;
    *json = nullptr;
    uint8_t eid[EID_BYTES];
    const uint32_t rc = tlv_data_extractor__get_euicc_data_response(response, length, eid);
    return rc == RESULT__OK ? json_generator__get_eid(eid, json) : rc;
}

namespace {

// A terminated copy; null when there is no memory.
char *copy_text(const char *text, uint32_t length)
{
    auto *copy = static_cast<char *>(M_malloc((size_t)length + 1));
    if (!copy) return nullptr;
    if (length > 0) memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

} // namespace

uint32_t lpa_tlv_to_json__euicc_configured_addresses_response(const uint8_t *response, uint32_t length, char **json)
{
    if (!json) return RESULT__BAD_ARGUMENT;
    *json = nullptr;
    EuiccConfiguredAddresses addresses = {};
    uint32_t rc = es10_tlv_extractor__euicc_configured_addresses_response(response, length, &addresses);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[lpa_tlv_to_json__euicc_configured_addresses_response] tlv_data_extractor__get_addresses failed, rc %d",
            rc);
        return rc;
    }
    owned_text default_dp_address;
    if (addresses.defaultDpAddress) {
        default_dp_address.reset(copy_text(addresses.defaultDpAddress, addresses.defaultDpAddress_length));
        if (!default_dp_address.data) {
            log__string(
                LOG__ERROR,
                "[lpa_tlv_to_json__euicc_configured_addresses_response] Can't allocate memory to default_dp_address");
            return RESULT__NO_MEMORY;
        }
        log__string(LOG__DEBUG, "[lpa_tlv_to_json__euicc_configured_addresses_response] defaultDpAddress [%s]",
                    default_dp_address.data);
    }
    owned_text root_ds_address(copy_text(addresses.rootDsAddress, addresses.rootDsAddress_length));
    if (!root_ds_address.data) {
        log__string(LOG__ERROR,
                    "[lpa_tlv_to_json__euicc_configured_addresses_response] Can't allocate memory to root_ds_address");
        return RESULT__NO_MEMORY;
    }
    log__string(LOG__DEBUG, "[lpa_tlv_to_json__euicc_configured_addresses_response] rootDsAddress [%s]",
                root_ds_address.data);
    rc = json_generator__get_addresses(default_dp_address.data, root_ds_address.data, json);
    if (rc != RESULT__OK)
        log__string(
            LOG__ERROR,
            "[lpa_tlv_to_json__euicc_configured_addresses_response] json_generator__get_addresses failed, rc %d", rc);
    return rc;
}

uint32_t lpa_tlv_to_json__free_memory_response(uint32_t free_memory, char **json)
{
    return json_generator__free_memory(free_memory, json);
}

// ---- Notifications ------------------------------------------------------------------------------------------------

namespace {

uint32_t append_notification(json_array &array, const uint8_t *element, uint32_t size)
{
    NotificationMetadata metadata = {};
    uint32_t rc = es10_tlv_extractor__notification_metadata(element, size, &metadata);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[lpa_tlv_to_json__list_notifications] Error extracting the data from the NotificationMetadata, rc %d", rc);
        return rc;
    }
    owned_text object;
    rc = json_generator__notification_metadata(&metadata, &object.data);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[lpa_tlv_to_json__list_notifications] Error generating the notification metadata JSON, rc %d", rc);
        return rc;
    }
    if (!append_element(array, object.data)) {
        // Log readers know this line under the profile list's name.
        log__string(LOG__ERROR,
                    "[json_generator__ProfileInfoListResponse] Can't reallocate data to json_profiles_list");
        return RESULT__NO_MEMORY;
    }
    return RESULT__OK;
}

uint32_t append_notifications(json_array &array, asn1_list &list)
{
    for (;;) {
        const uint8_t *element = nullptr;
        uint32_t size = 0;
        uint32_t rc = tlv_data_extractor__asn1_list_get_next(&list, &element, &size);
        if (rc != RESULT__OK) {
            log__string(
                LOG__ERROR,
                "[lpa_tlv_to_json__list_notifications] Error iterating over the notificationMetadataList SEQUENCE, rc %d",
                rc);
            return rc;
        }
        if (!element) return RESULT__OK;
        rc = append_notification(array, element, size);
        if (rc != RESULT__OK) return rc;
    }
}

} // namespace

uint32_t lpa_tlv_to_json__list_notifications(const uint8_t *response, uint32_t length, char **json)
{
    if (!json) return RESULT__BAD_ARGUMENT;
    *json = nullptr;
    ListNotificationResponse list = {};
    uint32_t rc = es10_tlv_extractor__list_notification_response(response, length, &list);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[lpa_tlv_to_json__list_notifications] Error extracting the data from the ListNotificationResponse, rc %d",
            rc);
        return rc;
    }
    if (list.choice != LIST_NOTIFICATION__METADATA_LIST) {
        log__string(
            LOG__ERROR,
            "[lpa_tlv_to_json__list_notifications] ListNotificationResponse CHOICE is not notificationMetadataList. CHOICE %d",
            list.choice);
        return RESULT__FATAL_ERROR;
    }
    json_array array;
    if (!open_array(array)) {
        log__string(LOG__ERROR, "[lpa_tlv_to_json__list_notifications] Can't allocate data to json");
        return RESULT__NO_MEMORY;
    }
    rc = append_notifications(array, list.notificationMetadataList);
    if (rc == RESULT__OK) *json = close_array(array);
    return rc;
}

// ---- Results of operations ----------------------------------------------------------------------------------------

namespace {

struct outcome_decoder {
    uint32_t (*decode)(const uint8_t *response, uint32_t length, uint32_t *value);
    void (*log_failed)(uint32_t rc);
    void (*log_value)(uint32_t value);
};

// generate(value, &result) writes the document.
template <typename Generate>
uint32_t outcome_to_json(const outcome_decoder &decoder, const uint8_t *response, uint32_t length, char **json,
                         uint8_t *result_flag, Generate generate)
{
    if (!json || !result_flag) return RESULT__BAD_ARGUMENT;
    *json = nullptr;
    uint32_t value = 0;
    const uint32_t rc = decoder.decode(response, length, &value);
    if (rc != RESULT__OK) {
        decoder.log_failed(rc);
        return rc;
    }
    decoder.log_value(value);
    uint8_t result = 0;
    const uint32_t generated = generate(value, &result);
    if (generated == RESULT__OK && result != 0) *result_flag = 1;
    return generated;
}

constexpr outcome_decoder enable_decoder = {
    .decode = es10_tlv_extractor__enable_profile_response,
    .log_failed =
        [](uint32_t rc) {
            log__string(
                LOG__ERROR,
                "[lpa_tlv_to_json__enable_profile_response] Error extracting the data from the EnableProfileResponse, rc %d",
                rc);
        },
    .log_value =
        [](uint32_t value) {
            log__string(LOG__DEBUG, "[lpa_tlv_to_json__enable_profile_response] enableResult %d", value);
        },
};
constexpr outcome_decoder disable_decoder = {
    .decode = es10_tlv_extractor__disable_profile_response,
    .log_failed =
        [](uint32_t rc) {
            log__string(
                LOG__ERROR,
                "[lpa_tlv_to_json__disable_profile_response] Error extracting the data from the DisableProfileResponse, rc %d",
                rc);
        },
    .log_value =
        [](uint32_t value) {
            log__string(LOG__DEBUG, "[lpa_tlv_to_json__disable_profile_response] disableResult %d", value);
        },
};
constexpr outcome_decoder delete_decoder = {
    .decode = es10_tlv_extractor__delete_profile_response,
    .log_failed =
        [](uint32_t rc) {
            log__string(
                LOG__ERROR,
                "[lpa_tlv_to_json__delete_profile_response] Error extracting the data from the DeleteProfileResponse, rc %d",
                rc);
        },
    .log_value =
        [](uint32_t value) {
            log__string(LOG__DEBUG, "[lpa_tlv_to_json__delete_profile_response] deleteResult %d", value);
        },
};
constexpr outcome_decoder nickname_decoder = {
    .decode = es10_tlv_extractor__set_nickname_response,
    .log_failed =
        [](uint32_t rc) {
            log__string(
                LOG__ERROR,
                "[lpa_tlv_to_json__set_nickname_response] Error extracting the data from the SetNicknameResponse, rc %d",
                rc);
        },
    .log_value =
        [](uint32_t value) {
            log__string(LOG__DEBUG, "[lpa_tlv_to_json__set_nickname_response] setNicknameResult %d", value);
        },
};
constexpr outcome_decoder default_dp_address_decoder = {
    .decode = es10_tlv_extractor__set_default_dp_address_response,
    .log_failed =
        [](uint32_t rc) {
            log__string(
                LOG__ERROR,
                "[lpa_tlv_to_json__set_default_dp_address_response] Error extracting the data from the SetDefaultDpAddressResponse, rc %d",
                rc);
        },
    .log_value =
        [](uint32_t value) {
            log__string(LOG__DEBUG, "[lpa_tlv_to_json__set_default_dp_address_response] setDefaultDpAddressResult %d",
                        value);
        },
};

} // namespace

uint32_t lpa_tlv_to_json__enable_profile_response(const uint8_t *response, uint32_t length, char **json,
                                                  uint8_t *result_flag)
{
    return outcome_to_json(
        enable_decoder, response, length, json, result_flag,
        [json](uint32_t value, uint8_t *result) { return json_generator__enable_profile(value, json, result); });
}

uint32_t lpa_tlv_to_json__disable_profile_response(const uint8_t *response, uint32_t length, char **json,
                                                   uint8_t *result_flag)
{
    return outcome_to_json(
        disable_decoder, response, length, json, result_flag,
        [json](uint32_t value, uint8_t *result) { return json_generator__disable_profile(value, json, result); });
}

uint32_t lpa_tlv_to_json__delete_profile_response(const uint8_t *response, uint32_t length, char **json,
                                                  uint8_t *result_flag)
{
    return outcome_to_json(
        delete_decoder, response, length, json, result_flag,
        [json](uint32_t value, uint8_t *result) { return json_generator__delete_profile(value, json, result); });
}

uint32_t lpa_tlv_to_json__set_nickname_response(const uint8_t *response, uint32_t length, uint8_t nickname_empty,
                                                char **json, uint8_t *result_flag)
{
    return outcome_to_json(nickname_decoder, response, length, json, result_flag,
                           [json, nickname_empty](uint32_t value, uint8_t *result) {
                               return json_generator__profile_nickname(value, nickname_empty, json, result);
                           });
}

uint32_t lpa_tlv_to_json__set_default_dp_address_response(const uint8_t *response, uint32_t length,
                                                          uint8_t address_empty, char **json, uint8_t *result_flag)
{
    return outcome_to_json(default_dp_address_decoder, response, length, json, result_flag,
                           [json, address_empty](uint32_t value, uint8_t *result) {
                               return json_generator__set_default_dp_address(value, address_empty, json, result);
                           });
}

uint32_t lpa_tlv_to_json__profile_installation_result(const uint8_t *response, uint32_t length, char **json,
                                                      uint8_t *result_flag)
{
    if (!json || !result_flag) return RESULT__BAD_ARGUMENT;
    *json = nullptr;
    if (!response || length == 0) {
        log__string(LOG__ERROR,
                    "[lpa_tlv_to_json__profile_installation_result] ProfileInstallationResult is empty/null");
        return RESULT__BAD_ARGUMENT;
    }
    ProfileInstallationResult installation = {};
    uint32_t rc = es10_tlv_extractor__profile_installation_result(response, length, &installation);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[lpa_tlv_to_json__profile_installation_result] Error extracting data from the ProfileInstallationResult, rc %d",
            rc);
        return rc;
    }
    uint8_t result = 0;
    rc = json_generator__install_profile_result(&installation, json, &result);
    if (rc == RESULT__OK && result != 0) *result_flag = 1;
    return rc;
}
