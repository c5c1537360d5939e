/* euicc/apdu.h: command APDUs inside AT+CSIM (3GPP TS 27.007), GET RESPONSE chaining (ISO 7816-4).
 *
 * Ownership  a filled ApduResponse holds heap data; release it with apdu_utils__free_response or take data over. On
 *            failure it holds nothing. */
#pragma once
#include "euicc/modem_channel.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

#define AT_ANSWER_SIZE 2048 /* bytes of one AT answer, terminator included */

typedef struct ApduResponse {
    uint8_t *data;   /* without the status word; null when there is none */
    uint32_t length; /* of data */
    uint16_t sw;     /* SW1 SW2 */
} ApduResponse;

void apdu_utils__free_response(ApduResponse *response);

/* 1 for 9000 and 9100, else 0. */
uint8_t apdu_utils__sw_is_success(const ApduResponse *response);

/* 1 for 61xx, else 0. */
uint8_t apdu_utils__sw_response_available(const ApduResponse *response);

/* *command: AT+CSIM text with CR LF, released with M_free; null on failure. Returns 0, 1 or 9. */
uint32_t at_utils__APDU_to_CSIM_command(const uint8_t *apdu, uint16_t length, char **command);

/* Returns 0; 1 for a malformed answer, 4 for none, 9 for no memory. */
uint32_t at_utils__CSIM_response_to_APDU(const char *answer, ApduResponse *response);

/* Sends command and copies the answer to answer (AT_ANSWER_SIZE bytes). An answer with "ERROR" is asked again once
 * after 10 s. Returns 0; 4 for null arguments, 14 when the command could not be sent, 15 after the second "ERROR";
 * 1 for an answer that does not fit. */
uint32_t eUICC__send_AT_command(ModemHandle *handle, const char *command, char *answer);

/* Exchanges one APDU and collects 61xx pieces, as many as the card announces. A card that never ends is given up: with
 * 9 when its pieces exceed 1 MiB, with 1 after 100000 in a row without data. Returns 0 with response filled, else 1, 4,
 * 9, 14 or 15. */
uint32_t eUICC__send_apdu(ModemHandle *handle, const uint8_t *apdu, uint16_t length, ApduResponse *response);

/* Chooses the most detailed AT+CMEE mode that the modem offers. Returns the setting command's result. */
uint32_t eUICC__cmee(ModemHandle *handle);

LPA_API_END
