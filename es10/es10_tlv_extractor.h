/* es10/es10_tlv_extractor.h: decodes ES10 responses (SGP.22 v2.2).
 *
 * Ownership  nothing is allocated; pointer fields point into the response, which must outlive the record.
 * Errors     0; 4 for a null or empty response; 1 for a missing tag, a value that SGP.22 does not define or an element
 *            that does not end within the response (around a result of one byte it may); other codes of the extractors
 *            unchanged. A record is to be used only after 0. */
#pragma once
#include "es10/es10_installation_extractor.h"
#include "es10/es10_notification_extractor.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

typedef struct EuiccConfiguredAddresses {
    const char *defaultDpAddress; /* not terminated; null when absent, if the caller set it so */
    uint16_t defaultDpAddress_length;
    const char *rootDsAddress;
    uint16_t rootDsAddress_length;
} EuiccConfiguredAddresses;

/* The card's own result of an operation, 0 for ok; left as it was unless 0 is returned. */
uint32_t es10_tlv_extractor__enable_profile_response(const uint8_t *response, uint32_t length, uint32_t *result);
uint32_t es10_tlv_extractor__disable_profile_response(const uint8_t *response, uint32_t length, uint32_t *result);
uint32_t es10_tlv_extractor__delete_profile_response(const uint8_t *response, uint32_t length, uint32_t *result);
uint32_t es10_tlv_extractor__set_nickname_response(const uint8_t *response, uint32_t length, uint32_t *result);
uint32_t es10_tlv_extractor__set_default_dp_address_response(const uint8_t *response, uint32_t length,
                                                             uint32_t *result);
uint32_t es10_tlv_extractor__notification_sent_response(const uint8_t *response, uint32_t length, uint32_t *result);
uint32_t es10_tlv_extractor__euicc_memory_reset_response(const uint8_t *response, uint32_t length, uint32_t *result);

/* An absent defaultDpAddress leaves its fields as they were: start with a zeroed record. */
uint32_t es10_tlv_extractor__euicc_configured_addresses_response(const uint8_t *response, uint32_t length,
                                                                 EuiccConfiguredAddresses *addresses);

/* mcc_mnc: 3 bytes as coded; found is set to 1, or left as it was when the enabled profile has no owner. */
uint32_t es10_tlv_extractor__profile_info_list_response_mcc_mnc_enabled_profile(const uint8_t *response,
                                                                                uint32_t length, uint8_t mcc_mnc[3],
                                                                                uint8_t *found);

LPA_API_END
