#include "foundation/log.h"
#include "rsp/notification_processing.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "support/progress_capture.h"
#include "unit/fakes/failing_memory.h"
#include "unit/fakes/fake_clock.h"
#include "unit/fakes/fake_https.h"
#include "unit/fakes/fake_modem.h"
#include "unit/rsp/card_answers.h"
#include <algorithm>
#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>

namespace {
using testing::ElementsAre;
using bytes_type = std::vector<uint8_t>;

// A card that keeps notifications, and the servers that they go to.
class notifications : public testing::Test {
  protected:
    notifications()
    {
        fake_https.reset();
        fake_https.otherwise = [](const auto &) { return fake_https_type::answer{.status = 204}; };
        card.respond = [this](const bytes_type &command) { return respond(command); };
    }
    ~notifications() override { EXPECT_EQ(fake_https.open_handles, 0); }

    struct pending {
        uint8_t number;
        std::string address;
    };
    static bytes_type body_of(uint8_t number) { return tlv(0x30, {0xCA, number}); }

    scripted_card::answer respond(const bytes_type &command)
    {
        if (is_request(command, 0xBF28)) return list();
        const uint8_t number = command.back();
        if (is_request(command, 0xBF2B)) {
            EXPECT_EQ(hex(command), "BF2B05A0038001" + hex({number}));
            return retrieve(number);
        }
        EXPECT_EQ(hex(command), "BF30038001" + hex({number}));
        if (removals.contains(number)) return removals[number];
        std::erase_if(stored, [number](const pending &one) { return one.number == number; });
        return {notification_sent_response(0)};
    }
    scripted_card::answer list()
    {
        if (!lists.empty()) {
            const auto answer = lists.front();
            lists.erase(lists.begin());
            return answer;
        }
        std::vector<bytes_type> metadata;
        for (const pending &one : stored)
            metadata.push_back(notification_metadata(one.number, one.address));
        return {list_notification_response(metadata)};
    }
    scripted_card::answer retrieve(uint8_t number)
    {
        if (!retrievals[number].empty()) {
            const auto answer = retrievals[number].front();
            retrievals[number].erase(retrievals[number].begin());
            return answer;
        }
        return {tlv(0xBF2B, tlv(0xA0, body_of(number)))};
    }

    uint32_t process() { return process_notifications_unlocked(&card.handle, scripted_card::channel); }

    static std::vector<std::string> sent()
    {
        std::vector<std::string> result;
        for (const auto &request : fake_https.requests)
            result.push_back(request.url.substr(8, request.url.find('/', 8) - 8) + " " + *request.body);
        return result;
    }
    std::vector<uint8_t> left() const
    {
        std::vector<uint8_t> result;
        for (const pending &one : stored)
            result.push_back(one.number);
        return result;
    }
    // This module's lines and the two texts without a name.
    std::string lines(int level) const
    {
        std::string result;
        for (const auto &line : log.lines())
            if (line.level <= level &&
                (line.text.starts_with("[process_notif") || line.text.starts_with("[delete_notif") ||
                 line.text.starts_with("[find_pending") || line.text.starts_with("[group_by") ||
                 line.text.starts_with("Notification") || line.text.starts_with("Grouping") ||
                 line.text.starts_with("Sorting") || line.text.starts_with("No notif")))
                result += std::to_string(line.level) + " " + line.text + "\n";
        return result;
    }

    scripted_card card;
    std::vector<pending> stored;
    std::vector<scripted_card::answer> lists;                         // given first
    std::map<uint8_t, std::vector<scripted_card::answer>> retrievals; // given first, by number
    std::map<uint8_t, scripted_card::answer> removals;                // instead of removing
    log_capture log;
};

const std::string body_2 = R"({"pendingNotification":"MALKAg=="})";
const std::string body_3 = R"({"pendingNotification":"MALKAw=="})";
const std::string body_5 = R"({"pendingNotification":"MALKBQ=="})";

TEST_F(notifications, of_the_first_listed_address_go_first_in_ascending_order)
{
    stored = {{5, "a.example"}, {3, "b.example"}, {2, "a.example"}};
    EXPECT_EQ(process(), 0U);
    EXPECT_THAT(sent(), ElementsAre("a.example " + body_2, "a.example " + body_5, "b.example " + body_3));
    EXPECT_TRUE(left().empty());
    EXPECT_EQ(hex(card.series.at(0)), "BF2800");
    EXPECT_EQ(fake_https.requests.at(0).url, "https://a.example/gsma/rsp2/es9plus/handleNotification");
    EXPECT_EQ(lines(LOG__INFO), "3 Grouping notifications by smdp address\n"
                                "3 Sorting notifications by sequence number\n"
                                "3 Notification 2 sent successfully\n"
                                "3 Notification with SequenceNumber 2 has been removed successfully\n"
                                "3 Notification 2 deleted successfully\n"
                                "3 Notification 5 sent successfully\n"
                                "3 Notification with SequenceNumber 5 has been removed successfully\n"
                                "3 Notification 5 deleted successfully\n"
                                "3 Notification 3 sent successfully\n"
                                "3 Notification with SequenceNumber 3 has been removed successfully\n"
                                "3 Notification 3 deleted successfully\n");
    EXPECT_TRUE(log.contains(4, "[process_notifications]"));
    EXPECT_TRUE(log.contains(4, "[process_notification_list] Notification group address 'a.example'"));
    EXPECT_TRUE(log.contains(4, "[process_notification_list] Sequence number 5"));
    EXPECT_TRUE(log.contains(4, "[process_notification_list] pending_notification"));
    EXPECT_TRUE(pauses.empty());
}

TEST_F(notifications, none_on_the_card_gives_0_and_says_so)
{
    EXPECT_EQ(process(), 0U);
    EXPECT_EQ(lines(LOG__INFO), "3 Grouping notifications by smdp address\n"
                                "3 No notification has been found in the uICC\n");
    EXPECT_TRUE(fake_https.requests.empty());
}

TEST_F(notifications, an_unreachable_server_ends_processing_with_11_after_the_first_send)
{
    stored = {{5, "a.example"}, {3, "b.example"}};
    fake_https.otherwise = [](const auto &) { return fake_https_type::answer{.result = CURLE_COULDNT_RESOLVE_HOST}; };
    EXPECT_EQ(process(), 11U);
    EXPECT_EQ(fake_https.requests.size(), 1U);
    EXPECT_THAT(left(), ElementsAre(5, 3));
    EXPECT_EQ(lines(LOG__ERROR),
              "1 [process_notification_list] send_notification with sequence number 5 failed, rc 11\n");
}

TEST_F(notifications, http_500_for_one_gives_11_at_the_end_but_the_others_are_sent_and_removed)
{
    stored = {{5, "a.example"}, {3, "b.example"}, {2, "a.example"}};
    fake_https.otherwise = [](const auto &request) {
        return fake_https_type::answer{.status = request.body == body_2 ? 500 : 204};
    };
    EXPECT_EQ(process(), 11U);
    EXPECT_EQ(sent().size(), 3U);
    EXPECT_THAT(left(), ElementsAre(2));
    EXPECT_EQ(lines(LOG__ERROR),
              "1 [process_notification_list] send_notification with sequence number 2 failed, rc 1\n");
}

TEST_F(notifications, tell_how_many_of_them_are_dealt_with)
{
    stored = {{5, "a.example"}, {3, "b.example"}, {2, "a.example"}};
    fake_https.otherwise = [](const auto &request) {
        return fake_https_type::answer{.status = request.body == body_2 ? 500 : 204};
    };
    const progress_capture progress;
    EXPECT_EQ(process(), 11U);
    EXPECT_THAT(progress.lines, ElementsAre("delivering 0/3", "delivering 1/3", "delivering 2/3", "delivering 3/3"));
}

TEST_F(notifications, that_end_early_tell_how_far_they_came)
{
    stored = {{2, "a.example"}, {5, "b.example"}, {6, "b.example"}};
    fake_https.otherwise = [](const auto &request) {
        return fake_https_type::answer{.status = 204,
                                       .result = request.body == body_5 ? CURLE_COULDNT_RESOLVE_HOST : CURLE_OK};
    };
    const progress_capture progress;
    EXPECT_EQ(process(), 11U);
    EXPECT_THAT(progress.lines, ElementsAre("delivering 0/3", "delivering 1/3"));
}

TEST_F(notifications, tell_nothing_when_there_is_none)
{
    const progress_capture progress;
    EXPECT_EQ(process(), 0U);
    EXPECT_THAT(progress.lines, testing::IsEmpty());
}

TEST_F(notifications, the_list_is_asked_for_again_while_it_is_malformed)
{
    stored = {{5, "a.example"}};
    lists = {{{0xBF, 0x28, 0x05, 0xA0}}, {}};
    EXPECT_EQ(process(), 0U);
    EXPECT_THAT(pauses, ElementsAre(3, 3));
    EXPECT_TRUE(left().empty());
    EXPECT_THAT(lines(LOG__INFO), testing::StartsWith("3 [process_notifications] retry 1 failed, invalid result\n"
                                                      "3 [process_notifications] retry 2 failed, invalid result\n"));
}

TEST_F(notifications, a_third_malformed_list_is_gone_on_with)
{
    lists = {{{0xBF}}, {{0xBF}}, {{0xBF, 0x28, 0x05, 0xA0, 0x00}}};
    EXPECT_NE(process(), 0U);
    EXPECT_THAT(pauses, ElementsAre(3, 3));
    EXPECT_EQ(card.series.size(), 3U);
    EXPECT_TRUE(log.contains(3, "[process_notifications] retry 1 failed, invalid result"));
    EXPECT_THAT(lines(LOG__ERROR), testing::StartsWith("1 [process_notifications] retry 3 failed, invalid result\n"));
    EXPECT_THAT(lines(LOG__ERROR),
                testing::HasSubstr("1 [process_notifications] group_by_notification_address failed, rc "));
}

TEST_F(notifications, a_notification_is_asked_for_again_while_it_is_malformed)
{
    stored = {{5, "a.example"}};
    retrievals[5] = {{{0xBF, 0x2B, 0x05}}, {{0xBF, 0x2B, 0x05}}};
    EXPECT_EQ(process(), 0U);
    EXPECT_THAT(pauses, ElementsAre(3, 3));
    EXPECT_THAT(sent(), ElementsAre("a.example " + body_5));
    EXPECT_THAT(lines(LOG__INFO), testing::HasSubstr("3 [process_notification_list] retry 1 failed, invalid result\n"
                                                     "3 [process_notification_list] retry 2 failed, invalid result\n"
                                                     "3 Notification 5 sent"));
}

TEST_F(notifications, a_third_malformed_notification_is_gone_on_with)
{
    // The list runs on behind BF2B: its value goes out to the end of the answer.
    const bytes_type answer = join({tlv(0xBF2B, tlv(0xA0, body_of(5))), {0x99}});
    stored = {{5, "a.example"}};
    retrievals[5] = {{answer}, {answer}, {answer}};
    EXPECT_EQ(process(), 0U);
    EXPECT_THAT(sent(), ElementsAre("a.example {\"pendingNotification\":\"MALKBZk=\"}"));
    EXPECT_EQ(lines(LOG__ERROR), "1 [process_notification_list] retry 3 failed, invalid result\n");
}

struct retrieve_case {
    const char *name;
    bytes_type answer;
    uint32_t code;
    const char *log;
};
class unusable_retrieval : public notifications, public testing::WithParamInterface<retrieve_case> {};

TEST_P(unusable_retrieval, ends_processing)
{
    stored = {{5, "a.example"}, {6, "a.example"}};
    const scripted_card::answer answer{GetParam().answer};
    retrievals[5] = {answer, answer, answer};
    EXPECT_EQ(process(), GetParam().code);
    EXPECT_TRUE(fake_https.requests.empty());
    const std::string retries = "1 [process_notification_list] retry 3 failed, invalid result\n";
    std::string seen = lines(LOG__ERROR);
    if (seen.starts_with(retries)) seen = seen.substr(retries.size());
    EXPECT_EQ(
        seen,
        "1 [find_pending_notification_on_retrieve_notifications_list_response] " + std::string(GetParam().log) +
            "\n1 [process_notification_list] find_pending_notification_on_retrieve_notifications_list_response failed, rc " +
            std::to_string(GetParam().code) + "\n");
}

INSTANTIATE_TEST_SUITE_P(table, unusable_retrieval,
                         testing::ValuesIn(std::to_array<retrieve_case>({
                             {"empty", {}, 4, "tlv is empty/null"},
                             {"other_tag", {0xBF, 0x2C, 0x00}, 1, "TAG BF2B not found"},
                             {"cut_in_its_head", {0xBF, 0x2B}, 1, "TAG BF2B not found"},
                             {"error", bytes("BF2B 03 80 01 7F"), 1, "notificationsListResultError found at offset 3"},
                             {"no_list", bytes("BF2B 03 81 01 7F"), 1, "notificationList not found"},
                             {"nothing_inside", bytes("BF2B 00"), 1, "notificationList not found"},
                             {"list_behind_the_element", bytes("BF2B 00 A0 02 30 00"), 1, "notificationList not found"},
                             {"list_cut_in_its_head", bytes("BF2B 02 A0 82"), 1, "notificationList not found"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(notifications, an_empty_list_of_one_number_is_not_sent_and_counts_as_a_failure)
{
    stored = {{5, "a.example"}, {6, "a.example"}};
    retrievals[5] = {{bytes("BF2B 02 A0 00")}};
    EXPECT_EQ(process(), 11U);
    EXPECT_EQ(sent().size(), 1U);
    EXPECT_THAT(left(), ElementsAre(5));
    EXPECT_EQ(lines(LOG__ERROR),
              "1 [process_notification_list] send_notification with sequence number 5 failed, rc 4\n");
}

TEST_F(notifications, a_card_that_refuses_the_list_ends_processing_with_its_code)
{
    lists = {{{}, 0x6A88}};
    EXPECT_EQ(process(), 6U);
    EXPECT_EQ(lines(LOG__ERROR), "1 [process_notifications] es10__list_notification failed, rc 6\n");
}

TEST_F(notifications, a_card_that_refuses_one_notification_ends_processing_with_its_code)
{
    stored = {{5, "a.example"}, {6, "a.example"}};
    retrievals[5] = {{{}, 0x6985}};
    EXPECT_EQ(process(), 18U);
    EXPECT_TRUE(fake_https.requests.empty());
    EXPECT_EQ(lines(LOG__ERROR), "1 [process_notification_list] es10__retrieve_notifications_list failed, rc 18\n");
}

TEST_F(notifications, a_failed_removal_does_not_change_the_result)
{
    stored = {{5, "a.example"}, {6, "a.example"}, {7, "a.example"}, {8, "a.example"}};
    removals = {{5, {{}, 0x6A80}}, {6, {{0xBF, 0x31, 0x00}}}, {7, {notification_sent_response(1)}}};
    EXPECT_EQ(process(), 0U);
    EXPECT_EQ(sent().size(), 4U);
    EXPECT_THAT(left(), ElementsAre(5, 6, 7));
    EXPECT_EQ(lines(LOG__ERROR),
              "1 [delete_notification] es10__remove_notification_from_list failed, rc 6\n"
              "1 [process_notification_list] delete_notification with sequence number 5 failed, rc 6\n"
              "1 [delete_notification] es10_tlv_extractor__notification_sent_response failed, rc 1\n"
              "1 [process_notification_list] delete_notification with sequence number 6 failed, rc 1\n");
    EXPECT_TRUE(log.contains(
        1, "Error on remove the notification with SequenceNumber 7, deleteNotificationStatus: Nothing to delete"));
    EXPECT_TRUE(log.contains(3, "Notification 7 deleted successfully"));
}

TEST_F(notifications, are_processed_in_a_session_that_is_ended)
{
    stored = {{5, "a.example"}};
    EXPECT_EQ(process_notifications("modem2"), 0U);
    EXPECT_EQ(card.opened, 1);
    EXPECT_EQ(card.closed, 1);
    EXPECT_EQ(fake_modem.modems.at(0), 2);
    EXPECT_TRUE(left().empty());
}

TEST_F(notifications, the_session_is_ended_after_a_failure_too)
{
    lists = {{{}, 0x6A88}};
    EXPECT_EQ(process_notifications("modem0"), 6U);
    EXPECT_EQ(card.closed, 1);
    EXPECT_TRUE(log.contains(1, "[process_notifications] process_notifications_unlocked failed, rc 6"));
}

TEST_F(notifications, a_session_that_cannot_be_opened_gives_its_code)
{
    card.opens = false;
    EXPECT_EQ(process_notifications("modem0"), 18U);
    EXPECT_TRUE(log.contains(1, "[process_notifications] eUICC__initialize failed, rc 18"));
    EXPECT_TRUE(card.series.empty());
}

TEST_F(notifications, a_session_that_ends_badly_does_not_change_the_result)
{
    scripted_card::terminates = false;
    EXPECT_EQ(process_notifications("modem0"), 0U);
    EXPECT_EQ(lines(LOG__ERROR), "1 [process_notifications] eUICC__terminate failed, rc 1\n");
}

TEST_F(notifications, every_failed_allocation_is_survived_without_a_leak)
{
    int n = 1;
    for (;; ++n) {
        stored = {{5, "a.example"}, {3, "b.example"}};
        failing_memory memory(n);
        const uint32_t rc = process();
        if (!failing_memory::reached()) {
            EXPECT_EQ(rc, 0U);
            break;
        }
    }
    EXPECT_GT(n, 20);
}
} // namespace
