// lpa/operation_frame.h: what the LPA__ operations share; internal to lpa/.
//
// An operation runs attempts, each one session with the card, until one ends with something else than 6 or 18; it then
// turns the card's answer into a document. What differs between operations stands in an operation_record.
#pragma once
#include "euicc/euicc_session.h"
#include "euicc/modem_channel.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "foundation/timer.h"
#include "tlv/ber_tlv_parser.h"
#include <stdint.h>

#define NO_UPDATE_EVENT (-1)

struct operation_arguments {
    const char *modem;
    const char *iccid;    // also the update event's
    const char *nickname; // may be null
    const char *address;  // may be null
};

struct operation_record {
    const char *name; // "LPA__get_eid"
    const char *step; // one attempt in the log: "LPA__get_eid_"
    // The exchange with the card on an open session. A failure leaves no answer.
    uint32_t (*exchange)(ModemHandle *handle, uint8_t channel, const operation_arguments &arguments, uint8_t **answer,
                         uint32_t *length);
    // Sets *result_flag when the card reported a result of its own.
    uint32_t (*convert)(const uint8_t *answer, uint32_t length, const operation_arguments &arguments, char **json,
                        uint8_t *result_flag);
    void (*after_success)(const char *name, const char *modem); // null: nothing follows
    int32_t event;                                              // UPDATE_EVENT or NO_UPDATE_EVENT
};

// A whole operation. *json is null and *length 0 unless there is a document.
uint32_t operation_frame__run(const operation_record &operation, const operation_arguments &arguments, char **json,
                              uint32_t *length);

// Empties the outputs. Returns 0, or 4 when one of the three is null.
uint32_t operation_frame__begin(const char *name, const char *modem, char **json, uint32_t *length);

// After attempts that failed for good: logs code and returns it.
uint32_t operation_frame__failed(const char *name, uint32_t code);

// Reload that lets the modem take up a changed card; skipped while such reloads are disabled. Only logged.
void operation_frame__reload(const char *name, const char *modem);

// Delivers the pending notifications in an operation of its own. Only logged.
void operation_frame__deliver_notifications(const char *name, const char *modem);

// Hands a document over. Returns 16 when flagged, else 0.
uint32_t operation_frame__hand_over(const char *name, char *document, uint8_t result_flag, char **json,
                                    uint32_t *length);

// Calls attempt() until it returns something else than 6 or 18, at most 3 times, 5 s apart; after 18 with a reload of
// the modem that cannot be disabled. *recovered becomes false when that reload failed: it ends the attempts.
template <typename Attempt>
uint32_t operation_frame__attempts(const char *name, const char *modem, bool *recovered, Attempt attempt)
{
    *recovered = true;
    uint32_t code = RESULT__OK;
    for (uint32_t count = 1; count <= 3; ++count) {
        code = attempt();
        if (code != RESULT__SESSION_CANCELLED && code != RESULT__ESIM_ERROR) break;
        log__string(LOG__WARN, "[%s] retry %d due to previous error", name, count);
        if (code == RESULT__SESSION_CANCELLED && reload_modem(modem, 1) != 0) {
            log__string(LOG__ERROR, "[%s] reload_modem failed", name);
            *recovered = false;
            break;
        }
        timer__sleep(5); // after the last attempt too
    }
    return code;
}

// One attempt: exchange(handle, channel) on a session of its own.
template <typename Exchange> uint32_t operation_frame__session(const char *step, const char *modem, Exchange exchange)
{
    ModemHandle *handle = nullptr;
    uint8_t channel = 0;
    uint32_t code = eUICC__initialize(modem, &handle, &channel);
    if (code != RESULT__OK) {
        log__string(LOG__ERROR, "[%s] eUICC__initialize failed, rc %d", step, code);
        return code;
    }
    code = exchange(handle, channel);
    const uint32_t rc = eUICC__terminate(handle, channel);
    if (rc != RESULT__OK) log__string(LOG__ERROR, "[%s] eUICC__terminate failed, rc %d", step, rc);
    return code;
}

// Asks the card with call(answer, length) until the answer is well-formed, at most 3 times, 3 s apart. The third
// answer is handed out as it is: its converter decides.
template <typename Call>
uint32_t operation_frame__ask(const char *inner, const char *answer_title, uint8_t **answer, uint32_t *length,
                              Call call)
{
    *answer = nullptr;
    *length = 0;
    for (uint32_t count = 1;; ++count) {
        owned_bytes received;
        uint32_t received_length = 0;
        const uint32_t rc = call(&received.data, &received_length);
        if (rc != RESULT__OK) return rc;
        log__data(LOG__DEBUG, answer_title, received.data, received_length);
        const bool valid = ber_tlv_parser__validate_tlv(received.data, received_length) == RESULT__OK;
        if (!valid) log__string(LOG__INFO, "[%s] retry %d failed, invalid result", inner, count);
        if (valid || count == 3) {
            *answer = received.hand_over();
            *length = received_length;
            return RESULT__OK;
        }
        timer__sleep(3);
    }
}

// Turns an answer into the caller's document with convert(&document, &result_flag). A document that cannot be made is
// no failure of the operation: length stays 0.
template <typename Convert>
uint32_t operation_frame__document(const char *name, char **json, uint32_t *length, Convert convert)
{
    char *document = nullptr;
    uint8_t result_flag = 0;
    const uint32_t rc = convert(&document, &result_flag);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[%s] JSON process failed, rc %d", name, rc);
        return RESULT__OK;
    }
    return operation_frame__hand_over(name, document, result_flag, json, length);
}
