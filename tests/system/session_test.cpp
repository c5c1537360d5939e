#include "system/system_test.h"

namespace {
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class session : public system_test {
  protected:
    outcome eid() { return run(LPA__get_eid, "modem0"); }
};

const std::string eid_document = R"({"eid":"89049032123451234512345678900265"})";
const std::string select_isdr = "01A4040010A0000005591010FFFFFFFF890000010000";
const std::string terminal_capability = "81AA000005A903830107";
const std::string ask_for_eid = "81E2910006BF3E035C015A00";

TEST_F(session, sends_exactly_these_commands_for_the_eid)
{
    EXPECT_EQ(eid().code, 0U);
    EXPECT_THAT(desk.traffic(), ElementsAre("AT+CMEE=?", "AT+CMEE=2", "0070000001", terminal_capability, select_isdr,
                                            "01C0000021", ask_for_eid, "81C0000015", "0070800100"));
    EXPECT_THAT(pauses, IsEmpty());
}

TEST_F(session, closes_channels_that_a_killed_predecessor_left_open)
{
    desk.card_does({{"do", "open-channels"}, {"count", 2}});
    EXPECT_EQ(eid().document, eid_document);
    EXPECT_THAT(desk.traffic(), ElementsAre("AT+CMEE=?", "AT+CMEE=2", "0070000001", "0070800100", "0070800200",
                                            "0070800300", "0070000001", terminal_capability, select_isdr, "01C0000021",
                                            ask_for_eid, "81C0000015", "0070800100"));
    EXPECT_THAT(log.at(1), HasSubstr("[eUICC__initialize] eSIM communication out of sync, logical channel 3 selected"));
    EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());
}

TEST_F(session, whose_select_fails_three_times_gives_17_after_two_pauses_of_2_seconds)
{
    desk.modem_does(
        {{"do", "fault"}, {"kind", "status-word"}, {"text", "6A82"}, {"contains", select_isdr}, {"times", 3}});
    EXPECT_EQ(eid().code, 17U);
    EXPECT_THAT(pauses, ElementsAre(2U, 2U));
    EXPECT_THAT(log.at(1), HasSubstr("FATAL [LPA__get_eid] failed, rc 17"));
    const auto traffic = desk.traffic();
    EXPECT_EQ(std::count(traffic.begin(), traffic.end(), select_isdr), 3);
    EXPECT_EQ(std::count(traffic.begin(), traffic.end(), "0070800100"), 3);
}

TEST_F(session, whose_select_fails_once_goes_on)
{
    desk.modem_does({{"do", "fault"}, {"kind", "status-word"}, {"text", "6A82"}, {"contains", select_isdr}});
    EXPECT_EQ(eid().document, eid_document);
    EXPECT_THAT(pauses, ElementsAre(2U));
    EXPECT_THAT(log.at(2), HasSubstr("[eUICC__initialize] Retry 1 to initialize the eUICC"));
}

TEST_F(session, answered_6985_reloads_the_modem_and_asks_again_after_5_seconds)
{
    desk.modem_does({{"do", "fault"}, {"kind", "status-word"}, {"text", "6985"}, {"contains", ask_for_eid}});
    EXPECT_EQ(eid().document, eid_document);
    EXPECT_THAT(pauses, ElementsAre(1U, 5U));
    EXPECT_THAT(log.at(2), HasSubstr("[eUICC__store_data] REFRESH was not yet successfully executed. APDU failed, SW "
                                     "6985"));
    EXPECT_THAT(log.at(2), HasSubstr("[LPA__get_eid] retry 1 due to previous error"));
    const auto traffic = desk.traffic();
    const auto reload = std::find(traffic.begin(), traffic.end(), "AT+CFUN=0");
    ASSERT_NE(reload, traffic.end());
    EXPECT_EQ(std::vector<std::string>(reload - 1, reload + 3),
              (std::vector<std::string>{"0070800100", "AT+CFUN=0", "AT+CFUN=1", "AT+cpin?"}));
}

TEST_F(session, answered_6985_for_ever_reloads_three_times_and_gives_18)
{
    desk.modem_does(
        {{"do", "fault"}, {"kind", "status-word"}, {"text", "6985"}, {"contains", ask_for_eid}, {"times", 9}});
    EXPECT_EQ(eid().code, 18U);
    EXPECT_THAT(pauses, ElementsAre(1U, 5U, 1U, 5U, 1U, 5U));
    EXPECT_THAT(log.at(2), HasSubstr("[LPA__get_eid] retry 3 due to previous error"));
}

TEST_F(session, with_a_pending_refresh_recovers_through_the_reload)
{
    desk.card_does({{"do", "set"}, {"refresh_pending", true}});
    EXPECT_EQ(eid().document, eid_document);
    EXPECT_FALSE(desk.card().at("refresh_pending"));
}

TEST_F(session, whose_recovery_reload_fails_gives_1)
{
    desk.card_does({{"do", "set"}, {"refresh_pending", true}});
    desk.modem_does({{"do", "set"}, {"cfun_errors", 20}});
    EXPECT_EQ(eid().code, 1U);
    EXPECT_THAT(pauses, testing::SizeIs(16)); // 1 s after CFUN=0 and one after each of 15 attempts
    EXPECT_THAT(log.at(1), HasSubstr("[reload_modem] waiting for CFUN=1 timeout"));
    EXPECT_THAT(log.at(1), HasSubstr("[LPA__get_eid] reload_modem failed"));
}

TEST_F(session, waits_for_a_sim_that_is_busy_after_the_reload)
{
    desk.card_does({{"do", "set"}, {"refresh_pending", true}});
    desk.modem_does({{"do", "set"}, {"sim_busy", 4}});
    EXPECT_EQ(eid().document, eid_document);
    EXPECT_THAT(pauses, ElementsAre(1U, 1U, 1U, 1U, 1U, 5U));
}

struct refused_case {
    const char *name, *sw, *message;
};
class refused_store_data : public session, public testing::WithParamInterface<refused_case> {};

TEST_P(refused_store_data, is_tried_three_times_5_seconds_apart_and_gives_6)
{
    desk.modem_does(
        {{"do", "fault"}, {"kind", "status-word"}, {"text", GetParam().sw}, {"contains", ask_for_eid}, {"times", 9}});
    EXPECT_EQ(eid().code, 6U);
    EXPECT_THAT(pauses, ElementsAre(5U, 5U, 5U));
    EXPECT_THAT(log.at(2), HasSubstr(GetParam().message));
    EXPECT_THAT(log.at(1), HasSubstr("FATAL [LPA__get_eid] failed, rc 6"));
    EXPECT_THAT(desk.traffic(), testing::Not(Contains("AT+CFUN=0")));
}

INSTANTIATE_TEST_SUITE_P(
    table, refused_store_data,
    testing::ValuesIn(std::to_array<refused_case>({
        {"with_6A80", "6A80", "[eUICC__store_data] Incorrect/invalid data field encoding. APDU failed, SW 6A80"},
        {"with_6A88", "6A88",
         "[eUICC__store_data] Unsupported or unknown command request in the data field. APDU failed, SW 6A88"},
        {"with_6F00", "6F00", "[eUICC__store_data] APDU failed, SW 6F00"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(session, answered_6A80_once_asks_again)
{
    desk.modem_does({{"do", "fault"}, {"kind", "status-word"}, {"text", "6A80"}, {"contains", ask_for_eid}});
    EXPECT_EQ(eid().document, eid_document);
    EXPECT_THAT(pauses, ElementsAre(5U));
}

TEST_F(session, collects_chains_of_61xx_piece_by_piece)
{
    desk.card_does({{"do", "set"}, {"piece", 5}});
    EXPECT_EQ(eid().document, eid_document);
    const auto traffic = desk.traffic();
    EXPECT_EQ(std::count(traffic.begin(), traffic.end(), "81C0000005"), 4); // 21 bytes: 5 + 5 + 5 + 5 + 1
    EXPECT_EQ(std::count(traffic.begin(), traffic.end(), "81C0000001"), 1);
}

TEST_F(session, gives_up_an_answer_that_never_ends)
{
    const log_capture errors_only(1);
    desk.modem_does({{"do", "fault"},
                     {"kind", "status-word"},
                     {"text", std::string(2000, 'A') + "6100"},
                     {"contains", "81C00000"},
                     {"times", 0}});
    EXPECT_EQ(eid().code, 9U);
    EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());
}

TEST_F(session, takes_the_whole_answer_from_a_modem_that_collects_it)
{
    desk.modem_does({{"do", "set"}, {"collects", true}});
    EXPECT_EQ(eid().document, eid_document);
    for (const std::string &command : desk.traffic())
        EXPECT_THAT(command, testing::Not(HasSubstr("C00000")));
}

TEST_F(session, repeats_a_command_answered_error_once_after_10_seconds)
{
    desk.modem_does({{"do", "fault"}, {"kind", "error"}, {"contains", ask_for_eid}});
    EXPECT_EQ(eid().document, eid_document);
    EXPECT_THAT(pauses, ElementsAre(10U));
    EXPECT_THAT(log.at(2), HasSubstr("[eUICC__send_AT_command] retry 1 gsm_response with error"));
}

TEST_F(session, gives_15_for_a_command_answered_error_twice)
{
    desk.modem_does({{"do", "fault"}, {"kind", "error"}, {"contains", ask_for_eid}, {"times", 2}});
    EXPECT_EQ(eid().code, 15U);
    EXPECT_THAT(pauses, ElementsAre(10U));
    EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());
}

TEST_F(session, takes_a_cme_error_for_an_error)
{
    desk.modem_does({{"do", "fault"}, {"kind", "cme-error"}, {"text", "14"}, {"contains", ask_for_eid}, {"times", 2}});
    EXPECT_EQ(eid().code, 15U);
}

TEST_F(session, ignores_a_modem_without_cmee)
{
    desk.modem_does({{"do", "fault"}, {"kind", "error"}, {"contains", "CMEE"}, {"times", 4}});
    EXPECT_EQ(eid().document, eid_document);
    EXPECT_THAT(pauses, ElementsAre(10U, 10U));
}

TEST_F(session, asks_again_for_a_malformed_answer_after_3_seconds)
{
    desk.card_does({{"do", "answer"}, {"function", "BF3E"}, {"data", "BF3E145A10"}});
    EXPECT_EQ(eid().document, eid_document);
    EXPECT_THAT(pauses, ElementsAre(3U));
    EXPECT_THAT(log.at(3), HasSubstr("[LPA__get_eid_unlocked] retry 1 failed, invalid result"));
}

TEST_F(session, lets_the_converter_decide_on_a_third_malformed_answer)
{
    desk.card_does({{"do", "answer"}, {"function", "BF3E"}, {"data", "BF3E145A10"}, {"times", 3}});
    const outcome result = eid();
    EXPECT_EQ(result.code, 0U);
    EXPECT_EQ(result.document, "");
    EXPECT_THAT(pauses, ElementsAre(3U, 3U));
    EXPECT_THAT(log.at(1), HasSubstr("[LPA__get_eid] JSON process failed"));
}

TEST_F(session, refuses_an_eid_of_15_bytes)
{
    desk.card_does({{"do", "answer"}, {"function", "BF3E"}, {"data", "BF3E115A0F890490321234512345123456789012"}});
    const outcome result = eid();
    EXPECT_EQ(result.code, 0U);
    EXPECT_EQ(result.document, "");
    EXPECT_THAT(log.at(1), HasSubstr("[tlv_data_extractor__get_euicc_data_response] Bad EID length found in the TLV"));
}

TEST_F(session, gives_18_when_no_channel_can_be_opened)
{
    desk.modem_does(
        {{"do", "fault"}, {"kind", "status-word"}, {"text", "6A81"}, {"contains", "0070000001"}, {"times", 99}});
    EXPECT_EQ(eid().code, 18U);
    EXPECT_THAT(pauses, ElementsAre(2U, 2U, 1U, 5U, 2U, 2U, 1U, 5U, 2U, 2U, 1U, 5U));
}

TEST_F(session, takes_an_open_channel_without_number_for_a_failure)
{
    desk.modem_does({{"do", "fault"}, {"kind", "status-word"}, {"text", "9000"}, {"contains", "0070000001"}});
    EXPECT_EQ(eid().document, eid_document);
    EXPECT_THAT(pauses, ElementsAre(2U));
}

TEST_F(session, gives_14_when_the_terminal_hangs_up)
{
    desk.modem_does({{"do", "fault"}, {"kind", "hang-up"}, {"contains", select_isdr}});
    const short_timeout tenth_of_a_second(0.1);
    EXPECT_EQ(eid().code, 14U); // 17 at first; the second attempt finds no terminal
    EXPECT_THAT(pauses, ElementsAre(2U));
    desk.modem_does({{"do", "return"}});
    EXPECT_EQ(eid().document, eid_document);
}

TEST_F(session, copes_with_the_habits_of_real_modems)
{
    for (const json &habit : {json{{"echo", true}, {"piece", 1}}, json{{"echo", false}, {"cr_cr_lf", true}},
                              json{{"unsolicited_every", 1}}, json{{"quotes", false}}, json{{"blank", false}},
                              json{{"lower_case", true}, {"cmee_modes", "(0,1)"}}, json{{"cmee_modes", "0"}}}) {
        json details = habit;
        details["do"] = "set";
        desk.modem_does(details);
        EXPECT_EQ(eid().document, eid_document) << habit;
    }
    EXPECT_THAT(pauses, IsEmpty());
}

TEST_F(session, reaches_every_modem_by_its_number)
{
    EXPECT_EQ(run(LPA__get_eid, "modem").document, eid_document);
    EXPECT_EQ(run(LPA__get_eid, "modem5").code, 1U);
    EXPECT_EQ(run(LPA__get_eid, "usb0").code, 1U);
}
} // namespace
