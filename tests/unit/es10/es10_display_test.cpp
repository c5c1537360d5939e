#include "es10/es10_display.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/es10/sample_requests.h"
#include "unit/fakes/primitive_fault.h"
#include <gtest/gtest.h>

namespace {

struct shown_request {
    const char *name;
    void (*show)();
    const char *log; // lines up to level 3
};

ProfileIdentifier changed(ProfileIdentifier request, uint32_t choice, uint8_t first_byte)
{
    request.choice = choice;
    request.value[0] = first_byte;
    return request;
}

template <auto display, typename Request> void show(const Request &request) { display(&request); }

void show_search(uint32_t choice, const char *value)
{
    ProfileInfoListRequest request = {};
    request.searchCriteria_present = 1;
    request.search_choice = choice;
    const auto source = bytes(value);
    std::copy(source.begin(), source.end(), request.search_value);
    es10_display__profile_info_list_request(&request);
}

class display : public testing::TestWithParam<shown_request> {};

TEST_P(display, prints_header_and_fields)
{
    const log_capture log;
    GetParam().show();
    EXPECT_EQ(log.up_to(5), GetParam().log); // the ICCID conversion is silent when it succeeds
}

// clang-format off
const shown_request shown_requests[] = {
    {"enable_by_iccid_prints_three_lines", [] { show<es10_display__enable_profile_request>(by_iccid(1)); },
     "3 ES10.EnableProfile\n3 \tprofileIdentifier(iccid=8901234567890123456F)\n3 \trefreshFlag=true\n"},
    {"enable_by_aid_without_refresh", [] { show<es10_display__enable_profile_request>(by_aid(0)); },
     "3 ES10.EnableProfile\n3 \tprofileIdentifier(isdpAid=A0000005591010FFFFFFFF8900001100)\n3 \trefreshFlag=false\n"},
    {"disable_by_iccid", [] { show<es10_display__disable_profile_request>(by_iccid(0)); },
     "3 ES10.DisableProfile\n3 \tprofileIdentifier(iccid=8901234567890123456F)\n3 \trefreshFlag=false\n"},
    {"disable_with_choice_2", [] { show<es10_display__disable_profile_request>(changed(by_iccid(), 2, 0x89)); },
     "3 ES10.DisableProfile\n1 [es10_display__profile_identifier] Unknown profileIdentifier CHOICE 2\n3 \trefreshFlag=false\n"},
    {"iccid_in_card_order_is_shown_in_digit_order", [] { ProfileIdentifier request = by_iccid(); const auto card = bytes("98103254769810325 4F6"); std::copy(card.begin(), card.end(), request.value); es10_display__profile_identifier(&request); },
     "3 \tprofileIdentifier(iccid=8901234567890123456F)\n"},
    {"bad_iccid", [] { show<es10_display__profile_identifier>(changed(by_iccid(), 1, 0x12)); },
     "1 [is_iccid_nibble_swaped] The first byte of the ICCID is not correct. Expected: 89 or 98, current: 12\n"
     "1 [byte_utils__iccid_plain] The ICCID has an invalid format, rc 4\n"
     "1 [es10_display__iccid] Bad iccid format\n"},
    {"delete_by_iccid", [] { show<es10_display__delete_profile_request>(by_iccid()); },
     "3 ES10.DeleteProfile\n3 \ticcid=8901234567890123456F\n"},
    {"delete_by_aid", [] { show<es10_display__delete_profile_request>(by_aid()); },
     "3 ES10.DeleteProfile\n3 \tisdpAid=A0000005591010FFFFFFFF8900001100\n"},
    {"delete_with_choice_2", [] { show<es10_display__delete_profile_request>(changed(by_iccid(), 2, 0x89)); },
     "3 ES10.DeleteProfile\n1 [es10_display__delete_profile_request] Unknown DeleteProfileRequest CHOICE 2\n"},
    {"memory_reset_without_closing_parenthesis", [] { show<es10_display__euicc_memory_reset_request>(EuiccMemoryResetRequest{1, 0, 1}); },
     "3 ES10.eUICCMemoryReset\n3 \tresetOptions(deleteOperationalProfiles=1, deleteFieldLoadedTestProfiles=0, resetDefaultSmdpAddress=1\n"},
    {"cancel_reason_0_shows_all_16_bytes_of_the_transaction_id", [] { show<es10_display__cancel_session_request>(cancel(3, 0)); },
     "3 ES10.CancelSession\n3 \ttransactionId=000102030405060708090A0B0C0D0E0F\n3 \treason(endUserRejection)\n"},
    {"cancel_reason_1", [] { show<es10_display__cancel_session_request>(cancel(16, 1)); },
     "3 ES10.CancelSession\n3 \ttransactionId=000102030405060708090A0B0C0D0E0F\n3 \treason(postponed)\n"},
    {"cancel_reason_2", [] { show<es10_display__cancel_session_request>(cancel(16, 2)); },
     "3 ES10.CancelSession\n3 \ttransactionId=000102030405060708090A0B0C0D0E0F\n3 \treason(timeout)\n"},
    {"cancel_reason_3", [] { show<es10_display__cancel_session_request>(cancel(16, 3)); },
     "3 ES10.CancelSession\n3 \ttransactionId=000102030405060708090A0B0C0D0E0F\n3 \treason(pprNotAllowed)\n"},
    {"cancel_reason_4", [] { show<es10_display__cancel_session_request>(cancel(16, 4)); },
     "3 ES10.CancelSession\n3 \ttransactionId=000102030405060708090A0B0C0D0E0F\n3 \treason(metadataMismatch)\n"},
    {"cancel_reason_5", [] { show<es10_display__cancel_session_request>(cancel(16, 5)); },
     "3 ES10.CancelSession\n3 \ttransactionId=000102030405060708090A0B0C0D0E0F\n3 \treason(loadBppExecutionError)\n"},
    {"cancel_reason_6_is_unknown", [] { show<es10_display__cancel_session_request>(cancel(16, 6)); },
     "3 ES10.CancelSession\n3 \ttransactionId=000102030405060708090A0B0C0D0E0F\n3 \treason(Unknown)\n"},
    {"cancel_reason_127", [] { show<es10_display__cancel_session_request>(cancel(16, 127)); },
     "3 ES10.CancelSession\n3 \ttransactionId=000102030405060708090A0B0C0D0E0F\n3 \treason(undefinedReason)\n"},
    {"retrieve_everything_prints_only_its_header", [] { show<es10_display__retrieve_notifications_list_request>(RetrieveNotificationsListRequest{5, 0, 0}); },
     "3 ES10.RetrieveNotificationsList\n"},
    {"retrieve_by_number", [] { show<es10_display__retrieve_notifications_list_request>(RetrieveNotificationsListRequest{4294967295u, 0, 1}); },
     "3 ES10.RetrieveNotificationsList\n3 \tsearchCriteria(seqNumber=4294967295)\n"},
    {"retrieve_by_event_0", [] { show<es10_display__retrieve_notifications_list_request>(RetrieveNotificationsListRequest{0, 1, 1}); },
     "3 ES10.RetrieveNotificationsList\n3 \tsearchCriteria(profileManagementOperation=notificationInstall)\n"},
    {"retrieve_by_event_4_is_unknown", [] { show<es10_display__retrieve_notifications_list_request>(RetrieveNotificationsListRequest{4, 1, 1}); },
     "3 ES10.RetrieveNotificationsList\n3 \tsearchCriteria(profileManagementOperation=Unknown)\n"},
    {"retrieve_with_choice_2", [] { show<es10_display__retrieve_notifications_list_request>(RetrieveNotificationsListRequest{0, 2, 1}); },
     "3 ES10.RetrieveNotificationsList\n1 [es10_display__retrieve_notifications_list_request] Unknown searchCriteria CHOICE 2\n"},
    {"notification_sent_is_one_line", [] { show<es10_display__notification_sent_request>(NotificationSentRequest{12}); },
     "3 ES10.RemoveNotificationFromList(seqNumber=12)\n"},
    {"list_notification_unfiltered", [] { show<es10_display__list_notification_request>(ListNotificationRequest{1, 0}); },
     "3 ES10.ListNotification\n"},
    {"list_notification_enable", [] { show<es10_display__list_notification_request>(ListNotificationRequest{1, 1}); },
     "3 ES10.ListNotification\n3 \tprofileManagementOperation(notificationEnable)\n"},
    {"list_notification_disable", [] { show<es10_display__list_notification_request>(ListNotificationRequest{2, 1}); },
     "3 ES10.ListNotification\n3 \tprofileManagementOperation(notificationDisable)\n"},
    {"list_notification_delete", [] { show<es10_display__list_notification_request>(ListNotificationRequest{3, 1}); },
     "3 ES10.ListNotification\n3 \tprofileManagementOperation(notificationDelete)\n"},
    {"profile_list_without_criteria_and_tags_prints_only_its_header", [] { show<es10_display__profile_info_list_request>(ProfileInfoListRequest{}); },
     "3 ES10.GetProfilesInfo\n"},
    {"profile_list_by_aid", [] { show_search(0, SAMPLE_AID); },
     "3 ES10.GetProfilesInfo\n3 \tsearchCriteria(isdpAid=A0000005591010FFFFFFFF8900001100)\n"},
    {"profile_list_by_iccid", [] { show_search(1, "8901234567890123456F"); },
     "3 ES10.GetProfilesInfo\n3 \tsearchCriteria(iccid=8901234567890123456F)\n"},
    {"profile_list_of_class_test", [] { show_search(2, "00"); }, "3 ES10.GetProfilesInfo\n3 \tsearchCriteria(profileClass=test)\n"},
    {"profile_list_of_class_provisioning", [] { show_search(2, "01"); }, "3 ES10.GetProfilesInfo\n3 \tsearchCriteria(profileClass=provisioning)\n"},
    {"profile_list_of_class_operational", [] { show_search(2, "02"); }, "3 ES10.GetProfilesInfo\n3 \tsearchCriteria(profileClass=operational)\n"},
    {"profile_list_of_class_3_is_unknown", [] { show_search(2, "03"); }, "3 ES10.GetProfilesInfo\n3 \tsearchCriteria(profileClass=Unknown)\n"},
    {"profile_list_with_choice_3", [] { show_search(3, ""); },
     "3 ES10.GetProfilesInfo\n1 [es10_display__profile_info_list_request] Unknown searchCriteria CHOICE 3\n"},
    {"profile_list_prints_its_flags_on_two_lines",
     [] { ProfileInfoListRequest request = {}; request.tagList_present = 1; for (uint8_t i = 0; i < PROFILE_TAG__COUNT; ++i) request.tags[i] = i; es10_display__profile_info_list_request(&request); },
     "3 ES10.GetProfilesInfo\n"
     "3 \ttagList(iccid=0, isdpAid=1, profileState=2, profileNickname=3, serviceProviderName=4, profileName=5, iconType=6\n"
     "3 \ticon=7, profileClass=8, notificationConfigurationInfo=9, profileOwner=10, dpProprietaryData=11, profilePolicyRules=12)\n"},
    {"notification_removed", [] { lpa_display__notification_sent_response(5, 0); },
     "3 Notification with SequenceNumber 5 has been removed successfully\n"},
    {"notification_not_there", [] { lpa_display__notification_sent_response(5, 1); },
     "1 Error on remove the notification with SequenceNumber 5, deleteNotificationStatus: Nothing to delete\n"},
    {"notification_undefined_error", [] { lpa_display__notification_sent_response(4294967295u, 127); },
     "1 Error on remove the notification with SequenceNumber 4294967295, deleteNotificationStatus: Undefined error\n"},
    {"notification_unknown_status", [] { lpa_display__notification_sent_response(5, 2); },
     "1 Error on remove the notification with SequenceNumber 5, deleteNotificationStatus: Unknown\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, display, testing::ValuesIn(shown_requests),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(display_of_a_transaction_id, that_cannot_be_formatted_is_reported)
{
    const CancelSessionRequest request = cancel(16, 1);
    const log_capture log;
    const primitive_fault fault("byte_utils__byte_array_to_hex_string", 1, 4);
    es10_display__transaction_id(&request.transactionId);
    EXPECT_EQ(log.up_to(5), "1 [es10_display__transaction_id] Error printing the transactionId, err 4\n");
}

std::string standard_error_of(void (*act)())
{
    const log_capture log(3);
    testing::internal::CaptureStderr();
    act();
    return testing::internal::GetCapturedStderr();
}

TEST(display_of_utf8, shows_the_default_dp_address_for_its_length)
{
    const std::string text = standard_error_of([] {
        const SetDefaultDpAddressRequest request = {"smdp.example.comX", 16};
        es10_display__set_default_dp_address_request(&request);
    });
    EXPECT_TRUE(text.ends_with("\tdefaultDpAddress=smdp.example.com\n")) << text;
}

TEST(display_of_utf8, takes_an_address_without_bytes_for_empty)
{
    const std::string text = standard_error_of([] {
        const SetDefaultDpAddressRequest request = {nullptr, 16};
        es10_display__set_default_dp_address_request(&request);
    });
    EXPECT_TRUE(text.ends_with("\tdefaultDpAddress=\n")) << text;
}

TEST(display_of_utf8, shows_the_nickname_for_its_length)
{
    const std::string text = standard_error_of([] {
        const SetNicknameRequest request = nickname("M\xC3\xBCnchen");
        es10_display__set_nickname_request(&request);
    });
    EXPECT_TRUE(text.ends_with("\tprofileNickname=M\xC3\xBCnchen\n")) << text;
}

TEST(display_of_utf8, never_shows_more_of_a_nickname_than_the_record_holds)
{
    const std::string text = standard_error_of([] {
        const SetNicknameRequest request = nickname(std::string(255, 'n'));
        es10_display__set_nickname_request(&request);
    });
    EXPECT_TRUE(text.ends_with("\tprofileNickname=" + std::string(64, 'n') + "\n")) << text;
}

TEST(display_of_utf8, headers_go_to_the_log)
{
    const SetNicknameRequest named = nickname("a");
    const SetDefaultDpAddressRequest address = {"a", 1};
    const log_capture log;
    testing::internal::CaptureStderr();
    es10_display__set_nickname_request(&named);
    es10_display__set_default_dp_address_request(&address);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(log.up_to(5), "3 ES10.SetNickname\n3 \ticcid=8901234567890123456F\n3 ES10.SetDefaultDpAddress\n");
}

} // namespace
