/* foundation/base64.h: RFC 4648 base64, with the JSON escape \u003d accepted for "=". */
#pragma once
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* Returns a new terminated text (released with M_free), or null. out_length (may be null) leaves the terminator out. */
char *base64_encode(const uint8_t *bytes, uint32_t length, uint32_t *out_length);

/* Returns new bytes (released with M_free), or null. Escaped padding is rewritten to "=" in the caller's
 * text, which ends there with a terminator. A text with less than whole groups gives null. */
uint8_t *base64_decode(char *text, uint32_t length, uint32_t *out_length);

/* Decodes into out, which may be text itself; with a null out returns the decoded size.
 * Returns -4 for bad text, -7 when size is too small. */
int32_t b64_decode_static(uint8_t *out, uint32_t size, const char *text, uint32_t length);

LPA_API_END
