#include "es9/es9_json_generator.h"
#include "es9/printed_text.h"
#include "foundation/base64.h"
#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"

namespace {
struct transaction_text {
    char hex[2 * TRANSACTION_ID_MAX_BYTES + 1] = {};
};

uint32_t encode(const uint8_t *bytes, uint32_t length, owned_text &base64, const char *failed)
{
    base64.reset(base64_encode(bytes, length, nullptr));
    if (base64.data) return RESULT__OK;
    log__string(LOG__ERROR, "%s", failed);
    return RESULT__FATAL_ERROR;
}

uint32_t transaction_to_text(const TransactionId *transaction_id, transaction_text &text)
{
    return byte_utils__byte_array_to_hex_string(transaction_id->value, transaction_id->length, text.hex,
                                                sizeof text.hex - 1);
}

// Every generator ends here on a bad argument: the message, code 4.
uint32_t refuse(const char *message)
{
    log__string(LOG__ERROR, "%s", message);
    return RESULT__BAD_ARGUMENT;
}
} // namespace

uint32_t es9_json_generator__initiate_authentication_request(const char *smdp_address,
                                                             const uint8_t euicc_challenge[16],
                                                             const uint8_t *euicc_info_1, uint32_t euicc_info_1_length,
                                                             char **json)
{
    *json = nullptr;
    if (!smdp_address || !euicc_challenge || !euicc_info_1 || euicc_info_1_length == 0)
        return refuse("[json_generator__initiate_authentication_request] The input is empty/null");
    owned_text challenge;
    uint32_t rc = encode(euicc_challenge, 16, challenge,
                         "[json_generator__initiate_authentication_request] Error parsing euicc challenge to base64");
    if (rc != RESULT__OK) return rc;
    owned_text info;
    rc = encode(euicc_info_1, euicc_info_1_length, info,
                "[json_generator__initiate_authentication_request] Error parsing euicc info 1 to base64");
    if (rc != RESULT__OK) return rc;
    static constexpr print_messages messages = {
        .bad_length =
            "[json_generator__initiate_authentication_request] Bad length of the initiate authentication json",
        .no_memory = "[json_generator__initiate_authentication_request] Can't allocate data to json",
        .not_printed = "[json_generator__initiate_authentication_request] Can't add data inside the json string",
    };
    return printed_text__print(json, messages,
                               "{\"euiccChallenge\":\"%s\",\"euiccInfo1\":\"%s\",\"smdpAddress\":\"%s\"}",
                               challenge.data, info.data, smdp_address);
}

uint32_t es9_json_generator__authenticate_client_request(const char *transaction_id,
                                                         const uint8_t *authenticate_server_response, uint32_t length,
                                                         char **json)
{
    *json = nullptr;
    if (!transaction_id || !authenticate_server_response || length == 0)
        return refuse("[json_generator__authenticate_client_request] The input is empty/null");
    owned_text response;
    const uint32_t rc =
        encode(authenticate_server_response, length, response,
               "[json_generator__authenticate_client_request] Error parsing authenticate server response to base64");
    if (rc != RESULT__OK) return rc;
    static constexpr print_messages messages = {
        .bad_length = "[json_generator__authenticate_client_request] Bad length of the authenticate client json",
        .no_memory = "[json_generator__authenticate_client_request] Can't allocate data to json",
        .not_printed = "[json_generator__authenticate_client_request] Can't add data inside the json string",
    };
    return printed_text__print(json, messages, "{\"transactionId\": \"%s\",\"authenticateServerResponse\":\"%s\"}",
                               transaction_id, response.data);
}

uint32_t es9_json_generator__get_bound_profile_package_request(const TransactionId *transaction_id,
                                                               const uint8_t *prepare_download_response,
                                                               uint32_t length, char **json)
{
    *json = nullptr;
    if (!transaction_id)
        return refuse("[es9_json_generator__get_bound_profile_package_request] The input object is null");
    if (!prepare_download_response || length == 0)
        return refuse(
            "[es9_json_generator__get_bound_profile_package_request] The prepareDownloadResponse is empty/null");
    transaction_text transaction;
    uint32_t rc = transaction_to_text(transaction_id, transaction);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es9_json_generator__get_bound_profile_package_request] Error parsing the TransactionId to Hexadecimal, rc %d",
            rc);
        return rc;
    }
    owned_text response;
    rc =
        encode(prepare_download_response, length, response,
               "[json_generator__get_bound_profile_package_request] Error parsing prepare download response to base64");
    if (rc != RESULT__OK) return rc;
    static constexpr print_messages messages = {
        .bad_length =
            "[json_generator__get_bound_profile_package_request] Bad length of the get bound profile package json",
        .no_memory = "[json_generator__get_bound_profile_package_request] Can't allocate data to json",
        .not_printed = "[json_generator__get_bound_profile_package_request] Can't add data inside the json string",
    };
    return printed_text__print(json, messages, "{\"transactionId\": \"%s\",\"prepareDownloadResponse\":\"%s\"}",
                               transaction.hex, response.data);
}

uint32_t es9_json_generator__handle_notification_request(const uint8_t *pending_notification, uint32_t length,
                                                         char **json)
{
    *json = nullptr;
    if (!pending_notification || length == 0)
        return refuse("[json_generator__handle_notification_request] The pendingNotification is empty/null");
    owned_text notification;
    const uint32_t rc =
        encode(pending_notification, length, notification,
               "[json_generator__handle_notification_request] Error parsing pending notification to base64");
    if (rc != RESULT__OK) return rc;
    static constexpr print_messages messages = {
        .bad_length = "[json_generator__handle_notification_request] Bad length of the handle notification json",
        .no_memory = "[json_generator__handle_notification_request] Can't allocate data to json",
        .not_printed = "[json_generator__handle_notification_request] Can't add data inside the json string",
    };
    return printed_text__print(json, messages, "{\"pendingNotification\":\"%s\"}", notification.data);
}

uint32_t es9_json_generator__cancel_session_request(const TransactionId *transaction_id,
                                                    const uint8_t *cancel_session_response, uint32_t length,
                                                    char **json)
{
    *json = nullptr;
    if (!transaction_id) return refuse("[es9_json_generator__cancel_session_request] The input object is null");
    if (!cancel_session_response || length == 0)
        return refuse("[es9_json_generator__cancel_session_request] The cancelSessionResponse is empty/null");
    transaction_text transaction;
    uint32_t rc = transaction_to_text(transaction_id, transaction);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es9_json_generator__cancel_session_request] Error parsing the TransactionId to Hexadecimal, rc %d", rc);
        return rc;
    }
    owned_text response;
    rc = encode(cancel_session_response, length, response,
                "[es9_json_generator__cancel_session_request] Error parsing the cancelSessionResponse to base64");
    if (rc != RESULT__OK) return rc;
    static constexpr print_messages messages = {
        .bad_length =
            "[es9_json_generator__cancel_session_request] Error calculating the length of the CancelSessionRequestEs9 C JSON String",
        .no_memory =
            "[es9_json_generator__cancel_session_request] Error allocating data for the CancelSessionRequestEs9 C JSON String",
        .not_printed =
            "[es9_json_generator__cancel_session_request] Error adding data to the CancelSessionRequestEs9 C JSON String",
    };
    return printed_text__print(json, messages, "{\"transactionId\": \"%s\",\"cancelSessionResponse\":\"%s\"}",
                               transaction.hex, response.data);
}
