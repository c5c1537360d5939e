// What empties the card: the memory reset and the reset of settings, which spares the protected profiles.
#include "system/system_test.h"
#include <cstdlib>

namespace {
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char *ordinary = "8999900000000000017";
constexpr const char *second = "8999900000000000025";
constexpr const char *manufacturing = "8999900000000000033";
constexpr const char *bootstrap = "8999900000000000041";
constexpr const char *gsma_test = "89000123456789012341";

json event(int number, uint32_t state) { return {{"modem", "gsm.modem0"}, {"event", number}, {"state", state}}; }

class emptied : public system_test {
  protected:
    void add_profile(const char *iccid, bool enabled = false, json details = json::object())
    {
        details.update({{"do", "add-profile"}, {"iccid", iccid}, {"enabled", enabled}});
        desk.card_does(details);
    }
    static json notifying(const std::string &address, const char *of)
    {
        return {{"notifications", json::array({{{"events", json::array({of})}, {"address", address}}})}};
    }
    // "iccid enabled" or "iccid disabled" of every profile left on the card.
    std::vector<std::string> left()
    {
        std::vector<std::string> result;
        const json card = desk.card();
        for (const json &profile : card.at("profiles"))
            result.push_back(profile.at("iccid").get<std::string>() +
                             (profile.at("enabled").get<bool>() ? " enabled" : " disabled"));
        return result;
    }
    void refuse(const char *function, const char *sw = "6A80", uint32_t times = 1)
    {
        desk.card_does({{"do", "answer"}, {"function", function}, {"sw", sw}, {"times", times}});
    }
    bool was_reloaded() { return testing::Value(desk.traffic(), Contains("AT+CFUN=0")); }
};

// ---- Memory reset -------------------------------------------------------------------------------------------------

class memory_reset : public emptied {
  protected:
    uint32_t reset() // without a document, whatever happens
    {
        static char unwritten[] = "unwritten";
        char *document = unwritten;
        uint32_t length = 99;
        const uint32_t code = LPA__reset_memory("modem0", &document, &length);
        EXPECT_EQ(document, nullptr);
        EXPECT_EQ(length, 0U);
        return code;
    }
};

TEST_F(memory_reset, deletes_profiles_and_address_then_delivers_then_reloads)
{
    add_profile(ordinary, true, notifying(desk.server(), "delete"));
    add_profile(second, false, {{"class", 0}});
    desk.card_does({{"do", "set"}, {"default_dp_address", "smdp.example"}});
    EXPECT_EQ(reset(), 0U);
    EXPECT_THAT(left(), IsEmpty());
    EXPECT_EQ(desk.card().at("default_dp_address"), "");
    EXPECT_EQ(desk.sm_dp().at("notifications").size(), 1U);
    EXPECT_THAT(desk.card().at("notifications"), IsEmpty());
    EXPECT_THAT(pauses, ElementsAre(5U, 1U)); // the card settles; the reload
    EXPECT_EQ(desk.events(), json({event(4, 0), event(6, 0)}));

    const auto traffic = desk.traffic();
    const auto request = std::find(traffic.begin(), traffic.end(), "81E2910007BF3404820205E000");
    const auto listed = std::find(traffic.begin(), traffic.end(), "81E2910003BF280000");
    const auto reload = std::find(traffic.begin(), traffic.end(), "AT+CFUN=0");
    ASSERT_NE(reload, traffic.end());
    EXPECT_LT(request, listed);
    EXPECT_LT(listed, reload);
    EXPECT_EQ(std::vector<std::string>(reload, traffic.end()),
              (std::vector<std::string>{"AT+CFUN=0", "AT+CFUN=1", "AT+cpin?"}));
    const std::string lines = log.at(3);
    EXPECT_LT(lines.find("Notifications processed successfully\n"),
              lines.find("[LPA__reset_memory] reloading modem\n"));
    EXPECT_THAT(lines, HasSubstr("[LPA__reset_memory] modem reloaded\n"));
}

TEST_F(memory_reset, with_nothing_to_delete_succeeds)
{
    EXPECT_EQ(reset(), 0U);
    EXPECT_THAT(pauses, ElementsAre(5U, 1U));
    EXPECT_EQ(desk.events(), json({event(4, 0), event(6, 0)}));
}

TEST_F(memory_reset, leaves_a_provisioning_profile)
{
    add_profile(ordinary, false, {{"class", 1}});
    add_profile(second);
    EXPECT_EQ(reset(), 0U);
    EXPECT_THAT(left(), ElementsAre(std::string(ordinary) + " disabled"));
}

TEST_F(memory_reset, does_not_look_at_the_cards_own_result)
{
    add_profile(ordinary);
    desk.card_does({{"do", "result"}, {"function", "BF34"}, {"result", 127}});
    EXPECT_EQ(reset(), 0U);
    EXPECT_EQ(left().size(), 1U);
}

TEST_F(memory_reset, takes_the_decoders_code_for_an_answer_it_does_not_understand)
{
    add_profile(ordinary);
    desk.card_does({{"do", "answer"}, {"function", "BF34"}, {"data", "BF340380"}});
    EXPECT_NE(reset(), 0U);
    EXPECT_THAT(pauses, IsEmpty()); // neither asked again nor settled
    EXPECT_FALSE(was_reloaded());
    EXPECT_THAT(log.at(1), HasSubstr("FATAL [LPA__reset_memory] failed, rc "));
    EXPECT_EQ(desk.events().size(), 1U);
    EXPECT_EQ(desk.events().at(0).at("event"), 6);
    EXPECT_NE(desk.events().at(0).at("state"), 0);
}

TEST_F(memory_reset, with_reload_disabled_leaves_the_modem_alone)
{
    LPA__set_reload_disabled(1);
    add_profile(ordinary);
    EXPECT_EQ(reset(), 0U);
    EXPECT_FALSE(was_reloaded());
    EXPECT_THAT(pauses, ElementsAre(5U));
}

TEST_F(memory_reset, only_logs_notifications_and_a_reload_that_fail)
{
    add_profile(ordinary, false, notifying("nowhere.invalid", "delete"));
    desk.modem_does({{"do", "set"}, {"cfun_errors", 99}});
    EXPECT_EQ(reset(), 0U);
    EXPECT_THAT(log.at(2), HasSubstr("[LPA__reset_memory] could not process the notifications, rc 11"));
    EXPECT_THAT(log.at(1), HasSubstr("[LPA__reset_memory] Error reloading modem, rc 1"));
    EXPECT_EQ(desk.events(), json({event(4, 11), event(6, 0)}));
}

// ---- Settings reset -----------------------------------------------------------------------------------------------

class settings_reset : public emptied {
  protected:
    settings_reset() { protect({manufacturing}, bootstrap); }
    ~settings_reset() override { unsetenv("LPA_FACTORY"); }

    static void protect(const std::vector<std::string> &profiles, const char *boot_profile)
    {
        json data = {{"profiles", profiles}};
        if (boot_profile) data["boot_profile"] = boot_profile;
        std::ofstream("/tmp/mobile/factory.json") << data;
        setenv("LPA_FACTORY", "/tmp/mobile/factory.json", 1);
    }
    uint32_t reset() { return LPA__reset_settings("modem0"); }
    void expect_no_event() { EXPECT_THAT(desk.events(), IsEmpty()); }
};

TEST_F(settings_reset, disables_and_deletes_an_enabled_profile_and_reloads)
{
    add_profile(ordinary, true, notifying(desk.server(), "delete"));
    add_profile(second);
    EXPECT_EQ(reset(), 0U);
    EXPECT_THAT(left(), IsEmpty());
    EXPECT_THAT(desk.card().at("notifications"), IsEmpty());
    EXPECT_EQ(desk.sm_dp().at("notifications").size(), 1U);
    EXPECT_THAT(pauses, ElementsAre(1U));
    expect_no_event();
    const std::string lines = log.at(3);
    EXPECT_THAT(lines, HasSubstr("[LPA__reset_settings] MNF profile 0: 8999900000000000033\n"
                                 "3 [LPA__reset_settings] MNF profile 1: (null)\n"));
    EXPECT_THAT(lines, HasSubstr("[LPA__reset_settings] Processing eUICC profile 0: ICCID 8999900000000000017, state "
                                 "1\n"));
    EXPECT_THAT(lines, HasSubstr("[LPA__reset_settings] Processing eUICC profile 1: ICCID 8999900000000000025, state "
                                 "0\n"));
    EXPECT_THAT(lines, HasSubstr("[LPA__reset_settings] modem reloaded\n"));

    // One session for all of it; the reload opens the modem itself.
    std::vector<std::string> steps;
    for (const std::string &command : desk.traffic()) {
        if (command.substr(2, 4) == "E291") steps.push_back(command.substr(10, 4));
        if (command == "0070000001" || command == "0070800100" || command == "AT+CFUN=0") steps.push_back(command);
    }
    EXPECT_THAT(steps, ElementsAre("0070000001", "BF2D", "BF32", "BF33", "BF33", "BF28", "BF2B", "BF30", "0070800100",
                                   "AT+CFUN=0"));
}

TEST_F(settings_reset, spares_exactly_the_protected_profiles_in_every_mix)
{
    const char *const iccids[] = {ordinary, manufacturing, bootstrap, gsma_test};
    enum state { absent, disabled, enabled, states };
    for (int mix = 0; mix < 81; ++mix) {
        const int state_of[] = {mix % 3, mix / 3 % 3, mix / 9 % 3, mix / 27 % 3};
        std::string name;
        std::vector<std::string> expected;
        desk.card_does({{"do", "remove-profiles"}});
        desk.forget_traffic();
        for (int i = 0; i < 4; ++i) {
            if (state_of[i] == absent) continue;
            add_profile(iccids[i], state_of[i] == enabled);
            const std::string profile = std::string(iccids[i]) + (state_of[i] == enabled ? " enabled" : " disabled");
            name += profile + " ";
            if (i > 0) expected.push_back(profile);
        }
        EXPECT_EQ(reset(), 0U) << name;
        EXPECT_EQ(left(), expected) << name;
        EXPECT_EQ(was_reloaded(), state_of[0] != absent) << name;
    }
    expect_no_event();
}

TEST_F(settings_reset, says_which_profiles_it_skips)
{
    add_profile(bootstrap, true);
    add_profile(manufacturing);
    EXPECT_EQ(reset(), 0U);
    EXPECT_THAT(log.at(3), HasSubstr("[LPA__reset_settings] eUICC profile 0 is a bootstrap profile, skipping\n"));
    EXPECT_THAT(log.at(3), HasSubstr("[LPA__reset_settings] eUICC profile 1 is a MNF profile, skipping\n"));
    EXPECT_THAT(pauses, IsEmpty());
}

TEST_F(settings_reset, spares_up_to_six_manufacturing_profiles)
{
    std::vector<std::string> iccids;
    std::vector<std::string> kept;
    for (int i = 1; i <= 7; ++i) {
        iccids.push_back("89999000000000010" + std::to_string(10 + i));
        add_profile(iccids.back().c_str());
        if (i <= 6) kept.push_back(iccids.back() + " disabled");
    }
    protect(iccids, nullptr);
    EXPECT_EQ(reset(), 0U);
    EXPECT_EQ(left(), kept);
}

TEST_F(settings_reset, without_any_factory_data_spares_nothing)
{
    protect({}, nullptr);
    add_profile(manufacturing, true);
    add_profile(bootstrap);
    EXPECT_EQ(reset(), 0U);
    EXPECT_THAT(left(), IsEmpty());
}

TEST_F(settings_reset, without_any_profile_changes_nothing)
{
    EXPECT_EQ(reset(), 0U);
    EXPECT_FALSE(was_reloaded());
    EXPECT_THAT(desk.traffic(), Not(Contains("81E2910003BF280000")));
    EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());
}

TEST_F(settings_reset, does_not_delete_a_profile_whose_disabling_fails_and_goes_on)
{
    add_profile(ordinary, true);
    add_profile(second);
    refuse("BF32");
    EXPECT_EQ(reset(), 1U);
    EXPECT_THAT(left(), ElementsAre(std::string(ordinary) + " enabled"));
    EXPECT_THAT(log.at(1), HasSubstr("[LPA__reset_settings] LPA__disable_profile_unlocked failed, rc 6"));
    EXPECT_TRUE(was_reloaded()); // the other one is gone
}

TEST_F(settings_reset, goes_on_after_a_profile_whose_deleting_fails)
{
    add_profile(ordinary);
    add_profile(second);
    refuse("BF33");
    EXPECT_EQ(reset(), 1U);
    EXPECT_THAT(left(), ElementsAre(std::string(ordinary) + " disabled"));
    EXPECT_THAT(log.at(1), HasSubstr("[LPA__reset_settings] LPA__delete_profile_unlocked failed, rc 6"));
}

TEST_F(settings_reset, gives_1_and_does_not_reload_when_everything_fails)
{
    add_profile(ordinary);
    refuse("BF33");
    EXPECT_EQ(reset(), 1U);
    EXPECT_FALSE(was_reloaded());
    EXPECT_THAT(desk.traffic(), Not(Contains("81E2910003BF280000")));
}

TEST_F(settings_reset, gives_1_without_a_reload_when_notifications_cannot_be_delivered)
{
    add_profile(ordinary, false, notifying("nowhere.invalid", "delete"));
    EXPECT_EQ(reset(), 1U);
    EXPECT_THAT(left(), IsEmpty());
    EXPECT_FALSE(was_reloaded());
    EXPECT_THAT(log.at(1), HasSubstr("[LPA__reset_settings] process_notifications_unlocked failed, rc 11"));
}

TEST_F(settings_reset, takes_a_profile_that_a_policy_protects_for_done)
{
    add_profile(ordinary, false, {{"policy", 2}});
    EXPECT_EQ(reset(), 0U);
    EXPECT_EQ(left().size(), 1U);
    EXPECT_TRUE(was_reloaded());
}

TEST_F(settings_reset, with_reload_disabled_leaves_the_modem_alone)
{
    LPA__set_reload_disabled(1);
    add_profile(ordinary, true);
    EXPECT_EQ(reset(), 0U);
    EXPECT_THAT(left(), IsEmpty());
    EXPECT_FALSE(was_reloaded());
}

TEST_F(settings_reset, only_logs_a_reload_that_fails)
{
    add_profile(ordinary);
    desk.modem_does({{"do", "set"}, {"cfun_errors", 99}});
    EXPECT_EQ(reset(), 0U);
    EXPECT_THAT(log.at(1), HasSubstr("[LPA__reset_settings] Error reloading modem, rc 1"));
}

TEST_F(settings_reset, is_tried_once_only)
{
    add_profile(ordinary);
    refuse("BF2D");
    EXPECT_EQ(reset(), 6U);
    EXPECT_THAT(log.at(1), HasSubstr("[LPA__reset_settings] LPA__get_profiles_unlocked failed, rc 6"));
    refuse("BF2D", "6985");
    EXPECT_EQ(reset(), 18U);
    EXPECT_THAT(pauses, IsEmpty());
    EXPECT_FALSE(was_reloaded());
    EXPECT_EQ(left().size(), 1U);
}

TEST_F(settings_reset, gives_up_on_a_third_malformed_list)
{
    add_profile(ordinary);
    desk.card_does({{"do", "answer"}, {"function", "BF2D"}, {"data", "BF2D05A0"}, {"times", 3}});
    EXPECT_NE(reset(), 0U);
    EXPECT_THAT(pauses, ElementsAre(3U, 3U));
    EXPECT_THAT(log.at(1), HasSubstr("[LPA__reset_settings] lpa_tlv_parse_profile_info_list_response failed, rc "));
    EXPECT_EQ(left().size(), 1U);
}

TEST_F(settings_reset, gives_17_when_the_isdr_cannot_be_selected)
{
    desk.modem_does(
        {{"do", "fault"}, {"kind", "status-word"}, {"text", "6A82"}, {"contains", "01A40400"}, {"times", 3}});
    EXPECT_EQ(reset(), 17U);
    EXPECT_THAT(pauses, ElementsAre(2U, 2U));
    EXPECT_THAT(log.at(1), HasSubstr("[LPA__reset_settings] eUICC__initialize failed, rc 17"));
}
} // namespace
