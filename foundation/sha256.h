/* foundation/sha256.h: SHA-256 (FIPS 180-4). */
#pragma once
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

#define SHA256_BYTES 32

typedef struct sha256_context {
    uint8_t block[64];
    uint32_t block_length; /* bytes waiting in block */
    uint64_t bit_count;    /* bits of the blocks already transformed */
    uint32_t state[8];
} sha256_context;

void sha256_init(sha256_context *context);
void sha256_update(sha256_context *context, const uint8_t *data, uint32_t length);
void sha256_final(sha256_context *context, uint8_t digest[SHA256_BYTES]);

LPA_API_END
