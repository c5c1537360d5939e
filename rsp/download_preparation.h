/* rsp/download_preparation.h: from the server's consent to the card's PrepareDownloadResponse, or the rejection of the
 * download when the confirmation code that the server asks for is missing. */
#pragma once
#include "es9/es9_records.h"
#include "euicc/euicc_session.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* confirmation_code: terminated text, or null. *response: the card's answer, released with M_free; null on failure.
 * Returns 0, 1 when the code is missing (the session is then cancelled on both sides), or a lower module's code. */
uint32_t rsp__prepare_download(ModemHandle *handle, uint8_t channel, const char *smdp_address,
                               const AuthenticateClientResponseEs9 *consent, const char *confirmation_code,
                               uint8_t **response, uint32_t *response_length);

/* Cancels the session on the card, then on the server, for endUserRejection. Returns 0, 1 when the server did not
 * accept it, or a lower module's code. */
uint32_t rsp__download_rejection(ModemHandle *handle, uint8_t channel, const char *smdp_address,
                                 const TransactionId *transaction_id);

/* Tells the server's answer to CancelSession in the log. Returns 0 for cancelSessionOk, else 1. */
uint32_t rsp__cancel_session_outcome(const CancelSessionResponseEs9 *response);

LPA_API_END
