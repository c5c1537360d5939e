#include "lpa/profile_queries.h"
#include "es10/es10.h"
#include "lpa/lpa.h"
#include "lpa/lpa_tlv_to_json.h"
#include "lpa/operation_frame.h"
#include <string.h>

namespace {

uint32_t LPA__get_eid_unlocked(ModemHandle *handle, uint8_t channel, uint8_t **answer, uint32_t *length)
{
    return operation_frame__ask("LPA__get_eid_unlocked", "GetEuiccDataResponse", answer, length,
                                [&](uint8_t **response, uint32_t *response_length) {
                                    return es10__get_eid(handle, channel, response, response_length);
                                });
}

// The log has always written this query's inner names with one "s".
uint32_t LPA__get_addresses_unlocked(ModemHandle *handle, uint8_t channel, uint8_t **answer, uint32_t *length)
{
    return operation_frame__ask("LPA__get_addreses_unlocked", "EuiccConfiguredAddressesResponse", answer, length,
                                [&](uint8_t **response, uint32_t *response_length) {
                                    return es10__get_euicc_configured_addresses(handle, channel, response,
                                                                                response_length);
                                });
}

uint32_t LPA__get_notifications_unlocked(ModemHandle *handle, uint8_t channel, uint8_t **answer, uint32_t *length)
{
    static constexpr ListNotificationRequest all = {};
    return operation_frame__ask("LPA__get_notifications_unlocked", "ListNotificationResponse", answer, length,
                                [&](uint8_t **response, uint32_t *response_length) {
                                    return es10__list_notification(handle, channel, &all, response, response_length);
                                });
}

// A query takes no arguments, and its document holds no result of the card's own.
template <auto Exchange, auto Convert> constexpr operation_record query(const char *name, const char *step)
{
    return {
        .name = name,
        .step = step,
        .exchange = [](ModemHandle *handle, uint8_t channel, const operation_arguments &, uint8_t **answer,
                       uint32_t *length) { return Exchange(handle, channel, answer, length); },
        .convert = [](const uint8_t *answer, uint32_t length, const operation_arguments &, char **json,
                      uint8_t *) { return Convert(answer, length, json); },
        .after_success = nullptr,
        .event = NO_UPDATE_EVENT,
    };
}

constexpr operation_record get_eid =
    query<LPA__get_eid_unlocked, lpa_tlv_to_json__get_euicc_data_response>("LPA__get_eid", "LPA__get_eid_");
constexpr operation_record get_profiles =
    query<LPA__get_profiles_unlocked, lpa_tlv_to_json__profile_info_list_response>("LPA__get_profiles",
                                                                                   "LPA__get_profiles_");
constexpr operation_record get_addresses =
    query<LPA__get_addresses_unlocked, lpa_tlv_to_json__euicc_configured_addresses_response>("LPA__get_addresses",
                                                                                             "LPA__get_addreses_");
constexpr operation_record get_notifications =
    query<LPA__get_notifications_unlocked, lpa_tlv_to_json__list_notifications>("LPA__get_notifications",
                                                                                "LPA__get_notifications_");

uint32_t run(const operation_record &query, const char *modem, char **json, uint32_t *length)
{
    return operation_frame__run(query, {.modem = modem, .iccid = nullptr, .nickname = nullptr, .address = nullptr},
                                json, length);
}

} // namespace

uint32_t LPA__get_profiles_unlocked(ModemHandle *handle, uint8_t channel, uint8_t **answer, uint32_t *length)
{
    static constexpr ProfileInfoListRequest request = [] {
        ProfileInfoListRequest shown = {};
        shown.tagList_present = 1;
        shown.tags[PROFILE_TAG__ICCID] = 1;
        shown.tags[PROFILE_TAG__PROFILE_STATE] = 1;
        shown.tags[PROFILE_TAG__PROFILE_NICKNAME] = 1;
        shown.tags[PROFILE_TAG__SERVICE_PROVIDER_NAME] = 1;
        shown.tags[PROFILE_TAG__PROFILE_NAME] = 1;
        return shown;
    }();
    return operation_frame__ask("LPA__get_profiles_unlocked", "ProfileInfoListResponse", answer, length,
                                [&](uint8_t **response, uint32_t *response_length) {
                                    return es10__get_profiles_info(handle, channel, &request, response,
                                                                   response_length);
                                });
}

uint32_t LPA__get_eid(const char *modem, char **json, uint32_t *length) { return run(get_eid, modem, json, length); }

uint32_t LPA__get_profiles(const char *modem, char **json, uint32_t *length)
{
    return run(get_profiles, modem, json, length);
}

uint32_t LPA__get_addresses(const char *modem, char **json, uint32_t *length)
{
    return run(get_addresses, modem, json, length);
}

uint32_t LPA__get_notifications(const char *modem, char **json, uint32_t *length)
{
    return run(get_notifications, modem, json, length);
}

// Outside the frame: a number instead of an answer, and one attempt only.
uint32_t LPA__get_free_memory(const char *modem, char **json, uint32_t *length)
{
    static constexpr const char *name = "LPA__get_free_memory";
    if (operation_frame__begin(name, modem, json, length) != RESULT__OK) return RESULT__BAD_ARGUMENT;
    uint32_t free_memory = 0;
    uint32_t rc = operation_frame__session(name, modem, [&](ModemHandle *handle, uint8_t channel) {
        const uint32_t code = es10__get_free_memory(handle, channel, &free_memory);
        if (code != RESULT__OK) log__string(LOG__ERROR, "[%s] es10__get_free_memory, rc %d", name, code);
        return code;
    });
    if (rc != RESULT__OK) return rc;
    rc = lpa_tlv_to_json__free_memory_response(free_memory, json);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "%s] lpa_tlv_to_json__free_memory_response failed, rc %d", name, rc);
        return RESULT__OK; // as in every operation: no document, no failure
    }
    *length = (uint32_t)strlen(*json) + 1;
    log__string(LOG__INFO, "GET FREE MEMORY JSON result: %s", *json);
    return RESULT__OK;
}
