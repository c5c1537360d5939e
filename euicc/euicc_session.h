/* euicc/euicc_session.h: one conversation with the eUICC's ISD-R.
 *
 * Session    the pair (handle, channel) made by eUICC__initialize and ended by eUICC__terminate.
 * Ownership  response data is heap memory that the caller releases with M_free; null when there is none.
 * Errors     17 ISD-R not reached on an open channel, 18 no channel or REFRESH pending (6985), 6 command refused,
 *            and the codes of the APDU exchange. */
#pragma once
#include "euicc/apdu.h"
#include "euicc/modem_channel.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

#define APDU_MAX_COMMAND_DATA_SIZE 240

/* Up to 3 attempts, 2 s apart, repeated after 17 and 18. On failure nothing stays open. */
uint32_t eUICC__initialize(const char *modem, ModemHandle **handle, uint8_t *channel);

/* Closes the channel (failure only logged) and the modem. Returns 0, or 1 when the modem could not be closed. */
uint32_t eUICC__terminate(ModemHandle *handle, uint8_t channel);

/* Writes the channel into the class byte of apdu and sends it. */
uint32_t eUICC__send_apdu_on_channel(ModemHandle *handle, uint8_t channel, uint8_t *apdu, uint16_t length,
                                     ApduResponse *response);

/* Sends data as a STORE DATA series of blocks of at most 240 bytes. */
uint32_t eUICC__store_data(ModemHandle *handle, uint8_t channel, const uint8_t *data, uint32_t length,
                           uint8_t **response, uint32_t *response_length);

/* Sends one block of a series that the caller cuts itself. Returns 0; 4 for more than 240 bytes, 9, 1 for a status
 * word that is no success, or the transport's code. */
uint32_t eUICC__store_data_by_steps(ModemHandle *handle, uint8_t channel, const uint8_t *data, uint32_t length,
                                    uint8_t block_number, uint8_t last_block, uint8_t **response,
                                    uint32_t *response_length);

/* Ends the session, waits and opens a new one, for use after a profile switch. */
uint32_t eUICC__await_refresh(const char *modem, ModemHandle **handle, uint8_t *channel);

LPA_API_END
