/* es10/es10_tlv_generator.h: encodes ES10 requests (SGP.22 v2.2) as BER-TLV.
 *
 * Shape      every encoder: (buffer or null, its size, offset to write at, request).
 * Sizing     with a null buffer nothing is written and offset + size of the element is returned.
 * Errors     always negative: -7 the buffer is too small and untouched, -4 an unknown CHOICE or event or a value that
 *            cannot be encoded (an ICCID that begins with neither 89 nor 98), or a primitive's code. */
#pragma once
#include "es10/es10_requests.h"
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

int32_t es10_tlv_generator__prepare_download_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                     const PrepareDownloadRequest *request);
int32_t es10_tlv_generator__cancel_session_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                   const CancelSessionRequest *request);
int32_t es10_tlv_generator__profile_info_list_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                      const ProfileInfoListRequest *request);
int32_t es10_tlv_generator__euicc_memory_reset(uint8_t *buffer, uint32_t size, uint32_t offset,
                                               const EuiccMemoryResetRequest *request);
int32_t es10_tlv_generator__retrieve_notifications_list_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                                const RetrieveNotificationsListRequest *request);
int32_t es10_tlv_generator__notification_sent_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                      const NotificationSentRequest *request);
int32_t es10_tlv_generator__set_default_dp_address_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                           const SetDefaultDpAddressRequest *request);
int32_t es10_tlv_generator__list_notification_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                      const ListNotificationRequest *request);
int32_t es10_tlv_generator__enable_profile_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                   const ProfileIdentifier *request);
int32_t es10_tlv_generator__disable_profile_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                    const ProfileIdentifier *request);
int32_t es10_tlv_generator__delete_profile_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                   const ProfileIdentifier *request);
int32_t es10_tlv_generator__set_nickname_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                 const SetNicknameRequest *request);

LPA_API_END
