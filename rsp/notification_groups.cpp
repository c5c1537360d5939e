#include "rsp/notification_groups.h"
#include "es10/es10_tlv_extractor.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "tlv/tlv_data_extractor.h"
#include <string.h>

static_assert(NOTIFICATION_ADDRESS_TEXT_SIZE == FQDN_TEXT_SIZE);

namespace {
uint32_t add_to_group(notification_group *group, uint32_t sequence_number)
{
    const size_t size = (size_t{group->count} + 1) * sizeof *group->sequence_numbers;
    auto *grown = static_cast<uint32_t *>(M_realloc(group->sequence_numbers, size));
    if (!grown) {
        log__string(
            LOG__ERROR,
            "[add_notification_to_list] Error reallocating the sequence number list for the notificationAddress group %s",
            group->notification_address);
        return RESULT__NO_MEMORY;
    }
    grown[group->count++] = sequence_number;
    group->sequence_numbers = grown;
    log__string(LOG__DEBUG, "[add_notification_to_list] Sequence number %u added", sequence_number);
    return RESULT__OK;
}

uint32_t append_group(notification_group **end, bool is_first, uint32_t sequence_number,
                      const char *notification_address)
{
    owned<notification_group> group(static_cast<notification_group *>(M_calloc(1, sizeof(notification_group))));
    if (!group.data) {
        if (is_first)
            log__string(LOG__ERROR,
                        "[add_notification_to_list] Error allocating memory to the first entry of the list");
        else
            log__string(
                LOG__ERROR,
                "[add_notification_to_list] Error allocating memory to the new entry of the list, notificationAddress group %s",
                notification_address);
        return RESULT__NO_MEMORY;
    }
    group.data->sequence_numbers = static_cast<uint32_t *>(M_malloc(sizeof sequence_number));
    if (!group.data->sequence_numbers) {
        log__string(
            LOG__ERROR,
            "[add_notification_to_list] Error allocating memory to the new sequence number list of the notificationAddress group %s",
            notification_address);
        return RESULT__NO_MEMORY;
    }
    memcpy(group.data->notification_address, notification_address, strlen(notification_address)); // it fits: checked
    group.data->sequence_numbers[0] = sequence_number;
    group.data->count = 1;
    *end = group.hand_over();
    log__string(LOG__DEBUG, "[add_notification_to_list] Sequence number %u added to the new notificationAddress group",
                sequence_number);
    return RESULT__OK;
}

uint32_t add_element(const uint8_t *element, uint32_t size, notification_group **list)
{
    NotificationMetadata metadata = {};
    uint32_t rc = es10_tlv_extractor__notification_metadata(element, size, &metadata);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[lpa_tlv_to_json__list_notifications] Error extracting the data from the NotificationMetadata, rc %d", rc);
        return rc;
    }
    rc = add_notification_to_list(list, metadata.seqNumber, metadata.notificationAddress);
    if (rc != RESULT__OK)
        log__string(
            LOG__ERROR,
            "[group_by_notification_address] Error adding the NotificationMetadata to the list, rc %d. sequence_number %lu, notification_address %s",
            rc, static_cast<unsigned long>(metadata.seqNumber), metadata.notificationAddress);
    return rc;
}

// The difference decides, as for serial numbers: numbers more than half the range apart count as wrapped.
bool is_after(uint32_t left, uint32_t right) { return static_cast<int32_t>(left - right) > 0; }

// Insertion, because that order is not transitive over the whole range, which std::sort would not survive.
void sort_numbers(uint32_t *numbers, uint32_t count)
{
    for (uint32_t i = 1; i < count; ++i) {
        const uint32_t number = numbers[i];
        uint32_t place = i;
        for (; place > 0 && is_after(numbers[place - 1], number); --place)
            numbers[place] = numbers[place - 1];
        numbers[place] = number;
    }
}
} // namespace

uint32_t add_notification_to_list(notification_group **list, uint32_t sequence_number, const char *notification_address)
{
    log__string(LOG__DEBUG, "[add_notification_to_list] sequence_number %u, notification_address '%s'", sequence_number,
                notification_address);
    if (strlen(notification_address) >= NOTIFICATION_ADDRESS_TEXT_SIZE) return RESULT__BAD_ARGUMENT;
    notification_group **link = list;
    for (; *link; link = &(*link)->next) {
        if (strcmp((*link)->notification_address, notification_address) != 0) continue;
        log__string(LOG__DEBUG, "[add_notification_to_list] notificationAddress group '%s' found",
                    notification_address);
        return add_to_group(*link, sequence_number);
    }
    log__string(LOG__DEBUG, "[add_notification_to_list] notificationAddress group '%s' not found",
                notification_address);
    return append_group(link, link == list, sequence_number, notification_address);
}

uint32_t group_by_notification_address(const uint8_t *response, uint32_t length, notification_group **list)
{
    ListNotificationResponse decoded = {};
    uint32_t rc = es10_tlv_extractor__list_notification_response(response, length, &decoded);
    if (rc != RESULT__OK) return rc;
    if (decoded.choice != LIST_NOTIFICATION__METADATA_LIST) {
        log__string(
            LOG__ERROR,
            "[group_by_notification_address] ListNotificationResponse CHOICE is not notificationMetadataList. CHOICE %d",
            decoded.choice);
        return RESULT__FATAL_ERROR;
    }
    for (;;) {
        const uint8_t *element = nullptr;
        uint32_t size = 0;
        rc = tlv_data_extractor__asn1_list_get_next(&decoded.notificationMetadataList, &element, &size);
        if (rc != RESULT__OK) {
            log__string(
                LOG__ERROR,
                "[lpa_tlv_to_json__list_notifications] Error iterating over the notificationMetadataList SEQUENCE, rc %d",
                rc);
            return rc;
        }
        if (!element) return RESULT__OK;
        rc = add_element(element, size, list);
        if (rc != RESULT__OK) return rc;
    }
}

void sort_notification_groups(notification_group *list)
{
    for (notification_group *group = list; group; group = group->next)
        sort_numbers(group->sequence_numbers, group->count);
}

void free_notification_groups(notification_group *list)
{
    while (list) {
        notification_group *next = list->next;
        M_free(list->sequence_numbers);
        M_free(list);
        list = next;
    }
}
