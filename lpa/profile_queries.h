// lpa/profile_queries.h: queries on a session that is already open; internal to lpa/.
#pragma once
#include "euicc/euicc_session.h"
#include <stdint.h>

// *answer: the card's raw answer, released with M_free; null on failure.
uint32_t LPA__get_profiles_unlocked(ModemHandle *handle, uint8_t channel, uint8_t **answer, uint32_t *length);
