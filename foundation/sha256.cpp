#include "foundation/sha256.h"
#include <algorithm>
#include <bit>
#include <string.h>

namespace {
constexpr uint32_t block_bytes = sizeof(sha256_context::block);
constexpr uint32_t length_position = block_bytes - sizeof(uint64_t);

// First 32 bits of the fractional parts of the square roots of the first 8 primes (FIPS 180-4, 5.3.3).
constexpr uint32_t initial_state[8] = {0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
                                       0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};

// Of the cube roots of the first 64 primes (FIPS 180-4, 4.2.2).
constexpr uint32_t round_constants[64] = {
    0x428A2F98, 0x71374491, 0xB5C0FBCF, 0xE9B5DBA5, 0x3956C25B, 0x59F111F1, 0x923F82A4, 0xAB1C5ED5,
    0xD807AA98, 0x12835B01, 0x243185BE, 0x550C7DC3, 0x72BE5D74, 0x80DEB1FE, 0x9BDC06A7, 0xC19BF174,
    0xE49B69C1, 0xEFBE4786, 0x0FC19DC6, 0x240CA1CC, 0x2DE92C6F, 0x4A7484AA, 0x5CB0A9DC, 0x76F988DA,
    0x983E5152, 0xA831C66D, 0xB00327C8, 0xBF597FC7, 0xC6E00BF3, 0xD5A79147, 0x06CA6351, 0x14292967,
    0x27B70A85, 0x2E1B2138, 0x4D2C6DFC, 0x53380D13, 0x650A7354, 0x766A0ABB, 0x81C2C92E, 0x92722C85,
    0xA2BFE8A1, 0xA81A664B, 0xC24B8B70, 0xC76C51A3, 0xD192E819, 0xD6990624, 0xF40E3585, 0x106AA070,
    0x19A4C116, 0x1E376C08, 0x2748774C, 0x34B0BCB5, 0x391C0CB3, 0x4ED8AA4A, 0x5B9CCA4F, 0x682E6FF3,
    0x748F82EE, 0x78A5636F, 0x84C87814, 0x8CC70208, 0x90BEFFFA, 0xA4506CEB, 0xBEF9A3F7, 0xC67178F2};

// The letters and names below are those of FIPS 180-4, 4.1.2 and 6.2.2.
uint32_t Ch(uint32_t x, uint32_t y, uint32_t z) { return (x & y) ^ (~x & z); }
uint32_t Maj(uint32_t x, uint32_t y, uint32_t z) { return (x & y) ^ (x & z) ^ (y & z); }
uint32_t Sigma0(uint32_t x) { return std::rotr(x, 2) ^ std::rotr(x, 13) ^ std::rotr(x, 22); }
uint32_t Sigma1(uint32_t x) { return std::rotr(x, 6) ^ std::rotr(x, 11) ^ std::rotr(x, 25); }
uint32_t sigma0(uint32_t x) { return std::rotr(x, 7) ^ std::rotr(x, 18) ^ x >> 3; }
uint32_t sigma1(uint32_t x) { return std::rotr(x, 17) ^ std::rotr(x, 19) ^ x >> 10; }

uint32_t big_endian_word(const uint8_t *bytes)
{
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

void prepare_schedule(uint32_t (&W)[64], const uint8_t *block)
{
    for (uint32_t t = 0; t < 16; ++t)
        W[t] = big_endian_word(block + 4 * t);
    for (uint32_t t = 16; t < 64; ++t)
        W[t] = sigma1(W[t - 2]) + W[t - 7] + sigma0(W[t - 15]) + W[t - 16];
}

void transform(sha256_context *context)
{
    uint32_t W[64];
    prepare_schedule(W, context->block);
    auto [a, b, c, d, e, f, g, h] = context->state;
    for (uint32_t t = 0; t < 64; ++t) {
        const uint32_t T1 = h + Sigma1(e) + Ch(e, f, g) + round_constants[t] + W[t];
        const uint32_t T2 = Sigma0(a) + Maj(a, b, c);
        h = g;
        g = f;
        f = e;
        e = d + T1;
        d = c;
        c = b;
        b = a;
        a = T1 + T2;
    }
    const uint32_t result[8] = {a, b, c, d, e, f, g, h};
    for (uint32_t i = 0; i < 8; ++i)
        context->state[i] += result[i];
    context->bit_count += block_bytes * 8;
    context->block_length = 0;
}
} // namespace

void sha256_init(sha256_context *context)
{
    *context = {};
    memcpy(context->state, initial_state, sizeof initial_state);
}

void sha256_update(sha256_context *context, const uint8_t *data, uint32_t length)
{
    while (length > 0) {
        const uint32_t taken = std::min(length, block_bytes - context->block_length);
        memcpy(context->block + context->block_length, data, taken);
        context->block_length += taken;
        data += taken;
        length -= taken;
        if (context->block_length == block_bytes) transform(context);
    }
}

void sha256_final(sha256_context *context, uint8_t digest[SHA256_BYTES])
{
    const uint64_t message_bits = context->bit_count + context->block_length * 8ULL;
    context->block[context->block_length++] = 0x80;
    memset(context->block + context->block_length, 0, block_bytes - context->block_length);
    if (context->block_length > length_position) {
        transform(context);
        memset(context->block, 0, block_bytes);
    }
    for (uint32_t i = 0; i < 8; ++i)
        context->block[length_position + i] = static_cast<uint8_t>(message_bits >> (8 * (7 - i)));
    transform(context);
    for (uint32_t i = 0; i < SHA256_BYTES; ++i)
        digest[i] = static_cast<uint8_t>(context->state[i / 4] >> (8 * (3 - i % 4)));
}
