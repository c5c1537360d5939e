/* es10/es10.h: the LPA's calls on the ISD-R, one per ES10 function.
 *
 * Session    (handle, channel) of an open eUICC session.
 * Response   *response: the card's raw answer, released with M_free; null when there is none.
 * Errors     0; 1 the request cannot be encoded (the card is not contacted), 9 no memory, or the session's code. */
#pragma once
#include "es10/es10_requests.h"
#include "euicc/euicc_session.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

uint32_t es10__get_euicc_configured_addresses(ModemHandle *handle, uint8_t channel, uint8_t **response,
                                              uint32_t *response_length);
uint32_t es10__get_euicc_info_1(ModemHandle *handle, uint8_t channel, uint8_t **response, uint32_t *response_length);
uint32_t es10__get_euicc_info_2(ModemHandle *handle, uint8_t channel, uint8_t **response, uint32_t *response_length);
uint32_t es10__get_euicc_challenge(ModemHandle *handle, uint8_t channel, uint8_t **response, uint32_t *response_length);
uint32_t es10__get_rat(ModemHandle *handle, uint8_t channel, uint8_t **response, uint32_t *response_length);
uint32_t es10__get_eid(ModemHandle *handle, uint8_t channel, uint8_t **response, uint32_t *response_length);
uint32_t es10__euicc_memory_reset(ModemHandle *handle, uint8_t channel, const EuiccMemoryResetRequest *request,
                                  uint8_t **response, uint32_t *response_length);
uint32_t es10__prepare_download(ModemHandle *handle, uint8_t channel, const PrepareDownloadRequest *request,
                                uint8_t **response, uint32_t *response_length);
uint32_t es10__cancel_session(ModemHandle *handle, uint8_t channel, const CancelSessionRequest *request,
                              uint8_t **response, uint32_t *response_length);
uint32_t es10__retrieve_notifications_list(ModemHandle *handle, uint8_t channel,
                                           const RetrieveNotificationsListRequest *request, uint8_t **response,
                                           uint32_t *response_length);
uint32_t es10__remove_notification_from_list(ModemHandle *handle, uint8_t channel,
                                             const NotificationSentRequest *request, uint8_t **response,
                                             uint32_t *response_length);
uint32_t es10__get_profiles_info(ModemHandle *handle, uint8_t channel, const ProfileInfoListRequest *request,
                                 uint8_t **response, uint32_t *response_length);
uint32_t es10__set_default_dp_address(ModemHandle *handle, uint8_t channel, const SetDefaultDpAddressRequest *request,
                                      uint8_t **response, uint32_t *response_length);
uint32_t es10__list_notification(ModemHandle *handle, uint8_t channel, const ListNotificationRequest *request,
                                 uint8_t **response, uint32_t *response_length);
uint32_t es10__enable_profile(ModemHandle *handle, uint8_t channel, const ProfileIdentifier *request,
                              uint8_t **response, uint32_t *response_length);
uint32_t es10__disable_profile(ModemHandle *handle, uint8_t channel, const ProfileIdentifier *request,
                               uint8_t **response, uint32_t *response_length);
uint32_t es10__delete_profile(ModemHandle *handle, uint8_t channel, const ProfileIdentifier *request,
                              uint8_t **response, uint32_t *response_length);
uint32_t es10__set_nickname(ModemHandle *handle, uint8_t channel, const SetNicknameRequest *request, uint8_t **response,
                            uint32_t *response_length);

/* Free non-volatile memory in bytes, from EUICCInfo2. Returns 1 when the answer does not hold it. */
uint32_t es10__get_free_memory(ModemHandle *handle, uint8_t channel, uint32_t *free_memory);

LPA_API_END
