/* es10/es10_notification_extractor.h: decodes what the card tells about its pending notifications.
 *
 * Ownership and errors as in es10_tlv_extractor.h. */
#pragma once
#include "foundation/export.h"
#include "tlv/tlv_data_extractor.h"
#include <stdint.h>

LPA_API_BEGIN

typedef struct NotificationMetadata {
    uint32_t seqNumber;
    uint32_t profileManagementOperation; /* NOTIFICATION_EVENT */
    char notificationAddress[FQDN_TEXT_SIZE];
    uint8_t iccid[10]; /* natural digit order */
    uint8_t iccid_present;
} NotificationMetadata;

#define LIST_NOTIFICATION__METADATA_LIST 0
#define LIST_NOTIFICATION__ERROR 1

typedef struct ListNotificationResponse {
    uint32_t choice; /* LIST_NOTIFICATION */
    uint32_t error;
    asn1_list notificationMetadataList; /* of BF2F elements */
} ListNotificationResponse;

uint32_t es10_tlv_extractor__notification_metadata(const uint8_t *tlv, uint32_t length, NotificationMetadata *metadata);

/* event: number of the first bit set in the BIT STRING under tag. */
uint32_t es10_tlv_extractor__notification_event(uint16_t tag, const uint8_t *tlv, uint32_t length, uint32_t *event);

uint32_t es10_tlv_extractor__list_notification_response(const uint8_t *response, uint32_t length,
                                                        ListNotificationResponse *list);

/* tlv: the bytes in which the error's element is looked for. */
uint32_t es10_tlv_extractor__list_notifications_result_error(const uint8_t *tlv, uint32_t length, uint32_t *error);

/* is_empty: 1 when the list holds nothing. */
uint32_t es10_tlv_extractor__retrieve_notifications_list_response_is_empty_list(const uint8_t *response,
                                                                                uint32_t length, uint8_t *is_empty);

LPA_API_END
