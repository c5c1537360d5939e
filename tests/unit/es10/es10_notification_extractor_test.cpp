#include "es10/es10_notification_extractor.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/fakes/primitive_fault.h"
#include <gtest/gtest.h>

namespace {

#define CARD_ICCID "98103254769810325 4F6"

std::string own_lines(const log_capture &log, int level)
{
    std::string own;
    for (const log_capture::line &line : log.lines())
        if (line.level <= level && line.text.rfind("[tlv_", 0) != 0 && line.text[0] == '[')
            own += std::to_string(line.level) + " " + line.text + "\n";
    return own;
}

uint32_t size_of(const std::vector<uint8_t> &data) { return static_cast<uint32_t>(data.size()); }

// ---- metadata

struct metadata_case {
    const char *name, *tlv;
    uint32_t code;
    const char *log; // own lines up to level 4
};

class metadata : public testing::TestWithParam<metadata_case> {};

TEST_P(metadata, gives_code_and_log)
{
    const auto tlv = bytes(GetParam().tlv);
    NotificationMetadata record = {};
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__notification_metadata(tlv.data(), size_of(tlv), &record), GetParam().code);
    EXPECT_EQ(own_lines(log, 4), GetParam().log);
}

// clang-format off
#define NUMBER "4 [es10_tlv_extractor__notification_metadata] NotificationMetadata seqNumber 258\n"
#define OPERATION "4 [es10_tlv_extractor__notification_metadata] NotificationMetadata profileManagementOperation 1\n"
#define ADDRESS "4 [es10_tlv_extractor__notification_metadata] NotificationMetadata notificationAddress a.b\n"
const metadata_case metadata_cases[] = {
    {"whole", "BF2F 19 80 02 0102 81 02 06 40 0C 03 61 2E 62 5A 0A" CARD_ICCID, 0,
     NUMBER OPERATION ADDRESS "4 [es10_tlv_extractor__notification_metadata] NotificationMetadata ICCID 8901234567890123456F\n"},
    {"without_iccid_succeeds", "BF2F 0D 80 02 0102 81 02 06 40 0C 03 61 2E 62", 0,
     NUMBER OPERATION ADDRESS "3 [es10_tlv_extractor__notification_metadata] No ICCID data in the NotificationMetadata\n"},
    {"inside_a_signed_notification", "30 14 BF2F 0D 80 02 0102 81 02 06 40 0C 03 61 2E 62 5F37 01 00", 0,
     NUMBER OPERATION ADDRESS "3 [es10_tlv_extractor__notification_metadata] No ICCID data in the NotificationMetadata\n"},
    {"with_an_iccid_of_9_bytes", "BF2F 18 80 02 0102 81 02 06 40 0C 03 61 2E 62 5A 09 981032547698103254", 1,
     NUMBER OPERATION ADDRESS "1 [es10_tlv_extractor__notification_metadata] Error extracting the ICCID of the NotificationMetadata, rc 1\n"},
    {"without_number", "BF2F 09 81 02 06 40 0C 03 61 2E 62", 1,
     "1 [es10_tlv_extractor__notification_metadata] Error extracting the seqNumber of the NotificationMetadata, rc 1\n"},
    {"without_operation", "BF2F 09 80 02 0102 0C 03 61 2E 62", 1,
     NUMBER
     "1 [es10_tlv_extractor__notification_event] Error extracting the NotificationEvent BIT STRING, rc 1\n"
     "1 [es10_tlv_extractor__notification_metadata] Error extracting the profileManagementOperation of the NotificationMetadata, rc 1\n"},
    {"without_address", "BF2F 08 80 02 0102 81 02 06 40", 1,
     NUMBER OPERATION
     "1 [es10_tlv_extractor__notification_metadata] Error extracting the notificationAddress of the NotificationMetadata, rc 1\n"},
    {"empty", "BF2F 00", 4,
     "1 [es10_tlv_extractor__notification_metadata] Error extracting the seqNumber of the NotificationMetadata, rc 4\n"},
    {"absent", "BF2E 00", 1, "1 [es10_tlv_extractor__notification_metadata] NotificationMetadata TAG 0xBF2F not found\n"},
    {"longer_than_the_bytes_there_are", "BF2F 0E 80 02 0102 81 02 06 40 0C 03 61 2E 62", 1,
     "1 [es10_tlv_extractor__notification_metadata] NotificationMetadata TAG 0xBF2F not found\n"},
    {"of_nothing", "", 4, "1 [es10_tlv_extractor__notification_metadata] tlv is empty/null\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, metadata, testing::ValuesIn(metadata_cases),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(metadata_record, holds_the_iccid_in_natural_order)
{
    const auto tlv = bytes("BF2F 19 80 02 0102 81 02 06 40 0C 03 61 2E 62 5A 0A" CARD_ICCID);
    NotificationMetadata record = {};
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__notification_metadata(tlv.data(), size_of(tlv), &record), 0u);
    EXPECT_EQ(record.seqNumber, 258u);
    EXPECT_EQ(record.profileManagementOperation, 1u);
    EXPECT_STREQ(record.notificationAddress, "a.b");
    EXPECT_EQ(record.iccid_present, 1);
    EXPECT_EQ(hex(record.iccid, sizeof record.iccid), "8901234567890123456F");
    EXPECT_NE(log.at(5).find("5 [es10_tlv_extractor__notification_metadata] tlv\n5 BF 2F 19 80 02 01 02 "),
              std::string::npos);
}

TEST(metadata_record, without_iccid_says_so_whatever_was_there_before)
{
    const auto tlv = bytes("BF2F 0D 80 02 0102 81 02 06 40 0C 03 61 2E 62");
    NotificationMetadata record = {};
    record.iccid_present = 1;
    const log_capture quiet(0);
    EXPECT_EQ(es10_tlv_extractor__notification_metadata(tlv.data(), size_of(tlv), &record), 0u);
    EXPECT_EQ(record.iccid_present, 0);
}

TEST(metadata_record, of_a_reader_that_finds_no_iccid_but_no_fault_either_succeeds)
{
    const auto tlv = bytes("BF2F 0D 80 02 0102 81 02 06 40 0C 03 61 2E 62");
    NotificationMetadata record = {};
    const log_capture log;
    const primitive_fault absent("tlv_data_extractor__iccid", 1, 0);
    EXPECT_EQ(es10_tlv_extractor__notification_metadata(tlv.data(), size_of(tlv), &record), 0u);
    EXPECT_TRUE(log.contains("[es10_tlv_extractor__notification_metadata] NotificationMetadata ICCID is not present"));
}

// ---- events

struct event_case {
    const char *name, *tlv;
    uint32_t code, event;
    const char *log; // own errors
};

class event : public testing::TestWithParam<event_case> {};

TEST_P(event, is_the_first_bit_that_is_set)
{
    const auto tlv = bytes(GetParam().tlv);
    uint32_t event = 99;
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__notification_event(0x81, tlv.data(), size_of(tlv), &event), GetParam().code);
    EXPECT_EQ(event, GetParam().event);
    EXPECT_EQ(own_lines(log, 1), GetParam().log);
}

// clang-format off
const event_case event_cases[] = {
    {"install", "81 02 07 80", 0, 0, ""},
    {"enable", "81 02 06 40", 0, 1, ""},
    {"disable", "81 02 05 20", 0, 2, ""},
    {"delete_notification", "81 02 04 10", 0, 3, ""},
    {"bits_1_and_3_give_1", "81 02 04 50", 0, 1, ""},
    {"without_any_bit", "81 02 04 00", 1, 99, "1 [es10_tlv_extractor__notification_event] Any bit is set to 1\n"},
    {"of_no_bits", "81 01 00", 1, 99, "1 [es10_tlv_extractor__notification_event] Any bit is set to 1\n"},
    {"under_another_tag", "82 02 07 80", 1, 99, "1 [es10_tlv_extractor__notification_event] Error extracting the NotificationEvent BIT STRING, rc 1\n"},
    {"of_nothing", "", 4, 99, "1 [es10_tlv_extractor__notification_event] tlv is empty/null\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, event, testing::ValuesIn(event_cases),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(event_bits, of_more_than_four_events_are_refused)
{
    const auto tlv = bytes("81 02 03 08"); // five bits
    uint32_t event = 99;
    const log_capture log;
    EXPECT_NE(es10_tlv_extractor__notification_event(0x81, tlv.data(), 4, &event), 0u);
    EXPECT_EQ(event, 99u);
}

TEST(event_bits, are_dumped_at_level_5)
{
    const auto tlv = bytes("81 02 06 40");
    uint32_t event = 99;
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__notification_event(0x81, tlv.data(), 4, &event), 0u);
    EXPECT_TRUE(log.at(5).ends_with(
        "5 [es10_tlv_extractor__notification_event] NotificationEvent BIT STRING\n5 00 01 00 00 \n"));
}

// ---- ListNotificationResponse

struct list_case {
    const char *name, *answer;
    uint32_t code;
    const char *log; // own lines up to level 4
};

class list_notification : public testing::TestWithParam<list_case> {};

TEST_P(list_notification, gives_code_and_log)
{
    const auto response = bytes(GetParam().answer);
    ListNotificationResponse record = {};
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__list_notification_response(response.data(), size_of(response), &record),
              GetParam().code);
    EXPECT_EQ(own_lines(log, 4), GetParam().log);
}

// clang-format off
#define DUMP "4 [es10_tlv_extractor__list_notification_response] ListNotificationResponse\n"
const list_case list_cases[] = {
    {"list", "BF28 06 A0 04 BF2F 01 00", 0, DUMP "4 [es10_tlv_extractor__list_notification_response] The ListNotificationResponse is a notificationMetadataList\n"},
    {"error_127", "BF28 03 81 01 7F", 0, DUMP "4 [es10_tlv_extractor__list_notification_response] The ListNotificationResponse is a listNotificationsResultError\n"},
    {"error_1_is_not_defined", "BF28 03 81 01 01", 1,
     DUMP "4 [es10_tlv_extractor__list_notification_response] The ListNotificationResponse is a listNotificationsResultError\n"
     "1 [es10_tlv_extractor__list_notifications_result_error] Error 01 not defined in the listNotificationsResultError\n"},
    {"error_of_two_bytes", "BF28 04 81 02 007F", 1,
     DUMP "4 [es10_tlv_extractor__list_notification_response] The ListNotificationResponse is a listNotificationsResultError\n"
     "1 [es10_tlv_extractor__list_notifications_result_error] Error extracting the listNotificationsResultError, rc 1\n"},
    {"list_that_runs_past_the_answer_gives_7", "BF28 06 A0 05 BF2F 01 00", 7,
     DUMP "4 [es10_tlv_extractor__list_notification_response] The ListNotificationResponse is a notificationMetadataList\n"},
    {"another_choice", "BF28 02 A1 00", 1, DUMP "1 [es10_tlv_extractor__list_notification_response] Unknown TAG 00A1 of ListNotificationResponse CHOICE\n"},
    {"no_choice", "BF28 00", 1, DUMP "1 [es10_tlv_extractor__list_notification_response] Error parsing the ListNotificationResponse TLV, rc 1\n"},
    {"another_answer", "BF29 02 A0 00", 1, DUMP "1 [es10_tlv_extractor__list_notification_response] TAG of ListNotificationResponse (BF28) not found\n"},
    {"nothing", "", 4, "1 [es10_tlv_extractor__list_notification_response] tlv is empty/null\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, list_notification, testing::ValuesIn(list_cases),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(list_notification_record, of_a_list_is_walked_element_by_element)
{
    const auto response = bytes("BF28 0E A0 0C BF2F 03 80 01 05 BF2F 03 80 01 02");
    ListNotificationResponse record = {};
    const log_capture quiet(0);
    ASSERT_EQ(es10_tlv_extractor__list_notification_response(response.data(), size_of(response), &record), 0u);
    EXPECT_EQ(record.choice, static_cast<uint32_t>(LIST_NOTIFICATION__METADATA_LIST));
    const uint8_t *element = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(tlv_data_extractor__asn1_list_get_next(&record.notificationMetadataList, &element, &size), 0u);
    EXPECT_EQ(hex(element, size), "BF2F03800105");
    EXPECT_EQ(tlv_data_extractor__asn1_list_get_next(&record.notificationMetadataList, &element, &size), 0u);
    EXPECT_EQ(hex(element, size), "BF2F03800102");
    EXPECT_EQ(tlv_data_extractor__asn1_list_get_next(&record.notificationMetadataList, &element, &size), 0u);
    EXPECT_EQ(element, nullptr);
}

TEST(list_notification_record, of_an_error_holds_its_number)
{
    const auto response = bytes("BF28 03 81 01 7F");
    ListNotificationResponse record = {};
    const log_capture quiet(0);
    EXPECT_EQ(es10_tlv_extractor__list_notification_response(response.data(), size_of(response), &record), 0u);
    EXPECT_EQ(record.choice, static_cast<uint32_t>(LIST_NOTIFICATION__ERROR));
    EXPECT_EQ(record.error, 127u);
}

TEST(list_notifications_result_error, of_nothing_gives_4)
{
    uint32_t error = 5;
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__list_notifications_result_error(nullptr, 3, &error), 4u);
    EXPECT_EQ(error, 5u);
    EXPECT_EQ(log.up_to(5), "1 [es10_tlv_extractor__list_notifications_result_error] tlv is empty/null\n");
}

// ---- emptiness of the RetrieveNotificationsListResponse

struct empty_case {
    const char *name, *answer;
    uint32_t code;
    int empty; // 9: left as it was
    const char *log;
};

class retrieved_list : public testing::TestWithParam<empty_case> {};

TEST_P(retrieved_list, is_empty_or_not)
{
    const auto response = bytes(GetParam().answer);
    uint8_t empty = 9;
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__retrieve_notifications_list_response_is_empty_list(response.data(), size_of(response),
                                                                                     &empty),
              GetParam().code);
    EXPECT_EQ(empty, GetParam().empty);
    EXPECT_EQ(own_lines(log, 4), GetParam().log);
}

// clang-format off
const empty_case empty_cases[] = {
    {"empty", "BF2B 02 A0 00", 0, 1, ""},
    {"with_a_notification", "BF2B 04 A0 02 30 00", 0, 0, ""},
    {"with_an_81_inside_a_notification_is_no_error", "BF2B 07 A0 05 30 03 81 01 7F", 0, 0, ""},
    {"error", "BF2B 03 81 01 7F", 1, 9, "1 [ipa_tlv_data_extractor__check_pending_notifications] RetrieveNotificationsListResponse contains a notificationsListResultError\n"},
    {"no_list", "BF2B 02 A1 00", 1, 9, "1 [ipa_tlv_data_extractor__check_pending_notifications] TAG of SEQUENCE (00A0) not found\n"},
    {"list_that_runs_past_the_answer", "BF2B 05 82 01 00 A0 01", 1, 9, "1 [ipa_tlv_data_extractor__check_pending_notifications] Error parsing the tagList TLV from the PendingNotification TLV on offset 6, rc 1\n"},
    {"another_answer", "BF2C 02 A0 00", 1, 9, "1 [ipa_tlv_data_extractor__check_pending_notifications] TAG of RetrieveNotificationsListResponse (BF2B) not found\n"},
    {"nothing", "", 4, 9, "1 [ipa_tlv_data_extractor__check_pending_notifications] RetrieveNotificationsListResponse is empty\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, retrieved_list, testing::ValuesIn(empty_cases),
                         [](const auto &info) { return std::string(info.param.name); });

} // namespace
