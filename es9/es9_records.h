/* es9/es9_records.h: what ES9+ answers hold. Pointers point into the answer's text. */
#pragma once
#include "tlv/transaction_id.h"
#include <stdint.h>

#define EXECUTION_STATUS__SUCCESS 0
#define EXECUTION_STATUS__WITH_WARNING 1
#define EXECUTION_STATUS__FAILED 2
#define EXECUTION_STATUS__EXPIRED 3

typedef struct FunctionExecutionStatus {
    uint32_t status; /* EXECUTION_STATUS */
    uint8_t statusCodeData_present;
    const char *subjectCode; /* not terminated, like all texts here */
    uint32_t subjectCode_length;
    const char *reasonCode;
    uint32_t reasonCode_length;
    const char *subjectIdentifier;
    uint32_t subjectIdentifier_length;
    uint8_t subjectIdentifier_present;
    const char *message;
    uint32_t message_length;
    uint8_t message_present;
} FunctionExecutionStatus;

typedef struct AuthenticateClientResponseEs9 {
    uint8_t failed;                   /* 1 when the server answered "Failed" */
    uint32_t authenticateClientError; /* 127 undefined */
    TransactionId transactionId;
    const uint8_t *profileMetadata; /* decoded in place */
    uint32_t profileMetadata_length;
    const uint8_t *smdpSigned2;
    uint32_t smdpSigned2_length;
    const uint8_t *smdpSignature2;
    uint32_t smdpSignature2_length;
    const uint8_t *smdpCertificate;
    uint32_t smdpCertificate_length;
    char *text; /* the answer that the pointers point into; owned when filled by es9__authenticate_client */
} AuthenticateClientResponseEs9;

typedef struct CancelSessionResponseEs9 {
    uint8_t failed;
    uint32_t cancelSessionError; /* 127 undefined */
} CancelSessionResponseEs9;

typedef struct SmdpSigned2 {
    TransactionId transactionId;
    uint8_t transactionId_present;
    uint8_t ccRequiredFlag;
    const uint8_t *bppEuiccOtpk;
    uint32_t bppEuiccOtpk_length;
    uint8_t bppEuiccOtpk_present;
} SmdpSigned2;
