/* rsp/notification_groups.h: the card's pending notifications, gathered by the server that wants them.
 *
 * A list is built with add_notification_to_list from a null pointer and released with free_notification_groups; what
 * was gathered before a failure stays in it. */
#pragma once
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

#define NOTIFICATION_ADDRESS_TEXT_SIZE 256 /* 255 bytes and the terminator */

typedef struct notification_group {
    char notification_address[NOTIFICATION_ADDRESS_TEXT_SIZE];
    uint32_t *sequence_numbers;
    uint32_t count;
    struct notification_group *next; /* in order of first appearance; null ends the list */
} notification_group;

/* Reads a ListNotificationResponse (BF28). Returns 0, 1 for an error answer, 9, or a decoder's code. */
uint32_t group_by_notification_address(const uint8_t *response, uint32_t length, notification_group **list);

/* Appends to the address's group, or a new group to the list. A longer address than fits is refused with 4.
 * Returns 0, 4 or 9. */
uint32_t add_notification_to_list(notification_group **list, uint32_t sequence_number,
                                  const char *notification_address);

/* Each group's numbers in ascending order. */
void sort_notification_groups(notification_group *list);
void free_notification_groups(notification_group *list);

LPA_API_END
