/* es10/es10_display.h: ES10 requests in the log, in readable form (level 3, fields indented by a tab).
 *
 * A request that cannot be shown is reported at level 1; nothing here stops the request itself. The UTF-8 texts
 * (default address, nickname) go to standard error as they are, see log__utf8_data. */
#pragma once
#include "es10/es10_requests.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

void es10_display__aid(const char *prefix, const uint8_t aid[16], const char *suffix);
void es10_display__iccid(const char *prefix, const uint8_t iccid[10], const char *suffix);
void es10_display__profile_identifier(const ProfileIdentifier *identifier);
void es10_display__transaction_id(const TransactionId *transaction_id);

void es10_display__euicc_memory_reset_request(const EuiccMemoryResetRequest *request);
void es10_display__cancel_session_request(const CancelSessionRequest *request);
void es10_display__retrieve_notifications_list_request(const RetrieveNotificationsListRequest *request);
void es10_display__notification_sent_request(const NotificationSentRequest *request);
void es10_display__profile_info_list_request(const ProfileInfoListRequest *request);
void es10_display__set_default_dp_address_request(const SetDefaultDpAddressRequest *request);
void es10_display__list_notification_request(const ListNotificationRequest *request);
void es10_display__enable_profile_request(const ProfileIdentifier *request);
void es10_display__disable_profile_request(const ProfileIdentifier *request);
void es10_display__delete_profile_request(const ProfileIdentifier *request);
void es10_display__set_nickname_request(const SetNicknameRequest *request);

/* Outcome of NotificationSent: deleteNotificationStatus 0 at level 3, anything else at level 1. */
void lpa_display__notification_sent_response(uint32_t sequence_number, uint32_t delete_notification_status);

LPA_API_END
