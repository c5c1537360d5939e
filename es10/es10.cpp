#include "es10/es10.h"
#include "es10/es10_display.h"
#include "es10/es10_tags.h"
#include "es10/es10_tlv_generator.h"
#include "es10/response_reader.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include <span>

namespace {

constexpr uint32_t largest_fixed_room = 81; // SetNicknameRequest with a nickname of 64 bytes

struct fixed_request {
    const char *start;
    const char *title;
    std::span<const uint8_t> bytes;
};

// A request that fits a buffer of fixed size; room is the size of the largest one of its kind.
template <typename Request> struct bounded_request {
    void (*display)(const Request *request);
    int32_t (*encode)(uint8_t *buffer, uint32_t size, uint32_t offset, const Request *request);
    uint32_t room;
    const char *failed; // %d code
    const char *title;
};

// A request whose size depends on foreign data.
template <typename Request> struct sized_request {
    void (*display)(const Request *request);
    int32_t (*encode)(uint8_t *buffer, uint32_t size, uint32_t offset, const Request *request);
    const char *failed; // %d code
    const char *no_memory;
    const char *title;
};

struct es10_session {
    ModemHandle *handle;
    uint8_t channel;
    uint8_t **response;
    uint32_t *response_length;
};

void forget_response(const es10_session &session)
{
    *session.response = nullptr;
    *session.response_length = 0;
}

uint32_t send(const es10_session &session, const char *title, const uint8_t *bytes, uint32_t length)
{
    log__data(LOG__DEBUG, title, bytes, length);
    return eUICC__store_data(session.handle, session.channel, bytes, length, session.response, session.response_length);
}

uint32_t send_fixed(const es10_session &session, const fixed_request &kind)
{
    forget_response(session);
    log__string(LOG__INFO, "%s", kind.start);
    return send(session, kind.title, kind.bytes.data(), static_cast<uint32_t>(kind.bytes.size()));
}

template <typename Request>
uint32_t send_bounded(const es10_session &session, const bounded_request<Request> &kind, const Request *request)
{
    forget_response(session);
    kind.display(request);
    uint8_t buffer[largest_fixed_room];
    const int32_t end = kind.encode(buffer, kind.room, 0, request);
    if (end <= 0) {
        log__string(LOG__ERROR, kind.failed, end);
        return RESULT__FATAL_ERROR;
    }
    return send(session, kind.title, buffer, static_cast<uint32_t>(end));
}

template <typename Request>
uint32_t send_sized(const es10_session &session, const sized_request<Request> &kind, const Request *request)
{
    forget_response(session);
    kind.display(request);
    const int32_t size = kind.encode(nullptr, 0, 0, request);
    if (size <= 0) {
        log__string(LOG__ERROR, kind.failed, size);
        return RESULT__FATAL_ERROR;
    }
    const owned_bytes buffer(static_cast<uint8_t *>(M_malloc(static_cast<uint32_t>(size))));
    if (!buffer.data) {
        log__string(LOG__ERROR, "%s", kind.no_memory);
        return RESULT__NO_MEMORY;
    }
    const int32_t end = kind.encode(buffer.data, static_cast<uint32_t>(size), 0, request);
    if (end <= 0) {
        log__string(LOG__ERROR, kind.failed, end);
        return RESULT__FATAL_ERROR;
    }
    return send(session, kind.title, buffer.data, static_cast<uint32_t>(end));
}

// One row per request.
// clang-format off
constexpr uint8_t configured_addresses_bytes[] = {0xBF, 0x3C, 0x00};
constexpr uint8_t euicc_info_1_bytes[] = {0xBF, 0x20, 0x00};
constexpr uint8_t euicc_info_2_bytes[] = {0xBF, 0x22, 0x00};
constexpr uint8_t euicc_challenge_bytes[] = {0xBF, 0x2E, 0x00};
constexpr uint8_t rat_bytes[] = {0xBF, 0x43, 0x00};
constexpr uint8_t eid_bytes[] = {0xBF, 0x3E, 0x03, 0x5C, 0x01, 0x5A}; // a tagList that holds the EID's tag

constexpr fixed_request configured_addresses = {"ES10.GetEuiccConfiguredAddresses", "Sending a EuiccConfiguredAddressesRequest", configured_addresses_bytes};
constexpr fixed_request euicc_info_1 = {"ES10.GetEUICCInfo1", "Sending a GetEuiccInfo1Request", euicc_info_1_bytes};
constexpr fixed_request euicc_info_2 = {"ES10.GetEUICCInfo2", "Sending a GetEuiccInfo2Request", euicc_info_2_bytes};
constexpr fixed_request euicc_challenge = {"ES10.GetEUICCChallenge", "Sending a GetEuiccChallengeRequest", euicc_challenge_bytes};
constexpr fixed_request rat = {"ES10.GetRAT", "Sending a GetRatRequest", rat_bytes};
constexpr fixed_request eid = {"ES10.GetEID", "Sending a GetEuiccDataRequest", eid_bytes};

constexpr bounded_request<EuiccMemoryResetRequest> euicc_memory_reset = {
    es10_display__euicc_memory_reset_request, es10_tlv_generator__euicc_memory_reset, 7,
    "[es10__euicc_memory_reset] Error generating the EuiccMemoryResetRequest TLV, err %d", "Sending a EuiccMemoryResetRequest"};
constexpr bounded_request<CancelSessionRequest> cancel_session = {
    es10_display__cancel_session_request, es10_tlv_generator__cancel_session_request, 24,
    "[es10__cancel_session] Error generating the CancelSessionRequest TLV, rc %d", "Sending a CancelSessionRequest"};
constexpr bounded_request<RetrieveNotificationsListRequest> retrieve_notifications_list = {
    es10_display__retrieve_notifications_list_request, es10_tlv_generator__retrieve_notifications_list_request, 12,
    "[es10__retrieve_notifications_list] Error generating the RetrieveNotificationsListRequest TLV, rc %d", "Sending a RetrieveNotificationsListRequest"};
constexpr bounded_request<NotificationSentRequest> notification_sent = {
    es10_display__notification_sent_request, es10_tlv_generator__notification_sent_request, 10,
    "[es10__remove_notification_from_list] Error generating the NotificationSentRequest TLV, rc %d", "Sending a NotificationSentRequest"};
constexpr bounded_request<ProfileInfoListRequest> profile_info_list = {
    es10_display__profile_info_list_request, es10_tlv_generator__profile_info_list_request, 39,
    "[es10__get_profiles_info] Error generating the ProfileInfoListRequest TLV, rc %d", "Sending a ProfileInfoListRequest"};
constexpr bounded_request<ListNotificationRequest> list_notification = {
    es10_display__list_notification_request, es10_tlv_generator__list_notification_request, 7,
    "[es10__list_notification] Error generating the ListNotificationRequest TLV, rc %d", "Sending a ListNotificationRequest"};
constexpr bounded_request<ProfileIdentifier> enable_profile = {
    es10_display__enable_profile_request, es10_tlv_generator__enable_profile_request, 26,
    "[es10__enable_profile] Error generating the EnableProfileRequest TLV, rc %d", "Sending a EnableProfileRequest"};
constexpr bounded_request<ProfileIdentifier> disable_profile = {
    es10_display__disable_profile_request, es10_tlv_generator__disable_profile_request, 26,
    "[es10__disable_profile] Error generating the DisableProfileRequest TLV, rc %d", "Sending a DisableProfileRequest"};
constexpr bounded_request<ProfileIdentifier> delete_profile = {
    es10_display__delete_profile_request, es10_tlv_generator__delete_profile_request, 21,
    "[es10__delete_profile] Error generating the DeleteProfileRequest TLV, rc %d", "Sending a DeleteProfileRequest"};
constexpr bounded_request<SetNicknameRequest> set_nickname = {
    es10_display__set_nickname_request, es10_tlv_generator__set_nickname_request, largest_fixed_room,
    "[es10__set_nickname] Error generating the SetNicknameRequest TLV, rc %d", "Sending a SetNicknameRequest"};

constexpr sized_request<PrepareDownloadRequest> prepare_download = {
    [](const PrepareDownloadRequest *) { log__string(LOG__INFO, "ES10.PrepareDownload"); }, es10_tlv_generator__prepare_download_request,
    "[es10__prepare_download] Error calculating the size of the PrepareDownloadRequest, rc %d",
    "[es10__prepare_download] Can not allocate data to the PrepareDownloadRequest", "Sending a PrepareDownloadRequest"};
constexpr sized_request<SetDefaultDpAddressRequest> set_default_dp_address = {
    es10_display__set_default_dp_address_request, es10_tlv_generator__set_default_dp_address_request,
    "[es10__set_default_dp_address] Error calculating the size of the SetDefaultDpAddressRequest, rc %d",
    "[es10__set_default_dp_address] Can not allocate data to the SetDefaultDpAddressRequest", "Sending a SetDefaultDpAddressRequest"};
// clang-format on

// extCardResource of EUICCInfo2: installed applications (81), free non-volatile (82) and free volatile memory (83).
bool find_free_memory(std::span<const uint8_t> response, uint32_t *free_memory)
{
    std::span<const uint8_t> info, resources, memory;
    if (!response_reader__outer(response, TAG__EUICC_INFO_2, &info)) return false;
    if (response_reader__child(info, TAG__CONTEXT_4, &resources) != RESULT__OK) return false;
    if (response_reader__child(resources, TAG__CONTEXT_2, &memory) != RESULT__OK) return false;
    // Four bytes are read whatever the length of the field says, but none after the answer.
    const uint8_t *first = memory.data();
    if (response.data() + response.size() - first < 4) return false;
    *free_memory = static_cast<uint32_t>(first[0]) << 24 | static_cast<uint32_t>(first[1]) << 16 |
                   static_cast<uint32_t>(first[2]) << 8 | first[3];
    return true;
}

} // namespace

uint32_t es10__get_euicc_configured_addresses(ModemHandle *handle, uint8_t channel, uint8_t **response,
                                              uint32_t *response_length)
{
    return send_fixed({handle, channel, response, response_length}, configured_addresses);
}

uint32_t es10__get_euicc_info_1(ModemHandle *handle, uint8_t channel, uint8_t **response, uint32_t *response_length)
{
    return send_fixed({handle, channel, response, response_length}, euicc_info_1);
}

uint32_t es10__get_euicc_info_2(ModemHandle *handle, uint8_t channel, uint8_t **response, uint32_t *response_length)
{
    return send_fixed({handle, channel, response, response_length}, euicc_info_2);
}

uint32_t es10__get_euicc_challenge(ModemHandle *handle, uint8_t channel, uint8_t **response, uint32_t *response_length)
{
    return send_fixed({handle, channel, response, response_length}, euicc_challenge);
}

uint32_t es10__get_rat(ModemHandle *handle, uint8_t channel, uint8_t **response, uint32_t *response_length)
{
    return send_fixed({handle, channel, response, response_length}, rat);
}

uint32_t es10__get_eid(ModemHandle *handle, uint8_t channel, uint8_t **response, uint32_t *response_length)
{
    return send_fixed({handle, channel, response, response_length}, eid);
}

uint32_t es10__euicc_memory_reset(ModemHandle *handle, uint8_t channel, const EuiccMemoryResetRequest *request,
                                  uint8_t **response, uint32_t *response_length)
{
    return send_bounded({handle, channel, response, response_length}, euicc_memory_reset, request);
}

uint32_t es10__prepare_download(ModemHandle *handle, uint8_t channel, const PrepareDownloadRequest *request,
                                uint8_t **response, uint32_t *response_length)
{
    return send_sized({handle, channel, response, response_length}, prepare_download, request);
}

uint32_t es10__cancel_session(ModemHandle *handle, uint8_t channel, const CancelSessionRequest *request,
                              uint8_t **response, uint32_t *response_length)
{
    return send_bounded({handle, channel, response, response_length}, cancel_session, request);
}

uint32_t es10__retrieve_notifications_list(ModemHandle *handle, uint8_t channel,
                                           const RetrieveNotificationsListRequest *request, uint8_t **response,
                                           uint32_t *response_length)
{
    return send_bounded({handle, channel, response, response_length}, retrieve_notifications_list, request);
}

uint32_t es10__remove_notification_from_list(ModemHandle *handle, uint8_t channel,
                                             const NotificationSentRequest *request, uint8_t **response,
                                             uint32_t *response_length)
{
    return send_bounded({handle, channel, response, response_length}, notification_sent, request);
}

uint32_t es10__get_profiles_info(ModemHandle *handle, uint8_t channel, const ProfileInfoListRequest *request,
                                 uint8_t **response, uint32_t *response_length)
{
    return send_bounded({handle, channel, response, response_length}, profile_info_list, request);
}

uint32_t es10__set_default_dp_address(ModemHandle *handle, uint8_t channel, const SetDefaultDpAddressRequest *request,
                                      uint8_t **response, uint32_t *response_length)
{
    return send_sized({handle, channel, response, response_length}, set_default_dp_address, request);
}

uint32_t es10__list_notification(ModemHandle *handle, uint8_t channel, const ListNotificationRequest *request,
                                 uint8_t **response, uint32_t *response_length)
{
    return send_bounded({handle, channel, response, response_length}, list_notification, request);
}

uint32_t es10__enable_profile(ModemHandle *handle, uint8_t channel, const ProfileIdentifier *request,
                              uint8_t **response, uint32_t *response_length)
{
    return send_bounded({handle, channel, response, response_length}, enable_profile, request);
}

uint32_t es10__disable_profile(ModemHandle *handle, uint8_t channel, const ProfileIdentifier *request,
                               uint8_t **response, uint32_t *response_length)
{
    return send_bounded({handle, channel, response, response_length}, disable_profile, request);
}

uint32_t es10__delete_profile(ModemHandle *handle, uint8_t channel, const ProfileIdentifier *request,
                              uint8_t **response, uint32_t *response_length)
{
    return send_bounded({handle, channel, response, response_length}, delete_profile, request);
}

uint32_t es10__set_nickname(ModemHandle *handle, uint8_t channel, const SetNicknameRequest *request, uint8_t **response,
                            uint32_t *response_length)
{
    return send_bounded({handle, channel, response, response_length}, set_nickname, request);
}

uint32_t es10__get_free_memory(ModemHandle *handle, uint8_t channel, uint32_t *free_memory)
{
    owned_bytes response;
    uint32_t length = 0;
    const uint32_t rc = es10__get_euicc_info_2(handle, channel, &response.data, &length);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[%s] Error on ES10.GetEUICCInfo2, rc %d", "es10__get_free_memory",
                    static_cast<int>(rc));
        return rc;
    }
    if (!find_free_memory({response.data, length}, free_memory)) {
        log__string(LOG__ERROR, "[%s] Free memory not found in the EUICCInfo2", "es10__get_free_memory");
        return RESULT__FATAL_ERROR;
    }
    log__string(LOG__INFO, "[%s] Free memory: %d", "es10__get_free_memory", static_cast<int>(*free_memory));
    return RESULT__OK;
}
