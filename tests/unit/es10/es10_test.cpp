#include "es10/es10.h"
#include "lpa/memory.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/es10/fake_session.h"
#include "unit/es10/sample_requests.h"
#include "unit/fakes/failing_memory.h"
#include "unit/fakes/primitive_fault.h"
#include <cstring>
#include <gtest/gtest.h>

namespace {

ModemHandle modem = {};
constexpr uint8_t channel = 3;

struct outcome {
    uint32_t rc;
    std::string response; // hex
};

// Calls one ES10 function on the fake session and takes its response.
template <auto function, typename... Request> outcome call(const Request &...request)
{
    uint8_t stale = 0;
    uint8_t *response = &stale; // whatever the caller had there must not come back
    uint32_t length = 99;
    const uint32_t rc = function(&modem, channel, &request..., &response, &length);
    EXPECT_NE(response, &stale);
    outcome result = {rc, response ? hex(response, length) : ""};
    EXPECT_EQ(response == nullptr, length == 0);
    M_free(response);
    return result;
}

struct es10_call {
    const char *name;
    outcome (*call)();
    const char *sent;
    const char *log; // up to level 4
};

class es10_request : public testing::TestWithParam<es10_call> {
  protected:
    void SetUp() override { fake_session.reset(); }
};

TEST_P(es10_request, is_shown_dumped_and_sent)
{
    fake_session.answer = "BF 3E 01 00";
    const log_capture log;
    const outcome result = GetParam().call();
    EXPECT_EQ(result.rc, 0u);
    EXPECT_EQ(result.response, "BF3E0100");
    EXPECT_EQ(fake_session.sent, std::vector<std::string>{hex(bytes(GetParam().sent))});
    EXPECT_EQ(fake_session.handle, &modem);
    EXPECT_EQ(fake_session.channel, channel);
    EXPECT_EQ(log.up_to(4), GetParam().log);
}

TEST_P(es10_request, passes_the_code_of_the_session_on)
{
    fake_session.result = 18;
    const log_capture quiet(0);
    EXPECT_EQ(GetParam().call().rc, 18u);
}

SetDefaultDpAddressRequest address(const char *text) { return {text, static_cast<uint32_t>(strlen(text))}; }

// clang-format off
const es10_call es10_calls[] = {
    {"get_euicc_configured_addresses", [] { return call<es10__get_euicc_configured_addresses>(); }, "BF3C00",
     "3 ES10.GetEuiccConfiguredAddresses\n4 Sending a EuiccConfiguredAddressesRequest\n4 BF 3C 00 \n"},
    {"get_euicc_info_1", [] { return call<es10__get_euicc_info_1>(); }, "BF2000",
     "3 ES10.GetEUICCInfo1\n4 Sending a GetEuiccInfo1Request\n4 BF 20 00 \n"},
    {"get_euicc_info_2", [] { return call<es10__get_euicc_info_2>(); }, "BF2200",
     "3 ES10.GetEUICCInfo2\n4 Sending a GetEuiccInfo2Request\n4 BF 22 00 \n"},
    {"get_euicc_challenge", [] { return call<es10__get_euicc_challenge>(); }, "BF2E00",
     "3 ES10.GetEUICCChallenge\n4 Sending a GetEuiccChallengeRequest\n4 BF 2E 00 \n"},
    {"get_rat", [] { return call<es10__get_rat>(); }, "BF4300",
     "3 ES10.GetRAT\n4 Sending a GetRatRequest\n4 BF 43 00 \n"},
    {"get_eid_sends_its_6_bytes", [] { return call<es10__get_eid>(); }, "BF3E035C015A",
     "3 ES10.GetEID\n4 Sending a GetEuiccDataRequest\n4 BF 3E 03 5C 01 5A \n"},
    {"euicc_memory_reset", [] { return call<es10__euicc_memory_reset>(EuiccMemoryResetRequest{1, 1, 1}); }, "BF3404820205E0",
     "3 ES10.eUICCMemoryReset\n3 \tresetOptions(deleteOperationalProfiles=1, deleteFieldLoadedTestProfiles=1, resetDefaultSmdpAddress=1\n"
     "4 Sending a EuiccMemoryResetRequest\n4 BF 34 04 82 02 05 E0 \n"},
    {"prepare_download", [] { return call<es10__prepare_download>(prepare_with_hash()); },
     "BF212F 3003020107 5F3702ABCD 0420 C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5C5 300100",
     "3 ES10.PrepareDownload\n4 Sending a PrepareDownloadRequest\n4 BF 21 2F 30 03 02 01 07 5F 37 02 AB CD 04 20 C5\n"
     "4 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5\n4 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 C5 30\n4 01 00 \n"},
    {"cancel_session_with_the_longest_transaction_id", [] { return call<es10__cancel_session>(cancel(16, 5)); },
     "BF4115 8010 000102030405060708090A0B0C0D0E0F 810105",
     "3 ES10.CancelSession\n3 \ttransactionId=000102030405060708090A0B0C0D0E0F\n3 \treason(loadBppExecutionError)\n"
     "4 Sending a CancelSessionRequest\n4 BF 41 15 80 10 00 01 02 03 04 05 06 07 08 09 0A\n4 0B 0C 0D 0E 0F 81 01 05 \n"},
    {"retrieve_notifications_list_with_the_largest_number", [] { return call<es10__retrieve_notifications_list>(RetrieveNotificationsListRequest{0xFFFFFFFF, 0, 1}); }, "BF2B09A007800500FFFFFFFF",
     "3 ES10.RetrieveNotificationsList\n3 \tsearchCriteria(seqNumber=4294967295)\n"
     "4 Sending a RetrieveNotificationsListRequest\n4 BF 2B 09 A0 07 80 05 00 FF FF FF FF \n"},
    {"remove_notification_with_the_largest_number", [] { return call<es10__remove_notification_from_list>(NotificationSentRequest{0xFFFFFFFF}); }, "BF3007800500FFFFFFFF",
     "3 ES10.RemoveNotificationFromList(seqNumber=4294967295)\n4 Sending a NotificationSentRequest\n4 BF 30 07 80 05 00 FF FF FF FF \n"},
    {"get_profiles_info_with_everything", [] { return call<es10__get_profiles_info>(list_everything()); },
     "BF2D24 A012 4F10 " SAMPLE_AID " 5C0E 5A4F9F70909192939495B6B7B899",
     "3 ES10.GetProfilesInfo\n3 \tsearchCriteria(isdpAid=A0000005591010FFFFFFFF8900001100)\n"
     "3 \ttagList(iccid=1, isdpAid=1, profileState=1, profileNickname=1, serviceProviderName=1, profileName=1, iconType=1\n"
     "3 \ticon=1, profileClass=1, notificationConfigurationInfo=1, profileOwner=1, dpProprietaryData=1, profilePolicyRules=1)\n"
     "4 Sending a ProfileInfoListRequest\n4 BF 2D 24 A0 12 4F 10 A0 00 00 05 59 10 10 FF FF\n4 FF FF 89 00 00 11 00 5C 0E 5A 4F 9F 70 90 91 92\n4 93 94 95 B6 B7 B8 99 \n"},
    {"set_default_dp_address", [] { testing::internal::CaptureStderr(); outcome result = call<es10__set_default_dp_address>(address("a.b")); testing::internal::GetCapturedStderr(); return result; }, "BF3F058003612E62",
     "3 ES10.SetDefaultDpAddress\n4 Sending a SetDefaultDpAddressRequest\n4 BF 3F 05 80 03 61 2E 62 \n"},
    {"list_notification", [] { return call<es10__list_notification>(ListNotificationRequest{0, 1}); }, "BF280481020780",
     "3 ES10.ListNotification\n3 \tprofileManagementOperation(notificationInstall)\n4 Sending a ListNotificationRequest\n4 BF 28 04 81 02 07 80 \n"},
    {"enable_profile_by_aid", [] { return call<es10__enable_profile>(by_aid(1)); }, "BF3117 A012 4F10 " SAMPLE_AID " 8101FF",
     "3 ES10.EnableProfile\n3 \tprofileIdentifier(isdpAid=A0000005591010FFFFFFFF8900001100)\n3 \trefreshFlag=true\n"
     "4 Sending a EnableProfileRequest\n4 BF 31 17 A0 12 4F 10 A0 00 00 05 59 10 10 FF FF\n4 FF FF 89 00 00 11 00 81 01 FF \n"},
    {"disable_profile_by_aid", [] { return call<es10__disable_profile>(by_aid(0)); }, "BF3217 A012 4F10 " SAMPLE_AID " 810100",
     "3 ES10.DisableProfile\n3 \tprofileIdentifier(isdpAid=A0000005591010FFFFFFFF8900001100)\n3 \trefreshFlag=false\n"
     "4 Sending a DisableProfileRequest\n4 BF 32 17 A0 12 4F 10 A0 00 00 05 59 10 10 FF FF\n4 FF FF 89 00 00 11 00 81 01 00 \n"},
    {"delete_profile_by_aid", [] { return call<es10__delete_profile>(by_aid()); }, "BF3312 4F10 " SAMPLE_AID,
     "3 ES10.DeleteProfile\n3 \tisdpAid=A0000005591010FFFFFFFF8900001100\n"
     "4 Sending a DeleteProfileRequest\n4 BF 33 12 4F 10 A0 00 00 05 59 10 10 FF FF FF FF\n4 89 00 00 11 00 \n"},
    {"set_nickname_of_64_bytes_fills_the_81_byte_buffer",
     [] { testing::internal::CaptureStderr(); outcome result = call<es10__set_nickname>(nickname(std::string(64, 'n'))); testing::internal::GetCapturedStderr(); return result; },
     "BF294E 5A0A 9810325476981032 54F6 9040 6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E 6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E",
     "3 ES10.SetNickname\n3 \ticcid=8901234567890123456F\n"
     "4 Sending a SetNicknameRequest\n4 BF 29 4E 5A 0A 98 10 32 54 76 98 10 32 54 F6 90\n4 40 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E\n"
     "4 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E\n4 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E\n4 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E 6E\n4 6E \n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, es10_request, testing::ValuesIn(es10_calls),
                         [](const auto &info) { return std::string(info.param.name); });

// ---- requests that never reach the card

struct refused_call {
    const char *name;
    outcome (*call)();
    const char *primitive; // that fails, or null
    int nth;
    int32_t result;
    const char *log; // the last line at level 1
};

class es10_refusal : public testing::TestWithParam<refused_call> {
  protected:
    void SetUp() override { fake_session.reset(); }
};

TEST_P(es10_refusal, returns_1_without_contacting_the_card)
{
    const log_capture log;
    const primitive_fault fault(GetParam().primitive, GetParam().nth, GetParam().result);
    testing::internal::CaptureStderr(); // addresses and nicknames
    const outcome result = GetParam().call();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(result.rc, 1u);
    EXPECT_EQ(result.response, "");
    EXPECT_TRUE(fake_session.sent.empty());
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().back().level, 1);
    EXPECT_EQ(log.lines().back().text, GetParam().log);
}

ProfileIdentifier changed(ProfileIdentifier request, uint32_t choice, uint8_t first_byte)
{
    request.choice = choice;
    request.value[0] = first_byte;
    return request;
}

SetNicknameRequest nickname_of_a_bad_iccid()
{
    SetNicknameRequest request = nickname("a");
    request.iccid[0] = 0x12;
    return request;
}

ProfileInfoListRequest search_choice_9()
{
    ProfileInfoListRequest request = {};
    request.searchCriteria_present = 1;
    request.search_choice = 9;
    return request;
}

// clang-format off
const refused_call refused_calls[] = {
    {"memory_reset_that_cannot_be_sized", [] { return call<es10__euicc_memory_reset>(EuiccMemoryResetRequest{1, 1, 1}); },
     "tlv_generator__add_tlv_bit_string_value", 1, -7, "[es10__euicc_memory_reset] Error generating the EuiccMemoryResetRequest TLV, err -7"},
    {"cancel_session_with_a_transaction_id_of_17_bytes", [] { return call<es10__cancel_session>(cancel(17, 0)); },
     nullptr, 0, 0, "[es10__cancel_session] Error generating the CancelSessionRequest TLV, rc -4"},
    {"retrieve_with_choice_2", [] { return call<es10__retrieve_notifications_list>(RetrieveNotificationsListRequest{0, 2, 1}); },
     nullptr, 0, 0, "[es10__retrieve_notifications_list] Error generating the RetrieveNotificationsListRequest TLV, rc -4"},
    {"remove_notification_whose_number_cannot_be_sized", [] { return call<es10__remove_notification_from_list>(NotificationSentRequest{1}); },
     "tlv_generator__add_tlv_integer_value", 1, -4, "[es10__remove_notification_from_list] Error generating the NotificationSentRequest TLV, rc -4"},
    {"get_profiles_info_with_choice_9", [] { return call<es10__get_profiles_info>(search_choice_9()); },
     nullptr, 0, 0, "[es10__get_profiles_info] Error generating the ProfileInfoListRequest TLV, rc -4"},
    {"list_notification_of_event_4", [] { return call<es10__list_notification>(ListNotificationRequest{4, 1}); },
     nullptr, 0, 0, "[es10__list_notification] Error generating the ListNotificationRequest TLV, rc -4"},
    {"enable_with_a_bad_iccid", [] { return call<es10__enable_profile>(changed(by_iccid(), 1, 0x12)); },
     nullptr, 0, 0, "[es10__enable_profile] Error generating the EnableProfileRequest TLV, rc -4"},
    {"disable_with_choice_2", [] { return call<es10__disable_profile>(changed(by_iccid(), 2, 0x89)); },
     nullptr, 0, 0, "[es10__disable_profile] Error generating the DisableProfileRequest TLV, rc -4"},
    {"delete_with_a_bad_iccid", [] { return call<es10__delete_profile>(changed(by_iccid(), 1, 0x12)); },
     nullptr, 0, 0, "[es10__delete_profile] Error generating the DeleteProfileRequest TLV, rc -4"},
    {"set_nickname_with_a_bad_iccid", [] { return call<es10__set_nickname>(nickname_of_a_bad_iccid()); },
     nullptr, 0, 0, "[es10__set_nickname] Error generating the SetNicknameRequest TLV, rc -4"},
    {"set_nickname_of_65_bytes", [] { return call<es10__set_nickname>(nickname(std::string(65, 'n'))); },
     nullptr, 0, 0, "[es10__set_nickname] Error generating the SetNicknameRequest TLV, rc -7"},
    {"set_nickname_of_255_bytes", [] { return call<es10__set_nickname>(nickname(std::string(255, 'n'))); },
     nullptr, 0, 0, "[es10__set_nickname] Error generating the SetNicknameRequest TLV, rc -7"},
    {"prepare_download_that_cannot_be_sized", [] { return call<es10__prepare_download>(prepare_with_hash()); },
     "tlv_generator__add_tlv_full_bytes", 1, -7, "[es10__prepare_download] Error calculating the size of the PrepareDownloadRequest, rc -7"},
    {"prepare_download_that_cannot_be_written", [] { return call<es10__prepare_download>(prepare_with_hash()); },
     "tlv_generator__add_tag_and_length", 1, -7, "[es10__prepare_download] Error calculating the size of the PrepareDownloadRequest, rc -7"},
    {"set_default_dp_address_longer_than_a_length_can_tell", [] { return call<es10__set_default_dp_address>(SetDefaultDpAddressRequest{nullptr, 0xFFFFFF}); },
     nullptr, 0, 0, "[es10__set_default_dp_address] Error calculating the size of the SetDefaultDpAddressRequest, rc -1"},
    {"set_default_dp_address_with_a_length_but_no_bytes", [] { return call<es10__set_default_dp_address>(SetDefaultDpAddressRequest{nullptr, 5}); },
     nullptr, 0, 0, "[es10__set_default_dp_address] Error calculating the size of the SetDefaultDpAddressRequest, rc -4"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, es10_refusal, testing::ValuesIn(refused_calls),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(es10_memory, missing_for_a_prepare_download_gives_9)
{
    fake_session.reset();
    const log_capture log;
    const failing_memory memory(1);
    EXPECT_EQ(call<es10__prepare_download>(prepare_with_hash()).rc, 9u);
    EXPECT_TRUE(failing_memory::reached());
    EXPECT_TRUE(fake_session.sent.empty());
    EXPECT_EQ(log.up_to(1), "1 [es10__prepare_download] Can not allocate data to the PrepareDownloadRequest\n");
}

TEST(es10_memory, missing_for_a_default_dp_address_gives_9)
{
    fake_session.reset();
    const log_capture log;
    const failing_memory memory(1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(call<es10__set_default_dp_address>(address("a")).rc, 9u);
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(fake_session.sent.empty());
    EXPECT_EQ(log.up_to(1),
              "1 [es10__set_default_dp_address] Can not allocate data to the SetDefaultDpAddressRequest\n");
}

// ---- free memory

struct info_2 {
    const char *name, *answer;
    uint32_t rc;
    uint32_t free_memory;
    const char *log; // the last line up to level 3
};

class free_memory : public testing::TestWithParam<info_2> {
  protected:
    void SetUp() override { fake_session.reset(); }
};

TEST_P(free_memory, is_read_from_euicc_info_2)
{
    fake_session.answer = GetParam().answer;
    const log_capture log(3);
    uint32_t free_memory = 77;
    EXPECT_EQ(es10__get_free_memory(&modem, channel, &free_memory), GetParam().rc);
    EXPECT_EQ(free_memory, GetParam().free_memory);
    EXPECT_EQ(fake_session.sent, std::vector<std::string>{"BF2200"});
    EXPECT_EQ(log.lines().back().text, GetParam().log);
}

constexpr const char *not_found = "[es10__get_free_memory] Free memory not found in the EUICCInfo2";

const info_2 infos[] = {
    {"of_00010000_is_65536", "BF22 14 81 03 020200 82 03 020200 84 08 8101 05 8204 00010000 ", 1, 77, not_found},
    {"of_00010000_is_65536_in_a_whole_answer", "BF22 15 81 03 020200 82 03 020200 84 09 8101 05 8204 00010000", 0,
     65536, "[es10__get_free_memory] Free memory: 65536"},
    {"is_shown_signed", "BF22 08 84 06 8204 FFFFFFFE", 0, 4294967294u, "[es10__get_free_memory] Free memory: -2"},
    {"of_two_bytes_takes_the_next_two_too", "BF22 0A 84 08 8202 0001 8302 0003", 0, 0x00018302,
     "[es10__get_free_memory] Free memory: 99074"},
    {"is_never_read_behind_the_answer", "BF22 06 84 04 8202 0001", 1, 77, not_found},
    {"without_its_tag", "BF22 05 84 03 8101 05", 1, 77, not_found},
    {"without_ext_card_resource", "BF22 05 81 03 020200", 1, 77, not_found},
    {"with_svn_only_is_not_mistaken_for_it", "BF22 06 82 04 00010000", 1, 77, not_found},
    {"in_another_answer", "BF20 08 84 06 8204 00010000", 1, 77, not_found},
    {"in_no_answer", "", 1, 77, not_found},
};

INSTANTIATE_TEST_SUITE_P(table, free_memory, testing::ValuesIn(infos),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(free_memory_failure, of_the_session_is_passed_on_and_the_response_freed)
{
    fake_session.reset();
    fake_session.result = 6;
    fake_session.answer = "BF22 00"; // the leak check sees to it
    const log_capture log;
    uint32_t free_memory = 77;
    EXPECT_EQ(es10__get_free_memory(&modem, channel, &free_memory), 6u);
    EXPECT_EQ(free_memory, 77u);
    EXPECT_EQ(log.up_to(1), "1 [es10__get_free_memory] Error on ES10.GetEUICCInfo2, rc 6\n");
}

} // namespace
