#include "es10/es10_installation_extractor.h"
#include "es10/es10_tags.h"
#include "es10/response_reader.h"
#include "foundation/log.h"
#include <string.h>

namespace {

constexpr uint16_t tag_profile_installation_result = 0xBF37;
constexpr uint16_t tag_profile_installation_result_data = 0xBF27;
constexpr uint16_t tag_object_identifier = 0x06;
constexpr uint16_t tag_euicc_sign_pir = 0x5F37;

constexpr uint32_t aid_min_bytes = 5; // ISO 7816-5: 5 bytes of registered provider, up to 11 of its own

constexpr uint8_t bpp_command_id_count = 6;
constexpr uint8_t last_error_reason = 15;
constexpr uint8_t undefined_error = 127;

// The texts of a mandatory field that is kept as it stands.
struct field_rule {
    uint16_t tag;
    const char *missing;    // %04X or %02X tag
    const char *unreadable; // %d code
    const char *title;
};

constexpr field_rule smdp_oid_rule = {
    tag_object_identifier, "[es10_tlv_extractor__profile_installation_result_data] smdpOid TAG 0x%02X not found",
    "[es10_tlv_extractor__profile_installation_result_data] Error parsing the smdpOid TLV, rc %d",
    "[es10_tlv_extractor__profile_installation_result_data] smdpOid"};
constexpr field_rule sima_response_rule = {
    TAG__OCTET_STRING, "[es10_tlv_extractor__success_result] simaResponse TAG 0x%02X not found",
    "[es10_tlv_extractor__success_result] Error parsing the simaResponse TLV, rc %d",
    "[es10_tlv_extractor__success_result] SuccessResult simaResponse"};
constexpr field_rule euicc_sign_pir_rule = {
    tag_euicc_sign_pir, "[es10_tlv_extractor__profile_installation_result] euiccSignPIR TAG 0x%04X not found",
    "[es10_tlv_extractor__profile_installation_result] Error parsing the euiccSignPIR TLV, rc %d",
    "[es10_tlv_extractor__profile_installation_result] euiccSignPIR"};

uint32_t read_field(const field_rule &rule, response_bytes parent, const uint8_t **data, uint32_t *length)
{
    const int32_t offset = response_reader__find_child(parent, rule.tag);
    if (offset < 0) {
        log__string(LOG__ERROR, rule.missing, rule.tag);
        return RESULT__FATAL_ERROR;
    }
    response_bytes value;
    const uint32_t rc = response_reader__value(parent, offset, &value);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, rule.unreadable, static_cast<int>(rc));
        return rc;
    }
    *data = value.data();
    *length = size_of(value);
    log__data(LOG__DEBUG, rule.title, *data, *length);
    return RESULT__OK;
}

uint32_t read_transaction_id(response_bytes data, TransactionId *transaction_id)
{
    uint8_t present = 0;
    const uint32_t rc =
        tlv_data_extractor__transaction_id(TAG__CONTEXT_0, data.data(), size_of(data), &present, transaction_id);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__profile_installation_result_data] Error extracting the transactionId of the ProfileInstallationResultData, rc %d",
            static_cast<int>(rc));
        return rc;
    }
    if (!present) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__profile_installation_result_data] The field transactionId is not present in the ProfileInstallationResultData");
        return RESULT__FATAL_ERROR;
    }
    return RESULT__OK;
}

uint32_t read_aid(response_bytes success, ProfileInstallationResult *result)
{
    response_bytes aid;
    const uint32_t rc = response_reader__child(success, TAG__ISDP_AID, &aid);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__success_result] aid TAG 0x%02X not found", TAG__ISDP_AID);
        return RESULT__FATAL_ERROR;
    }
    if (aid.size() < aid_min_bytes || aid.size() > AID_MAX_BYTES) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__success_result] Bad aid length %u", size_of(aid));
        return RESULT__FATAL_ERROR;
    }
    memcpy(result->aid, aid.data(), aid.size());
    result->aid_length = static_cast<uint8_t>(aid.size());
    log__data(LOG__DEBUG, "[es10_tlv_extractor__success_result] SuccessResult aid", result->aid, result->aid_length);
    return RESULT__OK;
}

uint32_t read_optional_sima_response(response_bytes error, ProfileInstallationResult *result)
{
    result->simaResponse_present = 0;
    response_bytes value;
    const uint32_t rc = response_reader__child(error, TAG__OCTET_STRING, &value);
    if (rc == RESULT__NO_DATA) {
        log__string(LOG__DEBUG, "[es10_tlv_extractor__error_result] errorResult simaResponse is not present");
        return RESULT__OK;
    }
    log__string(LOG__DEBUG, "[es10_tlv_extractor__error_result] errorResult simaResponse is present");
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__error_result] Error parsing the simaResponse TLV, rc %d",
                    static_cast<int>(rc));
        return rc;
    }
    result->simaResponse = value.data();
    result->simaResponse_length = size_of(value);
    result->simaResponse_present = 1;
    log__data(LOG__DEBUG, "[es10_tlv_extractor__error_result] ErrorResult simaResponse", value.data(), size_of(value));
    return RESULT__OK;
}

// contents: of BF37.
uint32_t read_installation_result(response_bytes contents, ProfileInstallationResult *result)
{
    const uint32_t rc =
        es10_tlv_extractor__profile_installation_result_data(contents.data(), size_of(contents), result);
    if (rc != RESULT__OK) return rc;
    return read_field(euicc_sign_pir_rule, contents, &result->euiccSignPIR, &result->euiccSignPIR_length);
}

} // namespace

uint32_t es10_tlv_extractor__profile_installation_result(const uint8_t *response, uint32_t length,
                                                         ProfileInstallationResult *result)
{
    if (response_reader__is_empty(response, length,
                                  "[es10_tlv_extractor__profile_installation_result] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    log__data(LOG__TRACE, "[es10_tlv_extractor__profile_installation_result] tlv", response, length);
    *result = {};
    response_bytes contents;
    if (!response_reader__outer({response, length}, tag_profile_installation_result, &contents)) {
        log__string(LOG__ERROR,
                    "[es10_tlv_extractor__profile_installation_result] ProfileInstallationResult TAG 0x%04X not found",
                    tag_profile_installation_result);
        return RESULT__FATAL_ERROR;
    }
    const uint32_t rc = read_installation_result(contents, result);
    // Also after a missing signature, which is not part of the data.
    if (rc != RESULT__OK)
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__profile_installation_result] Error extracting the profileInstallationResultData of the ProfileInstallationResult, rc %d",
            static_cast<int>(rc));
    return rc;
}

uint32_t es10_tlv_extractor__profile_installation_result_data(const uint8_t *tlv, uint32_t length,
                                                              ProfileInstallationResult *result)
{
    if (response_reader__is_empty(tlv, length,
                                  "[es10_tlv_extractor__profile_installation_result_data] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    response_bytes data;
    if (response_reader__child({tlv, length}, tag_profile_installation_result_data, &data) != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__profile_installation_result_data] ProfileInstallationResultData TAG 0x%04X not found",
            tag_profile_installation_result_data);
        return RESULT__FATAL_ERROR;
    }
    uint32_t rc = read_transaction_id(data, &result->transactionId);
    if (rc != RESULT__OK) return rc;

    rc = es10_tlv_extractor__notification_metadata(data.data(), size_of(data), &result->notificationMetadata);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__profile_installation_result_data] Error extracting the notificationMetadata of the ProfileInstallationResultData, rc %d",
            static_cast<int>(rc));
        return rc;
    }
    rc = read_field(smdp_oid_rule, data, &result->smdpOid, &result->smdpOid_length);
    if (rc != RESULT__OK) return rc;

    rc = es10_tlv_extractor__final_result(data.data(), size_of(data), result);
    if (rc != RESULT__OK)
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__profile_installation_result_data] Error extracting the finalResult of the ProfileInstallationResultData, rc %d",
            static_cast<int>(rc));
    return rc;
}

uint32_t es10_tlv_extractor__final_result(const uint8_t *tlv, uint32_t length, ProfileInstallationResult *result)
{
    if (response_reader__is_empty(tlv, length, "[es10_tlv_extractor__final_result] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    response_bytes choice, contents;
    uint32_t rc = response_reader__child({tlv, length}, TAG__CONSTRUCTED_2, &choice);
    if (rc == RESULT__NO_DATA) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__final_result] finalResult TAG 0x%04X not found",
                    TAG__CONSTRUCTED_2);
        return RESULT__FATAL_ERROR;
    }
    ber_tlv_record record;
    if (rc == RESULT__OK) rc = response_reader__element(choice, 0, &record, &contents);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__final_result] Error parsing the finalResult CHOICE TLV, rc %d",
                    static_cast<int>(rc));
        return rc;
    }
    switch (record.tag) {
    case TAG__CONSTRUCTED_0:
        return es10_tlv_extractor__success_result(contents.data(), size_of(contents), result);
    case TAG__CONSTRUCTED_1:
        return es10_tlv_extractor__error_result(contents.data(), size_of(contents), result);
    default:
        log__string(LOG__ERROR, "[es10_tlv_extractor__final_result] Unknown TAG (%04X) of finalResult CHOICE TLV",
                    record.tag);
        return RESULT__FATAL_ERROR;
    }
}

uint32_t es10_tlv_extractor__success_result(const uint8_t *tlv, uint32_t length, ProfileInstallationResult *result)
{
    if (response_reader__is_empty(tlv, length, "[es10_tlv_extractor__success_result] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    result->finalResult = FINAL_RESULT__SUCCESS;
    const response_bytes success = {tlv, length};
    uint32_t rc = read_aid(success, result);
    if (rc != RESULT__OK) return rc;
    rc = read_field(sima_response_rule, success, &result->simaResponse, &result->simaResponse_length);
    if (rc != RESULT__OK) return rc;
    result->simaResponse_present = 1;
    return RESULT__OK;
}

uint32_t es10_tlv_extractor__error_result(const uint8_t *tlv, uint32_t length, ProfileInstallationResult *result)
{
    if (response_reader__is_empty(tlv, length, "[es10_tlv_extractor__error_result] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    result->finalResult = FINAL_RESULT__ERROR;
    uint32_t rc = es10_tlv_extractor__bpp_command_id(tlv, length, &result->bppCommandId);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[es10_tlv_extractor__error_result] Error extracting the bppCommandId of the errorResult, rc %d",
                    static_cast<int>(rc));
        return rc;
    }
    log__string(LOG__DEBUG, "[es10_tlv_extractor__error_result] errorResult bppCommandId: %d", result->bppCommandId);

    rc = es10_tlv_extractor__error_reason(tlv, length, &result->errorReason);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[es10_tlv_extractor__error_result] Error extracting the errorReason of the errorResult, rc %d",
                    static_cast<int>(rc));
        return rc;
    }
    log__string(LOG__DEBUG, "[es10_tlv_extractor__error_result] errorResult errorReason: %d", result->errorReason);
    return read_optional_sima_response({tlv, length}, result);
}

uint32_t es10_tlv_extractor__bpp_command_id(const uint8_t *tlv, uint32_t length, uint8_t *id)
{
    if (response_reader__is_empty(tlv, length, "[es10_tlv_extractor__bpp_command_id] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    uint8_t value = 0;
    const uint32_t rc = tlv_data_extractor__result_code(TAG__CONTEXT_0, tlv, length, &value);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__bpp_command_id] Error extracting the bppCommandId, rc %d",
                    static_cast<int>(rc));
        return rc;
    }
    if (value >= bpp_command_id_count) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__bpp_command_id] id %02X not defined in the bppCommandId", value);
        return RESULT__FATAL_ERROR;
    }
    *id = value;
    return RESULT__OK;
}

uint32_t es10_tlv_extractor__error_reason(const uint8_t *tlv, uint32_t length, uint8_t *reason)
{
    if (response_reader__is_empty(tlv, length, "[es10_tlv_extractor__error_reason] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    uint8_t value = 0;
    const uint32_t rc = tlv_data_extractor__result_code(TAG__CONTEXT_1, tlv, length, &value);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__error_reason] Error extracting the errorReason, rc %d",
                    static_cast<int>(rc));
        return rc;
    }
    if (value == 0 || (value > last_error_reason && value != undefined_error)) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__error_reason] Error %02X not defined in the errorReason", value);
        return RESULT__FATAL_ERROR;
    }
    *reason = value;
    return RESULT__OK;
}
