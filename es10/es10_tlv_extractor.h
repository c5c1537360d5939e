/* es10/es10_tlv_extractor.h: decodes ES10 responses (SGP.22 v2.2).
 *
 * Ownership  nothing is allocated; pointer fields point into the response, which must outlive the record.
 * Errors     0; 4 for a null or empty response; 1 for a missing tag or a value that SGP.22 does not define; other
 *            codes of the extractors unchanged. A record is to be used only after 0. */
#pragma once
#include "foundation/export.h"
#include "tlv/tlv_data_extractor.h"
#include <stdint.h>

LPA_API_BEGIN

typedef struct EuiccConfiguredAddresses {
    const char *defaultDpAddress; /* not terminated; null when absent */
    uint16_t defaultDpAddress_length;
    const char *rootDsAddress;
    uint16_t rootDsAddress_length;
} EuiccConfiguredAddresses;

typedef struct NotificationMetadata {
    uint32_t seqNumber;
    uint32_t profileManagementOperation; /* NOTIFICATION_EVENT */
    char notificationAddress[FQDN_TEXT_SIZE];
    uint8_t iccid[10]; /* natural digit order */
    uint8_t iccid_present;
} NotificationMetadata;

#define FINAL_RESULT__SUCCESS 0
#define FINAL_RESULT__ERROR 1
#define AID_MAX_BYTES 16

typedef struct ProfileInstallationResult {
    TransactionId transactionId;
    NotificationMetadata notificationMetadata;
    const uint8_t *smdpOid;
    uint32_t smdpOid_length;
    uint32_t finalResult; /* FINAL_RESULT */
    uint8_t aid[AID_MAX_BYTES];
    uint8_t aid_length;
    uint8_t bppCommandId;
    uint8_t errorReason;
    const uint8_t *simaResponse; /* of either result */
    uint32_t simaResponse_length;
    uint8_t simaResponse_present; /* always 1 for a success */
    const uint8_t *euiccSignPIR;
    uint32_t euiccSignPIR_length;
} ProfileInstallationResult;

#define LIST_NOTIFICATION__METADATA_LIST 0
#define LIST_NOTIFICATION__ERROR 1

typedef struct ListNotificationResponse {
    uint32_t choice; /* LIST_NOTIFICATION */
    uint32_t error;
    asn1_list notificationMetadataList; /* of BF2F elements */
} ListNotificationResponse;

uint32_t es10_tlv_extractor__enable_profile_response(const uint8_t *response, uint32_t length, uint32_t *result);
uint32_t es10_tlv_extractor__disable_profile_response(const uint8_t *response, uint32_t length, uint32_t *result);
uint32_t es10_tlv_extractor__delete_profile_response(const uint8_t *response, uint32_t length, uint32_t *result);
uint32_t es10_tlv_extractor__set_nickname_response(const uint8_t *response, uint32_t length, uint32_t *result);
uint32_t es10_tlv_extractor__set_default_dp_address_response(const uint8_t *response, uint32_t length,
                                                             uint32_t *result);
uint32_t es10_tlv_extractor__notification_sent_response(const uint8_t *response, uint32_t length, uint32_t *result);
uint32_t es10_tlv_extractor__euicc_memory_reset_response(const uint8_t *response, uint32_t length, uint32_t *result);

uint32_t es10_tlv_extractor__euicc_configured_addresses_response(const uint8_t *response, uint32_t length,
                                                                 EuiccConfiguredAddresses *addresses);
uint32_t es10_tlv_extractor__notification_metadata(const uint8_t *tlv, uint32_t length, NotificationMetadata *metadata);

/* event: number of the first bit set in the BIT STRING under tag. */
uint32_t es10_tlv_extractor__notification_event(uint16_t tag, const uint8_t *tlv, uint32_t length, uint32_t *event);

uint32_t es10_tlv_extractor__profile_installation_result(const uint8_t *response, uint32_t length,
                                                         ProfileInstallationResult *result);
/* The inner readers take the bytes in which their element is looked for. */
uint32_t es10_tlv_extractor__profile_installation_result_data(const uint8_t *tlv, uint32_t length,
                                                              ProfileInstallationResult *result);
uint32_t es10_tlv_extractor__final_result(const uint8_t *tlv, uint32_t length, ProfileInstallationResult *result);
uint32_t es10_tlv_extractor__success_result(const uint8_t *tlv, uint32_t length, ProfileInstallationResult *result);
uint32_t es10_tlv_extractor__error_result(const uint8_t *tlv, uint32_t length, ProfileInstallationResult *result);
uint32_t es10_tlv_extractor__bpp_command_id(const uint8_t *tlv, uint32_t length, uint8_t *id);
uint32_t es10_tlv_extractor__error_reason(const uint8_t *tlv, uint32_t length, uint8_t *reason);

uint32_t es10_tlv_extractor__list_notification_response(const uint8_t *response, uint32_t length,
                                                        ListNotificationResponse *list);
uint32_t es10_tlv_extractor__list_notifications_result_error(const uint8_t *tlv, uint32_t length, uint32_t *error);

/* is_empty: 1 when the list holds nothing. */
uint32_t es10_tlv_extractor__retrieve_notifications_list_response_is_empty_list(const uint8_t *response,
                                                                                uint32_t length, uint8_t *is_empty);

/* mcc_mnc: 3 bytes as coded; found is set to 1, or left as it was when the enabled profile has no owner. */
uint32_t es10_tlv_extractor__profile_info_list_response_mcc_mnc_enabled_profile(const uint8_t *response,
                                                                                uint32_t length, uint8_t mcc_mnc[3],
                                                                                uint8_t *found);

LPA_API_END
