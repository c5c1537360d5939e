// Enabling, disabling and deleting a profile, with what follows: reload, notifications, event.
#include "system/system_test.h"

namespace {
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char *iccid = "8999900000000000017";
constexpr const char *other_iccid = "8999900000000000025";

struct operation {
    const char *name;
    uint32_t (*call)(const char *modem, const char *iccid, char **json, uint32_t *length);
    const char *function, *request; // of the card; request with the profile above
    bool enabled;                   // the profile's state in which it succeeds
    int event;
    const char *done;
};

const operation enabling = {"LPA__enable_profile",
                            LPA__enable_profile,
                            "BF31",
                            "81E2910014BF3111A00C5A0A989909000000000010F781010000",
                            false,
                            1,
                            "Profile enabled"};
const operation disabling = {"LPA__disable_profile",
                             LPA__disable_profile,
                             "BF32",
                             "81E2910014BF3211A00C5A0A989909000000000010F781010000",
                             true,
                             2,
                             "Profile disabled"};
const operation deleting = {
    "LPA__delete_profile", LPA__delete_profile, "BF33", "81E291000FBF330C5A0A989909000000000010F700", false, 3,
    "Profile deleted"};

std::string document(int result, const std::string &description)
{
    return R"({"result":)" + std::to_string(result) + R"(,"description":")" + description + R"("})";
}

json event(int number, uint32_t state, const char *profile = nullptr)
{
    json data = {{"modem", "gsm.modem0"}, {"event", number}, {"state", state}};
    if (profile) data["iccid"] = profile;
    return data;
}

class profile_state : public system_test {
  protected:
    outcome change(const operation &what, const char *profile = iccid) { return run(what.call, "modem0", profile); }

    // A profile that notifies address (the server when empty) of every change.
    void add_profile(json details = json::object(), const std::string &address = "")
    {
        details.emplace("iccid", iccid);
        details["do"] = "add-profile";
        details["notifications"] = {
            {{"events", {"enable", "disable", "delete"}}, {"address", address.empty() ? desk.server() : address}}};
        desk.card_does(details);
    }
    json is_enabled(size_t index) { return desk.card().at("profiles").at(index).at("enabled"); }
    std::vector<std::string> events_at_the_server()
    {
        std::vector<std::string> events;
        const json server = desk.sm_dp();
        for (const json &notification : server.at("notifications")) {
            EXPECT_EQ(notification.at("verified"), true);
            events.push_back(notification.at("event").get<std::string>() + " " +
                             notification.at("iccid").get<std::string>());
        }
        return events;
    }
    std::string tag(const operation &what) { return std::string("[") + what.name + "] "; }
};

class every_change : public profile_state, public testing::WithParamInterface<operation> {
  protected:
    const operation &row = GetParam();
};

TEST_P(every_change, reloads_the_modem_then_delivers_then_sends_its_event)
{
    add_profile({{"enabled", row.enabled}});
    const outcome result = change(row);
    EXPECT_EQ(result.code, 0U);
    EXPECT_EQ(result.document, document(0, row.done));
    EXPECT_THAT(pauses, ElementsAre(1U));
    EXPECT_EQ(desk.events(), json({event(4, 0), event(row.event, 0, iccid)}));
    const std::string notified[] = {"enable", "disable", "delete"};
    EXPECT_THAT(events_at_the_server(), ElementsAre(notified[row.event - 1] + " " + iccid));
    EXPECT_THAT(desk.card().at("notifications"), IsEmpty());
    EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());

    // Each session is closed before the next command that needs the modem for itself.
    std::vector<std::string> steps;
    for (const std::string &command : desk.traffic())
        if (command.substr(2, 6) == "E29100" || command.substr(0, 6) == "007080" || command.find("AT+CMEE") != 0)
            if (command.substr(2, 2) != "C0" && command.substr(2, 2) != "A4" && command.substr(2, 2) != "AA")
                steps.push_back(command);
    ASSERT_GE(steps.size(), 9U);
    steps.resize(8);
    EXPECT_THAT(steps, ElementsAre("0070000001", row.request, "0070800100", "AT+CFUN=0", "AT+CFUN=1", "AT+cpin?",
                                   "0070000001", "81E2910003BF280000"));
    const std::string lines = log.at(3);
    const size_t reloading = lines.find(tag(row) + "reloading modem\n");
    const size_t reloaded = lines.find(tag(row) + "modem reloaded\n");
    const size_t delivered = lines.find("Notifications processed successfully\n");
    const size_t converted = lines.find(tag(row) + "JSON result: " + result.document + "\n");
    EXPECT_LT(reloading, reloaded);
    EXPECT_LT(reloaded, delivered);
    EXPECT_LT(delivered, converted);
    EXPECT_NE(converted, std::string::npos);
}

TEST_P(every_change, with_reload_disabled_still_delivers_and_sends_its_event)
{
    LPA__set_reload_disabled(1);
    EXPECT_EQ(LPA__get_reload_disabled(), 1);
    add_profile({{"enabled", row.enabled}});
    EXPECT_EQ(change(row).code, 0U);
    EXPECT_THAT(desk.traffic(), Not(Contains("AT+CFUN=0")));
    EXPECT_THAT(pauses, IsEmpty());
    EXPECT_THAT(log.at(2), HasSubstr("[reload_modem] reload disabled, skipping"));
    EXPECT_EQ(events_at_the_server().size(), 1U);
    EXPECT_EQ(desk.events(), json({event(4, 0), event(row.event, 0, iccid)}));
}

TEST_P(every_change, whose_reload_fails_only_logs_it)
{
    add_profile({{"enabled", row.enabled}});
    desk.modem_does({{"do", "set"}, {"sim_busy", 99}});
    const outcome result = change(row);
    EXPECT_EQ(result.code, 0U);
    EXPECT_EQ(result.document, document(0, row.done));
    EXPECT_EQ(pauses, std::vector<unsigned>(16, 1)); // after AT+CFUN=0 and after each of 15 AT+cpin?
    EXPECT_THAT(log.at(1), HasSubstr("[reload_modem] waiting for PIN ready timeout"));
    EXPECT_THAT(log.at(1), HasSubstr(tag(row) + "Error reloading modem, rc 1"));
    EXPECT_EQ(events_at_the_server().size(), 1U);
    EXPECT_EQ(desk.events(), json({event(4, 0), event(row.event, 0, iccid)}));
}

TEST_P(every_change, whose_notifications_cannot_be_delivered_only_logs_it)
{
    add_profile({{"enabled", row.enabled}}, "nowhere.invalid");
    const outcome result = change(row);
    EXPECT_EQ(result.code, 0U);
    EXPECT_EQ(result.document, document(0, row.done));
    EXPECT_THAT(log.at(2), HasSubstr(tag(row) + "could not process the notifications, rc 11"));
    EXPECT_EQ(desk.events(), json({event(4, 11), event(row.event, 0, iccid)}));
    EXPECT_EQ(desk.card().at("notifications").size(), 1U);
}

TEST_P(every_change, of_an_unknown_profile_gives_16)
{
    add_profile({{"enabled", row.enabled}});
    const outcome result = change(row, other_iccid);
    EXPECT_EQ(result.code, 16U);
    EXPECT_EQ(result.parsed().at("result"), 1);
    EXPECT_EQ(desk.events(), json({event(4, 0), event(row.event, 16, other_iccid)}));
    EXPECT_EQ(is_enabled(0), row.enabled);
}

TEST_P(every_change, of_a_profile_in_the_wrong_state_gives_16)
{
    add_profile({{"enabled", !row.enabled}});
    const outcome result = change(row);
    EXPECT_EQ(result.code, 16U);
    EXPECT_EQ(result.parsed().at("result"), 2);
    EXPECT_EQ(is_enabled(0), !row.enabled);
    EXPECT_THAT(desk.sm_dp().at("notifications"), IsEmpty());
}

TEST_P(every_change, with_a_result_that_is_not_defined_gives_no_document)
{
    add_profile({{"enabled", row.enabled}});
    desk.card_does({{"do", "result"}, {"function", row.function}, {"result", 6}});
    const outcome result = change(row);
    EXPECT_EQ(result.code, 0U);
    EXPECT_EQ(result.document, "");
    EXPECT_THAT(log.at(1), HasSubstr(tag(row) + "JSON process failed, rc 1"));
    EXPECT_EQ(desk.events(), json({event(4, 0), event(row.event, 0, iccid)}));
}

TEST_P(every_change, takes_an_iccid_of_18_to_20_characters)
{
    for (const char *profile : {"899990000000000013", "8999900000000000131", "89999000000000001312",
                                "899990000000000014FF", "8999900000000000141F"}) {
        const std::string text = profile;
        add_profile({{"iccid", text.substr(0, text.find('F'))}, {"enabled", row.enabled}});
        desk.command({{"bus", "clear"}});
        const outcome result = change(row, profile);
        EXPECT_EQ(result.code, 0U) << profile;
        EXPECT_EQ(result.document, document(0, row.done)) << profile;
        EXPECT_EQ(desk.events(), json({event(4, 0), event(row.event, 0, profile)}));
        desk.card_does({{"do", "remove-profiles"}});
    }
}

TEST_P(every_change, refuses_an_iccid_before_the_card_hears_of_it)
{
    const struct {
        const char *text, *line;
    } cases[] = {
        {"89999000000000001",
         "[parse_iccid] ICCID input has incorrect length [17], the iccid length needs to be from 18 to 20"},
        {"899990000000000000017",
         "[parse_iccid] ICCID input has incorrect length [21], the iccid length needs to be from 18 to 20"},
        {"89999000000a000001",
         "[parse_iccid] The character 12 of the iccid dont follow the pattern ^[0-9]{19}[0-9F]?$"},
        {"899990000000000001f", "[parse_iccid] The character 19 of the iccid dont follow the pattern "
                                "^[0-9]{19}[0-9F]?$"},
    };
    for (const auto &refused : cases) {
        desk.command({{"bus", "clear"}});
        desk.forget_traffic();
        const outcome result = change(row, refused.text);
        EXPECT_EQ(result.code, 4U) << refused.text;
        EXPECT_EQ(result.document, "");
        EXPECT_TRUE(log.contains(refused.line));
        EXPECT_EQ(desk.events(), json({event(row.event, 4, refused.text)}));
        EXPECT_THAT(desk.traffic(), Not(Contains(HasSubstr(row.function))));
        EXPECT_EQ(desk.traffic().back(), "0070800100");
    }
    EXPECT_THAT(log.at(1), HasSubstr(std::string("FATAL [") + row.name + "] failed, rc 4"));
}

INSTANTIATE_TEST_SUITE_P(table, every_change, testing::Values(enabling, disabling, deleting),
                         [](const auto &info) { return std::string(info.param.name).substr(5); });

// ---- The card's own results ---------------------------------------------------------------------------------------

TEST_F(profile_state, document_tells_every_result_of_the_card)
{
    const struct {
        const operation &what;
        int result;
        const char *description;
    } cases[] = {
        {enabling, 1, "Profile not enabled. Profile ICCID or application AID not found"},
        {enabling, 2, "Profile not enabled. The profile was not in disabled state"},
        {enabling, 3, "Profile not enabled. Disallowed by policy"},
        {enabling, 4, "Profile not enabled. Wrong profile reenabling"},
        {enabling, 5, "Profile not enabled. Cat busy"},
        {enabling, 127, "Profile not enabled. Undefined error"},
        {disabling, 1, "Profile not disabled. Profile ICCID or application AID not found"},
        {disabling, 2, "Profile not disabled. The profile was not in enabled state"},
        {disabling, 3, "Profile not disabled. Disallowed by policy"},
        {disabling, 5, "Profile not disabled. Cat busy"},
        {disabling, 127, "Profile not disabled. Undefined error"},
        {deleting, 1, "Profile not deleted. Profile ICCID or application AID not found"},
        {deleting, 2, "Profile not deleted. The profile was not in disabled state"},
        {deleting, 3, "Profile not deleted. Disallowed by policy"},
        {deleting, 127, "Profile not deleted. Undefined error"},
    };
    add_profile();
    for (const auto &row : cases) {
        desk.command({{"bus", "clear"}});
        desk.card_does({{"do", "result"}, {"function", row.what.function}, {"result", row.result}});
        const outcome result = change(row.what);
        EXPECT_EQ(result.code, 16U) << row.description;
        EXPECT_EQ(result.document, document(row.result, row.description));
        EXPECT_EQ(desk.events(), json({event(4, 0), event(row.what.event, 16, iccid)}));
    }
}

TEST_F(profile_state, enabled_takes_the_place_of_the_enabled_one)
{
    add_profile({{"iccid", other_iccid}, {"enabled", true}});
    add_profile();
    EXPECT_EQ(change(enabling).code, 0U);
    EXPECT_EQ(is_enabled(0), false);
    EXPECT_EQ(is_enabled(1), true);
    EXPECT_THAT(events_at_the_server(),
                ElementsAre(std::string("disable ") + other_iccid, std::string("enable ") + iccid));
}

TEST_F(profile_state, obeys_the_policy_rules)
{
    add_profile({{"enabled", true}, {"policy", 3}});
    add_profile({{"iccid", other_iccid}});
    EXPECT_EQ(change(disabling).document, document(3, "Profile not disabled. Disallowed by policy"));
    EXPECT_EQ(change(enabling, other_iccid).document, document(3, "Profile not enabled. Disallowed by policy"));
    EXPECT_EQ(is_enabled(0), true);
    EXPECT_EQ(is_enabled(1), false);
    desk.card_does({{"do", "remove-profiles"}});
    add_profile({{"policy", 2}});
    EXPECT_EQ(change(deleting).document, document(3, "Profile not deleted. Disallowed by policy"));
    EXPECT_EQ(desk.card().at("profiles").size(), 1U);
    EXPECT_THAT(desk.sm_dp().at("notifications"), IsEmpty());
}

TEST_F(profile_state, changes_on_the_modem_that_is_named)
{
    const outcome result = run(LPA__enable_profile, "modem1", iccid); // nobody has configured it
    EXPECT_NE(result.code, 0U);
    const json events = desk.events();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events.at(0).at("modem"), "gsm.modem1");
    EXPECT_EQ(events.at(0).at("state"), result.code);
    EXPECT_EQ(events.at(0).at("iccid"), iccid);
    EXPECT_THAT(desk.traffic(), IsEmpty());
}
} // namespace
