/* rsp/bpp_loader.h: streams a Bound Profile Package into the eUICC. */
#pragma once
#include "euicc/euicc_session.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* base64 (not terminated) is decoded a stretch at a time; memory use does not depend on its length.
 * *result: the card's ProfileInstallationResult, released with M_free. A card that stops early with an error result
 * is no failure: that result is handed out with 0. Returns 1, 4 or the session's code otherwise. */
uint32_t load_base64_bound_profile_package(ModemHandle *handle, uint8_t channel, const char *base64, uint32_t length,
                                           uint8_t **result, uint32_t *result_length);

LPA_API_END
