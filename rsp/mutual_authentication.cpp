#include "rsp/mutual_authentication.h"
#include "es10/es10.h"
#include "es9/es9.h"
#include "es9/json_data_extractor.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "rsp/card_answer.h"
#include "tlv/tlv_data_extractor.h"
#include "tlv/tlv_generator.h"

namespace {
uint32_t get_euicc_challenge(ModemHandle *handle, uint8_t channel, uint8_t challenge[EUICC_CHALLENGE_BYTES])
{
    card_answer answer;
    uint32_t rc = es10__get_euicc_challenge(handle, channel, &answer.data.data, &answer.length);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[initiate_authentication] Error on ES10.GetEUICCChallenge, rc %d", rc);
        return rc;
    }
    rc = tlv_data_extractor__euicc_challenge(answer.data.data, answer.length, challenge);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR, "[initiate_authentication] tlv_data_extractor__euicc_challenge failed, rc %d", rc);
    return rc;
}

// answer: the server's JSON text.
uint32_t initiate_authentication(ModemHandle *handle, uint8_t channel, const char *smdp_address, owned_text &answer)
{
    card_answer info;
    uint32_t rc = es10__get_euicc_info_1(handle, channel, &info.data.data, &info.length);
    if (rc != RESULT__OK) {
        if (!is_repeatable(rc))
            log__string(LOG__ERROR, "[initiate_authentication] Error on ES10.GetEUICCInfo, rc %d", rc);
        return rc;
    }
    uint8_t challenge[EUICC_CHALLENGE_BYTES];
    rc = get_euicc_challenge(handle, channel, challenge);
    if (rc != RESULT__OK) return rc;
    log__data(LOG__DEBUG, "[initiate_authentication] euicc info 1", info.data.data, info.length);
    log__data(LOG__DEBUG, "[initiate_authentication] euicc challenge", challenge, sizeof challenge);
    return es9__initiate_authentication(smdp_address, challenge, info.data.data, info.length, &answer.data);
}

// Shows the server's proof to the card: json in, the card's own proof out.
uint32_t authenticate_client(ModemHandle *handle, uint8_t channel, const char *json, const uint8_t *matching_id,
                             uint32_t matching_id_length, owned_text &transaction_id, card_answer &answer)
{
    uint32_t rc = json_data_extractor__get_string_value_copy(json, "\"transactionId\"", &transaction_id.data);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[authenticate_client] 'transactionId' not found in initate authentication HTTP response");
        return rc;
    }
    owned_bytes request;
    uint32_t length = 0;
    rc = tlv_generator__authenticate_server_request(json, matching_id, matching_id_length, &request.data, &length);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[authenticate_client] tlv_generator__authenticate_server_request failed, rc %d", rc);
        return rc;
    }
    log__string(LOG__INFO, "ES10.AuthenticateServer");
    log__data(LOG__DEBUG, "Sending a AuthenticateServerRequest", request.data, length);
    rc = eUICC__store_data(handle, channel, request.data, length, &answer.data.data, &answer.length);
    if (rc != RESULT__OK && !is_repeatable(rc))
        log__string(LOG__ERROR, "[authenticate_client] eUICC__store_data failed, rc %d", rc);
    return rc;
}
} // namespace

uint32_t mutual_authentication(ModemHandle *handle, uint8_t channel, const char *smdp_address,
                               const uint8_t *matching_id, uint32_t matching_id_length,
                               AuthenticateClientResponseEs9 *response)
{
    *response = {};
    owned_text json;
    uint32_t rc = initiate_authentication(handle, channel, smdp_address, json);
    if (rc != RESULT__OK) {
        if (!is_repeatable(rc))
            log__string(LOG__ERROR, "[mutual_authentication] Error on initiate authentication, rc %d", rc);
        return rc;
    }
    owned_text transaction_id;
    card_answer answer;
    rc = authenticate_client(handle, channel, json.data, matching_id, matching_id_length, transaction_id, answer);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[mutual_authentication] Error on authenticate server, rc %d", rc);
        return rc;
    }
    rc = es9__authenticate_client(smdp_address, transaction_id.data, answer.data.data, answer.length, response);
    if (rc != RESULT__OK) log__string(LOG__ERROR, "[mutual_authentication] Error on authenticate client, rc %d", rc);
    return rc;
}
