// rsp/card_answer.h: what the procedures of this folder share about the card. Internal to rsp/.
#pragma once
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include <stdint.h>

struct card_answer {
    owned_bytes data;
    uint32_t length = 0;
};

// After these two codes the public operation repeats everything, so the procedures do not report them as errors.
inline bool is_repeatable(uint32_t rc) { return rc == RESULT__ESIM_ERROR || rc == RESULT__SESSION_CANCELLED; }
