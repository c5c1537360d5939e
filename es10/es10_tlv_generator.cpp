#include "es10/es10_tlv_generator.h"
#include "es10/es10_tags.h"
#include "es10/request_values.h"
#include "es10/request_writer.h"

namespace {

// One row per text. Some requests report a failed size with the words of SetDefaultDpAddress.
// clang-format off
constexpr request_shape<PrepareDownloadRequest> prepare_download = {
    .tag = TAG__PREPARE_DOWNLOAD,
    .write_value = es10_tlv_generator__prepare_download_request_value,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__prepare_download_request] Error calculating the size of the defaultDpAddress TLV, rc %d", rc); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__prepare_download_request] Error calculating the size of the SetDefaultDpAddressRequest TLV, rc %d", rc); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__prepare_download_request] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__prepare_download_request] Error adding the PrepareDownloadRequest TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__prepare_download_request] PrepareDownloadRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__prepare_download_request] Error adding the PrepareDownloadRequest VALUE to the PrepareDownloadRequest TLV, rc %d", rc); },
    .element_title = "[es10_tlv_generator__prepare_download_request] PrepareDownloadRequest TLV",
    .dump_after_failure = true,
};

constexpr request_shape<CancelSessionRequest> cancel_session = {
    .tag = TAG__CANCEL_SESSION,
    .write_value = es10_tlv_generator__cancel_session_request_value,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__cancel_session_request] Error calculating the size of the defaultDpAddress TLV, rc %d", rc); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__cancel_session_request] CancelSessionRequest VALUE size %d", size); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__cancel_session_request] Error calculating the size of the SetDefaultDpAddressRequest TLV, rc %d", rc); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__cancel_session_request] CancelSessionRequest TLV size %d", size); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__cancel_session_request] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__cancel_session_request] Error adding the CancelSessionRequest TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__cancel_session_request] CancelSessionRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__cancel_session_request] Error adding the CancelSessionRequest VALUE to the CancelSessionRequest TLV, rc %d", rc); },
    .element_title = "[es10_tlv_generator__cancel_session_request] CancelSessionRequest TLV",
};

constexpr request_shape<ProfileInfoListRequest> profile_info_list = {
    .tag = TAG__PROFILE_INFO_LIST,
    .write_value = es10_tlv_generator__profile_info_list_request_value,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc %d", rc); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__profile_info_list_request] ProfileInfoListRequest VALUE size %d", size); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest TLV, rc %d", rc); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__profile_info_list_request] ProfileInfoListRequest TLV size %d", size); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request] Error adding the ProfileInfoListRequest TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__profile_info_list_request] ProfileInfoListRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request] Error adding the ProfileInfoListRequest VALUE to the buffer, rc %d", rc); },
    .element_title = "[es10_tlv_generator__profile_info_list_request] ProfileInfoListRequest",
};

constexpr request_shape<EuiccMemoryResetRequest> euicc_memory_reset = {
    .tag = TAG__EUICC_MEMORY_RESET,
    .write_value = request_values__reset_options,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__euicc_memory_reset] Error calculating the size of the resetOptions bit string, err %d", rc); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__euicc_memory_reset] Error calculating the size of the EuiccMemoryResetRequest, err %d", rc); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__euicc_memory_reset] Not enough space to add the TLV to the buffer. Buffer size %lu, buffer size needed %lu", static_cast<unsigned long>(size), static_cast<unsigned long>(needed)); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__euicc_memory_reset] Error adding the EuiccMemoryResetRequest TAG LENGTH, err %d", rc); },
    .header_title = "[es10_tlv_generator__euicc_memory_reset] EuiccMemoryResetRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__euicc_memory_reset] Error adding the EuiccMemoryResetRequest resetOptions, err %d", rc); },
    .element_title = "[es10_tlv_generator__euicc_memory_reset] EuiccMemoryResetRequest",
};

constexpr request_shape<RetrieveNotificationsListRequest> retrieve_notifications_list = {
    .tag = TAG__RETRIEVE_NOTIFICATIONS_LIST,
    .write_value = request_values__notification_search,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest VALUE, rc %ld", static_cast<long>(rc)); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest VALUE size %ld", static_cast<long>(size)); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest TLV, rc %ld", static_cast<long>(rc)); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest TLV size %ld", static_cast<long>(size)); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__retrieve_notifications_list_request] Not enough space to add the TLV to the buffer. Buffer size %lu, buffer size needed %lu", static_cast<unsigned long>(size), static_cast<unsigned long>(needed)); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__retrieve_notifications_list_request] Error adding the RetrieveNotificationsListRequest TAG LENGTH to the buffer, rc %ld", static_cast<long>(rc)); },
    .header_title = "[es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__retrieve_notifications_list_request] Error adding the RetrieveNotificationsListRequest VALUE to the buffer, rc %ld", static_cast<long>(rc)); },
    .element_title = "[es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest TLV",
};

constexpr request_shape<NotificationSentRequest> notification_sent = {
    .tag = TAG__NOTIFICATION_SENT,
    .write_value = request_values__sequence_number,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__notification_sent_request] Error calculating the size of the NotificationSentRequest VALUE, rc %d", rc); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__notification_sent_request] NotificationSentRequest VALUE size %ld", static_cast<long>(size)); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__notification_sent_request] Error calculating the size of the NotificationSentRequest TLV, rc %d", rc); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__notification_sent_request] NotificationSentRequest TLV size %ld", static_cast<long>(size)); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__notification_sent_request] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__notification_sent_request] Error adding the NotificationSentRequest TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__notification_sent_request] NotificationSentRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__notification_sent_request] Error adding the NotificationSentRequest VALUE to the buffer, rc %d", rc); },
    .element_title = "[es10_tlv_generator__notification_sent_request] NotificationSentRequest",
};

constexpr request_shape<SetDefaultDpAddressRequest> set_default_dp_address = {
    .tag = TAG__SET_DEFAULT_DP_ADDRESS,
    .write_value = request_values__default_dp_address,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__add_set_default_dp_address] Error calculating the size of the defaultDpAddress TLV, rc %d", rc); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__add_set_default_dp_address] Error calculating the size of the SetDefaultDpAddressRequest TLV, rc %d", rc); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__add_set_default_dp_address] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__add_set_default_dp_address] Error adding the SetDefaultDpAddressRequest TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__add_set_default_dp_address] SetDefaultDpAddressRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__add_set_default_dp_address] Error adding the defaultDpAddress TLV, rc %d", rc); },
    .element_title = "[es10_tlv_generator__add_set_default_dp_address] SetDefaultDpAddressRequest TLV",
};

constexpr request_shape<ListNotificationRequest> list_notification = {
    .tag = TAG__LIST_NOTIFICATION,
    .write_value = request_values__notification_event,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__list_notification_request] Error calculating the size of the ListNotificationRequest VALUE, rc %ld", static_cast<long>(rc)); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__list_notification_request] ListNotificationRequest VALUE size %ld", static_cast<long>(size)); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__list_notification_request] Error calculating the size of the ListNotificationRequest TLV, rc %ld", static_cast<long>(rc)); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__list_notification_request] ListNotificationRequest TLV size %ld", static_cast<long>(size)); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__list_notification_request] Not enough space to add the TLV to the buffer. Buffer size %lu, buffer size needed %lu", static_cast<unsigned long>(size), static_cast<unsigned long>(needed)); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__list_notification_request] Error adding the ListNotificationRequest TAG LENGTH to the buffer, rc %ld", static_cast<long>(rc)); },
    .header_title = "[es10_tlv_generator__list_notification_request] ListNotificationRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__list_notification_request] Error adding the ListNotificationRequest VALUE to the buffer, rc %ld", static_cast<long>(rc)); },
    .element_title = "[es10_tlv_generator__list_notification_request] ListNotificationRequest",
};

constexpr request_shape<ProfileIdentifier> enable_profile = {
    .tag = TAG__ENABLE_PROFILE,
    .write_value = es10_tlv_generator__profile_state_change_request_value,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__enable_profile_request] Error calculating the size of the EnableProfileRequest VALUE, rc %d", rc); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__enable_profile_request] EnableProfileRequest VALUE size %d", size); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__enable_profile_request] Error calculating the size of the EnableProfileRequest TLV, rc %d", rc); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__enable_profile_request] EnableProfileRequest TLV size %d", size); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__enable_profile_request] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__enable_profile_request] Error adding the EnableProfileRequest TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__enable_profile_request] EnableProfileRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__enable_profile_request] Error adding the EnableProfileRequest VALUE to the buffer, rc %d", rc); },
    .element_title = "[es10_tlv_generator__enable_profile_request] EnableProfileRequest",
};

constexpr request_shape<ProfileIdentifier> disable_profile = {
    .tag = TAG__DISABLE_PROFILE,
    .write_value = es10_tlv_generator__profile_state_change_request_value,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__disable_profile_request] Error calculating the size of the DisableProfileRequest VALUE, rc %d", rc); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__disable_profile_request] DisableProfileRequest VALUE size %d", size); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__disable_profile_request] Error calculating the size of the DisableProfileRequest TLV, rc %d", rc); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__disable_profile_request] DisableProfileRequest TLV size %d", size); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__disable_profile_request] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__disable_profile_request] Error adding the DisableProfileRequest TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__disable_profile_request] DisableProfileRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__disable_profile_request] Error adding the DisableProfileRequest VALUE to the buffer, rc %d", rc); },
    .element_title = "[es10_tlv_generator__disable_profile_request] DisableProfileRequest",
};

constexpr request_shape<ProfileIdentifier> delete_profile = {
    .tag = TAG__DELETE_PROFILE,
    .write_value = es10_tlv_generator__profile_identifier_value,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__delete_profile_request] Error calculating the size of the DeleteProfileRequest VALUE, rc %d", rc); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__delete_profile_request] DeleteProfileRequest VALUE size %d", size); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__delete_profile_request] Error calculating the size of the DeleteProfileRequest TLV, rc %d", rc); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__delete_profile_request] DeleteProfileRequest TLV size %d", size); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__delete_profile_request] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__delete_profile_request] Error adding the DeleteProfileRequest TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__delete_profile_request] DeleteProfileRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__delete_profile_request] Error adding the DeleteProfileRequest VALUE to the buffer, rc %d", rc); },
    .element_title = "[es10_tlv_generator__delete_profile_request] DeleteProfileRequest",
};

constexpr request_shape<SetNicknameRequest> set_nickname = {
    .tag = TAG__SET_NICKNAME,
    .write_value = es10_tlv_generator__set_nickname_request_value,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__set_nickname_request] Error calculating the size of the SetNicknameRequest VALUE, rc %d", rc); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__set_nickname_request] SetNicknameRequest VALUE size %d", size); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__set_nickname_request] Error calculating the size of the SetNicknameRequest TLV, rc %d", rc); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__set_nickname_request] SetNicknameRequest TLV size %d", size); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__set_nickname_request] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__set_nickname_request] Error adding the SetNicknameRequest TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__set_nickname_request] SetNicknameRequest TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__set_nickname_request] Error adding the SetNicknameRequest VALUE to the buffer, rc %d", rc); },
    .element_title = "[es10_tlv_generator__set_nickname_request] SetNicknameRequest",
};
// clang-format on

} // namespace

int32_t es10_tlv_generator__prepare_download_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                     const PrepareDownloadRequest *request)
{
    return request_writer__write(prepare_download, buffer, size, offset, request);
}

int32_t es10_tlv_generator__cancel_session_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                   const CancelSessionRequest *request)
{
    return request_writer__write(cancel_session, buffer, size, offset, request);
}

int32_t es10_tlv_generator__profile_info_list_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                      const ProfileInfoListRequest *request)
{
    return request_writer__write(profile_info_list, buffer, size, offset, request);
}

int32_t es10_tlv_generator__euicc_memory_reset(uint8_t *buffer, uint32_t size, uint32_t offset,
                                               const EuiccMemoryResetRequest *request)
{
    return request_writer__write(euicc_memory_reset, buffer, size, offset, request);
}

int32_t es10_tlv_generator__retrieve_notifications_list_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                                const RetrieveNotificationsListRequest *request)
{
    return request_writer__write(retrieve_notifications_list, buffer, size, offset, request);
}

int32_t es10_tlv_generator__notification_sent_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                      const NotificationSentRequest *request)
{
    return request_writer__write(notification_sent, buffer, size, offset, request);
}

int32_t es10_tlv_generator__set_default_dp_address_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                           const SetDefaultDpAddressRequest *request)
{
    return request_writer__write(set_default_dp_address, buffer, size, offset, request);
}

int32_t es10_tlv_generator__list_notification_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                      const ListNotificationRequest *request)
{
    return request_writer__write(list_notification, buffer, size, offset, request);
}

int32_t es10_tlv_generator__enable_profile_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                   const ProfileIdentifier *request)
{
    return request_writer__write(enable_profile, buffer, size, offset, request);
}

int32_t es10_tlv_generator__disable_profile_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                    const ProfileIdentifier *request)
{
    return request_writer__write(disable_profile, buffer, size, offset, request);
}

int32_t es10_tlv_generator__delete_profile_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                   const ProfileIdentifier *request)
{
    return request_writer__write(delete_profile, buffer, size, offset, request);
}

int32_t es10_tlv_generator__set_nickname_request(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                 const SetNicknameRequest *request)
{
    return request_writer__write(set_nickname, buffer, size, offset, request);
}
