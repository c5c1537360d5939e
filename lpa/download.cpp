#include "lpa/lpa.h"
#include "lpa/lpa_tlv_to_json.h"
#include "lpa/operation_frame.h"
#include "lpa/update_event.h"
#include "rsp/activation_code.h"
#include "rsp/profile_download.h"
#include "rsp/progress.h"
#include <string.h>

namespace {

constexpr const char *name = "LPA__start_rsp";

uint8_t primary_profile = 0;

struct download {
    const char *modem;
    const char *activation_code;
    const char *confirmation_code; // may be null
};

uint32_t attempt_download(const download &download, owned_bytes &result, uint32_t *result_length)
{
    result.reset();
    *result_length = 0;
    if (!download.activation_code) {
        log__string(LOG__ERROR, "[%s] activation code is null", name);
        return RESULT__BAD_ARGUMENT;
    }
    ActivationCodeInfo info = {};
    const uint32_t rc = rsp__parse_activation_code(reinterpret_cast<const uint8_t *>(download.activation_code),
                                                   (uint32_t)strlen(download.activation_code), &info);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[%s] Error parsing the activation code '%s', rc %d", name, download.activation_code,
                    rc);
        return rc;
    }
    log__string(LOG__INFO, "[%s] confirmation code %s", name,
                download.confirmation_code ? download.confirmation_code : "(null)");
    return rsp__start_with_activation_code(download.modem, &info, download.confirmation_code, &result.data,
                                           result_length);
}

uint32_t run_download(const download &download, char **json, uint32_t *length)
{
    owned_bytes result;
    uint32_t result_length = 0;
    bool recovered = true;
    const uint32_t code = operation_frame__attempts(name, download.modem, &recovered,
                                                    [&] { return attempt_download(download, result, &result_length); });
    if (!recovered) return RESULT__FATAL_ERROR;
    if (code != RESULT__OK) return operation_frame__failed(name, code);
    operation_frame__deliver_notifications(name, download.modem);
    return operation_frame__document(name, json, length, [&](char **document, uint8_t *result_flag) {
        return lpa_tlv_to_json__profile_installation_result(result.data, result_length, document, result_flag);
    });
}

} // namespace

uint32_t LPA__start_rsp(const char *modem, const char *activation_code, const char *confirmation_code, char **json,
                        uint32_t *length)
{
    if (operation_frame__begin(name, modem, json, length) != RESULT__OK) return RESULT__BAD_ARGUMENT;
    const uint32_t code = run_download(
        {.modem = modem, .activation_code = activation_code, .confirmation_code = confirmation_code}, json, length);
    esim_notify_event(primary_profile ? UPDATE_EVENT__DOWNLOAD_PRIMARY : UPDATE_EVENT__DOWNLOAD, modem, nullptr, code);
    if (code == RESULT__OK) progress__tell(LPA_PROGRESS__DONE);
    progress__forget_profile();
    return code;
}

uint32_t LPA__set_primary_profile(uint8_t primary)
{
    primary_profile = primary;
    return RESULT__OK;
}

uint8_t LPA__get_primary_profile(void) { return primary_profile; }
