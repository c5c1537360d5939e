#include "rsp/notification_processing.h"
#include "es10/es10.h"
#include "es10/es10_display.h"
#include "es10/es10_tlv_extractor.h"
#include "es9/es9.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "foundation/timer.h"
#include "rsp/card_answer.h"
#include "rsp/notification_groups.h"
#include "rsp/progress.h"
#include "tlv/ber_tlv_parser.h"
#include <algorithm>

namespace {
constexpr uint32_t answer_attempts = 3;
constexpr uint32_t answer_pause_seconds = 3;

struct session {
    ModemHandle *handle;
    uint8_t channel;
};

// A request that is repeated while the card's answer is malformed.
template <typename Request> struct card_request {
    uint32_t (*ask)(ModemHandle *handle, uint8_t channel, const Request *request, uint8_t **response,
                    uint32_t *response_length);
    void (*log_failed)(uint32_t rc);
    void (*log_answer)(const card_answer &answer);
    void (*log_retry)(int32_t level, uint32_t attempt);
};

// The third malformed answer is handed out like a good one: the decoders behind tell what is wrong with it.
template <typename Request>
uint32_t ask_card(session card, const card_request<Request> &call, const Request &request, card_answer &answer)
{
    for (uint32_t attempt = 1;; ++attempt) {
        answer.data.reset();
        const uint32_t rc = call.ask(card.handle, card.channel, &request, &answer.data.data, &answer.length);
        if (rc != RESULT__OK) {
            call.log_failed(rc);
            return rc;
        }
        call.log_answer(answer);
        if (ber_tlv_parser__validate_tlv(answer.data.data, answer.length) == RESULT__OK) return RESULT__OK;
        const bool is_last = attempt == answer_attempts;
        call.log_retry(is_last ? LOG__ERROR : LOG__INFO, attempt);
        if (is_last) return RESULT__OK;
        timer__sleep(answer_pause_seconds);
    }
}

constexpr card_request<ListNotificationRequest> list_notification = {
    .ask = es10__list_notification,
    .log_failed =
        [](uint32_t rc) {
            log__string(LOG__ERROR, "[process_notifications] es10__list_notification failed, rc %d", rc);
        },
    .log_answer =
        [](const card_answer &answer) {
            log__data(LOG__DEBUG, "[process_notifications]", answer.data.data, answer.length);
        },
    .log_retry =
        [](int32_t level, uint32_t attempt) {
            log__string(level, "[process_notifications] retry %d failed, invalid result", attempt);
        },
};

constexpr card_request<RetrieveNotificationsListRequest> retrieve_notifications_list = {
    .ask = es10__retrieve_notifications_list,
    .log_failed =
        [](uint32_t rc) {
            log__string(LOG__ERROR, "[process_notification_list] es10__retrieve_notifications_list failed, rc %d", rc);
        },
    .log_answer = [](const card_answer &) {},
    .log_retry =
        [](int32_t level, uint32_t attempt) {
            log__string(level, "[process_notification_list] retry %d failed, invalid result", attempt);
        },
};

// notification: from the start of the list's value to the end of the answer.
uint32_t find_pending_notification_on_retrieve_notifications_list_response(const uint8_t *tlv, uint32_t length,
                                                                           const uint8_t **notification,
                                                                           uint32_t *notification_length)
{
    constexpr uint16_t tag_response = 0xBF2B;
    constexpr uint16_t tag_error = 0x80;
    constexpr uint16_t tag_list = 0xA0;
    if (!tlv || length == 0) {
        log__string(LOG__ERROR,
                    "[find_pending_notification_on_retrieve_notifications_list_response] tlv is empty/null");
        return RESULT__BAD_ARGUMENT;
    }
    const int32_t response = ber_tlv_parser__find_tlv_by_tag_2(tlv, length, 0, tag_response);
    ber_tlv_record record;
    if (response < 0 ||
        ber_tlv_parser__ber_tlv_2(tlv, length, static_cast<uint32_t>(response), &record) != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[find_pending_notification_on_retrieve_notifications_list_response] TAG %04X not found",
                    tag_response);
        return RESULT__FATAL_ERROR;
    }
    const uint32_t value = static_cast<uint32_t>(response) + record.tag_bytes + record.length_bytes;
    const uint32_t value_end = value + std::min(record.length, length - value);
    const int32_t error = ber_tlv_parser__find_tlv_by_tag_2(tlv, value_end, value, tag_error);
    if (error >= 0) {
        log__string(
            LOG__ERROR,
            "[find_pending_notification_on_retrieve_notifications_list_response] notificationsListResultError found at offset %d",
            error);
        return RESULT__FATAL_ERROR;
    }
    const int32_t list = ber_tlv_parser__find_tlv_by_tag_2(tlv, value_end, value, tag_list);
    if (list < 0 || ber_tlv_parser__ber_tlv_2(tlv, length, static_cast<uint32_t>(list), &record) != RESULT__OK) {
        log__string(LOG__ERROR,
                    "[find_pending_notification_on_retrieve_notifications_list_response] notificationList not found");
        return RESULT__FATAL_ERROR;
    }
    const uint32_t list_value = static_cast<uint32_t>(list) + record.tag_bytes + record.length_bytes;
    *notification = tlv + list_value;
    *notification_length = length - list_value;
    return RESULT__OK;
}

// send_rc: the server's part, told apart from the card's, whose failure is returned and ends everything.
uint32_t retrieve_and_send(session card, const char *address, uint32_t sequence_number, uint32_t *send_rc)
{
    const RetrieveNotificationsListRequest request = {
        .value = sequence_number, .choice = NOTIFICATION_SEARCH__SEQ_NUMBER, .searchCriteria_present = 1};
    card_answer answer;
    uint32_t rc = ask_card(card, retrieve_notifications_list, request, answer);
    if (rc != RESULT__OK) return rc;
    const uint8_t *notification = nullptr;
    uint32_t length = 0;
    rc = find_pending_notification_on_retrieve_notifications_list_response(answer.data.data, answer.length,
                                                                           &notification, &length);
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[process_notification_list] find_pending_notification_on_retrieve_notifications_list_response failed, rc %d",
            rc);
        return rc;
    }
    log__data(LOG__DEBUG, "[process_notification_list] pending_notification", notification, length);
    *send_rc = es9__handle_notification(address, notification, length);
    return RESULT__OK;
}

uint32_t delete_notification(session card, uint32_t sequence_number)
{
    const NotificationSentRequest request = {.seqNumber = sequence_number};
    card_answer answer;
    uint32_t rc =
        es10__remove_notification_from_list(card.handle, card.channel, &request, &answer.data.data, &answer.length);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[delete_notification] es10__remove_notification_from_list failed, rc %d", rc);
        return rc;
    }
    uint32_t status = 0;
    rc = es10_tlv_extractor__notification_sent_response(answer.data.data, answer.length, &status);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[delete_notification] es10_tlv_extractor__notification_sent_response failed, rc %d",
                    rc);
        return rc;
    }
    lpa_display__notification_sent_response(sequence_number, status);
    return RESULT__OK;
}

// Returns what must end the processing; a notification that the server refuses is counted and stays on the card.
uint32_t process_notification(session card, const char *address, uint32_t sequence_number, uint32_t *failed_sends)
{
    const auto number = static_cast<unsigned long>(sequence_number);
    log__string(LOG__DEBUG, "[process_notification_list] Sequence number %lu", number);
    uint32_t send_rc = RESULT__OK;
    uint32_t rc = retrieve_and_send(card, address, sequence_number, &send_rc);
    if (rc != RESULT__OK) return rc;
    if (send_rc != RESULT__OK) {
        log__string(LOG__ERROR, "[process_notification_list] send_notification with sequence number %lu failed, rc %d",
                    number, send_rc);
        ++*failed_sends;
        if (send_rc == RESULT__CONNECTION_FAILED) return send_rc;
        return RESULT__OK;
    }
    log__string(LOG__INFO, "Notification %lu sent successfully", number);
    rc = delete_notification(card, sequence_number);
    if (rc == RESULT__OK) log__string(LOG__INFO, "Notification %lu deleted successfully", number);
    else
        log__string(LOG__ERROR,
                    "[process_notification_list] delete_notification with sequence number %lu failed, rc %d", number,
                    rc);
    return RESULT__OK; // a delivered notification that stays is delivered again next time
}

uint32_t count_notifications(const notification_group *list)
{
    uint32_t count = 0;
    for (const notification_group *group = list; group; group = group->next)
        count += group->count;
    return count;
}

uint32_t process_notification_list(session card, const notification_group *list)
{
    const uint32_t total = count_notifications(list);
    progress__tell(LPA_PROGRESS__DELIVERING, 0, total);
    uint32_t failed_sends = 0;
    uint32_t done = 0;
    for (const notification_group *group = list; group; group = group->next) {
        log__string(LOG__DEBUG, "[process_notification_list] Notification group address '%s'",
                    group->notification_address);
        for (uint32_t i = 0; i < group->count; ++i) {
            const uint32_t rc =
                process_notification(card, group->notification_address, group->sequence_numbers[i], &failed_sends);
            if (rc != RESULT__OK) return rc;
            progress__tell(LPA_PROGRESS__DELIVERING, ++done, total);
        }
    }
    return failed_sends == 0 ? RESULT__OK : RESULT__CONNECTION_FAILED;
}

struct owned_groups {
    notification_group *list = nullptr;
    owned_groups() = default;
    owned_groups(const owned_groups &) = delete;
    owned_groups &operator=(const owned_groups &) = delete;
    ~owned_groups() { free_notification_groups(list); }
};

uint32_t list_groups(session card, owned_groups &groups)
{
    card_answer answer;
    uint32_t rc = ask_card(card, list_notification, {.event = 0, .present = 0}, answer);
    if (rc != RESULT__OK) return rc;
    log__string(LOG__INFO, "Grouping notifications by smdp address");
    rc = group_by_notification_address(answer.data.data, answer.length, &groups.list);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR, "[process_notifications] group_by_notification_address failed, rc %d", rc);
    return rc;
}
} // namespace

uint32_t process_notifications_unlocked(ModemHandle *handle, uint8_t channel)
{
    const session card = {handle, channel};
    owned_groups groups;
    const uint32_t rc = list_groups(card, groups);
    if (rc != RESULT__OK) return rc;
    if (!groups.list) {
        log__string(LOG__INFO, "No notification has been found in the uICC");
        return RESULT__OK;
    }
    log__string(LOG__INFO, "Sorting notifications by sequence number");
    sort_notification_groups(groups.list);
    return process_notification_list(card, groups.list);
}

uint32_t process_notifications(const char *modem)
{
    ModemHandle *handle = nullptr;
    uint8_t channel = 0;
    uint32_t rc = eUICC__initialize(modem, &handle, &channel);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[process_notifications] eUICC__initialize failed, rc %d", rc);
        return rc;
    }
    rc = process_notifications_unlocked(handle, channel);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR, "[process_notifications] process_notifications_unlocked failed, rc %d", rc);
    const uint32_t terminate_rc = eUICC__terminate(handle, channel);
    if (terminate_rc != RESULT__OK)
        log__string(LOG__ERROR, "[process_notifications] eUICC__terminate failed, rc %d", terminate_rc);
    return rc;
}
