#include "es10/es10_notification_extractor.h"
#include "es10/es10_requests.h"
#include "es10/es10_tags.h"
#include "es10/response_reader.h"
#include "foundation/log.h"

namespace {

constexpr uint16_t tag_notification_address = 0x0C; // UTF8String
constexpr uint8_t undefined_error = 127;

uint32_t read_iccid(response_bytes fields, NotificationMetadata *metadata)
{
    const uint8_t *iccid = metadata->iccid;
    metadata->iccid_present = 0;
    const uint32_t rc = tlv_data_extractor__iccid(TAG__ICCID, fields.data(), size_of(fields), &metadata->iccid_present,
                                                  metadata->iccid, 1);
    if (rc == RESULT__NO_DATA) {
        log__string(LOG__INFO, "[es10_tlv_extractor__notification_metadata] No ICCID data in the NotificationMetadata");
        return RESULT__OK;
    }
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__notification_metadata] Error extracting the ICCID of the NotificationMetadata, rc %d",
            static_cast<int>(rc));
        return rc;
    }
    if (metadata->iccid_present)
        log__string(
            LOG__DEBUG,
            "[es10_tlv_extractor__notification_metadata] NotificationMetadata ICCID %02X%02X%02X%02X%02X%02X%02X%02X%02X%02X",
            iccid[0], iccid[1], iccid[2], iccid[3], iccid[4], iccid[5], iccid[6], iccid[7], iccid[8], iccid[9]);
    else
        log__string(LOG__DEBUG,
                    "[es10_tlv_extractor__notification_metadata] NotificationMetadata ICCID is not present");
    return RESULT__OK;
}

} // namespace

uint32_t es10_tlv_extractor__notification_metadata(const uint8_t *tlv, uint32_t length, NotificationMetadata *metadata)
{
    if (response_reader__is_empty(tlv, length, "[es10_tlv_extractor__notification_metadata] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    log__data(LOG__TRACE, "[es10_tlv_extractor__notification_metadata] tlv", tlv, length);
    response_bytes fields;
    if (!response_reader__outer({tlv, length}, TAG__NOTIFICATION_METADATA, &fields)) {
        log__string(LOG__ERROR, "[es10_tlv_extractor__notification_metadata] NotificationMetadata TAG 0x%04X not found",
                    TAG__NOTIFICATION_METADATA);
        return RESULT__FATAL_ERROR;
    }

    uint32_t rc = tlv_data_extractor__uint32(TAG__CONTEXT_0, fields.data(), size_of(fields), &metadata->seqNumber);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__notification_metadata] Error extracting the seqNumber of the NotificationMetadata, rc %d",
            static_cast<int>(rc));
        return rc;
    }
    log__string(LOG__DEBUG, "[es10_tlv_extractor__notification_metadata] NotificationMetadata seqNumber %u",
                metadata->seqNumber);

    rc = es10_tlv_extractor__notification_event(TAG__CONTEXT_1, fields.data(), size_of(fields),
                                                &metadata->profileManagementOperation);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__notification_metadata] Error extracting the profileManagementOperation of the NotificationMetadata, rc %d",
            static_cast<int>(rc));
        return rc;
    }
    log__string(LOG__DEBUG,
                "[es10_tlv_extractor__notification_metadata] NotificationMetadata profileManagementOperation %d",
                static_cast<int>(metadata->profileManagementOperation));

    rc = tlv_data_extractor__fqdn(tag_notification_address, fields.data(), size_of(fields),
                                  metadata->notificationAddress);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__notification_metadata] Error extracting the notificationAddress of the NotificationMetadata, rc %d",
            static_cast<int>(rc));
        return rc;
    }
    log__string(LOG__DEBUG, "[es10_tlv_extractor__notification_metadata] NotificationMetadata notificationAddress %s",
                metadata->notificationAddress);
    return read_iccid(fields, metadata);
}

uint32_t es10_tlv_extractor__notification_event(uint16_t tag, const uint8_t *tlv, uint32_t length, uint32_t *event)
{
    if (response_reader__is_empty(tlv, length, "[es10_tlv_extractor__notification_event] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    uint8_t bits[NOTIFICATION_EVENT__COUNT] = {}; // the card leaves out trailing zero bits
    const uint32_t rc = tlv_data_extractor__bit_string(tag, tlv, length, bits, sizeof bits);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[es10_tlv_extractor__notification_event] Error extracting the NotificationEvent BIT STRING, rc %d",
                    static_cast<int>(rc));
        return rc;
    }
    log__data(LOG__TRACE, "[es10_tlv_extractor__notification_event] NotificationEvent BIT STRING", bits, sizeof bits);
    for (uint32_t number = 0; number < NOTIFICATION_EVENT__COUNT; ++number)
        if (bits[number]) {
            *event = number;
            return RESULT__OK;
        }
    log__string(LOG__ERROR, "[es10_tlv_extractor__notification_event] Any bit is set to 1");
    return RESULT__FATAL_ERROR;
}

uint32_t es10_tlv_extractor__list_notification_response(const uint8_t *response, uint32_t length,
                                                        ListNotificationResponse *list)
{
    if (response_reader__is_empty(response, length,
                                  "[es10_tlv_extractor__list_notification_response] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    log__data(LOG__DEBUG, "[es10_tlv_extractor__list_notification_response] ListNotificationResponse", response,
              length);
    response_bytes choice;
    if (!response_reader__outer({response, length}, TAG__LIST_NOTIFICATION, &choice)) {
        log__string(LOG__ERROR,
                    "[es10_tlv_extractor__list_notification_response] TAG of ListNotificationResponse (%04X) not found",
                    TAG__LIST_NOTIFICATION);
        return RESULT__FATAL_ERROR;
    }
    ber_tlv_record record;
    const uint32_t rc = ber_tlv_parser__ber_tlv_2(choice.data(), size_of(choice), 0, &record);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__list_notification_response] Error parsing the ListNotificationResponse TLV, rc %d",
            static_cast<int>(rc));
        return rc;
    }
    switch (record.tag) {
    case TAG__CONTEXT_1:
        log__string(
            LOG__DEBUG,
            "[es10_tlv_extractor__list_notification_response] The ListNotificationResponse is a listNotificationsResultError");
        list->choice = LIST_NOTIFICATION__ERROR;
        return es10_tlv_extractor__list_notifications_result_error(choice.data(), size_of(choice), &list->error);
    case TAG__CONSTRUCTED_0:
        log__string(
            LOG__DEBUG,
            "[es10_tlv_extractor__list_notification_response] The ListNotificationResponse is a notificationMetadataList");
        list->choice = LIST_NOTIFICATION__METADATA_LIST;
        return tlv_data_extractor__asn1_list_init(&list->notificationMetadataList, TAG__CONSTRUCTED_0,
                                                  TAG__NOTIFICATION_METADATA, choice.data(), size_of(choice));
    default:
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__list_notification_response] Unknown TAG %04X of ListNotificationResponse CHOICE",
            record.tag);
        return RESULT__FATAL_ERROR;
    }
}

uint32_t es10_tlv_extractor__list_notifications_result_error(const uint8_t *tlv, uint32_t length, uint32_t *error)
{
    if (response_reader__is_empty(tlv, length,
                                  "[es10_tlv_extractor__list_notifications_result_error] tlv is empty/null"))
        return RESULT__BAD_ARGUMENT;
    uint8_t value = 0;
    const uint32_t rc = tlv_data_extractor__result_code(TAG__CONTEXT_1, tlv, length, &value);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__list_notifications_result_error] Error extracting the listNotificationsResultError, rc %d",
            static_cast<int>(rc));
        return rc;
    }
    if (value != undefined_error) {
        log__string(
            LOG__ERROR,
            "[es10_tlv_extractor__list_notifications_result_error] Error %02X not defined in the listNotificationsResultError",
            value);
        return RESULT__FATAL_ERROR;
    }
    *error = value;
    return RESULT__OK;
}

uint32_t es10_tlv_extractor__retrieve_notifications_list_response_is_empty_list(const uint8_t *response,
                                                                                uint32_t length, uint8_t *is_empty)
{
    if (response_reader__is_empty(
            response, length,
            "[ipa_tlv_data_extractor__check_pending_notifications] RetrieveNotificationsListResponse is empty"))
        return RESULT__BAD_ARGUMENT;
    response_bytes contents;
    if (!response_reader__outer({response, length}, TAG__RETRIEVE_NOTIFICATIONS_LIST, &contents)) {
        log__string(
            LOG__ERROR,
            "[ipa_tlv_data_extractor__check_pending_notifications] TAG of RetrieveNotificationsListResponse (%04X) not found",
            TAG__RETRIEVE_NOTIFICATIONS_LIST);
        return RESULT__FATAL_ERROR;
    }
    if (response_reader__find_child(contents, TAG__CONTEXT_1) >= 0) {
        log__string(
            LOG__ERROR,
            "[ipa_tlv_data_extractor__check_pending_notifications] RetrieveNotificationsListResponse contains a notificationsListResultError");
        return RESULT__FATAL_ERROR;
    }
    const int32_t offset = response_reader__find_child(contents, TAG__CONSTRUCTED_0);
    if (offset < 0) {
        log__string(LOG__ERROR,
                    "[ipa_tlv_data_extractor__check_pending_notifications] TAG of SEQUENCE (%04X) not found",
                    TAG__CONSTRUCTED_0);
        return RESULT__FATAL_ERROR;
    }
    response_bytes notifications;
    const uint32_t rc = response_reader__value(contents, offset, &notifications);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[ipa_tlv_data_extractor__check_pending_notifications] Error parsing the tagList TLV from the PendingNotification TLV on offset %u, rc %d",
            static_cast<uint32_t>(contents.data() - response) + offset, static_cast<int>(rc));
        return RESULT__FATAL_ERROR;
    }
    *is_empty = notifications.empty() ? 1 : 0;
    return RESULT__OK;
}
