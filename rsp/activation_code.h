/* rsp/activation_code.h: splits an SGP.22 activation code. */
#pragma once
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

#define ACTIVATION_CODE_MAX_BYTES 255

/* Pieces lie in the caller's activation code, which must outlive the record; none is terminated. */
typedef struct ActivationCodeInfo {
    const uint8_t *smdp_address;
    const uint8_t *ac_token;
    const uint8_t *smdp_oid; /* null when absent */
    uint8_t smdp_address_length;
    uint8_t ac_token_length;
    uint8_t smdp_oid_length;
    uint8_t cc_required; /* 1 when the Confirmation Code Required Flag is set */
} ActivationCodeInfo;

/* [LPA:]1$address$token[$oid[$flag]]. Returns 0; 4 for a null, empty or too long code, 1 for a grammar error. */
uint32_t rsp__parse_activation_code(const uint8_t *activation_code, uint32_t length, ActivationCodeInfo *info);

LPA_API_END
