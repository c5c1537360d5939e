/* lpa/json_generator.h: the compact JSON documents that callers receive.
 *
 * Ownership  *json: terminated text, released with M_free; null on failure.
 * Texts      are inserted as they are, without escaping.
 * Errors     0; 9 no memory, 1 formatting, 4 a null argument or a value that the operation does not define. */
#pragma once
#include "es10/es10_tlv_extractor.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* {"result":N,"description":"D"} */
uint32_t json_generator__result_description(int32_t result, const char *description, char **json);

/* The same for a result code, with its description; N is the code's low byte. */
uint32_t json_generator__process_error(uint32_t code, char **json);

/* Digits of an ICCID in natural order up to its first F nibble; length (at most 20) without the terminator. */
uint32_t json_generator__remove_iccid_padding(const uint8_t *iccid, char *iccid_unpadded, uint32_t *len);

uint32_t json_generator__get_eid(const uint8_t *eid, char **json);
uint32_t json_generator__free_memory(uint32_t free_memory, char **json);

/* default_dp_address may be null. */
uint32_t json_generator__get_addresses(const char *default_dp_address, const char *root_ds_address, char **json);

/* One profile; a null iccid or state is absent, an empty text too. */
uint32_t json_generator__profile_info(const uint8_t *iccid, const uint8_t *state, const char *nickname,
                                      const char *service_provider_name, const char *profile_name, char **json);

/* The result documents also hand the eUICC's result value back in result. */
uint32_t json_generator__install_profile_result(const ProfileInstallationResult *installation, char **json,
                                                uint8_t *result);
uint32_t json_generator__enable_profile(uint32_t enable_result, char **json, uint8_t *result);
uint32_t json_generator__disable_profile(uint32_t disable_result, char **json, uint8_t *result);
uint32_t json_generator__delete_profile(uint32_t delete_result, char **json, uint8_t *result);
uint32_t json_generator__profile_nickname(uint32_t set_nickname_result, uint8_t nickname_empty, char **json,
                                          uint8_t *result);
uint32_t json_generator__set_default_dp_address(uint32_t set_default_dp_address_result, uint8_t address_empty,
                                                char **json, uint8_t *result);
uint32_t json_generator__notification_metadata(const NotificationMetadata *metadata, char **json);

LPA_API_END
