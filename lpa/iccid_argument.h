// lpa/iccid_argument.h: the ICCID text that callers name a profile by; internal to lpa/.
#pragma once
#include <stdint.h>

// 18 to 20 characters, digits but for F at the end, as 10 bytes in text order, padded with F. Returns 0 or 4.
uint32_t parse_iccid(const char *text, uint8_t iccid[10]);
