// lpa/profile_changes.h: profile changes on a session that is already open; internal to lpa/.
//
// iccid: the caller's text. *answer: the card's raw answer, released with M_free; null on failure. The card's own
// result is in the answer: 0 does not mean that the profile changed.
#pragma once
#include "euicc/euicc_session.h"
#include <stdint.h>

uint32_t LPA__enable_profile_unlocked(ModemHandle *handle, uint8_t channel, const char *iccid, uint8_t **answer,
                                      uint32_t *length);
uint32_t LPA__disable_profile_unlocked(ModemHandle *handle, uint8_t channel, const char *iccid, uint8_t **answer,
                                       uint32_t *length);
uint32_t LPA__delete_profile_unlocked(ModemHandle *handle, uint8_t channel, const char *iccid, uint8_t **answer,
                                      uint32_t *length);
