#include "simulator/euicc.h"
#include "support/bytes.h"
#include <gtest/gtest.h>

namespace {
using sim::byte_vector;

class card : public testing::Test {
  protected:
    std::filesystem::path directory = "/tmp/mobile/card_test";
    sim::certificate_authority authority{(std::filesystem::remove_all(directory), directory / "certificates")};
    sim::euicc euicc{directory / "card.json", "89049032123451234512345678901235", authority};

    std::string send(const char *apdu) { return hex(euicc.transmit(bytes(apdu))); }

    // Answer of a STORE DATA request on channel 1 with its GET RESPONSEs, status word cut off.
    std::string ask(const std::string &request)
    {
        byte_vector block = bytes("81 E2 91 00");
        const byte_vector data = bytes(request);
        block.push_back(static_cast<uint8_t>(data.size()));
        block.insert(block.end(), data.begin(), data.end());
        block.push_back(0);
        byte_vector answer = euicc.transmit(block);
        byte_vector whole;
        for (;;) {
            whole.insert(whole.end(), answer.begin(), answer.end() - 2);
            if (answer[answer.size() - 2] != 0x61) return hex(whole);
            answer = euicc.transmit(byte_vector{0x81, 0xC0, 0, 0, answer.back()});
        }
    }

    void open_session()
    {
        ASSERT_EQ(send("00 70 00 00 01"), "019000");
        ASSERT_EQ(send("81 AA 00 00 05 A9 03 83 01 07"), "9000");
        ASSERT_EQ(send("01 A4 04 00 10 A0 00 00 05 59 10 10 FF FF FF FF 89 00 00 01 00 00").substr(0, 2), "61");
    }
};

TEST_F(card, opens_the_lowest_free_channel_and_closes_it)
{
    EXPECT_EQ(send("00 70 00 00 01"), "019000");
    EXPECT_EQ(send("00 70 00 00 01"), "029000");
    EXPECT_EQ(send("00 70 80 01 00"), "9000");
    EXPECT_EQ(send("00 70 80 01 00"), "6200");
    EXPECT_EQ(send("00 70 00 00 01"), "019000");
}

TEST_F(card, refuses_a_channel_that_is_not_open) { EXPECT_EQ(send("01 A4 04 00 00"), "6881"); }

TEST_F(card, refuses_store_data_before_the_isdr_is_selected)
{
    ASSERT_EQ(send("00 70 00 00 01"), "019000");
    EXPECT_EQ(send("81 E2 91 00 03 BF 20 00 00"), "6985");
}

TEST_F(card, refuses_other_terminal_capabilities_and_applications)
{
    ASSERT_EQ(send("00 70 00 00 01"), "019000");
    EXPECT_EQ(send("81 AA 00 00 05 A9 03 83 01 03"), "6A80");
    EXPECT_EQ(send("01 A4 04 00 02 A0 00 00"), "6A82");
}

TEST_F(card, tells_its_eid)
{
    open_session();
    EXPECT_EQ(ask("BF3E035C015A"), "BF3E125A1089049032123451234512345678901235");
}

TEST_F(card, checks_block_numbers_of_a_series)
{
    open_session();
    EXPECT_EQ(send("81 E2 11 00 02 BF 3E 00"), "9000");
    EXPECT_EQ(send("81 E2 91 02 04 03 5C 01 5A 00"), "6A86");
    EXPECT_EQ(send("81 E2 11 00 02 BF 3E 00"), "9000"); // begins again
    EXPECT_EQ(send("81 E2 91 01 04 03 5C 01 5A 00"), "6115");
}

TEST_F(card, answers_in_pieces_as_small_as_ordered)
{
    open_session();
    euicc.control({{"do", "set"}, {"piece", 10}});
    EXPECT_EQ(send("81 E2 91 00 06 BF 3E 03 5C 01 5A 00"), "610A");
    EXPECT_EQ(send("81 C0 00 00 0A"), "BF3E125A108904903212610A");
    EXPECT_EQ(send("81 C0 00 00 0A"), "345123451234567890126101");
}

TEST_F(card, refuses_unknown_and_malformed_requests)
{
    open_session();
    EXPECT_EQ(send("81 E2 91 00 03 BF 7A 00 00"), "6A88");
    EXPECT_EQ(send("81 E2 91 00 02 BF 3E 00"), "6A80");
}

TEST_F(card, keeps_its_profiles_over_a_restart)
{
    euicc.control({{"do", "add-profile"}, {"iccid", "8901234567890123456"}, {"name", "One"}});
    const sim::euicc again{directory / "card.json", "", authority};
    EXPECT_EQ(again.inspect().at("profiles").at(0).at("iccid"), "8901234567890123456");
}

TEST_F(card, is_as_new_after_a_wipe)
{
    const auto as_new = euicc.inspect();
    euicc.control({{"do", "add-profile"}, {"iccid", "8901234567890123456"}});
    euicc.control({{"do", "add-notification"}, {"event", "install"}, {"address", "smdp.example"}});
    euicc.control({{"do", "set"}, {"default_dp_address", "smdp.example"}, {"memory", 1}});
    open_session();
    EXPECT_NE(euicc.inspect(), as_new);
    euicc.control({{"do", "wipe"}});
    EXPECT_EQ(euicc.inspect(), as_new);
}

TEST_F(card, a_power_cut_during_a_write_leaves_the_old_state)
{
    euicc.control({{"do", "add-profile"}, {"iccid", "8901234567890123456"}});
    open_session();
    euicc.control({{"do", "cut-power-at-write"}, {"nth", 1}});
    EXPECT_EQ(euicc.inspect().at("writes_until_cut"), 1);
    EXPECT_EQ(send("81 E2 91 00 14 BF 31 11 A0 0C 5A 0A 98 10 32 54 76 98 10 32 54 F6 81 01 00 00"), "");
    EXPECT_FALSE(euicc.inspect().at("profiles").at(0).at("enabled"));
    EXPECT_TRUE(euicc.inspect().at("open_channels").empty());
    EXPECT_EQ(euicc.inspect().at("writes_until_cut"), 0);
}

TEST_F(card, enabling_a_profile_disables_the_other_and_notifies)
{
    const nlohmann::json both = {{{"events", {"enable", "disable"}}, {"address", "smdp.example"}}};
    euicc.control({{"do", "add-profile"}, {"iccid", "8901234567890123456"}, {"notifications", both}});
    euicc.control(
        {{"do", "add-profile"}, {"iccid", "8901234567890123457"}, {"enabled", true}, {"notifications", both}});
    open_session();
    EXPECT_EQ(ask("BF3111A00C5A0A981032547698103254F6810100"), "BF3103800100");
    const auto state = euicc.inspect();
    EXPECT_TRUE(state.at("profiles").at(0).at("enabled"));
    EXPECT_FALSE(state.at("profiles").at(1).at("enabled"));
    EXPECT_EQ(state.at("notifications").at(0).at("event"), "disable");
    EXPECT_EQ(state.at("notifications").at(1).at("event"), "enable");
}

TEST_F(card, with_the_refresh_flag_answers_6985_until_a_restart)
{
    euicc.control({{"do", "add-profile"}, {"iccid", "8901234567890123456"}});
    open_session();
    EXPECT_EQ(ask("BF3111A00C5A0A981032547698103254F68101FF"), "BF3103800100");
    EXPECT_EQ(send("81 E2 91 00 03 BF 20 00 00"), "6985");
    euicc.reset();
    open_session();
    EXPECT_EQ(ask("BF2D045C025A90"), "BF2D10A00EE30C5A0A981032547698103254F6");
}

TEST_F(card, gives_the_results_that_were_ordered)
{
    for (const char *function : {"BF29", "BF30", "BF31", "BF32", "BF33", "BF34", "BF3F"})
        euicc.control({{"do", "result"}, {"function", function}, {"result", 5}});
    open_session();
    for (const char *function : {"BF29", "BF30", "BF31", "BF32", "BF33", "BF34", "BF3F"})
        EXPECT_EQ(ask(function + std::string("00")), function + std::string("03800105"));
}

TEST_F(card, takes_no_result_for_functions_that_have_none)
{
    for (const char *function : {"BF20", "BF22", "BF28", "BF2B", "BF2D", "BF2E", "BF3C", "BF3E", "BF43", "BF99"})
        EXPECT_THROW(euicc.control({{"do", "result"}, {"function", function}, {"result", 5}}), std::invalid_argument)
            << function;
}

TEST_F(card, an_order_with_an_error_changes_nothing)
{
    euicc.control({{"do", "add-profile"}, {"iccid", "8901234567890123456"}});
    euicc.control({{"do", "add-notification"}, {"event", "install"}, {"address", "smdp.example"}});
    open_session();
    const auto before = euicc.inspect();
    const nlohmann::json event = {{{"events", {"enable"}}, {"adress", "smdp.example"}}};
    const nlohmann::json bad[] = {
        {{"do", "inspect"}, {"x", 1}},
        {{"do", "add-profile"}, {"iccid", "8901234567890123457"}, {"nam", "One"}},
        {{"do", "add-profile"}, {"iccid", "8901234567890123457"}, {"notifications", event}},
        {{"do", "remove-profiles"}, {"x", 1}},
        {{"do", "wipe"}, {"x", 1}},
        {{"do", "add-notification"}, {"event", "install"}, {"address", "smdp.example"}, {"icid", "89"}},
        {{"do", "add-notification"}, {"event", "sleep"}, {"address", "smdp.example"}, {"sequence_number", 90}},
        {{"do", "set"}, {"memory", 4}, {"default_dp_adress", "smdp.example"}},
        {{"do", "set"}, {"memory", 4}, {"piece", "small"}},
        {{"do", "open-channels"}, {"count", 2}, {"x", 1}},
        {{"do", "result"}, {"function", "BF3E"}, {"result", 1}, {"time", 2}},
        {{"do", "answer"}, {"function", "BF3E"}, {"time", 2}},
        {{"do", "fail-loading"}, {"command", 1}, {"reason", 1}, {"time", 2}},
        {{"do", "cut-power-at-write"}, {"nth", 1}, {"times", 2}},
        {{"do", "reset"}, {"x", 1}},
        {{"do", "unheard"}},
    };
    for (const auto &command : bad)
        EXPECT_ANY_THROW(euicc.control(command)) << command;
    EXPECT_EQ(euicc.inspect(), before);
    EXPECT_EQ(ask("BF3E035C015A"), "BF3E125A1089049032123451234512345678901235");
}

struct operation_case {
    const char *name, *request, *response;
};
class card_operation : public card, public testing::WithParamInterface<operation_case> {};

TEST_P(card_operation, answers_with_its_result)
{
    euicc.control({{"do", "add-profile"}, {"iccid", "8901234567890123456"}, {"enabled", true}, {"policy", 1}});
    euicc.control({{"do", "add-profile"}, {"iccid", "8901234567890123457"}, {"policy", 2}});
    open_session();
    EXPECT_EQ(ask(GetParam().request), GetParam().response);
}

INSTANTIATE_TEST_SUITE_P(table, card_operation,
                         testing::ValuesIn(std::to_array<operation_case>({
                             {"enable_unknown", "BF3111A00C5A0A98103254769810325499810100", "BF3103800101"},
                             {"enable_enabled", "BF3111A00C5A0A981032547698103254F6810100", "BF3103800102"},
                             {"enable_against_the_other_ones_policy", "BF3111A00C5A0A981032547698103254F7810100",
                              "BF3103800103"},
                             {"disable_disabled", "BF3211A00C5A0A981032547698103254F7810100", "BF3203800102"},
                             {"disable_against_policy", "BF3211A00C5A0A981032547698103254F6810100", "BF3203800103"},
                             {"delete_unknown", "BF330C5A0A98103254769810325499", "BF3303800101"},
                             {"delete_enabled", "BF330C5A0A981032547698103254F6", "BF3303800102"},
                             {"delete_against_policy", "BF330C5A0A981032547698103254F7", "BF3303800103"},
                             {"nickname", "BF29105A0A981032547698103254F690024142", "BF2903800100"},
                             {"nickname_of_unknown", "BF29105A0A9810325476981032549990024142", "BF2903800101"},
                             {"default_address", "BF3F0380016D", "BF3F03800100"},
                             {"notification_that_is_not_there", "BF3003800107", "BF3003800101"},
                             {"reset_of_nothing", "BF340482020560", "BF3403800101"},
                             {"reset_of_all", "BF3404820205E0", "BF3403800100"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });
} // namespace
