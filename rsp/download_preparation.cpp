#include "rsp/download_preparation.h"
#include "es10/es10.h"
#include "es9/es9.h"
#include "es9/es9_extractor.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "foundation/sha256.h"
#include <algorithm>
#include <string.h>

namespace {
constexpr uint32_t end_user_rejection = 0; // CancelSessionReason
constexpr uint32_t cancel_session_ok = 0;  // choices of the ES9+ answer
constexpr uint32_t cancel_session_error = 1;

void hash(const uint8_t *data, uint32_t length, uint8_t digest[SHA256_BYTES])
{
    sha256_context context;
    sha256_init(&context);
    sha256_update(&context, data, length);
    sha256_final(&context, digest);
}

// hashCc = SHA-256(SHA-256(confirmation code) | transactionId), SGP.22 5.7.5.
void calculate_hash_confirmation_code(const char *confirmation_code, const TransactionId *transaction_id,
                                      uint8_t hash_cc[SHA256_BYTES])
{
    log__string(LOG__DEBUG, "[calculate_hash_confirmation_code] Confirmation Code: '%s'", confirmation_code);
    uint8_t input[SHA256_BYTES + TRANSACTION_ID_MAX_BYTES];
    hash(reinterpret_cast<const uint8_t *>(confirmation_code), static_cast<uint32_t>(strlen(confirmation_code)), input);
    log__data(LOG__DEBUG, "[calculate_hash_confirmation_code] SHA256 (Confirmation Code)", input, SHA256_BYTES);
    const uint32_t id_length = std::min<uint32_t>(transaction_id->length, TRANSACTION_ID_MAX_BYTES);
    memcpy(input + SHA256_BYTES, transaction_id->value, id_length);
    log__data(LOG__INFO, "SHA256 (Confirmation Code) | TransactionID", input, SHA256_BYTES + id_length);
    hash(input, SHA256_BYTES + id_length, hash_cc);
    log__data(LOG__INFO, "SHA256 (SHA256 (Confirmation Code) | TransactionID)", hash_cc, SHA256_BYTES);
}

const char *cancel_session_error_name(uint32_t error)
{
    switch (error) {
    case 1:
        return "invalidTransactionId";
    case 2:
        return "euiccSignatureInvalid";
    case 127:
        return "undefinedError";
    default:
        return "Unknown";
    }
}

uint32_t reject_for_missing_code(ModemHandle *handle, uint8_t channel, const char *smdp_address,
                                 const TransactionId *transaction_id)
{
    log__string(
        LOG__ERROR,
        "[rsp__prepare_download] No Confirmation Code has been provided for a Profile that has the Confirmation Code Required Flag enabled (in the smdpSigned2). Please enter a Confirmation Code when starting the Remote Provisioning for this Profile.");
    const uint32_t rc = rsp__download_rejection(handle, channel, smdp_address, transaction_id);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR, "[rsp__prepare_download] Download Rejection subprocedure failed, rc %d", rc);
    return RESULT__FATAL_ERROR; // the download has failed, however the rejection went
}
} // namespace

uint32_t rsp__cancel_session_outcome(const CancelSessionResponseEs9 *response)
{
    const uint32_t choice = response->failed;
    if (choice == cancel_session_ok) {
        log__string(LOG__INFO, "[rsp__download_rejection] CancelSessionResponseEs9 is cancelSessionOk");
        return RESULT__OK;
    }
    if (choice == cancel_session_error)
        log__string(LOG__ERROR, "[rsp__download_rejection] CancelSessionResponseEs9 is cancelSessionError(%s)",
                    cancel_session_error_name(response->cancelSessionError));
    else log__string(LOG__ERROR, "[rsp__download_rejection] Unknown CancelSessionResponseEs9 choice %d", choice);
    return RESULT__FATAL_ERROR;
}

uint32_t rsp__download_rejection(ModemHandle *handle, uint8_t channel, const char *smdp_address,
                                 const TransactionId *transaction_id)
{
    log__string(LOG__INFO, "Starting the Sub-procedure Profile Download and Installation - Download Rejection");
    const CancelSessionRequest request = {.transactionId = *transaction_id, .reason = end_user_rejection};
    owned_bytes answer;
    uint32_t length = 0;
    uint32_t rc = es10__cancel_session(handle, channel, &request, &answer.data, &length);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[rsp__download_rejection] ES10.CancelSession failed, rc %d", rc);
        return rc;
    }
    CancelSessionResponseEs9 response;
    rc = es9__cancel_session(smdp_address, transaction_id, answer.data, length, &response);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[rsp__download_rejection] ES9.CancelSession failed, rc %d", rc);
        return rc;
    }
    return rsp__cancel_session_outcome(&response);
}

uint32_t rsp__prepare_download(ModemHandle *handle, uint8_t channel, const char *smdp_address,
                               const AuthenticateClientResponseEs9 *consent, const char *confirmation_code,
                               uint8_t **response, uint32_t *response_length)
{
    *response = nullptr;
    *response_length = 0;
    SmdpSigned2 smdp_signed_2;
    uint32_t rc = es9_tlv_extractor__smdp_signed_2(consent->smdpSigned2, consent->smdpSigned2_length, &smdp_signed_2);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[rsp__prepare_download] Error extracting data from the smdpSigned2 of the AuthenticateClientResponseEs9, rc %d",
            rc);
        return rc;
    }
    const bool has_code = confirmation_code && *confirmation_code;
    if (smdp_signed_2.ccRequiredFlag && !has_code)
        return reject_for_missing_code(handle, channel, smdp_address, &consent->transactionId);

    PrepareDownloadRequest request = {};
    request.smdpSigned2 = consent->smdpSigned2;
    request.smdpSigned2_length = consent->smdpSigned2_length;
    request.smdpSignature2 = consent->smdpSignature2;
    request.smdpSignature2_length = consent->smdpSignature2_length;
    request.smdpCertificate = consent->smdpCertificate;
    request.smdpCertificate_length = consent->smdpCertificate_length;
    if (smdp_signed_2.ccRequiredFlag) {
        request.hashCc_present = 1;
        calculate_hash_confirmation_code(confirmation_code, &consent->transactionId, request.hashCc);
    }
    rc = es10__prepare_download(handle, channel, &request, response, response_length);
    if (rc != RESULT__OK) log__string(LOG__ERROR, "[rsp__prepare_download] ES10.PrepareDownload failed, rc %d", rc);
    return rc;
}
