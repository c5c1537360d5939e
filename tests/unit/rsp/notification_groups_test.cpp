#include "foundation/log.h"
#include "rsp/notification_groups.h"
#include "support/log_capture.h"
#include "unit/fakes/failing_memory.h"
#include "unit/rsp/card_answers.h"
#include "unit/tlv/exact_block.h"
#include <array>
#include <gtest/gtest.h>

namespace {
class groups : public testing::Test {
  protected:
    ~groups() override { free_notification_groups(list); }

    std::string text() const
    {
        std::string result;
        for (const notification_group *group = list; group; group = group->next) {
            result += group->notification_address;
            for (uint32_t i = 0; i < group->count; ++i)
                result += " " + std::to_string(group->sequence_numbers[i]);
            result += "; ";
        }
        return result;
    }

    uint32_t read(const std::vector<uint8_t> &response)
    {
        const exact_block block{std::span<const uint8_t>(response)};
        return group_by_notification_address(block.data(), block.size(), &list);
    }

    notification_group *list = nullptr;
    log_capture log;
};

TEST_F(groups, keep_the_order_of_first_appearance)
{
    EXPECT_EQ(add_notification_to_list(&list, 5, "a"), 0U);
    EXPECT_EQ(add_notification_to_list(&list, 3, "b"), 0U);
    EXPECT_EQ(add_notification_to_list(&list, 2, "a"), 0U);
    EXPECT_EQ(add_notification_to_list(&list, 9, "A"), 0U) << "addresses are compared byte for byte";
    EXPECT_EQ(text(), "a 5 2; b 3; A 9; ");
    EXPECT_EQ(log.up_to(LOG__TRACE),
              "4 [add_notification_to_list] sequence_number 5, notification_address 'a'\n"
              "4 [add_notification_to_list] notificationAddress group 'a' not found\n"
              "4 [add_notification_to_list] Sequence number 5 added to the new notificationAddress group\n"
              "4 [add_notification_to_list] sequence_number 3, notification_address 'b'\n"
              "4 [add_notification_to_list] notificationAddress group 'b' not found\n"
              "4 [add_notification_to_list] Sequence number 3 added to the new notificationAddress group\n"
              "4 [add_notification_to_list] sequence_number 2, notification_address 'a'\n"
              "4 [add_notification_to_list] notificationAddress group 'a' found\n"
              "4 [add_notification_to_list] Sequence number 2 added\n"
              "4 [add_notification_to_list] sequence_number 9, notification_address 'A'\n"
              "4 [add_notification_to_list] notificationAddress group 'A' not found\n"
              "4 [add_notification_to_list] Sequence number 9 added to the new notificationAddress group\n");
}

TEST_F(groups, take_addresses_of_255_bytes_and_refuse_longer_ones)
{
    const std::string longest(255, 'x');
    EXPECT_EQ(add_notification_to_list(&list, 1, longest.c_str()), 0U);
    EXPECT_EQ(add_notification_to_list(&list, 1, (longest + "x").c_str()), 4U);
    EXPECT_EQ(text(), longest + " 1; ");
}

TEST_F(groups, are_sorted_by_the_difference_of_their_numbers)
{
    for (const uint32_t number : {7U, 3U, 5U, 3U, 1U})
        add_notification_to_list(&list, number, "a");
    for (const uint32_t number : {0U, 0xFFFFFFFFU, 2U})
        add_notification_to_list(&list, number, "b"); // the counter has wrapped
    sort_notification_groups(list);
    EXPECT_EQ(text(), "a 1 3 3 5 7; b 4294967295 0 2; ");
    sort_notification_groups(nullptr);
}

TEST_F(groups, far_apart_numbers_are_sorted_to_some_order_without_losing_one)
{
    for (const uint32_t number : {0U, 0x80000000U, 0x55555555U, 0xAAAAAAAAU, 0xFFFFFFFFU})
        add_notification_to_list(&list, number, "a");
    sort_notification_groups(list);
    uint32_t sum = 0;
    for (uint32_t i = 0; i < list->count; ++i)
        sum ^= list->sequence_numbers[i];
    EXPECT_EQ(list->count, 5U);
    EXPECT_EQ(sum, 0x80000000U ^ 0x55555555U ^ 0xAAAAAAAAU ^ 0xFFFFFFFFU);
}

struct memory_case {
    const char *name;
    uint32_t sequence_number;
    const char *address; // added to a list that holds 5 for "a"
    int nth;
    const char *log;
};

TEST_F(groups, tell_which_allocation_failed)
{
    {
        failing_memory memory(1);
        EXPECT_EQ(add_notification_to_list(&list, 5, "a"), 9U);
    }
    EXPECT_EQ(log.at(LOG__ERROR),
              "1 [add_notification_to_list] Error allocating memory to the first entry of the list\n");
    {
        failing_memory memory(2);
        EXPECT_EQ(add_notification_to_list(&list, 5, "a"), 9U);
    }
    EXPECT_EQ(list, nullptr);
    ASSERT_EQ(add_notification_to_list(&list, 5, "a"), 0U);
    log.clear();
    for (
        const memory_case &row : {
            memory_case{
                "number", 6, "a", 1,
                "1 [add_notification_to_list] Error reallocating the sequence number list for the notificationAddress group a\n"},
            memory_case{
                "entry", 6, "b", 1,
                "1 [add_notification_to_list] Error allocating memory to the new entry of the list, notificationAddress group b\n"},
            memory_case{
                "numbers", 6, "b", 2,
                "1 [add_notification_to_list] Error allocating memory to the new sequence number list of the notificationAddress group b\n"},
        }) {
        failing_memory memory(row.nth);
        EXPECT_EQ(add_notification_to_list(&list, row.sequence_number, row.address), 9U) << row.name;
        EXPECT_EQ(log.at(LOG__ERROR), row.log);
        EXPECT_EQ(text(), "a 5; ");
        log.clear();
    }
}

TEST_F(groups, are_read_from_the_cards_list)
{
    EXPECT_EQ(read(list_notification_response(
                  {notification_metadata(5, "a"), notification_metadata(3, "b"), notification_metadata(2, "a")})),
              0U);
    EXPECT_EQ(text(), "a 5 2; b 3; ");
    EXPECT_EQ(log.up_to(LOG__INFO).find("1 "), std::string::npos);
}

TEST_F(groups, of_an_empty_list_are_none)
{
    EXPECT_EQ(read(list_notification_response({})), 0U);
    EXPECT_EQ(list, nullptr);
}

TEST_F(groups, are_not_read_from_an_error_answer)
{
    EXPECT_EQ(read(tlv(0xBF28, tlv(0x81, {127}))), 1U);
    EXPECT_EQ(
        log.at(LOG__ERROR),
        "1 [group_by_notification_address] ListNotificationResponse CHOICE is not notificationMetadataList. CHOICE 1\n");
}

TEST_F(groups, a_list_that_cannot_be_walked_gives_the_walkers_code)
{
    EXPECT_EQ(read(list_notification_response({notification_metadata(5, "a"), tlv(0x30, {1})})), 1U);
    EXPECT_TRUE(log.contains(
        1, "[lpa_tlv_to_json__list_notifications] Error iterating over the notificationMetadataList SEQUENCE, rc 1"));
    EXPECT_EQ(text(), "a 5; ");
}

TEST_F(groups, an_element_that_cannot_be_read_gives_the_decoders_code)
{
    EXPECT_EQ(read(list_notification_response({tlv(0xBF2F, tlv(0x80, {1}))})), 1U);
    EXPECT_TRUE(log.contains(
        1, "[lpa_tlv_to_json__list_notifications] Error extracting the data from the NotificationMetadata, rc 1"));
}

TEST_F(groups, an_element_that_cannot_be_added_ends_the_grouping)
{
    const auto response = list_notification_response({notification_metadata(5, "a"), notification_metadata(6, "a")});
    failing_memory memory(3);
    EXPECT_EQ(read(response), 9U);
    EXPECT_TRUE(log.contains(
        1,
        "[group_by_notification_address] Error adding the NotificationMetadata to the list, rc 9. sequence_number 6, notification_address a"));
}

TEST_F(groups, of_an_answer_cut_short_are_read_within_its_bounds)
{
    const auto whole = list_notification_response({notification_metadata(5, "a"), notification_metadata(3, "b")});
    for_each_cut(whole, [](const exact_block &block) {
        notification_group *cut_list = nullptr;
        EXPECT_NE(group_by_notification_address(block.data(), block.size(), &cut_list), 0U) << block.size();
        free_notification_groups(cut_list);
    });
}
} // namespace
