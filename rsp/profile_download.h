/* rsp/profile_download.h: the SGP.22 profile download and installation procedure. */
#pragma once
#include "euicc/euicc_session.h"
#include "foundation/export.h"
#include "rsp/activation_code.h"
#include "rsp/mutual_authentication.h"
#include <stdint.h>

LPA_API_BEGIN

/* Runs one download in a session of its own.
 * confirmation_code  terminated text, or null
 * *result            the card's ProfileInstallationResult (BF37), released with M_free; null on failure
 * Returns 0 also when the result could not be reported (the notification then stays on the card); 4 a confirmation
 * code is missing, 9 no memory, 13 the server refused authentication, 1 rejected, or a lower module's code. */
uint32_t rsp__start_with_activation_code(const char *modem, const ActivationCodeInfo *info,
                                         const char *confirmation_code, uint8_t **result, uint32_t *result_length);

LPA_API_END
