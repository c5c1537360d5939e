// Every ES10 function: its request from the input, the eUICC's answer too, and what decodes that answer.
// Input: function (1 byte), request (until record_end), records of scripted_world.h.
#include "es10/es10.h"
#include "es10/es10_display.h"
#include "es10/es10_tlv_extractor.h"
#include "fuzz/scripted_world.h"
#include "lpa/memory.h"
#include "tlv/tlv_data_extractor.h"
#include <cstring>

namespace {
struct session {
    ModemHandle handle = {};
    uint8_t channel = 1;
};

struct answer {
    uint8_t *data = nullptr;
    uint32_t length = 0;
    answer() = default;
    answer(const answer &) = delete;
    answer &operator=(const answer &) = delete;
    ~answer() { M_free(data); }
};

// A response is handed out with 0 alone, and is then as long as told.
void check(uint32_t rc, const answer &response)
{
    REQUIRE(is_result_code(rc));
    REQUIRE(rc == 0 || !response.data);
    REQUIRE(response.data || response.length == 0);
}

template <auto ask> uint32_t ask_plain(session &card, answer &response)
{
    const uint32_t rc = ask(&card.handle, card.channel, &response.data, &response.length);
    check(rc, response);
    return rc;
}

template <auto ask, auto display, typename Request>
uint32_t ask_with(session &card, const Request &request, answer &response)
{
    display(&request);
    const uint32_t rc = ask(&card.handle, card.channel, &request, &response.data, &response.length);
    check(rc, response);
    return rc;
}

template <auto ask> void query(session &card, fuzz_input &)
{
    answer response;
    ask_plain<ask>(card, response);
}

template <typename Request> void display_nothing(const Request *) {}

template <auto decode> void decode_result(const answer &response)
{
    uint32_t result = 0;
    REQUIRE(is_result_code(decode(response.data, response.length, &result)));
}

template <size_t size> void fill(uint8_t (&field)[size], fuzz_input &input)
{
    std::ranges::copy(input.bytes(size), field);
}

template <auto ask, auto display, auto decode> void change_profile(session &card, fuzz_input &input)
{
    ProfileIdentifier request = {.choice = input.byte(), .value = {}, .refreshFlag = input.byte()};
    fill(request.value, input);
    answer response;
    ask_with<ask, display>(card, request, response);
    decode_result<decode>(response);
}

void challenge(session &card, fuzz_input &)
{
    answer response;
    ask_plain<es10__get_euicc_challenge>(card, response);
    const exact_bytes challenge(size_t{EUICC_CHALLENGE_BYTES});
    tlv_data_extractor__euicc_challenge(response.data, response.length, challenge.data());
}

void eid(session &card, fuzz_input &)
{
    answer response;
    ask_plain<es10__get_eid>(card, response);
    const exact_bytes eid(size_t{EID_BYTES});
    tlv_data_extractor__get_euicc_data_response(response.data, response.length, eid.data());
}

void addresses(session &card, fuzz_input &)
{
    answer response;
    ask_plain<es10__get_euicc_configured_addresses>(card, response);
    EuiccConfiguredAddresses record = {};
    es10_tlv_extractor__euicc_configured_addresses_response(response.data, response.length, &record);
}

void free_memory(session &card, fuzz_input &)
{
    uint32_t bytes = 0;
    REQUIRE(is_result_code(es10__get_free_memory(&card.handle, card.channel, &bytes)));
}

void memory_reset(session &card, fuzz_input &input)
{
    const EuiccMemoryResetRequest request = {input.byte(), input.byte(), input.byte()};
    answer response;
    ask_with<es10__euicc_memory_reset, es10_display__euicc_memory_reset_request>(card, request, response);
    decode_result<es10_tlv_extractor__euicc_memory_reset_response>(response);
}

void prepare_download(session &card, fuzz_input &input)
{
    PrepareDownloadRequest request = {};
    request.hashCc_present = input.byte();
    fill(request.hashCc, input);
    const exact_bytes signed_2(input.bytes(input.byte()));
    const exact_bytes signature(input.bytes(input.byte()));
    const exact_bytes certificate(input.rest());
    request.smdpSigned2 = signed_2.data();
    request.smdpSigned2_length = signed_2.size();
    request.smdpSignature2 = signature.data();
    request.smdpSignature2_length = signature.size();
    request.smdpCertificate = certificate.data();
    request.smdpCertificate_length = certificate.size();
    answer response;
    ask_with<es10__prepare_download, display_nothing<PrepareDownloadRequest>>(card, request, response);
}

void cancel_session(session &card, fuzz_input &input)
{
    CancelSessionRequest request = {};
    request.reason = input.long_number();
    request.transactionId.length = input.byte();
    fill(request.transactionId.value, input);
    answer response;
    ask_with<es10__cancel_session, es10_display__cancel_session_request>(card, request, response);
}

void retrieve_notifications(session &card, fuzz_input &input)
{
    const RetrieveNotificationsListRequest request = {input.long_number(), input.byte(), input.byte()};
    answer response;
    ask_with<es10__retrieve_notifications_list, es10_display__retrieve_notifications_list_request>(card, request,
                                                                                                   response);
    uint8_t empty = 0;
    es10_tlv_extractor__retrieve_notifications_list_response_is_empty_list(response.data, response.length, &empty);
}

void list_notification(session &card, fuzz_input &input)
{
    const ListNotificationRequest request = {input.long_number(), input.byte()};
    answer response;
    ask_with<es10__list_notification, es10_display__list_notification_request>(card, request, response);
    ListNotificationResponse list = {};
    es10_tlv_extractor__list_notification_response(response.data, response.length, &list);
}

void remove_notification(session &card, fuzz_input &input)
{
    const NotificationSentRequest request = {input.long_number()};
    answer response;
    ask_with<es10__remove_notification_from_list, es10_display__notification_sent_request>(card, request, response);
    decode_result<es10_tlv_extractor__notification_sent_response>(response);
}

void profiles_info(session &card, fuzz_input &input)
{
    ProfileInfoListRequest request = {};
    request.search_choice = input.byte();
    fill(request.search_value, input);
    fill(request.tags, input);
    request.searchCriteria_present = input.byte();
    request.tagList_present = input.byte();
    answer response;
    ask_with<es10__get_profiles_info, es10_display__profile_info_list_request>(card, request, response);
    const exact_bytes mcc_mnc(size_t{3});
    uint8_t found = 0;
    es10_tlv_extractor__profile_info_list_response_mcc_mnc_enabled_profile(response.data, response.length,
                                                                           mcc_mnc.data(), &found);
}

void set_default_dp_address(session &card, fuzz_input &input)
{
    const exact_bytes address(input.rest());
    const SetDefaultDpAddressRequest request = {reinterpret_cast<const char *>(address.data()), address.size()};
    answer response;
    ask_with<es10__set_default_dp_address, es10_display__set_default_dp_address_request>(card, request, response);
    decode_result<es10_tlv_extractor__set_default_dp_address_response>(response);
}

void set_nickname(session &card, fuzz_input &input)
{
    SetNicknameRequest request = {};
    fill(request.iccid, input);
    const auto nickname = input.bytes(NICKNAME_MAX_BYTES);
    std::ranges::copy(nickname, request.nickname);
    request.nickname_length = static_cast<uint8_t>(nickname.size());
    answer response;
    ask_with<es10__set_nickname, es10_display__set_nickname_request>(card, request, response);
    decode_result<es10_tlv_extractor__set_nickname_response>(response);
}

constexpr void (*functions[])(session &card, fuzz_input &input) = {
    addresses,
    query<es10__get_euicc_info_1>,
    query<es10__get_euicc_info_2>,
    challenge,
    query<es10__get_rat>,
    eid,
    memory_reset,
    prepare_download,
    cancel_session,
    retrieve_notifications,
    remove_notification,
    profiles_info,
    set_default_dp_address,
    list_notification,
    change_profile<es10__enable_profile, es10_display__enable_profile_request,
                   es10_tlv_extractor__enable_profile_response>,
    change_profile<es10__disable_profile, es10_display__disable_profile_request,
                   es10_tlv_extractor__disable_profile_response>,
    change_profile<es10__delete_profile, es10_display__delete_profile_request,
                   es10_tlv_extractor__delete_profile_response>,
    set_nickname,
    free_memory,
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const size_t chosen = input.byte() % std::size(functions);
    const auto request = input.until(record_end);
    const scripted_world world(input.rest());
    session card;
    fuzz_input fields(request.data(), request.size());
    functions[chosen](card, fields);
    world.require_released();
    return 0;
}
