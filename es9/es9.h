/* es9/es9.h: the ES9+ functions that the device side calls on the SM-DP+ (SGP.22 v2.2), one HTTPS POST each.
 *
 * Address    terminated text, host or host:port.
 * Ownership  responses are released by the caller: texts with M_free, records as told.
 * Errors     0; 4 missing input, 9 no memory, 11 host not resolvable, 1 any other transport, HTTP or content failure.
 */
#pragma once
#include "es9/es9_records.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* *response: the server's JSON text, released with M_free. */
uint32_t es9__initiate_authentication(const char *smdp_address, const uint8_t euicc_challenge[16],
                                      const uint8_t *euicc_info_1, uint32_t euicc_info_1_length, char **response);

/* transaction_id: hex text as received. A server that answered "Failed" gives 0 with response->failed set.
 * Release response with es9__free_authenticate_client_response after 0; after a failure it holds nothing. */
uint32_t es9__authenticate_client(const char *smdp_address, const char *transaction_id,
                                  const uint8_t *authenticate_server_response,
                                  uint32_t authenticate_server_response_length,
                                  AuthenticateClientResponseEs9 *response);
void es9__free_authenticate_client_response(AuthenticateClientResponseEs9 *response);

/* *response: the server's JSON text, released with M_free. */
uint32_t es9__get_bound_profile_package(const char *smdp_address, const TransactionId *transaction_id,
                                        const uint8_t *prepare_download_response,
                                        uint32_t prepare_download_response_length, char **response);
uint32_t es9__handle_notification(const char *smdp_address, const uint8_t *pending_notification, uint32_t length);
uint32_t es9__cancel_session(const char *smdp_address, const TransactionId *transaction_id,
                             const uint8_t *cancel_session_response, uint32_t cancel_session_response_length,
                             CancelSessionResponseEs9 *response);

LPA_API_END
