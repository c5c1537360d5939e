#include "es9/es9.h"
#include "es9/es9_extractor.h"
#include "es9/es9_json_generator.h"
#include "es9/https_transport.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"

namespace {
constexpr int32_t http_ok = 200;
constexpr int32_t http_no_content = 204;

// What differs from call to call.
struct es9_call {
    const char *path;
    bool reports_connection; // an unknown host is 11 and any other transport failure 1; else the transport's own code
    bool accepts_no_content; // 204 as well as 200
    bool requires_success;   // "Executed-Success" in the answer's header
    void (*log_call)(const char *smdp_address);
    void (*log_request)(const char *json);
    void (*log_transport_failed)(int32_t status, uint32_t rc);
    void (*log_http_failed)(int32_t status);
};

uint32_t transport_failure(const es9_call &call, int32_t status, uint32_t rc)
{
    call.log_transport_failed(status, rc);
    if (!call.reports_connection) return rc;
    return status == -CURLE_COULDNT_RESOLVE_HOST ? RESULT__CONNECTION_FAILED : RESULT__FATAL_ERROR;
}

// One request and the checks of its answer, which is kept only when it is accepted.
uint32_t post(const es9_call &call, const char *smdp_address, const char *json, owned_text &answer)
{
    call.log_call(smdp_address);
    call.log_request(json);
    int32_t status = 0;
    owned_text received;
    const uint32_t rc = network__send_https_request(smdp_address, call.path, json, &status, &received.data);
    if (rc != RESULT__OK) return transport_failure(call, status, rc);
    if (status != http_ok && !(call.accepts_no_content && status == http_no_content)) {
        call.log_http_failed(status);
        return RESULT__FATAL_ERROR;
    }
    if (call.requires_success && !network_utils__function_execution_status_success(received.data)) {
        log__string(LOG__ERROR, "json response 'Function execution status' not 'Executed-Success'");
        return RESULT__FATAL_ERROR;
    }
    answer.reset(received.hand_over());
    return RESULT__OK;
}

// The transport has already said what failed.
void log_nothing(int32_t, uint32_t) {}

void log_http_status(int32_t status) { log__string(LOG__ERROR, "HTTP request failed, HTTP status code %d", status); }

constexpr es9_call initiate_authentication = {
    .path = "/gsma/rsp2/es9plus/initiateAuthentication",
    .reports_connection = true,
    .accepts_no_content = false,
    .requires_success = true,
    .log_call =
        [](const char *address) { log__string(LOG__INFO, "ES9.InitiateAuthentication to the SMDP+ '%s'", address); },
    .log_request =
        [](const char *json) { log__string(LOG__DEBUG, "[es9__initiate_authentication] json request [%s]", json); },
    .log_transport_failed = log_nothing,
    .log_http_failed = [](int32_t status) { log__string(LOG__ERROR, "HTTP request failed, status code %d", status); },
};

constexpr es9_call authenticate_client = {
    .path = "/gsma/rsp2/es9plus/authenticateClient",
    .reports_connection = false,
    .accepts_no_content = false,
    .requires_success = false,
    .log_call =
        [](const char *address) { log__string(LOG__INFO, "ES9.AuthenticateClient to the SMDP+ '%s'", address); },
    .log_request =
        [](const char *json) { log__string(LOG__DEBUG, "[es9__authenticate_client] json request [%s]", json); },
    .log_transport_failed = log_nothing,
    .log_http_failed = log_http_status,
};

constexpr es9_call get_bound_profile_package = {
    .path = "/gsma/rsp2/es9plus/getBoundProfilePackage",
    .reports_connection = false,
    .accepts_no_content = false,
    .requires_success = true,
    .log_call =
        [](const char *address) { log__string(LOG__INFO, "ES9.GetBoundProfilePackage to the SMDP+ '%s'", address); },
    .log_request =
        [](const char *json) { log__string(LOG__DEBUG, "[es9__get_bound_profile_package] json request [%s]", json); },
    .log_transport_failed = log_nothing,
    .log_http_failed = log_http_status,
};

constexpr es9_call handle_notification = {
    .path = "/gsma/rsp2/es9plus/handleNotification",
    .reports_connection = true,
    .accepts_no_content = true,
    .requires_success = false,
    .log_call =
        [](const char *address) { log__string(LOG__INFO, "ES9.PendingNotification to the SMDP+ '%s'", address); },
    .log_request =
        [](const char *json) { log__string(LOG__DEBUG, "[es9__handle_notification] json request [%s]", json); },
    .log_transport_failed =
        [](int32_t status, uint32_t rc) {
            log__string(LOG__ERROR, "[es9__handle_notification] network__send_https_request failed, code %d, rc %d",
                        status, rc);
        },
    .log_http_failed = log_http_status,
};

constexpr es9_call cancel_session = {
    .path = "/gsma/rsp2/es9plus/cancelSession",
    .reports_connection = false,
    .accepts_no_content = false,
    .requires_success = false,
    .log_call = [](const char *address) { log__string(LOG__INFO, "ES9.CancelSession to the SMDP+ '%s'", address); },
    .log_request = [](const char *json) { log__string(LOG__DEBUG, "[es9__cancel_session] json request [%s]", json); },
    .log_transport_failed = log_nothing,
    .log_http_failed = log_http_status,
};
} // namespace

uint32_t es9__initiate_authentication(const char *smdp_address, const uint8_t euicc_challenge[16],
                                      const uint8_t *euicc_info_1, uint32_t euicc_info_1_length, char **response)
{
    *response = nullptr;
    if (!smdp_address || !euicc_challenge || !euicc_info_1 || euicc_info_1_length == 0) return RESULT__BAD_ARGUMENT;
    owned_text json;
    uint32_t rc = es9_json_generator__initiate_authentication_request(smdp_address, euicc_challenge, euicc_info_1,
                                                                      euicc_info_1_length, &json.data);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[es9__initiate_authentication] es9_json_generator__initiate_authentication_request failed, rc %d",
                    rc);
        return rc;
    }
    owned_text answer;
    rc = post(initiate_authentication, smdp_address, json.data, answer);
    *response = answer.hand_over();
    return rc;
}

uint32_t es9__authenticate_client(const char *smdp_address, const char *transaction_id,
                                  const uint8_t *authenticate_server_response,
                                  uint32_t authenticate_server_response_length, AuthenticateClientResponseEs9 *response)
{
    *response = {};
    if (!smdp_address || !transaction_id || !authenticate_server_response || authenticate_server_response_length == 0)
        return RESULT__BAD_ARGUMENT;
    owned_text json;
    uint32_t rc = es9_json_generator__authenticate_client_request(transaction_id, authenticate_server_response,
                                                                  authenticate_server_response_length, &json.data);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[es9__authenticate_client] es9_json_generator__authenticate_client_request failed, rc %d", rc);
        return rc;
    }
    owned_text answer;
    rc = post(authenticate_client, smdp_address, json.data, answer);
    if (rc != RESULT__OK) return rc;
    rc = es9_json_extractor__authenticate_client_response(answer.data, response);
    if (rc != RESULT__OK) {
        *response = {}; // its pointers would outlive the answer
        return rc;
    }
    response->text = answer.hand_over();
    return RESULT__OK;
}

void es9__free_authenticate_client_response(AuthenticateClientResponseEs9 *response)
{
    if (!response) return;
    M_free(response->text);
    *response = {};
}

uint32_t es9__get_bound_profile_package(const char *smdp_address, const TransactionId *transaction_id,
                                        const uint8_t *prepare_download_response,
                                        uint32_t prepare_download_response_length, char **response)
{
    *response = nullptr;
    if (!smdp_address) {
        log__string(LOG__ERROR, "The SMDP+ Address is null");
        return RESULT__BAD_ARGUMENT;
    }
    owned_text json;
    uint32_t rc = es9_json_generator__get_bound_profile_package_request(transaction_id, prepare_download_response,
                                                                        prepare_download_response_length, &json.data);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es9__get_bound_profile_package] es9_json_generator__get_bound_profile_package_request failed, rc %d", rc);
        return rc;
    }
    owned_text answer;
    rc = post(get_bound_profile_package, smdp_address, json.data, answer);
    *response = answer.hand_over();
    return rc;
}

uint32_t es9__handle_notification(const char *smdp_address, const uint8_t *pending_notification, uint32_t length)
{
    if (!smdp_address || !pending_notification || length == 0) return RESULT__BAD_ARGUMENT;
    owned_text json;
    const uint32_t rc = es9_json_generator__handle_notification_request(pending_notification, length, &json.data);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[es9__handle_notification] es9_json_generator__handle_notification_request failed, rc %d", rc);
        return rc;
    }
    owned_text answer; // empty with 204, without meaning with 200
    return post(handle_notification, smdp_address, json.data, answer);
}

uint32_t es9__cancel_session(const char *smdp_address, const TransactionId *transaction_id,
                             const uint8_t *cancel_session_response, uint32_t cancel_session_response_length,
                             CancelSessionResponseEs9 *response)
{
    *response = {};
    if (!smdp_address) {
        log__string(LOG__ERROR, "The SMDP+ Address is null");
        return RESULT__BAD_ARGUMENT;
    }
    owned_text json;
    uint32_t rc = es9_json_generator__cancel_session_request(transaction_id, cancel_session_response,
                                                             cancel_session_response_length, &json.data);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es9__cancel_session] es9_json_generator__cancel_session_request failed, rc %d", rc);
        return rc;
    }
    owned_text answer;
    rc = post(cancel_session, smdp_address, json.data, answer);
    if (rc != RESULT__OK) return rc;
    rc = es9_json_extractor__cancel_session_response(answer.data, response);
    if (rc != RESULT__OK)
        log__string(
            LOG__ERROR,
            "[es9__authenticate_client] Error extracting data from the CancelSessionResponse in JSON binding, rc %d",
            rc);
    return rc;
}
