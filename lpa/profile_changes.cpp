#include "lpa/profile_changes.h"
#include "es10/es10.h"
#include "lpa/iccid_argument.h"
#include "lpa/lpa.h"
#include "lpa/lpa_tlv_to_json.h"
#include "lpa/operation_frame.h"
#include "lpa/update_event.h"
#include <string.h>

namespace {

// ---- Exchanges ----------------------------------------------------------------------------------------------------

void log_parse_failed(const char *inner, uint32_t rc)
{
    log__string(LOG__ERROR, "[%s] parse_iccid failed, rc %d", inner, rc);
}

uint32_t read_iccid(const char *inner, const char *text, uint8_t iccid[10],
                    void (*log_failed)(const char *inner, uint32_t rc) = log_parse_failed)
{
    if (!text) {
        log__string(LOG__ERROR, "[%s] iccid is null", inner);
        return RESULT__BAD_ARGUMENT;
    }
    const uint32_t rc = parse_iccid(text, iccid);
    if (rc != RESULT__OK) log_failed(inner, rc);
    return rc;
}

// What enabling, disabling and deleting do not share.
struct state_change {
    const char *inner;
    const char *answer_title;
    uint32_t (*ask)(ModemHandle *handle, uint8_t channel, const ProfileIdentifier *request, uint8_t **response,
                    uint32_t *response_length);
    void (*log_parse_failed)(const char *inner, uint32_t rc);
};

constexpr state_change enable = {
    .inner = "LPA__enable_profile_unlocked",
    .answer_title = "EnableProfileResponse",
    .ask = es10__enable_profile,
    .log_parse_failed = log_parse_failed,
};
constexpr state_change disable = {
    .inner = "LPA__disable_profile_unlocked",
    .answer_title = "DisableProfileResponse",
    .ask = es10__disable_profile,
    .log_parse_failed = [](const char *inner,
                           uint32_t rc) { log__string(LOG__ERROR, "[%s] parse_iccid failed, rcc %d", inner, rc); },
};
constexpr state_change remove = {
    .inner = "LPA__delete_profile_unlocked",
    .answer_title = "DeleteProfileResponse",
    .ask = es10__delete_profile,
    .log_parse_failed = log_parse_failed,
};

uint32_t change_state(const state_change &change, ModemHandle *handle, uint8_t channel, const char *iccid,
                      uint8_t **answer, uint32_t *length)
{
    *answer = nullptr;
    *length = 0;
    ProfileIdentifier request = {};
    request.choice = PROFILE_IDENTIFIER__ICCID;
    const uint32_t rc = read_iccid(change.inner, iccid, request.value, change.log_parse_failed);
    if (rc != RESULT__OK) return rc;
    return operation_frame__ask(change.inner, change.answer_title, answer, length,
                                [&](uint8_t **response, uint32_t *response_length) {
                                    return change.ask(handle, channel, &request, response, response_length);
                                });
}

uint32_t LPA__set_profile_nickname_unlocked(ModemHandle *handle, uint8_t channel, const operation_arguments &arguments,
                                            uint8_t **answer, uint32_t *length)
{
    static constexpr const char *inner = "LPA__set_profile_nickname_unlocked";
    const size_t nickname_length = arguments.nickname ? strlen(arguments.nickname) : 0;
    if (nickname_length > NICKNAME_MAX_BYTES) {
        log__string(LOG__ERROR, "[%s] The new profile nickname is too long. Max length: %u, actual length: %u", inner,
                    NICKNAME_MAX_BYTES, (uint32_t)nickname_length);
        return RESULT__BAD_ARGUMENT;
    }
    SetNicknameRequest request = {};
    const uint32_t rc = read_iccid(inner, arguments.iccid, request.iccid);
    if (rc != RESULT__OK) return rc;
    if (nickname_length > 0) memcpy(request.nickname, arguments.nickname, nickname_length);
    request.nickname_length = (uint8_t)nickname_length;
    return operation_frame__ask(inner, "SetNicknameResponse", answer, length,
                                [&](uint8_t **response, uint32_t *response_length) {
                                    return es10__set_nickname(handle, channel, &request, response, response_length);
                                });
}

uint32_t LPA__set_smdp_address_unlocked(ModemHandle *handle, uint8_t channel, const operation_arguments &arguments,
                                        uint8_t **answer, uint32_t *length)
{
    const char *address = arguments.address ? arguments.address : "";
    const SetDefaultDpAddressRequest request = {.address = address, .length = (uint32_t)strlen(address)};
    return operation_frame__ask("LPA__set_smdp_address_unlocked", "SetDefaultDpAddressResponse", answer, length,
                                [&](uint8_t **response, uint32_t *response_length) {
                                    return es10__set_default_dp_address(handle, channel, &request, response,
                                                                        response_length);
                                });
}

// ---- Operations ---------------------------------------------------------------------------------------------------

uint8_t is_empty(const char *text) { return !text || !*text; }

void take_up_change(const char *name, const char *modem)
{
    operation_frame__reload(name, modem);
    operation_frame__deliver_notifications(name, modem);
}

template <auto Exchange, auto Convert>
constexpr operation_record state_operation(const char *name, const char *step, int32_t event)
{
    return {
        .name = name,
        .step = step,
        .exchange = [](ModemHandle *handle, uint8_t channel, const operation_arguments &arguments, uint8_t **answer,
                       uint32_t *length) { return Exchange(handle, channel, arguments.iccid, answer, length); },
        .convert = [](const uint8_t *answer, uint32_t length, const operation_arguments &, char **json,
                      uint8_t *result_flag) { return Convert(answer, length, json, result_flag); },
        .after_success = take_up_change,
        .event = event,
    };
}

constexpr operation_record enable_profile =
    state_operation<LPA__enable_profile_unlocked, lpa_tlv_to_json__enable_profile_response>(
        "LPA__enable_profile", "LPA__enable_profile_", UPDATE_EVENT__ENABLE);
constexpr operation_record disable_profile =
    state_operation<LPA__disable_profile_unlocked, lpa_tlv_to_json__disable_profile_response>(
        "LPA__disable_profile", "LPA__disable_profile_", UPDATE_EVENT__DISABLE);
constexpr operation_record delete_profile =
    state_operation<LPA__delete_profile_unlocked, lpa_tlv_to_json__delete_profile_response>(
        "LPA__delete_profile", "LPA__delete_profile_", UPDATE_EVENT__DELETE);

constexpr operation_record set_profile_nickname = {
    .name = "LPA__set_profile_nickname",
    .step = "LPA__set_profile_nickname_",
    .exchange = LPA__set_profile_nickname_unlocked,
    .convert =
        [](const uint8_t *answer, uint32_t length, const operation_arguments &arguments, char **json,
           uint8_t *result_flag) {
            return lpa_tlv_to_json__set_nickname_response(answer, length, is_empty(arguments.nickname), json,
                                                          result_flag);
        },
    .after_success = nullptr,
    .event = UPDATE_EVENT__NICKNAME,
};

constexpr operation_record set_smdp_address = {
    .name = "LPA__set_smdp_address",
    .step = "LPA__set_smdp_address_",
    .exchange = LPA__set_smdp_address_unlocked,
    .convert =
        [](const uint8_t *answer, uint32_t length, const operation_arguments &arguments, char **json,
           uint8_t *result_flag) {
            return lpa_tlv_to_json__set_default_dp_address_response(answer, length, is_empty(arguments.address), json,
                                                                    result_flag);
        },
    .after_success = nullptr,
    .event = NO_UPDATE_EVENT,
};

uint32_t run(const operation_record &operation, const char *modem, const char *iccid, char **json, uint32_t *length)
{
    return operation_frame__run(operation, {.modem = modem, .iccid = iccid, .nickname = nullptr, .address = nullptr},
                                json, length);
}

} // namespace

uint32_t LPA__enable_profile_unlocked(ModemHandle *handle, uint8_t channel, const char *iccid, uint8_t **answer,
                                      uint32_t *length)
{
    return change_state(enable, handle, channel, iccid, answer, length);
}

uint32_t LPA__disable_profile_unlocked(ModemHandle *handle, uint8_t channel, const char *iccid, uint8_t **answer,
                                       uint32_t *length)
{
    return change_state(disable, handle, channel, iccid, answer, length);
}

uint32_t LPA__delete_profile_unlocked(ModemHandle *handle, uint8_t channel, const char *iccid, uint8_t **answer,
                                      uint32_t *length)
{
    return change_state(remove, handle, channel, iccid, answer, length);
}

uint32_t LPA__enable_profile(const char *modem, const char *iccid, char **json, uint32_t *length)
{
    return run(enable_profile, modem, iccid, json, length);
}

uint32_t LPA__disable_profile(const char *modem, const char *iccid, char **json, uint32_t *length)
{
    return run(disable_profile, modem, iccid, json, length);
}

uint32_t LPA__delete_profile(const char *modem, const char *iccid, char **json, uint32_t *length)
{
    return run(delete_profile, modem, iccid, json, length);
}

uint32_t LPA__set_profile_nickname(const char *modem, const char *iccid, const char *nickname, char **json,
                                   uint32_t *length)
{
    return operation_frame__run(
        set_profile_nickname, {.modem = modem, .iccid = iccid, .nickname = nickname, .address = nullptr}, json, length);
}

uint32_t LPA__set_smdp_address(const char *modem, const char *address, char **json, uint32_t *length)
{
    return operation_frame__run(
        set_smdp_address, {.modem = modem, .iccid = nullptr, .nickname = nullptr, .address = address}, json, length);
}
