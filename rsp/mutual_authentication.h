/* rsp/mutual_authentication.h: the SGP.22 common mutual authentication of eUICC and SM-DP+. */
#pragma once
#include "es9/es9_records.h"
#include "euicc/euicc_session.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* matching_id: the AC_Token, not terminated.
 * After 0 the caller releases response with es9__free_authenticate_client_response; a server that answered "Failed"
 * gives 0 too, with response->failed set. Returns 9, 11, 1 or a lower module's code otherwise. */
uint32_t mutual_authentication(ModemHandle *handle, uint8_t channel, const char *smdp_address,
                               const uint8_t *matching_id, uint32_t matching_id_length,
                               AuthenticateClientResponseEs9 *response);

LPA_API_END
