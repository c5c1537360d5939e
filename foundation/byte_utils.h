/* foundation/byte_utils.h: hex text, DER INTEGER, ICCID digit order, BIT STRING and OBJECT IDENTIFIER contents.
 *
 * Units      lengths count bytes (of text: characters without the terminator).
 * Sizing     size-or-error operations with a null out return the size they would write.
 * Errors     a status operation returns 0 or a result code; a size-or-error operation a negated one, told below. */
#pragma once
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* First two characters of text as one byte. Returns 4 when text is null or shorter. Digits are not checked. */
uint32_t byte_utils__hex_string_to_byte(const char *text, uint8_t *value);

/* First four characters of text as a big-endian 16-bit number. Returns 4 when text is null or shorter. */
uint32_t byte_utils__hex_string_to_short(const char *text, uint16_t *value);

uint16_t byte_utils__bytes_to_short(uint8_t high, uint8_t low);

/* Byte value of a character. Returns 4 for character 0. */
uint32_t byte_utils__char_UTF8_to_byte(char character, uint8_t *value);

/* Writes two upper-case digits a byte, no terminator. Returns 4 when size < 2 * count. */
uint32_t byte_utils__byte_array_to_hex_string(const uint8_t *bytes, uint32_t count, char *text, uint32_t size);

/* Returns the bytes written; -4 when length > 2 * size, -1 on a character that is no hex digit. */
int32_t byte_utils__hex_string_to_byte_array(const char *text, uint32_t length, uint8_t *bytes, uint32_t size);

/* Contents of a DER INTEGER, 1..5 bytes. Returns the size; -4 when size is too small. */
int32_t byte_utils__uint_to_byte_array(uint8_t *out, uint32_t size, uint32_t value);

/* Big-endian bytes as a number; none is 0. Returns 0; -4 for more than 4 significant bytes. */
int32_t byte_utils__byte_array_to_uint(const uint8_t *bytes, uint32_t length, uint32_t *value);

uint8_t byte_utils__byte_nibble_swap(uint8_t value);

#define ICCID_BYTES 10
#define ICCID_ORDER_PLAIN 0   /* digits in reading order: 89 01 .. */
#define ICCID_ORDER_SWAPPED 1 /* as on the card: 98 10 .. */

/* Brings 10 bytes into the wanted order, in place. Returns 4 when they begin with neither 89 nor 98. */
uint32_t byte_utils__iccid_parse_format(uint8_t *iccid, uint8_t wanted_order);

/* BIT STRING contents of bits (one per byte, first bit first). Trailing zero bits are dropped.
 * Returns the size, 0 when no bit is set; -7 when size is too small. */
int32_t byte_utils__bit_string_encode(uint8_t *out, uint32_t size, const uint8_t *bits, uint32_t count);

/* Bits of BIT STRING contents, one per byte. Returns the bit count; -4 for bad contents, -7 when size is too small. */
int32_t byte_utils__bit_string_decode(uint8_t *bits, uint32_t size, const uint8_t *content, uint32_t length);

/* OBJECT IDENTIFIER contents of dotted text. Returns the size; 4 for a null text, -4 bad text, -7 too small. */
int32_t byte_utils__oid_encode(uint8_t *out, uint32_t size, const char *text, uint32_t length);

LPA_API_END
