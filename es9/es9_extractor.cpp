#include "es9/es9_extractor.h"
#include "es9/json_data_extractor.h"
#include "foundation/base64.h"
#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/result.h"
#include "tlv/ber_tlv_parser.h"
#include "tlv/tlv_data_extractor.h"
#include <algorithm>
#include <iterator>
#include <string.h>
#include <utility>

namespace {
constexpr uint32_t undefined_error = 127;

constexpr const char *key_header = "\"header\"";
constexpr const char *key_function_execution_status = "\"functionExecutionStatus\"";
constexpr const char *key_status = "\"status\"";
constexpr const char *key_status_code_data = "\"statusCodeData\"";
constexpr const char *key_subject_code = "\"subjectCode\"";
constexpr const char *key_reason_code = "\"reasonCode\"";
constexpr const char *key_subject_identifier = "\"subjectIdentifier\"";
constexpr const char *key_message = "\"message\"";
constexpr const char *key_transaction_id = "\"transactionId\"";
constexpr const char *key_profile_metadata = "\"profileMetadata\"";
constexpr const char *key_smdp_signed_2 = "\"smdpSigned2\"";
constexpr const char *key_smdp_signature_2 = "\"smdpSignature2\"";
constexpr const char *key_smdp_certificate = "\"smdpCertificate\"";

constexpr const char *status_names[] = {"Executed-Success", "Executed-WithWarning", "Failed", "Expired"};

// Ends the text behind an object while the object is searched: the scanners know only terminated texts, and a copy
// would take the pointers of the record with it.
struct object_text {
    char *text = nullptr;
    char *end = nullptr;
    char behind = 0;
    object_text() = default;
    object_text(const object_text &) = delete;
    object_text &operator=(const object_text &) = delete;
    ~object_text()
    {
        if (end) *end = behind;
    }

    uint32_t open(char *json, const char *key)
    {
        const char *object = nullptr;
        uint32_t length = 0;
        const uint32_t rc = json_data_extractor__get_object_value(json, key, &object, &length);
        if (rc != RESULT__OK) return rc;
        text = json + (object - json);
        end = text + length;
        behind = std::exchange(*end, '\0');
        return RESULT__OK;
    }
};

// As loose as servers have come to rely on: what was received may be cut short.
bool is_beginning_of(const char *known, const char *received, uint32_t length)
{
    return strncmp(known, received, length) == 0;
}

uint32_t required_code(const char *json, const char *key, const char *title, const char **value, uint32_t *length)
{
    const uint32_t rc = json_data_extractor__get_string_value(json, key, value, length);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es9_json_extractor__status_code_data_value] Can not get the value of %s, rc %d", key,
                    rc);
        return rc;
    }
    log__data(LOG__WARN, title, reinterpret_cast<const uint8_t *>(*value), *length);
    return RESULT__OK;
}

void optional_text(const char *json, const char *key, const char *title, const char **value, uint32_t *length,
                   uint8_t *present)
{
    if (json_data_extractor__get_string_value(json, key, value, length) != RESULT__OK) {
        log__string(LOG__DEBUG, "[es9_json_extractor__status_code_data_value] %s is not present in statusCodeData",
                    key);
        *value = nullptr;
        *length = 0;
        *present = 0;
        return;
    }
    *present = 1;
    log__data(LOG__WARN, title, reinterpret_cast<const uint8_t *>(*value), *length);
}

uint32_t status_code_data_value(const char *json, FunctionExecutionStatus *status)
{
    uint32_t rc = required_code(json, key_subject_code,
                                "[es9_json_extractor__status_code_data_value] subjectCode: ", &status->subjectCode,
                                &status->subjectCode_length);
    if (rc != RESULT__OK) return rc;
    rc = required_code(json, key_reason_code,
                       "[es9_json_extractor__status_code_data_value] reasonCode: ", &status->reasonCode,
                       &status->reasonCode_length);
    if (rc != RESULT__OK) return rc;
    optional_text(json, key_subject_identifier,
                  "[es9_json_extractor__status_code_data_value] subjectIdentifier: ", &status->subjectIdentifier,
                  &status->subjectIdentifier_length, &status->subjectIdentifier_present);
    optional_text(json, key_message, "[es9_json_extractor__status_code_data_value] message: ", &status->message,
                  &status->message_length, &status->message_present);
    return RESULT__OK;
}

uint32_t read_status(const char *json, FunctionExecutionStatus *status)
{
    const char *received = nullptr;
    uint32_t length = 0;
    const uint32_t rc = json_data_extractor__get_string_value(json, key_status, &received, &length);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es9_json_extractor__function_execution_status] Can not get the value of %s, rc %d",
                    key_status, rc);
        return rc;
    }
    const auto *known =
        std::ranges::find_if(status_names, [&](const char *name) { return is_beginning_of(name, received, length); });
    if (known == std::end(status_names)) {
        log__data(LOG__ERROR, "[es9_json_extractor__function_execution_status] Unknown status ",
                  reinterpret_cast<const uint8_t *>(received), length);
        return RESULT__FATAL_ERROR;
    }
    log__string(LOG__TRACE, "[es9_json_extractor__initiate_authentication_response] The status is %s", *known);
    status->status = static_cast<uint32_t>(known - std::begin(status_names));
    return RESULT__OK;
}

uint32_t function_execution_status(char *json, FunctionExecutionStatus *status)
{
    object_text object;
    uint32_t rc = object.open(json, key_function_execution_status);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es9_json_extractor__function_execution_status] Can not get the value of %s, rc %d",
                    key_function_execution_status, rc);
        return rc;
    }
    rc = read_status(object.text, status);
    if (rc != RESULT__OK) return rc;
    object_text status_code_data;
    if (status_code_data.open(object.text, key_status_code_data) != RESULT__OK) return RESULT__OK; // optional
    status->statusCodeData_present = 1;
    rc = status_code_data_value(status_code_data.text, status);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR,
                    "[es9_json_extractor__function_execution_status] Error extracting data from %s JSON object, rc %d",
                    key_status_code_data, rc);
    return rc;
}

uint32_t read_header(char *json, FunctionExecutionStatus *status)
{
    *status = {};
    object_text header;
    const uint32_t rc = header.open(json, key_header);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es9_json_extractor__header] Can not get the value of %s, rc %d", key_header, rc);
        return rc;
    }
    return function_execution_status(header.text, status);
}

constexpr uint32_t logged_only = 0; // no error of its own in SGP.22: the error stays as it is

struct refusal {
    char subject_code[7]; // in place: a pointer would have to be relocated
    char reason_code[5];
    uint32_t error;
    const char *message;
};

constexpr refusal authenticate_client_refusals[] = {
    {"8.1.2", "6.1", 1, "EUM Certificate is invalid."},
    {"8.1.2", "6.3", 2, "EUM Certificate has expired."},
    {"8.1.3", "6.1", 3, "eUICC Certificate is invalid."},
    {"8.1.3", "6.3", 4, "eUICC Certificate has expired."},
    {"8.1", "6.1", 5, "eUICC signature is invalid or serverChallenge is invalid."},
    {"8.1", "4.8", 11, "eUICC does not have sufficient space for this Profile."},
    {"8.11.1", "3.9", 9,
     "Unknown CI Public Key. The CI used by the EUM Certificate is not a trusted root for the SM-DP+."},
    {"8.2", "1.2", 8, "Profile has not yet been released."},
    {"8.10.1", "3.9", 10, "The RSP session identified by the TransactionID is unknown."},
    {"8.2.6", "3.8", 6, "MatchingID (AC_Token or EventID) is refused."},
    {"8.1.1", "3.8", 7, "EID doesn't match the expected value."},
    {"8.2.5", "4.3", 8, "No eligible Profile for this eUICC/Device."},
    {"8.8.5", "4.10", logged_only, "The Download order has expired"},
    {"8.8.5", "6.4", logged_only, "The maximum number of retries for the Profile download order has been exceeded."},
};

constexpr refusal cancel_session_refusals[] = {
    {"8.10.1", "3.9", 1, "The RSP session identified by the TransactionID is unknown."},
    {"8.1", "6.1", 2, "eUICC signature is invalid."},
    {"8.8", "3.10", logged_only, "The provided SM-DP+ OID is invalid."},
};

// A later match overwrites an earlier one: a received "8.1" begins "8.1.2" too, and its own row stands further down.
template <size_t Count> uint32_t find_error(const refusal (&refusals)[Count], const FunctionExecutionStatus &status)
{
    uint32_t error = undefined_error;
    if (!status.statusCodeData_present) return error;
    for (const refusal &row : refusals) {
        if (!is_beginning_of(row.subject_code, status.subjectCode, status.subjectCode_length)) continue;
        if (!is_beginning_of(row.reason_code, status.reasonCode, status.reasonCode_length)) continue;
        log__string(LOG__WARN, "[es9_json_extractor__authenticate_client_error] %s", row.message);
        if (row.error != logged_only) error = row.error;
    }
    return error;
}

struct base64_field {
    const char *key;
    const uint8_t *AuthenticateClientResponseEs9::*data;
    uint32_t AuthenticateClientResponseEs9::*length;
    void (*log_bad_base64)(int32_t err);
};

constexpr base64_field authenticate_client_fields[] = {
    {key_profile_metadata, &AuthenticateClientResponseEs9::profileMetadata,
     &AuthenticateClientResponseEs9::profileMetadata_length,
     [](int32_t err) {
         log__string(
             LOG__ERROR,
             "[es9_json_extractor__authenticate_client_response] Error parsing the base64 profileMetadata, err %d",
             err);
     }},
    {key_smdp_signed_2, &AuthenticateClientResponseEs9::smdpSigned2, &AuthenticateClientResponseEs9::smdpSigned2_length,
     [](int32_t err) {
         log__string(LOG__ERROR,
                     "[es9_json_extractor__authenticate_client_response] Error parsing the base64 smdpSigned2, err %d",
                     err);
     }},
    {key_smdp_signature_2, &AuthenticateClientResponseEs9::smdpSignature2,
     &AuthenticateClientResponseEs9::smdpSignature2_length,
     [](int32_t err) {
         log__string(
             LOG__ERROR,
             "[es9_json_extractor__authenticate_client_response] Error parsing the base64 smdpSignature2, err %d", err);
     }},
    {key_smdp_certificate, &AuthenticateClientResponseEs9::smdpCertificate,
     &AuthenticateClientResponseEs9::smdpCertificate_length,
     [](int32_t err) {
         log__string(
             LOG__ERROR,
             "[es9_json_extractor__authenticate_client_response] Error parsing the base64 smdpCertificate, err %d",
             err);
     }},
};

uint32_t find_text(const char *json, const char *key, const char **value, uint32_t *length)
{
    const uint32_t rc = json_data_extractor__get_string_value(json, key, value, length);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR, "[es9_json_extractor__authenticate_client_response] Can not get the value of %s, rc %d",
                    key, rc);
    return rc;
}

uint32_t read_transaction_id(const char *json, TransactionId *transaction_id)
{
    const char *text = nullptr;
    uint32_t length = 0;
    const uint32_t rc = find_text(json, key_transaction_id, &text, &length);
    if (rc != RESULT__OK) return rc;
    int32_t size = -RESULT__BAD_ARGUMENT;
    if (length % 2 == 0)
        size = byte_utils__hex_string_to_byte_array(text, length, transaction_id->value, TRANSACTION_ID_MAX_BYTES);
    if (size <= 0) {
        log__string(LOG__ERROR, "[es9_json_extractor__authenticate_client_response] Can not get the value of %s, rc %d",
                    key_transaction_id, size);
        return RESULT__FATAL_ERROR;
    }
    transaction_id->length = static_cast<uint8_t>(size);
    return RESULT__OK;
}

// Decodes over the start of the text: three bytes out for every four characters read never catch up with the reader.
uint32_t decode_in_place(char *json, const base64_field &field, AuthenticateClientResponseEs9 *response)
{
    const char *text = reinterpret_cast<const char *>(response->*field.data);
    const uint32_t length = response->*field.length;
    auto *out = reinterpret_cast<uint8_t *>(json + (text - json));
    const int32_t size = b64_decode_static(out, length, text, length);
    if (size < 0) {
        field.log_bad_base64(size);
        return RESULT__FATAL_ERROR;
    }
    response->*field.length = static_cast<uint32_t>(size);
    return RESULT__OK;
}

uint32_t authenticate_client_body(char *json, AuthenticateClientResponseEs9 *response)
{
    uint32_t rc = read_transaction_id(json, &response->transactionId);
    if (rc != RESULT__OK) return rc;
    for (const base64_field &field : authenticate_client_fields) {
        const char *text = nullptr;
        rc = find_text(json, field.key, &text, &(response->*field.length));
        if (rc != RESULT__OK) return rc;
        response->*field.data = reinterpret_cast<const uint8_t *>(text);
    }
    for (const base64_field &field : authenticate_client_fields) { // only now: decoding destroys the text
        rc = decode_in_place(json, field, response);
        if (rc != RESULT__OK) return rc;
    }
    return RESULT__OK;
}
} // namespace

uint32_t es9_json_extractor__authenticate_client_response(char *json, AuthenticateClientResponseEs9 *response)
{
    *response = {};
    response->authenticateClientError = undefined_error;
    if (!json) {
        log__string(LOG__ERROR, "[es9_json_extractor__authenticate_client_response] JSON response is null");
        return RESULT__BAD_ARGUMENT;
    }
    FunctionExecutionStatus status;
    const uint32_t rc = read_header(json, &status);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es9_json_extractor__authenticate_client_response] Error extracting data from the JSON responseHeader, rc %d",
            rc);
        return RESULT__FATAL_ERROR;
    }
    if (status.status == EXECUTION_STATUS__SUCCESS) {
        if (authenticate_client_body(json, response) == RESULT__OK) return RESULT__OK;
        log__string(
            LOG__ERROR,
            "[es9_json_extractor__authenticate_client_response] Error extracting the AuthenticateClientResponseEs9 JSON body");
        return RESULT__FATAL_ERROR;
    }
    if (status.status == EXECUTION_STATUS__FAILED) {
        response->failed = 1;
        response->authenticateClientError = find_error(authenticate_client_refusals, status);
        log__string(LOG__TRACE, "[es9_json_extractor__authenticate_client_error] authenticateClientError: %d",
                    response->authenticateClientError);
        return RESULT__OK;
    }
    log__string(LOG__ERROR,
                "[es9_json_extractor__authenticate_client_response] Status different than '%s' or '%s'. Status: %d",
                status_names[EXECUTION_STATUS__SUCCESS], status_names[EXECUTION_STATUS__FAILED], status.status);
    return RESULT__FATAL_ERROR;
}

uint32_t es9_json_extractor__cancel_session_response(char *json, CancelSessionResponseEs9 *response)
{
    *response = {};
    response->cancelSessionError = undefined_error;
    if (!json) {
        log__string(LOG__ERROR, "[es9_json_extractor__cancel_session_response] JSON response is null");
        return RESULT__BAD_ARGUMENT;
    }
    FunctionExecutionStatus status;
    const uint32_t rc = read_header(json, &status);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es9_json_extractor__cancel_session_response] Error extracting data from the JSON responseHeader, rc %d",
            rc);
        return RESULT__FATAL_ERROR;
    }
    if (status.status == EXECUTION_STATUS__SUCCESS) return RESULT__OK;
    if (status.status == EXECUTION_STATUS__FAILED) {
        response->failed = 1;
        response->cancelSessionError = find_error(cancel_session_refusals, status);
        log__string(LOG__TRACE, "[es9_json_extractor__authenticate_client_error] cancelSessionError: %d",
                    response->cancelSessionError);
        return RESULT__OK;
    }
    log__string(LOG__ERROR,
                "[es9_json_extractor__cancel_session_response] Status different than '%s' or '%s'. Status: %d",
                status_names[EXECUTION_STATUS__SUCCESS], status_names[EXECUTION_STATUS__FAILED], status.status);
    return RESULT__FATAL_ERROR;
}

namespace {
uint32_t read_bpp_euicc_otpk(const uint8_t *value, uint32_t length, SmdpSigned2 *smdp_signed_2)
{
    const int32_t offset = ber_tlv_parser__find_tlv_by_tag_2(value, length, 0, 0x5F49);
    if (offset < 0) {
        log__string(LOG__DEBUG, "SmdpSigned2 bppEuiccOtpk is not present");
        return RESULT__OK;
    }
    const auto start = static_cast<uint32_t>(offset);
    ber_tlv_record record;
    uint32_t rc = ber_tlv_parser__ber_tlv_2(value, length, start, &record);
    if (rc == RESULT__OK && record.length > length - start - record.tag_bytes - record.length_bytes)
        rc = RESULT__FATAL_ERROR; // runs past the SEQUENCE
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "Error parsing the bppEuiccOtpk, rc %d", rc);
        return rc;
    }
    smdp_signed_2->bppEuiccOtpk = value + start + record.tag_bytes + record.length_bytes;
    smdp_signed_2->bppEuiccOtpk_length = record.length;
    smdp_signed_2->bppEuiccOtpk_present = 1;
    return RESULT__OK;
}
} // namespace

uint32_t es9_tlv_extractor__smdp_signed_2(const uint8_t *tlv, uint32_t length, SmdpSigned2 *smdp_signed_2)
{
    *smdp_signed_2 = {};
    if (!tlv || length == 0) {
        log__string(LOG__ERROR, "[es9_tlv_extractor__smdp_signed_2] tlv is empty/null");
        return RESULT__BAD_ARGUMENT;
    }
    const int32_t offset = ber_tlv_parser__find_tlv_by_tag_2(tlv, length, 0, 0x30);
    ber_tlv_record sequence;
    if (offset < 0 || ber_tlv_parser__ber_tlv_2(tlv, length, static_cast<uint32_t>(offset), &sequence) != RESULT__OK) {
        log__string(LOG__ERROR, "[es9_tlv_extractor__smdp_signed_2] SmdpSigned2 TAG 0x%02X not found", 0x30);
        return RESULT__FATAL_ERROR;
    }
    const uint32_t value_offset = static_cast<uint32_t>(offset) + sequence.tag_bytes + sequence.length_bytes;
    const uint8_t *value = tlv + value_offset;
    const uint32_t value_length = std::min(sequence.length, length - value_offset);

    uint32_t rc = tlv_data_extractor__transaction_id(0x80, value, value_length, &smdp_signed_2->transactionId_present,
                                                     &smdp_signed_2->transactionId);
    if (rc != RESULT__OK) return rc;
    if (!smdp_signed_2->transactionId_present) {
        log__string(LOG__ERROR, "The field transactionId is not present in the SmdpSigned2");
        return RESULT__FATAL_ERROR;
    }
    rc = tlv_data_extractor__boolean(0x01, value, value_length, &smdp_signed_2->ccRequiredFlag);
    if (rc != RESULT__OK) return rc;
    log__string(LOG__DEBUG, "ccRequiredFlag: %s", smdp_signed_2->ccRequiredFlag ? "true" : "false");
    return read_bpp_euicc_otpk(value, value_length, smdp_signed_2);
}
