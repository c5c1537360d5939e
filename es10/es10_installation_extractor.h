/* es10/es10_installation_extractor.h: decodes the ProfileInstallationResult, the card's last word on a download.
 *
 * Ownership and errors as in es10_tlv_extractor.h. */
#pragma once
#include "es10/es10_notification_extractor.h"
#include "foundation/export.h"
#include "tlv/transaction_id.h"
#include <stdint.h>

LPA_API_BEGIN

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

uint32_t es10_tlv_extractor__profile_installation_result(const uint8_t *response, uint32_t length,
                                                         ProfileInstallationResult *result);

/* The inner readers take the bytes in which their element is looked for; success and error result those of the
 * contents of A0 and A1. Each fills its own fields of the record. */
uint32_t es10_tlv_extractor__profile_installation_result_data(const uint8_t *tlv, uint32_t length,
                                                              ProfileInstallationResult *result);
uint32_t es10_tlv_extractor__final_result(const uint8_t *tlv, uint32_t length, ProfileInstallationResult *result);
uint32_t es10_tlv_extractor__success_result(const uint8_t *tlv, uint32_t length, ProfileInstallationResult *result);
uint32_t es10_tlv_extractor__error_result(const uint8_t *tlv, uint32_t length, ProfileInstallationResult *result);
uint32_t es10_tlv_extractor__bpp_command_id(const uint8_t *tlv, uint32_t length, uint8_t *id);
uint32_t es10_tlv_extractor__error_reason(const uint8_t *tlv, uint32_t length, uint8_t *reason);

LPA_API_END
