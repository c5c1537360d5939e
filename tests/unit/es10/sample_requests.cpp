#include "unit/es10/sample_requests.h"
#include "es10/es10_tlv_generator.h"
#include "support/bytes.h"
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

namespace {
const std::vector<uint8_t> aid = bytes(SAMPLE_AID);
const std::vector<uint8_t> iccid = bytes("8901234567890123456F");

ProfileIdentifier identifier(uint32_t choice, const std::vector<uint8_t> &value, uint8_t refresh)
{
    ProfileIdentifier request = {};
    request.choice = choice;
    std::copy(value.begin(), value.end(), request.value);
    request.refreshFlag = refresh;
    return request;
}

ProfileInfoListRequest search(uint32_t choice, const std::vector<uint8_t> &value)
{
    ProfileInfoListRequest request = {};
    request.searchCriteria_present = 1;
    request.search_choice = choice;
    std::copy(value.begin(), value.end(), request.search_value);
    return request;
}

ProfileInfoListRequest all_tags()
{
    ProfileInfoListRequest request = {};
    request.tagList_present = 1;
    memset(request.tags, 1, sizeof request.tags);
    return request;
}

const std::vector<uint8_t> signed2 = bytes("30 03 02 01 07");
const std::vector<uint8_t> signature2 = bytes("5F37 02 AB CD");
const std::vector<uint8_t> certificate = bytes("30 01 00");

PrepareDownloadRequest prepare()
{
    PrepareDownloadRequest request = {};
    request.smdpSigned2 = signed2.data();
    request.smdpSigned2_length = static_cast<uint32_t>(signed2.size());
    request.smdpSignature2 = signature2.data();
    request.smdpSignature2_length = static_cast<uint32_t>(signature2.size());
    request.smdpCertificate = certificate.data();
    request.smdpCertificate_length = static_cast<uint32_t>(certificate.size());
    return request;
}

std::string repeated(const char *byte, int count)
{
    std::string text;
    while (count-- > 0)
        text += byte;
    return text;
}

// Calls encoder with a request made by make: the shape of every row below.
template <auto encoder, auto make> int32_t encode(uint8_t *buffer, uint32_t size, uint32_t offset)
{
    const auto request = make();
    return encoder(buffer, size, offset, &request);
}
} // namespace

ProfileIdentifier by_iccid(uint8_t refresh) { return identifier(PROFILE_IDENTIFIER__ICCID, iccid, refresh); }
ProfileIdentifier by_aid(uint8_t refresh) { return identifier(PROFILE_IDENTIFIER__ISDP_AID, aid, refresh); }

ProfileInfoListRequest list_everything()
{
    ProfileInfoListRequest request = search(PROFILE_SEARCH__ISDP_AID, aid);
    request.tagList_present = 1;
    memset(request.tags, 1, sizeof request.tags);
    return request;
}

PrepareDownloadRequest prepare_with_hash()
{
    PrepareDownloadRequest request = prepare();
    request.hashCc_present = 1;
    memset(request.hashCc, 0xC5, sizeof request.hashCc);
    return request;
}

CancelSessionRequest cancel(uint8_t id_length, uint32_t reason)
{
    CancelSessionRequest request = {};
    for (uint8_t i = 0; i < sizeof request.transactionId.value; ++i)
        request.transactionId.value[i] = i;
    request.transactionId.length = id_length;
    request.reason = reason;
    return request;
}

SetNicknameRequest nickname(const std::string &text)
{
    SetNicknameRequest request = {};
    std::copy(iccid.begin(), iccid.end(), request.iccid);
    std::copy_n(text.begin(), std::min<size_t>(text.size(), sizeof request.nickname), request.nickname);
    request.nickname_length = static_cast<uint8_t>(text.size());
    return request;
}

const std::vector<sample_request> &sample_requests()
{
    static const std::string card_iccid = "98103254769810325 4F6";
    static const std::vector<sample_request> samples = {
        {"enable_by_iccid_with_refresh", encode<es10_tlv_generator__enable_profile_request, [] { return by_iccid(1); }>,
         "BF31 11 A0 0C 5A 0A" + card_iccid + "81 01 FF"},
        {"enable_by_aid", encode<es10_tlv_generator__enable_profile_request, [] { return by_aid(); }>,
         "BF31 17 A0 12 4F 10" SAMPLE_AID "81 01 00"},
        {"disable_by_iccid", encode<es10_tlv_generator__disable_profile_request, [] { return by_iccid(); }>,
         "BF32 11 A0 0C 5A 0A" + card_iccid + "81 01 00"},
        {"disable_by_aid_with_refresh", encode<es10_tlv_generator__disable_profile_request, [] { return by_aid(1); }>,
         "BF32 17 A0 12 4F 10" SAMPLE_AID "81 01 FF"},
        {"delete_by_iccid_is_bare", encode<es10_tlv_generator__delete_profile_request, [] { return by_iccid(1); }>,
         "BF33 0C 5A 0A" + card_iccid},
        {"delete_by_aid_is_bare", encode<es10_tlv_generator__delete_profile_request, [] { return by_aid(); }>,
         "BF33 12 4F 10" SAMPLE_AID},
        {"delete_with_iccid_already_in_card_order",
         encode<es10_tlv_generator__delete_profile_request,
                [] { return identifier(PROFILE_IDENTIFIER__ICCID, bytes("9810325476981032 54F6"), 0); }>,
         "BF33 0C 5A 0A" + card_iccid},
        {"profile_list_without_criteria_and_tags_is_empty",
         encode<es10_tlv_generator__profile_info_list_request, [] { return ProfileInfoListRequest{}; }>, "BF 2D 00"},
        {"profile_list_with_all_13_tags",
         encode<es10_tlv_generator__profile_info_list_request, [] { return all_tags(); }>,
         "BF2D 10 5C 0E 5A 4F 9F 70 90 91 92 93 94 95 B6 B7 B8 99"},
        {"profile_list_with_an_empty_tag_list",
         encode<es10_tlv_generator__profile_info_list_request,
                [] {
                    ProfileInfoListRequest request = {};
                    request.tagList_present = 1;
                    return request;
                }>,
         "BF2D 02 5C 00"},
        {"profile_list_by_iccid",
         encode<es10_tlv_generator__profile_info_list_request, [] { return search(PROFILE_SEARCH__ICCID, iccid); }>,
         "BF2D 0E A0 0C 5A 0A" + card_iccid},
        {"profile_list_by_class_takes_one_byte",
         encode<es10_tlv_generator__profile_info_list_request,
                [] {
                    return search(PROFILE_SEARCH__PROFILE_CLASS, {2, 0xFF});
                }>,
         "BF2D 05 A0 03 95 01 02"},
        {"profile_list_by_aid_with_all_tags",
         encode<es10_tlv_generator__profile_info_list_request, [] { return list_everything(); }>,
         "BF2D 24 A0 12 4F 10" SAMPLE_AID "5C 0E 5A 4F 9F 70 90 91 92 93 94 95 B6 B7 B8 99"},
        {"retrieve_everything",
         encode<es10_tlv_generator__retrieve_notifications_list_request,
                [] {
                    return RetrieveNotificationsListRequest{7, 9, 0};
                }>,
         "BF2B 00"},
        {"retrieve_by_largest_seq_number",
         encode<es10_tlv_generator__retrieve_notifications_list_request,
                [] {
                    return RetrieveNotificationsListRequest{0xFFFFFFFF, NOTIFICATION_SEARCH__SEQ_NUMBER, 1};
                }>,
         "BF2B 09 A0 07 80 05 00 FF FF FF FF"},
        {"retrieve_by_event",
         encode<es10_tlv_generator__retrieve_notifications_list_request,
                [] {
                    return RetrieveNotificationsListRequest{NOTIFICATION_EVENT__DELETE,
                                                            NOTIFICATION_SEARCH__PROFILE_MANAGEMENT_OPERATION, 1};
                }>,
         "BF2B 06 A0 04 81 02 04 10"},
        {"list_notifications_unfiltered",
         encode<es10_tlv_generator__list_notification_request,
                [] {
                    return ListNotificationRequest{9, 0};
                }>,
         "BF28 00"},
        {"list_notification_install_sets_the_first_named_bit",
         encode<es10_tlv_generator__list_notification_request,
                [] {
                    return ListNotificationRequest{NOTIFICATION_EVENT__INSTALL, 1};
                }>,
         "BF28 04 81 02 07 80"},
        {"list_notification_enable",
         encode<es10_tlv_generator__list_notification_request,
                [] {
                    return ListNotificationRequest{NOTIFICATION_EVENT__ENABLE, 1};
                }>,
         "BF28 04 81 02 06 40"},
        {"list_notification_disable",
         encode<es10_tlv_generator__list_notification_request,
                [] {
                    return ListNotificationRequest{NOTIFICATION_EVENT__DISABLE, 1};
                }>,
         "BF28 04 81 02 05 20"},
        {"list_notification_delete",
         encode<es10_tlv_generator__list_notification_request,
                [] {
                    return ListNotificationRequest{NOTIFICATION_EVENT__DELETE, 1};
                }>,
         "BF28 04 81 02 04 10"},
        {"notification_sent_0",
         encode<es10_tlv_generator__notification_sent_request, [] { return NotificationSentRequest{0}; }>,
         "BF30 03 80 01 00"},
        {"notification_sent_128_has_a_leading_zero",
         encode<es10_tlv_generator__notification_sent_request, [] { return NotificationSentRequest{128}; }>,
         "BF30 04 80 02 00 80"},
        {"set_nickname", encode<es10_tlv_generator__set_nickname_request, [] { return nickname("Home"); }>,
         "BF29 12 5A 0A" + card_iccid + "90 04 486F6D65"},
        {"set_empty_nickname", encode<es10_tlv_generator__set_nickname_request, [] { return nickname(""); }>,
         "BF29 0E 5A 0A" + card_iccid + "90 00"},
        {"set_nickname_of_64_bytes",
         encode<es10_tlv_generator__set_nickname_request, [] { return nickname(std::string(64, 'n')); }>,
         "BF29 4E 5A 0A" + card_iccid + "90 40" + repeated("6E", 64)},
        {"set_default_dp_address",
         encode<es10_tlv_generator__set_default_dp_address_request,
                [] {
                    return SetDefaultDpAddressRequest{"a.b", 3};
                }>,
         "BF3F 05 80 03 61 2E 62"},
        {"set_no_default_dp_address",
         encode<es10_tlv_generator__set_default_dp_address_request,
                [] {
                    return SetDefaultDpAddressRequest{nullptr, 0};
                }>,
         "BF3F 02 80 00"},
        {"set_default_dp_address_of_127_bytes_needs_long_lengths",
         encode<es10_tlv_generator__set_default_dp_address_request,
                [] {
                    static const std::string address(127, 'x');
                    return SetDefaultDpAddressRequest{address.data(), 127};
                }>,
         "BF3F 81 82 80 81 7F" + repeated("78", 127)},
        {"memory_reset_of_everything",
         encode<es10_tlv_generator__euicc_memory_reset,
                [] {
                    return EuiccMemoryResetRequest{1, 1, 1};
                }>,
         "BF34 04 82 02 05 E0"},
        {"memory_reset_of_test_profiles",
         encode<es10_tlv_generator__euicc_memory_reset,
                [] {
                    return EuiccMemoryResetRequest{0, 1, 0};
                }>,
         "BF34 04 82 02 06 40"},
        {"memory_reset_of_nothing",
         encode<es10_tlv_generator__euicc_memory_reset,
                [] {
                    return EuiccMemoryResetRequest{0, 0, 0};
                }>,
         "BF34 02 82 00"},
        {"cancel_session_writes_the_low_byte_of_the_reason",
         encode<es10_tlv_generator__cancel_session_request, [] { return cancel(2, 0x1FF7F); }>,
         "BF41 07 80 02 00 01 81 01 7F"},
        {"cancel_session_with_the_longest_transaction_id",
         encode<es10_tlv_generator__cancel_session_request, [] { return cancel(16, 0); }>,
         "BF41 15 80 10 000102030405060708090A0B0C0D0E0F 81 01 00"},
        {"prepare_download_without_hash",
         encode<es10_tlv_generator__prepare_download_request, [] { return prepare(); }>,
         "BF21 0D 30 03 02 01 07 5F37 02 AB CD 30 01 00"},
        {"prepare_download_with_hash",
         encode<es10_tlv_generator__prepare_download_request, [] { return prepare_with_hash(); }>,
         "BF21 2F 30 03 02 01 07 5F37 02 AB CD 04 20" + repeated("C5", 32) + "30 01 00"},
        {"prepare_download_leaves_out_what_is_not_given",
         encode<es10_tlv_generator__prepare_download_request,
                [] {
                    PrepareDownloadRequest request = prepare();
                    request.smdpSignature2 = nullptr;
                    return request;
                }>,
         "BF21 08 30 03 02 01 07 30 01 00"},
    };
    return samples;
}

const sample_request &sample(std::string_view name)
{
    for (const sample_request &entry : sample_requests())
        if (entry.name == name) return entry;
    ADD_FAILURE() << "no sample " << name;
    return sample_requests().front();
}
