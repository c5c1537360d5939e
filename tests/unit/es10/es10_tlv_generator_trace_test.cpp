// Level 5: the sizes and dumps of one encoding, from an empty log on.
#include "support/log_capture.h"
#include "unit/es10/sample_requests.h"
#include "unit/fakes/primitive_fault.h"
#include <gtest/gtest.h>

namespace {

struct trace {
    const char *name;
    const char *sample;
    const char *log; // lines of the encoders themselves
};

std::string encoder_lines(const log_capture &log)
{
    std::string result;
    for (const log_capture::line &line : log.lines())
        if (line.text.rfind("[es10_tlv_generator__", 0) == 0)
            result += std::to_string(line.level) + " " + line.text + "\n";
    return result;
}

class encoder_trace : public testing::TestWithParam<trace> {};

TEST_P(encoder_trace, tells_sizes_and_dumps)
{
    uint8_t buffer[256] = {};
    const log_capture log;
    EXPECT_GT(sample(GetParam().sample).encode(buffer, sizeof buffer, 0), 0);
    EXPECT_EQ(encoder_lines(log), GetParam().log);
}

// clang-format off
const trace traces[] = {
    {"enable", "enable_by_iccid_with_refresh",
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier VALUE size 12\n"
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier TLV size 14\n"
     "5 [es10_tlv_generator__enable_profile_request] EnableProfileRequest VALUE size 17\n"
     "5 [es10_tlv_generator__enable_profile_request] EnableProfileRequest TLV size 20\n"
     "5 [es10_tlv_generator__enable_profile_request] EnableProfileRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier VALUE size 12\n"
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier TLV size 14\n"
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier TAG LENGTH\n"
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier\n"
     "5 [es10_tlv_generator__enable_profile_request] EnableProfileRequest\n"},
    {"disable", "disable_by_aid_with_refresh",
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier VALUE size 18\n"
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier TLV size 20\n"
     "5 [es10_tlv_generator__disable_profile_request] DisableProfileRequest VALUE size 23\n"
     "5 [es10_tlv_generator__disable_profile_request] DisableProfileRequest TLV size 26\n"
     "5 [es10_tlv_generator__disable_profile_request] DisableProfileRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier VALUE size 18\n"
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier TLV size 20\n"
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier TAG LENGTH\n"
     "5 [es10_tlv_generator__profile_identifier] profileIdentifier\n"
     "5 [es10_tlv_generator__disable_profile_request] DisableProfileRequest\n"},
    {"delete_profile", "delete_by_aid_is_bare",
     "5 [es10_tlv_generator__delete_profile_request] DeleteProfileRequest VALUE size 18\n"
     "5 [es10_tlv_generator__delete_profile_request] DeleteProfileRequest TLV size 21\n"
     "5 [es10_tlv_generator__delete_profile_request] DeleteProfileRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__delete_profile_request] DeleteProfileRequest\n"},
    {"set_nickname", "set_nickname",
     "5 [es10_tlv_generator__set_nickname_request] SetNicknameRequest VALUE size 18\n"
     "5 [es10_tlv_generator__set_nickname_request] SetNicknameRequest TLV size 21\n"
     "5 [es10_tlv_generator__set_nickname_request] SetNicknameRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__set_nickname_request] SetNicknameRequest\n"},
    {"profile_list", "profile_list_by_aid_with_all_tags",
     "5 [es10_tlv_generator__profile_info_list_request_search_critreria] searchCriteria VALUE size 18\n"
     "5 [es10_tlv_generator__profile_info_list_request_search_critreria] searchCriteria TLV size 20\n"
     "5 [es10_tlv_generator__profile_info_list_request_value] ProfileInfoListRequest VALUE size after searchCriteria: 20\n"
     "5 [es10_tlv_generator__profile_info_list_request_tag_list] tagList VALUE size 14\n"
     "5 [es10_tlv_generator__profile_info_list_request_tag_list] tagList TLV size 16\n"
     "5 [es10_tlv_generator__profile_info_list_request_value] ProfileInfoListRequest VALUE size after tagList: 36\n"
     "5 [es10_tlv_generator__profile_info_list_request] ProfileInfoListRequest VALUE size 36\n"
     "5 [es10_tlv_generator__profile_info_list_request] ProfileInfoListRequest TLV size 39\n"
     "5 [es10_tlv_generator__profile_info_list_request] ProfileInfoListRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__profile_info_list_request_search_critreria] searchCriteria VALUE size 18\n"
     "5 [es10_tlv_generator__profile_info_list_request_search_critreria] searchCriteria TLV size 20\n"
     "5 [es10_tlv_generator__profile_info_list_request_search_critreria] searchCriteria TAG LENGTH\n"
     "5 [es10_tlv_generator__profile_info_list_request_search_critreria] searchCriteria\n"
     "5 [es10_tlv_generator__profile_info_list_request_value] ProfileInfoListRequest VALUE size after searchCriteria: 20\n"
     "5 [es10_tlv_generator__profile_info_list_request_tag_list] tagList VALUE size 14\n"
     "5 [es10_tlv_generator__profile_info_list_request_tag_list] tagList TLV size 16\n"
     "5 [es10_tlv_generator__profile_info_list_request_tag_list] tagList TAG LENGTH\n"
     "5 [es10_tlv_generator__profile_info_list_request_tag_list] tagList\n"
     "5 [es10_tlv_generator__profile_info_list_request_value] ProfileInfoListRequest VALUE size after tagList: 36\n"
     "5 [es10_tlv_generator__profile_info_list_request] ProfileInfoListRequest\n"},
    {"memory_reset_without_size_lines", "memory_reset_of_everything",
     "5 [es10_tlv_generator__euicc_memory_reset] EuiccMemoryResetRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__euicc_memory_reset] EuiccMemoryResetRequest\n"},
    {"retrieve", "retrieve_by_largest_seq_number",
     "5 [es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest searchCriteria VALUE size 7\n"
     "5 [es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest searchCriteria TLV size 9\n"
     "5 [es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest VALUE size 9\n"
     "5 [es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest TLV size 12\n"
     "5 [es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest searchCriteria VALUE size 7\n"
     "5 [es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest searchCriteria TLV size 9\n"
     "5 [es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest searchCriteria TAG LENGTH\n"
     "5 [es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest TLV\n"},
    {"notification_sent", "notification_sent_0",
     "5 [es10_tlv_generator__notification_sent_request] NotificationSentRequest VALUE size 3\n"
     "5 [es10_tlv_generator__notification_sent_request] NotificationSentRequest TLV size 6\n"
     "5 [es10_tlv_generator__notification_sent_request] NotificationSentRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__notification_sent_request] NotificationSentRequest\n"},
    {"default_dp_address_without_size_lines", "set_default_dp_address",
     "5 [es10_tlv_generator__add_set_default_dp_address] SetDefaultDpAddressRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__add_set_default_dp_address] SetDefaultDpAddressRequest TLV\n"},
    {"list_notification", "list_notification_enable",
     "5 [es10_tlv_generator__list_notification_request] ListNotificationRequest VALUE size 4\n"
     "5 [es10_tlv_generator__list_notification_request] ListNotificationRequest TLV size 7\n"
     "5 [es10_tlv_generator__list_notification_request] ListNotificationRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__list_notification_request] ListNotificationRequest\n"},
    {"cancel_session", "cancel_session_with_the_longest_transaction_id",
     "5 [es10_tlv_generator__cancel_session_request_value] CancelSessionRequest VALUE size after transactionId: 18\n"
     "5 [es10_tlv_generator__cancel_session_request_value] CancelSessionRequest VALUE size after reason: 21\n"
     "5 [es10_tlv_generator__cancel_session_request] CancelSessionRequest VALUE size 21\n"
     "5 [es10_tlv_generator__cancel_session_request] CancelSessionRequest TLV size 24\n"
     "5 [es10_tlv_generator__cancel_session_request] CancelSessionRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__cancel_session_request_value] CancelSessionRequest VALUE size after transactionId: 18\n"
     "5 [es10_tlv_generator__cancel_session_request_value] CancelSessionRequest VALUE size after reason: 21\n"
     "5 [es10_tlv_generator__cancel_session_request] CancelSessionRequest TLV\n"},
    {"prepare_download_without_size_lines_of_its_own", "prepare_download_with_hash",
     "5 [es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after smdpSigned2: 5\n"
     "5 [es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after smdpSignature2: 10\n"
     "5 [es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after hashCc: 44\n"
     "5 [es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after smdpSignature2: 47\n"
     "5 [es10_tlv_generator__prepare_download_request] PrepareDownloadRequest TAG LENGTH\n"
     "5 [es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after smdpSigned2: 5\n"
     "5 [es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after smdpSignature2: 10\n"
     "5 [es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after hashCc: 44\n"
     "5 [es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after smdpSignature2: 47\n"
     "5 [es10_tlv_generator__prepare_download_request] PrepareDownloadRequest TLV\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, encoder_trace, testing::ValuesIn(traces),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(encoder_dump, begins_with_the_buffer_and_ends_with_what_was_written)
{
    uint8_t buffer[12] = {0xAA, 0xBB};
    const log_capture log;
    EXPECT_EQ(sample("list_notification_enable").encode(buffer, sizeof buffer, 2), 9);
    const std::string text = log.at(5);
    EXPECT_NE(text.find("5 [es10_tlv_generator__list_notification_request] ListNotificationRequest TAG LENGTH\n"
                        "5 AA BB BF 28 04 \n"),
              std::string::npos);
    EXPECT_NE(text.find("5 [es10_tlv_generator__list_notification_request] ListNotificationRequest\n"
                        "5 AA BB BF 28 04 81 02 06 40 \n"),
              std::string::npos);
}

TEST(encoder_dump, of_a_failed_prepare_download_ends_with_the_header)
{
    uint8_t buffer[64] = {};
    const log_capture log;
    const primitive_fault fault("tlv_generator__add_tlv_full_bytes", 4, -7); // three to size, the first to write
    EXPECT_EQ(sample("prepare_download_leaves_out_what_is_not_given").encode(buffer, sizeof buffer, 0), -7);
    EXPECT_TRUE(log.at(5).ends_with("5 [es10_tlv_generator__prepare_download_request] PrepareDownloadRequest TLV\n"
                                    "5 BF 21 08 \n"))
        << log.at(5);
}

} // namespace
