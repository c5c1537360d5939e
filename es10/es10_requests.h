/* es10/es10_requests.h: the records from which ES10 requests are encoded (SGP.22 v2.2).
 *
 * Plain values owned by the caller; pointers point to bytes that outlive the record. Field names are those of SGP.22.
 */
#pragma once
#include "tlv/transaction_id.h"
#include <stdint.h>

#define PROFILE_IDENTIFIER__ISDP_AID 0
#define PROFILE_IDENTIFIER__ICCID 1

typedef struct ProfileIdentifier { /* enable, disable, delete */
    uint32_t choice;
    uint8_t value[16];   /* ISD-P AID, or the ICCID in the first 10 bytes */
    uint8_t refreshFlag; /* enable and disable only */
} ProfileIdentifier;

#define PROFILE_SEARCH__ISDP_AID 0
#define PROFILE_SEARCH__ICCID 1
#define PROFILE_SEARCH__PROFILE_CLASS 2

enum { /* indices of ProfileInfoListRequest.tags */
       PROFILE_TAG__ICCID,
       PROFILE_TAG__ISDP_AID,
       PROFILE_TAG__PROFILE_STATE,
       PROFILE_TAG__PROFILE_NICKNAME,
       PROFILE_TAG__SERVICE_PROVIDER_NAME,
       PROFILE_TAG__PROFILE_NAME,
       PROFILE_TAG__ICON_TYPE,
       PROFILE_TAG__ICON,
       PROFILE_TAG__PROFILE_CLASS,
       PROFILE_TAG__NOTIFICATION_CONFIGURATION_INFO,
       PROFILE_TAG__PROFILE_OWNER,
       PROFILE_TAG__DP_PROPRIETARY_DATA,
       PROFILE_TAG__PROFILE_POLICY_RULES,
       PROFILE_TAG__COUNT
};

typedef struct ProfileInfoListRequest {
    uint32_t search_choice;
    uint8_t search_value[16]; /* AID, ICCID, or the class (0 test, 1 provisioning, 2 operational) in the first byte */
    uint8_t tags[PROFILE_TAG__COUNT]; /* non-zero: requested */
    uint8_t searchCriteria_present;
    uint8_t tagList_present;
} ProfileInfoListRequest;

enum { /* bit numbers of profileManagementOperation */
       NOTIFICATION_EVENT__INSTALL,
       NOTIFICATION_EVENT__ENABLE,
       NOTIFICATION_EVENT__DISABLE,
       NOTIFICATION_EVENT__DELETE,
       NOTIFICATION_EVENT__COUNT
};

#define NOTIFICATION_SEARCH__SEQ_NUMBER 0
#define NOTIFICATION_SEARCH__PROFILE_MANAGEMENT_OPERATION 1

typedef struct RetrieveNotificationsListRequest {
    uint32_t value;  /* a seqNumber or a NOTIFICATION_EVENT */
    uint32_t choice; /* NOTIFICATION_SEARCH */
    uint32_t searchCriteria_present;
} RetrieveNotificationsListRequest;

typedef struct ListNotificationRequest {
    uint32_t event; /* NOTIFICATION_EVENT */
    uint8_t present;
} ListNotificationRequest;

typedef struct NotificationSentRequest {
    uint32_t seqNumber;
} NotificationSentRequest;

#define NICKNAME_MAX_BYTES 64

typedef struct SetNicknameRequest {
    uint8_t iccid[10];
    uint8_t nickname[NICKNAME_MAX_BYTES]; /* not terminated */
    uint8_t nickname_length;              /* 0..64; 0 removes the nickname */
} SetNicknameRequest;

typedef struct SetDefaultDpAddressRequest {
    const char *address; /* not terminated */
    uint32_t length;
} SetDefaultDpAddressRequest;

typedef struct EuiccMemoryResetRequest {
    uint8_t deleteOperationalProfiles;
    uint8_t deleteFieldLoadedTestProfiles;
    uint8_t resetDefaultSmdpAddress;
} EuiccMemoryResetRequest;

typedef struct CancelSessionRequest {
    TransactionId transactionId;
    uint32_t reason; /* its low byte is written */
} CancelSessionRequest;

typedef struct PrepareDownloadRequest { /* pointers: complete elements as received from the SM-DP+ */
    const uint8_t *smdpSigned2;
    uint32_t smdpSigned2_length;
    const uint8_t *smdpSignature2;
    uint32_t smdpSignature2_length;
    uint8_t hashCc[32];
    uint8_t hashCc_present;
    const uint8_t *smdpCertificate;
    uint32_t smdpCertificate_length;
} PrepareDownloadRequest;
