// es10/request_values.h: the contents of each request, without its outer tag. Internal to es10/.
//
// Shape      (buffer or null, its size, offset to write at, request); sizing as in es10_tlv_generator.h.
// Errors     always negative, also where the TLV generator reports a positive code.
#pragma once
#include "es10/es10_requests.h"
#include <stdint.h>

int32_t es10_tlv_generator__prepare_download_request_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                           const PrepareDownloadRequest *request);
int32_t es10_tlv_generator__cancel_session_request_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                         const CancelSessionRequest *request);
int32_t es10_tlv_generator__profile_info_list_request_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                            const ProfileInfoListRequest *request);
int32_t es10_tlv_generator__profile_state_change_request_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                               const ProfileIdentifier *request);
int32_t es10_tlv_generator__profile_identifier_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                     const ProfileIdentifier *identifier);
int32_t es10_tlv_generator__set_nickname_request_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                       const SetNicknameRequest *request);

// Contents of one field, which the two optional ones leave out.
int32_t request_values__reset_options(uint8_t *buffer, uint32_t size, uint32_t offset,
                                      const EuiccMemoryResetRequest *request);
int32_t request_values__notification_search(uint8_t *buffer, uint32_t size, uint32_t offset,
                                            const RetrieveNotificationsListRequest *request);
int32_t request_values__sequence_number(uint8_t *buffer, uint32_t size, uint32_t offset,
                                        const NotificationSentRequest *request);
int32_t request_values__default_dp_address(uint8_t *buffer, uint32_t size, uint32_t offset,
                                           const SetDefaultDpAddressRequest *request);
int32_t request_values__notification_event(uint8_t *buffer, uint32_t size, uint32_t offset,
                                           const ListNotificationRequest *request);
