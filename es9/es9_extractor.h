/* es9/es9_extractor.h: reads ES9+ answers.
 *
 * json is changed: base64 values are decoded in place, over the start of their text. Records point into it. */
#pragma once
#include "es9/es9_records.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* Returns 0 (with failed set when the server answered "Failed"), 1 for any other status or a bad field, 4 for null. */
uint32_t es9_json_extractor__authenticate_client_response(char *json, AuthenticateClientResponseEs9 *response);
uint32_t es9_json_extractor__cancel_session_response(char *json, CancelSessionResponseEs9 *response);

/* SmdpSigned2 (SEQUENCE 30). Returns 0, 1 for a missing field, 4 for empty input. */
uint32_t es9_tlv_extractor__smdp_signed_2(const uint8_t *tlv, uint32_t length, SmdpSigned2 *smdp_signed_2);

LPA_API_END
