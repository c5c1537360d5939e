#include "rsp/profile_download.h"
#include "es10/es10.h"
#include "es10/es10_tlv_extractor.h"
#include "es9/es9.h"
#include "es9/json_data_extractor.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "rsp/bpp_loader.h"
#include "rsp/card_answer.h"
#include "rsp/download_preparation.h"
#include "rsp/mutual_authentication.h"
#include "rsp/progress.h"

namespace {
struct download {
    ModemHandle *handle;
    uint8_t channel;
    const char *smdp_address; // terminated, lower case
    const ActivationCodeInfo *code;
    const char *confirmation_code;
};

struct owned_consent {
    AuthenticateClientResponseEs9 response = {};
    owned_consent() = default;
    owned_consent(const owned_consent &) = delete;
    owned_consent &operator=(const owned_consent &) = delete;
    ~owned_consent() { es9__free_authenticate_client_response(&response); }
};

// Not tolower: a host program's locale may turn "I" into something else.
char lower_case(uint8_t character)
{
    const bool is_upper = character >= 'A' && character <= 'Z';
    return static_cast<char>(is_upper ? character - 'A' + 'a' : character);
}

uint32_t copy_lower_case_address(const ActivationCodeInfo *info, owned_text &address)
{
    address.reset(static_cast<char *>(M_malloc(size_t{info->smdp_address_length} + 1)));
    if (!address.data) {
        log__string(LOG__ERROR, "[rsp__start_with_activation_code] Can not allocate memory to smdp_address");
        return RESULT__NO_MEMORY;
    }
    for (uint32_t i = 0; i < info->smdp_address_length; ++i)
        address.data[i] = lower_case(info->smdp_address[i]);
    address.data[info->smdp_address_length] = 0;
    log__string(LOG__DEBUG, "[rsp__start_with_activation_code] RSP SMDP+ address lowercase: '%s'", address.data);
    return RESULT__OK;
}

uint32_t authenticate(const download &run, owned_consent &consent)
{
    const uint32_t rc = mutual_authentication(run.handle, run.channel, run.smdp_address, run.code->ac_token,
                                              run.code->ac_token_length, &consent.response);
    if (rc != RESULT__OK) {
        if (!is_repeatable(rc))
            log__string(LOG__ERROR, "[rsp__start_with_activation_code] Error on mutual authentication, rc %d", rc);
        return rc;
    }
    if (consent.response.failed) {
        log__string(
            LOG__ERROR,
            "[rsp__prepare_download] The AuthenticateClientResponseEs9 has an authenticateClientError(%d). Aborting the Remote Sim Provisioning procedure",
            consent.response.authenticateClientError);
        return RESULT__AUTHENTICATION_ERROR;
    }
    return RESULT__OK;
}

// Up to the card's consent. The server's answer is large and released here.
uint32_t agree_on_download(const download &run, TransactionId *transaction_id, card_answer &prepared)
{
    owned_consent consent;
    progress__tell(LPA_PROGRESS__AUTHENTICATING);
    uint32_t rc = authenticate(run, consent);
    if (rc != RESULT__OK) return rc;
    progress__learn_profile(consent.response.profileMetadata, consent.response.profileMetadata_length);
    progress__tell(LPA_PROGRESS__PREPARING);
    *transaction_id = consent.response.transactionId;
    rc = rsp__prepare_download(run.handle, run.channel, run.smdp_address, &consent.response, run.confirmation_code,
                               &prepared.data.data, &prepared.length);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR, "[rsp__start_with_activation_code] Error on Prepare Download, rc %d", rc);
    return rc;
}

uint32_t get_package(const download &run, owned_text &json)
{
    TransactionId transaction_id = {};
    card_answer prepared;
    uint32_t rc = agree_on_download(run, &transaction_id, prepared);
    if (rc != RESULT__OK) return rc;
    progress__tell(LPA_PROGRESS__FETCHING);
    rc = es9__get_bound_profile_package(run.smdp_address, &transaction_id, prepared.data.data, prepared.length,
                                        &json.data);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR,
                    "[rsp__start_with_activation_code] Error on Get Bound Profile Package from the SMDP+ server, rc %d",
                    rc);
    return rc;
}

uint32_t install_package(const download &run, card_answer &result)
{
    owned_text json;
    uint32_t rc = get_package(run, json);
    if (rc != RESULT__OK) return rc;
    const char *package = nullptr;
    uint32_t length = 0;
    if (json_data_extractor__get_string_value(json.data, "boundProfilePackage", &package, &length) != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[rsp__start_with_activation_code] boundProfilePackage field not found in the get bound profile package response from the SMDP+ server");
        return RESULT__FATAL_ERROR;
    }
    rc = load_base64_bound_profile_package(run.handle, run.channel, package, length, &result.data.data, &result.length);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR,
                    "[rsp__start_with_activation_code] Error on loading the bound profile package to the eUICC, rc %d",
                    rc);
    return rc;
}

uint32_t delete_install_notification(ModemHandle *handle, uint8_t channel, uint32_t sequence_number)
{
    const NotificationSentRequest request = {.seqNumber = sequence_number};
    card_answer answer;
    uint32_t rc = es10__remove_notification_from_list(handle, channel, &request, &answer.data.data, &answer.length);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[delete_install_notification] Error removing the install notification failed rc %d",
                    rc);
        return rc;
    }
    uint32_t status = 0;
    rc = es10_tlv_extractor__notification_sent_response(answer.data.data, answer.length, &status);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[delete_install_notification] could not extract result from delete notification, rc %d", rc);
        return rc;
    }
    if (status != 0) {
        log__string(
            LOG__ERROR,
            "[delete_install_notification] Failed to remove the notification with SequenceNumber %u, deleteNotificationStatus %d",
            sequence_number, status);
        return RESULT__FATAL_ERROR;
    }
    log__string(LOG__INFO, "[delete_install_notification] Notification with SequenceNumber %u removed successfully",
                sequence_number);
    return RESULT__OK;
}

// Reports the result to the address that the profile names for it, which need not be the SM-DP+'s own.
uint32_t process_profile_installation_result_notification(ModemHandle *handle, uint8_t channel, const uint8_t *tlv,
                                                          uint32_t length)
{
    if (!tlv || length == 0) {
        log__string(LOG__ERROR,
                    "[process_profile_installation_result_notification] ProfileInstallationResult is empty/null");
        return RESULT__BAD_ARGUMENT;
    }
    log__data(LOG__DEBUG, "ProfileInstallationResult", tlv, length);
    ProfileInstallationResult result = {};
    uint32_t rc = es10_tlv_extractor__profile_installation_result(tlv, length, &result);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[process_profile_installation_result_notification] Error extracting data from the ProfileInstallationResult, rc %d",
            rc);
        return rc;
    }
    rc = es9__handle_notification(result.notificationMetadata.notificationAddress, tlv, length);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[process_profile_installation_result_notification] Error on send the ProfileInstallationResult to the SMDP+ as a pendingNotification, rc %d",
            rc);
        return rc;
    }
    rc = delete_install_notification(handle, channel, result.notificationMetadata.seqNumber);
    if (rc != RESULT__OK)
        log__string(
            LOG__ERROR,
            "[process_profile_installation_result_notification] Error on delete the ProfileInstallationResult notification from the UICC, rc %d",
            rc);
    return rc;
}

uint32_t download_and_report(const download &run, card_answer &result)
{
    uint32_t rc = install_package(run, result);
    if (rc != RESULT__OK) return rc;
    progress__tell(LPA_PROGRESS__REPORTING);
    rc = process_profile_installation_result_notification(run.handle, run.channel, result.data.data, result.length);
    if (rc != RESULT__OK)
        log__string(
            LOG__ERROR,
            "[rsp__start_with_activation_code] Error processing the ProfileInstallationResult notification, rc %d", rc);
    return RESULT__OK; // the profile is in; a notification that stays on the card is delivered later
}
} // namespace

uint32_t rsp__start_with_activation_code(const char *modem, const ActivationCodeInfo *info,
                                         const char *confirmation_code, uint8_t **result, uint32_t *result_length)
{
    *result = nullptr;
    *result_length = 0;
    if (info->cc_required && (!confirmation_code || !*confirmation_code)) {
        log__string(
            LOG__ERROR,
            "[rsp__start_with_activation_code] No Confirmation Code has been provided for a Profile that has the Confirmation Code Required Flag enabled (in the Activation Code). Please enter a Confirmation Code when starting the Remote Provisioning for this Profile.");
        return RESULT__BAD_ARGUMENT;
    }
    owned_text address;
    uint32_t rc = copy_lower_case_address(info, address);
    if (rc != RESULT__OK) return rc;
    ModemHandle *handle = nullptr;
    uint8_t channel = 0;
    progress__tell(LPA_PROGRESS__OPENING);
    rc = eUICC__initialize(modem, &handle, &channel);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[rsp__start_with_activation_code] eUICC__initialize failed, rc %d", rc);
        return rc;
    }
    card_answer answer;
    rc = download_and_report({handle, channel, address.data, info, confirmation_code}, answer);
    const uint32_t terminate_rc = eUICC__terminate(handle, channel);
    if (terminate_rc != RESULT__OK)
        log__string(LOG__ERROR, "[rsp__start_with_activation_code] eUICC__terminate failed, rc %d", terminate_rc);
    if (rc != RESULT__OK) return rc;
    *result_length = answer.length;
    *result = answer.data.hand_over();
    return RESULT__OK;
}
