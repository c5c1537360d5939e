#include "system/system_test.h"

namespace {
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char *iccid = "8999900000000000017";

class delivery : public system_test {
  protected:
    outcome process() { return run(LPA__process_notifications, "modem0"); }
    void add(uint32_t number, const std::string &address, const char *event = "enable")
    {
        desk.card_does({{"do", "add-notification"},
                        {"sequence_number", number},
                        {"event", event},
                        {"address", address},
                        {"iccid", iccid}});
    }
    std::vector<uint32_t> numbers_at_the_server()
    {
        std::vector<uint32_t> numbers;
        const json server = desk.sm_dp();
        for (const json &notification : server.at("notifications"))
            numbers.push_back(notification.at("sequence_number"));
        return numbers;
    }
    std::string other_name = "127.0.0.1" + desk.server().substr(desk.server().find(':'));
};

TEST_F(delivery, of_nothing_gives_0)
{
    EXPECT_EQ(process().code, 0U);
    EXPECT_TRUE(log.contains("No notification has been found in the uICC"));
    EXPECT_EQ(desk.events(), json::parse(R"([{"modem":"gsm.modem0","event":4,"state":0}])"));
}

TEST_F(delivery, goes_server_by_server_and_in_rising_order)
{
    add(5, desk.server());
    add(3, other_name);
    add(2, desk.server());
    EXPECT_EQ(process().code, 0U);
    EXPECT_THAT(numbers_at_the_server(), ElementsAre(2U, 5U, 3U));
    EXPECT_THAT(desk.card().at("notifications"), IsEmpty());
    const json server = desk.sm_dp();
    for (const json &notification : server.at("notifications"))
        EXPECT_EQ(notification.at("verified"), true);
}

TEST_F(delivery, lists_every_event_with_its_number)
{
    const char *const events[] = {"install", "enable", "disable", "delete"};
    for (uint32_t i = 0; i < 4; ++i)
        add(i + 1, "smdp.example", events[i]);
    const json listed = notifications();
    ASSERT_EQ(listed.size(), 4U);
    for (uint32_t i = 0; i < 4; ++i)
        EXPECT_EQ(listed.at(i),
                  json({{"sequence_number", i + 1}, {"event", i}, {"address", "smdp.example"}, {"iccid", iccid}}));
}

TEST_F(delivery, of_a_notification_without_iccid_works_too)
{
    desk.card_does({{"do", "add-notification"}, {"event", "delete"}, {"address", desk.server()}});
    EXPECT_EQ(run(LPA__get_notifications, "modem0").document,
              R"([{"sequence_number":1,"event":3,"address":")" + desk.server() + R"("}])");
    EXPECT_EQ(process().code, 0U);
    EXPECT_THAT(desk.card().at("notifications"), IsEmpty());
}

TEST_F(delivery, ends_with_11_after_the_first_send_to_a_host_that_is_not_found)
{
    add(1, "nowhere.invalid");
    add(2, desk.server());
    EXPECT_EQ(process().code, 11U);
    EXPECT_THAT(numbers_at_the_server(), IsEmpty());
    EXPECT_EQ(desk.card().at("notifications").size(), 2U);
    EXPECT_THAT(log.at(1), HasSubstr("FATAL [LPA__process_notifications] failed, rc 11"));
    EXPECT_EQ(desk.events().back().at("state"), 11);
}

TEST_F(delivery, refused_with_500_gives_11_and_goes_on_with_the_others)
{
    for (const uint32_t number : {1U, 2U, 3U})
        add(number, desk.server());
    desk.server_does(
        {{"do", "add-fault"}, {"endpoint", "handleNotification"}, {"kind", "http-status"}, {"status", 500}, {"at", 2}});
    EXPECT_EQ(process().code, 11U);
    EXPECT_THAT(numbers_at_the_server(), ElementsAre(1U, 3U));
    ASSERT_EQ(desk.card().at("notifications").size(), 1U);
    EXPECT_EQ(desk.card().at("notifications").at(0).at("sequence_number"), 2);
    EXPECT_EQ(process().code, 0U);
    EXPECT_THAT(numbers_at_the_server(), ElementsAre(1U, 3U, 2U));
}

TEST_F(delivery, accepts_200_as_well)
{
    add(1, desk.server());
    desk.server_does({{"do", "add-fault"},
                      {"endpoint", "handleNotification"},
                      {"kind", "http-status"},
                      {"status", 200},
                      {"processed", true}});
    EXPECT_EQ(process().code, 0U);
    EXPECT_THAT(desk.card().at("notifications"), IsEmpty());
}

TEST_F(delivery, whose_removal_the_card_refuses_still_gives_0)
{
    add(1, desk.server());
    desk.card_does({{"do", "result"}, {"function", "BF30"}, {"result", 127}});
    EXPECT_EQ(process().code, 0U);
    EXPECT_EQ(desk.card().at("notifications").size(), 1U);
    EXPECT_THAT(log.at(1),
                HasSubstr("Error on remove the notification with SequenceNumber 1, deleteNotificationStatus: "
                          "Undefined error"));
}

TEST_F(delivery, asks_again_for_a_malformed_list)
{
    add(1, desk.server());
    desk.card_does({{"do", "answer"}, {"function", "BF28"}, {"data", "BF28FF"}, {"times", 2}});
    EXPECT_EQ(process().code, 0U);
    EXPECT_THAT(pauses, ElementsAre(3U, 3U));
    EXPECT_THAT(numbers_at_the_server(), ElementsAre(1U));
}

TEST_F(delivery, of_a_notification_that_the_card_denies_gives_1)
{
    add(1, desk.server());
    desk.card_does({{"do", "answer"}, {"function", "BF2B"}, {"data", "BF2B0380017F"}});
    EXPECT_EQ(process().code, 1U);
    EXPECT_THAT(log.at(1), HasSubstr("[find_pending_notification_on_retrieve_notifications_list_response] "
                                     "notificationsListResultError found at offset 3"));
}

TEST_F(delivery, answered_6985_reloads_and_tries_again)
{
    add(1, desk.server());
    desk.card_does({{"do", "answer"}, {"function", "BF28"}, {"sw", "6985"}});
    EXPECT_EQ(process().code, 0U);
    EXPECT_THAT(pauses, ElementsAre(1U, 5U));
    EXPECT_THAT(log.at(2), HasSubstr("[LPA__process_notifications] retry 1 due to previous error"));
}
} // namespace
