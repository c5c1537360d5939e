/* lpa/lpa_tlv_to_json.h: turns raw ES10 responses into the documents of lpa/json_generator.h.
 *
 * Ownership  *json: terminated text, released with M_free; null on failure.
 * Flag       converters of operations set *result_flag to 1 when the eUICC's own result was not "ok" and leave it
 *            otherwise.
 * Errors     0; 4 empty input or undefined value, 1 missing tag, 9 no memory, or a decoder's code. */
#pragma once
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* ICCID of the GSMA test profile, plain digit order: left out of every profile list. */
extern const uint8_t gsma_iccid[10];

uint32_t lpa_tlv_to_json__get_euicc_data_response(const uint8_t *response, uint32_t length, char **json);
uint32_t lpa_tlv_to_json__profile_info_list_response(const uint8_t *response, uint32_t length, char **json);
uint32_t lpa_tlv_to_json__euicc_configured_addresses_response(const uint8_t *response, uint32_t length, char **json);
uint32_t lpa_tlv_to_json__free_memory_response(uint32_t free_memory, char **json);
uint32_t lpa_tlv_to_json__list_notifications(const uint8_t *response, uint32_t length, char **json);
uint32_t lpa_tlv_to_json__profile_installation_result(const uint8_t *response, uint32_t length, char **json,
                                                      uint8_t *result_flag);
uint32_t lpa_tlv_to_json__enable_profile_response(const uint8_t *response, uint32_t length, char **json,
                                                  uint8_t *result_flag);
uint32_t lpa_tlv_to_json__disable_profile_response(const uint8_t *response, uint32_t length, char **json,
                                                   uint8_t *result_flag);
uint32_t lpa_tlv_to_json__delete_profile_response(const uint8_t *response, uint32_t length, char **json,
                                                  uint8_t *result_flag);
uint32_t lpa_tlv_to_json__set_nickname_response(const uint8_t *response, uint32_t length, uint8_t nickname_empty,
                                                char **json, uint8_t *result_flag);
uint32_t lpa_tlv_to_json__set_default_dp_address_response(const uint8_t *response, uint32_t length,
                                                          uint8_t address_empty, char **json, uint8_t *result_flag);

typedef struct LpaProfileRecord { /* 22 bytes apart */
    uint8_t state;                /* profileState, 0 when absent */
    char iccid[21];               /* without padding, terminated */
} LpaProfileRecord;

/* The list as records; *profiles is released with M_free, null when empty. */
uint32_t lpa_tlv_parse_profile_info_list_response(const uint8_t *response, uint32_t length, LpaProfileRecord **profiles,
                                                  uint32_t *count);

LPA_API_END
