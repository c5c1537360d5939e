// What single operations do beyond the frame.
#include "lpa/lpa.h"
#include "rsp/progress.h"
#include "support/log_capture.h"
#include "support/progress_capture.h"
#include "unit/fakes/failing_memory.h"
#include "unit/fakes/fake_bus.h"
#include "unit/fakes/fake_clock.h"
#include "unit/fakes/fake_factory.h"
#include "unit/fakes/fake_modem.h"
#include "unit/lpa/operation_table.h"
#include "unit/lpa/scripted_card.h"
#include <algorithm>
#include <utility>

namespace {

using events = std::vector<std::string>;

// ---- Arguments of profile changes ---------------------------------------------------------------------------------

struct iccid_operation {
    const char *name;
    uint32_t (*run)(const char *iccid, char **json, uint32_t *length);
    int event;
    const char *parse_failed; // the disable routine spells it in a way of its own
};

// clang-format off
const iccid_operation iccid_operations[] = {
    {"LPA__enable_profile", [](const char *iccid, char **json, uint32_t *length) { return LPA__enable_profile("modem1", iccid, json, length); }, 1, "parse_iccid failed, rc 4"},
    {"LPA__disable_profile", [](const char *iccid, char **json, uint32_t *length) { return LPA__disable_profile("modem1", iccid, json, length); }, 2, "parse_iccid failed, rcc 4"},
    {"LPA__delete_profile", [](const char *iccid, char **json, uint32_t *length) { return LPA__delete_profile("modem1", iccid, json, length); }, 3, "parse_iccid failed, rc 4"},
    {"LPA__set_profile_nickname", [](const char *iccid, char **json, uint32_t *length) { return LPA__set_profile_nickname("modem1", iccid, "nick", json, length); }, 5, "parse_iccid failed, rc 4"},
};
// clang-format on

class iccid_operation_test : public lpa_test, public testing::WithParamInterface<iccid_operation> {
  protected:
    char *json = nullptr;
    uint32_t length = 99;
    const std::string name = GetParam().name;
    std::string event(const std::string &state_and_iccid) const
    {
        return "gsm.modem1 event " + std::to_string(GetParam().event) + " state " + state_and_iccid;
    }
};

TEST_P(iccid_operation_test, null_iccid_is_refused_on_an_open_session)
{
    log_capture log;
    EXPECT_EQ(GetParam().run(nullptr, &json, &length), 4u);
    EXPECT_EQ(json, nullptr);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(operation_lines(log), "1 [" + name + "_unlocked] iccid is null\n1 FATAL [" + name + "] failed, rc 4\n");
    EXPECT_EQ(card.sessions, 1);
    EXPECT_TRUE(card.requests.empty());
    EXPECT_EQ(update_events(), events{event("4")});
}

TEST_P(iccid_operation_test, bad_iccid_is_refused_on_an_open_session)
{
    log_capture log;
    EXPECT_EQ(GetParam().run("890123456789012", &json, &length), 4u);
    EXPECT_EQ(operation_lines(log),
              "1 [" + name + "_unlocked] " + GetParam().parse_failed + "\n1 FATAL [" + name + "] failed, rc 4\n");
    EXPECT_EQ(card.sessions, 1);
    EXPECT_TRUE(card.requests.empty());
    EXPECT_EQ(update_events(), events{event("4 iccid 890123456789012")});
}

TEST_P(iccid_operation_test, an_empty_iccid_stands_in_the_event)
{
    EXPECT_EQ(GetParam().run("", &json, &length), 4u);
    EXPECT_EQ(update_events(), events{event("4 iccid ")});
}

TEST_P(iccid_operation_test, an_iccid_of_another_prefix_never_reaches_the_card)
{
    EXPECT_EQ(GetParam().run("120123456789012345", &json, &length), 1u);
    EXPECT_TRUE(card.requests.empty());
    EXPECT_EQ(update_events(), events{event("1 iccid 120123456789012345")});
}

TEST_P(iccid_operation_test, modem_that_does_not_exist)
{
    log_capture log;
    const auto run = [](char **json, uint32_t *length) {
        return LPA__delete_profile("usb0", test_iccid_text, json, length);
    };
    EXPECT_EQ(run(&json, &length), 1u);
    EXPECT_EQ(operation_lines(log), "1 [LPA__delete_profile_] eUICC__initialize failed, rc 1\n"
                                    "1 FATAL [LPA__delete_profile] failed, rc 1\n");
    EXPECT_EQ(update_events(), events{"gsm.usb0 event 3 state 1 iccid " + std::string(test_iccid_text)});
}

INSTANTIATE_TEST_SUITE_P(operations, iccid_operation_test, testing::ValuesIn(iccid_operations),
                         [](const auto &info) { return std::string(info.param.name).substr(5); });

class operations : public lpa_test {
  protected:
    char *json = nullptr;
    uint32_t length = 99;
    void TearDown() override
    {
        M_free(json);
        lpa_test::TearDown();
    }
};

TEST_F(operations, enable_on_modem1_sends_the_modem_the_event_and_the_iccid_unchanged)
{
    card.answers["BF31"] = {{"BF3103800100"}};
    EXPECT_EQ(LPA__enable_profile("modem1", "890123456789012345FF", &json, &length), 0u);
    EXPECT_EQ(update_events(),
              (events{"gsm.modem1 event 4 state 0", "gsm.modem1 event 1 state 0 iccid 890123456789012345FF"}));
    EXPECT_EQ(rsp.notifications, std::vector<std::string>{"modem1"});
}

TEST_F(operations, null_modem_is_refused)
{
    log_capture log;
    EXPECT_EQ(LPA__get_eid(nullptr, &json, &length), 4u);
    EXPECT_EQ(LPA__get_free_memory(nullptr, &json, &length), 4u);
    EXPECT_EQ(LPA__enable_profile(nullptr, test_iccid_text, &json, &length), 4u);
    EXPECT_EQ(LPA__reset_memory(nullptr, &json, &length), 4u);
    EXPECT_EQ(LPA__process_notifications(nullptr, &json, &length), 4u);
    EXPECT_EQ(LPA__start_rsp(nullptr, "1$a$b", nullptr, &json, &length), 4u);
    EXPECT_EQ(LPA__reset_settings(nullptr), 4u);
    EXPECT_EQ(length, 0u);
    EXPECT_TRUE(update_events().empty());
    EXPECT_EQ(operation_lines(log), "1 [LPA__get_eid] modem, json or length is null\n"
                                    "1 [LPA__get_free_memory] modem, json or length is null\n"
                                    "1 [LPA__enable_profile] modem, json or length is null\n"
                                    "1 [LPA__reset_memory] modem, json or length is null\n"
                                    "1 [LPA__process_notifications] modem, json or length is null\n"
                                    "1 [LPA__start_rsp] modem, json or length is null\n"
                                    "1 [LPA__reset_settings] modem is null\n");
}

// ---- EID ----------------------------------------------------------------------------------------------------------

TEST_F(operations, an_eid_of_15_bytes_is_refused_and_gives_0_without_a_document)
{
    card.answers["BF3E"] = {{tlv("BF3E", tlv("5A", "890490321234512345123456789012"))}};
    log_capture log;
    EXPECT_EQ(LPA__get_eid("modem0", &json, &length), 0u);
    EXPECT_EQ(json, nullptr);
    EXPECT_EQ(length, 0u);
    EXPECT_TRUE(log.contains(1, "[tlv_data_extractor__get_euicc_data_response] Bad EID length found in the TLV"));
    EXPECT_EQ(operation_lines(log), "1 [LPA__get_eid] JSON process failed, rc 1\n");
    EXPECT_EQ(card.requests.size(), 1u); // well-formed: not asked for again
}

// ---- Nickname and address -----------------------------------------------------------------------------------------

TEST_F(operations, a_nickname_of_65_bytes_is_refused_after_the_modem_was_opened_and_closed)
{
    const std::string nickname(65, 'n');
    log_capture log;
    EXPECT_EQ(LPA__set_profile_nickname("modem0", test_iccid_text, nickname.c_str(), &json, &length), 4u);
    EXPECT_EQ(
        operation_lines(log),
        "1 [LPA__set_profile_nickname_unlocked] The new profile nickname is too long. Max length: 64, actual length: 65\n"
        "1 FATAL [LPA__set_profile_nickname] failed, rc 4\n");
    EXPECT_EQ(card.sessions, 1);
    EXPECT_TRUE(card.requests.empty());
    EXPECT_EQ(update_events(), events{"gsm.modem0 event 5 state 4 iccid 8901234567890123456"});
}

TEST_F(operations, the_nickname_is_looked_at_before_the_iccid)
{
    const std::string nickname(65, 'n');
    log_capture log;
    EXPECT_EQ(LPA__set_profile_nickname("modem0", "x", nickname.c_str(), &json, &length), 4u);
    EXPECT_EQ(operation_lines(log).find("parse_iccid"), std::string::npos);
}

TEST_F(operations, a_nickname_of_64_bytes_is_sent)
{
    card.answers["BF29"] = {{"BF2903800100"}};
    const std::string nickname(64, 'n');
    EXPECT_EQ(LPA__set_profile_nickname("modem0", test_iccid_text, nickname.c_str(), &json, &length), 0u);
    EXPECT_EQ(card.requests,
              std::vector<std::string>{tlv("BF29", tlv("5A", "981032547698103254F6") + tlv("90", text_hex(nickname)))});
}

TEST_F(operations, a_null_or_empty_nickname_removes_it)
{
    card.answers["BF29"] = {{"BF2903800100"}};
    for (const char *nickname : {static_cast<const char *>(nullptr), ""}) {
        M_free(json);
        EXPECT_EQ(LPA__set_profile_nickname("modem0", test_iccid_text, nickname, &json, &length), 0u);
        EXPECT_STREQ(json, R"({"result":0,"description":"Nickname removed"})");
        EXPECT_EQ(card.requests.back(), "BF290E5A0A981032547698103254F69000");
    }
}

TEST_F(operations, a_null_or_empty_address_removes_it)
{
    card.answers["BF3F"] = {{"BF3F03800100"}};
    for (const char *address : {static_cast<const char *>(nullptr), ""}) {
        M_free(json);
        EXPECT_EQ(LPA__set_smdp_address("modem0", address, &json, &length), 0u);
        EXPECT_STREQ(json, R"({"result":0,"description":"Default SM-DP+ address removed"})");
        EXPECT_EQ(card.requests.back(), "BF3F028000");
    }
}

// ---- Free memory --------------------------------------------------------------------------------------------------

const std::string euicc_info_2 = tlv("BF22", tlv("84", tlv("81", "00") + tlv("82", "00010000")));

TEST_F(operations, free_memory)
{
    card.answers["BF22"] = {{euicc_info_2}};
    log_capture log;
    EXPECT_EQ(LPA__get_free_memory("modem0", &json, &length), 0u);
    EXPECT_STREQ(json, R"({"free_memory":65536})");
    EXPECT_EQ(length, 22u);
    EXPECT_EQ(operation_lines(log), "3 GET FREE MEMORY JSON result: {\"free_memory\":65536}\n");
    EXPECT_TRUE(update_events().empty());
}

TEST_F(operations, free_memory_is_asked_for_once_only)
{
    for (const char *status : {"6A80", "6985"}) {
        card.requests.clear();
        card.answers["BF22"] = {{"", status}};
        log_capture log;
        const uint32_t expected = status == std::string("6A80") ? 6 : 18;
        EXPECT_EQ(LPA__get_free_memory("modem0", &json, &length), expected);
        EXPECT_EQ(json, nullptr);
        EXPECT_EQ(length, 0u);
        EXPECT_EQ(operation_lines(log),
                  "1 [LPA__get_free_memory] es10__get_free_memory, rc " + std::to_string(expected) + "\n");
        EXPECT_EQ(card.requests.size(), 1u);
        EXPECT_EQ(pauses, std::vector<unsigned>{});
        EXPECT_EQ(card.reloads, 0);
    }
}

TEST_F(operations, free_memory_without_a_session)
{
    card.reachable = false;
    log_capture log;
    EXPECT_EQ(LPA__get_free_memory("modem0", &json, &length), 14u);
    EXPECT_EQ(operation_lines(log), "1 [LPA__get_free_memory] eUICC__initialize failed, rc 14\n");
}

TEST_F(operations, free_memory_document_that_cannot_be_made_is_no_failure)
{
    card.answers["BF22"] = {{euicc_info_2}};
    int without_document = 0;
    bool reached = true;
    for (int nth = 1; reached; ++nth) {
        log_capture log;
        failing_memory failing(nth);
        const uint32_t code = LPA__get_free_memory("modem0", &json, &length);
        reached = failing_memory::reached();
        if (code == 0 && !json) {
            ++without_document;
            EXPECT_EQ(operation_lines(log),
                      "1 LPA__get_free_memory] lpa_tlv_to_json__free_memory_response failed, rc 9\n");
        }
        EXPECT_EQ(json == nullptr, length == 0);
        M_free(std::exchange(json, nullptr));
        card.open_sessions = 0; // a channel whose closing command finds no memory stays open
    }
    EXPECT_EQ(without_document, 1);
}

// ---- Reset of the memory ------------------------------------------------------------------------------------------

TEST_F(operations, reset_memory_takes_the_decoders_code_and_does_not_ask_again)
{
    card.answers["BF34"] = {{"BF34058001"}};
    log_capture log;
    EXPECT_EQ(LPA__reset_memory("modem0", &json, &length), 1u);
    EXPECT_EQ(operation_lines(log), "1 FATAL [LPA__reset_memory] failed, rc 1\n");
    EXPECT_EQ(card.requests.size(), 1u);
    EXPECT_EQ(pauses, std::vector<unsigned>{});
    EXPECT_EQ(update_events(), events{"gsm.modem0 event 6 state 1"});
}

TEST_F(operations, reset_memory_with_nothing_to_delete_succeeds)
{
    card.answers["BF34"] = {{"BF3403800101"}};
    EXPECT_EQ(LPA__reset_memory("modem0", &json, &length), 0u);
    EXPECT_EQ(json, nullptr);
    EXPECT_EQ(length, 0u);
}

// ---- Download -----------------------------------------------------------------------------------------------------

TEST_F(operations, download_gets_the_parsed_code_and_the_confirmation_code)
{
    LPA__start_rsp("modem2", "LPA:1$dp.example$TOKEN", "1234", &json, &length);
    EXPECT_EQ(rsp.downloads, std::vector<std::string>{"modem2 dp.example TOKEN 1234"});
}

TEST_F(operations, download_without_confirmation_code)
{
    log_capture log;
    LPA__start_rsp("modem0", "1$dp.example$TOKEN", nullptr, &json, &length);
    EXPECT_EQ(rsp.downloads, std::vector<std::string>{"modem0 dp.example TOKEN none"});
    EXPECT_TRUE(log.contains(3, "[LPA__start_rsp] confirmation code (null)"));
}

TEST_F(operations, download_without_activation_code)
{
    log_capture log;
    EXPECT_EQ(LPA__start_rsp("modem0", nullptr, nullptr, &json, &length), 4u);
    EXPECT_EQ(operation_lines(log),
              "1 [LPA__start_rsp] activation code is null\n1 FATAL [LPA__start_rsp] failed, rc 4\n");
    EXPECT_TRUE(rsp.downloads.empty());
    EXPECT_EQ(update_events(), events{"gsm.modem0 event 0 state 4"});
}

TEST_F(operations, download_with_a_bad_activation_code)
{
    log_capture log;
    EXPECT_EQ(LPA__start_rsp("modem0", "2$a$b", nullptr, &json, &length), 1u);
    EXPECT_EQ(operation_lines(log), "1 [LPA__start_rsp] Error parsing the activation code '2$a$b', rc 1\n"
                                    "1 FATAL [LPA__start_rsp] failed, rc 1\n");
    EXPECT_TRUE(rsp.downloads.empty());
    EXPECT_EQ(update_events(), events{"gsm.modem0 event 0 state 1"});
}

TEST_F(operations, download_without_an_installation_result_gives_no_document)
{
    log_capture log;
    EXPECT_EQ(LPA__start_rsp("modem0", "1$dp.example$TOKEN", nullptr, &json, &length), 0u);
    EXPECT_EQ(json, nullptr);
    EXPECT_EQ(length, 0u);
    EXPECT_TRUE(log.contains(1, "[LPA__start_rsp] JSON process failed, rc 4"));
}

TEST_F(operations, download_of_the_primary_profile_sends_event_7)
{
    EXPECT_EQ(LPA__get_primary_profile(), 0);
    EXPECT_EQ(LPA__set_primary_profile(1), 0u);
    EXPECT_EQ(LPA__get_primary_profile(), 1);
    rsp.download_codes = {13};
    EXPECT_EQ(LPA__start_rsp("modem0", "1$dp.example$TOKEN", nullptr, &json, &length), 13u);
    EXPECT_EQ(update_events(), events{"gsm.modem0 event 7 state 13"});
}

TEST_F(operations, download_tells_that_it_is_done_when_it_gives_0)
{
    const progress_capture progress;
    for (const uint32_t code : {13u, 1u, 0u}) {
        rsp.download_codes = {code};
        EXPECT_EQ(LPA__start_rsp("modem0", "1$dp.example$TOKEN", nullptr, &json, &length), code);
        EXPECT_EQ(progress.lines, code == 0 ? std::vector<std::string>{"done"} : std::vector<std::string>{});
    }
}

TEST_F(operations, download_that_the_card_refuses_is_not_told_to_be_done)
{
    const auto *row = std::ranges::find(operation_table(), std::string("LPA__start_rsp"), &operation_row::name).base();
    script_answer(*row, row->refused_answer);
    const progress_capture progress;
    EXPECT_EQ(LPA__start_rsp("modem0", "1$dp.example$TOKEN", nullptr, &json, &length), 16u);
    EXPECT_TRUE(progress.lines.empty());
}

TEST_F(operations, download_forgets_the_profiles_names_at_its_end)
{
    const uint8_t metadata[] = {0xBF, 0x25, 6, 0x91, 1, 'P', 0x92, 1, 'N'};
    const progress_capture progress;
    for (const uint32_t code : {0u, 1u}) {
        progress__learn_profile(metadata, sizeof metadata);
        rsp.download_codes = {code};
        EXPECT_EQ(LPA__start_rsp("modem0", "1$dp.example$TOKEN", nullptr, &json, &length), code);
        progress__tell(LPA_PROGRESS__OPENING);
    }
    EXPECT_EQ(progress.lines, (std::vector<std::string>{"done 'P' 'N'", "opening", "opening"}));
}

// ---- Reset of the settings ----------------------------------------------------------------------------------------

struct listed_profile {
    const char *iccid; // 18 digits
    int state;
};

std::string swapped(std::string digits)
{
    digits += "FF";
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        std::swap(digits[i], digits[i + 1]);
    return digits;
}

class reset_settings : public lpa_test {
  protected:
    void SetUp() override
    {
        lpa_test::SetUp();
        card.answers["BF32"] = {{"BF3203800100"}};
        card.answers["BF33"] = {{"BF3303800100"}};
    }
    void list(const std::vector<listed_profile> &profiles)
    {
        std::string elements;
        for (const auto &[iccid, state] : profiles)
            elements += tlv("E3", tlv("5A", swapped(iccid)) + tlv("9F70", state ? "01" : "00"));
        card.answers["BF2D"] = {{tlv("BF2D", tlv("A0", elements))}};
    }
    // Tags and ICCIDs of the profile changes, in order.
    static std::string changes()
    {
        std::string result;
        for (const std::string &request : card.requests) {
            if (request.starts_with("BF2D")) continue;
            std::string digits = request.substr(request.find("5A0A") + 4, 20);
            for (size_t i = 0; i + 1 < digits.size(); i += 2)
                std::swap(digits[i], digits[i + 1]);
            result += (request.starts_with("BF32") ? "disable " : "delete ") + digits.substr(0, 18) + "\n";
        }
        return result;
    }
};

constexpr const char *a = "890000000000000001";
constexpr const char *b = "890000000000000002";
constexpr const char *c = "890000000000000003";
constexpr const char *reload_lines =
    "3 [LPA__reset_settings] reloading modem\n3 [LPA__reset_settings] modem reloaded\n";

TEST_F(reset_settings, an_enabled_profile_is_disabled_and_then_deleted)
{
    list({{a, 1}, {b, 0}});
    log_capture log;
    EXPECT_EQ(LPA__reset_settings("modem0"), 0u);
    EXPECT_EQ(changes(), "disable 890000000000000001\ndelete 890000000000000001\ndelete 890000000000000002\n");
    EXPECT_EQ(rsp.notifications, std::vector<std::string>{"session"});
    EXPECT_EQ(card.sessions, 1);
    EXPECT_EQ(card.reloads, 1);
    EXPECT_TRUE(update_events().empty());
    EXPECT_EQ(operation_lines(log),
              "3 [LPA__reset_settings] MNF profile 0: (null)\n"
              "3 [LPA__reset_settings] Processing eUICC profile 0: ICCID 890000000000000001, state 1\n"
              "3 [LPA__reset_settings] Processing eUICC profile 1: ICCID 890000000000000002, state 0\n" +
                  std::string(reload_lines));
}

TEST_F(reset_settings, manufacturing_and_bootstrap_profiles_are_left_untouched)
{
    list({{a, 1}, {b, 0}, {c, 0}});
    fake_factory.profiles = {"890000000000000009", a};
    fake_factory.boot_profile = b;
    log_capture log;
    EXPECT_EQ(LPA__reset_settings("modem0"), 0u);
    EXPECT_EQ(changes(), "delete 890000000000000003\n");
    EXPECT_EQ(operation_lines(log),
              "3 [LPA__reset_settings] MNF profile 0: 890000000000000009\n"
              "3 [LPA__reset_settings] MNF profile 1: 890000000000000001\n"
              "3 [LPA__reset_settings] MNF profile 2: (null)\n"
              "3 [LPA__reset_settings] Processing eUICC profile 0: ICCID 890000000000000001, state 1\n"
              "3 [LPA__reset_settings] eUICC profile 0 is a MNF profile, skipping\n"
              "3 [LPA__reset_settings] Processing eUICC profile 1: ICCID 890000000000000002, state 0\n"
              "3 [LPA__reset_settings] eUICC profile 1 is a bootstrap profile, skipping\n"
              "3 [LPA__reset_settings] Processing eUICC profile 2: ICCID 890000000000000003, state 0\n" +
                  std::string(reload_lines));
}

TEST_F(reset_settings, all_six_manufacturing_profiles_are_read_and_no_more)
{
    list({{a, 0}, {b, 0}});
    fake_factory.profiles = {"1", "2", "3", "4", "5", a, b};
    log_capture log;
    EXPECT_EQ(LPA__reset_settings("modem0"), 0u);
    EXPECT_EQ(changes(), "delete 890000000000000002\n");
    EXPECT_TRUE(log.contains(3, "[LPA__reset_settings] MNF profile 5: 890000000000000001"));
    EXPECT_EQ(operation_lines(log).find("MNF profile 6"), std::string::npos);
}

TEST_F(reset_settings, protection_compares_whole_iccids)
{
    list({{a, 0}});
    fake_factory.profiles = {std::string(a).substr(0, 17), std::string(a) + "F"};
    fake_factory.boot_profile = std::string(a) + "F";
    EXPECT_EQ(LPA__reset_settings("modem0"), 0u);
    EXPECT_EQ(changes(), "delete 890000000000000001\n");
}

TEST_F(reset_settings, nothing_to_delete_changes_nothing)
{
    list({{a, 1}});
    fake_factory.profiles = {a};
    EXPECT_EQ(LPA__reset_settings("modem0"), 0u);
    EXPECT_EQ(changes(), "");
    EXPECT_TRUE(rsp.notifications.empty());
    EXPECT_EQ(card.reloads, 0);
}

TEST_F(reset_settings, a_profile_whose_disable_fails_is_not_deleted_and_the_others_are)
{
    list({{a, 1}, {b, 0}});
    card.answers["BF32"] = {{"", "6A80"}};
    log_capture log;
    EXPECT_EQ(LPA__reset_settings("modem0"), 1u);
    EXPECT_EQ(changes(), "disable 890000000000000001\ndelete 890000000000000002\n");
    EXPECT_EQ(rsp.notifications, std::vector<std::string>{"session"});
    EXPECT_EQ(card.reloads, 1); // something changed and the last step went well
    EXPECT_EQ(operation_lines(log),
              "3 [LPA__reset_settings] MNF profile 0: (null)\n"
              "3 [LPA__reset_settings] Processing eUICC profile 0: ICCID 890000000000000001, state 1\n"
              "1 [LPA__reset_settings] LPA__disable_profile_unlocked failed, rc 6\n"
              "3 [LPA__reset_settings] Processing eUICC profile 1: ICCID 890000000000000002, state 0\n" +
                  std::string(reload_lines));
}

TEST_F(reset_settings, only_a_disable_that_fails_reloads_nothing)
{
    list({{a, 1}});
    card.answers["BF32"] = {{"", "6985"}};
    EXPECT_EQ(LPA__reset_settings("modem0"), 1u);
    EXPECT_EQ(card.requests_of("BF32"), 1); // one attempt only, whatever the code
    EXPECT_EQ(pauses, std::vector<unsigned>{});
    EXPECT_TRUE(rsp.notifications.empty());
    EXPECT_EQ(card.reloads, 0);
}

TEST_F(reset_settings, a_delete_that_fails_after_its_disable_still_delivers_notifications)
{
    list({{a, 1}});
    card.answers["BF33"] = {{"", "6A80"}};
    log_capture log;
    EXPECT_EQ(LPA__reset_settings("modem0"), 1u);
    EXPECT_EQ(rsp.notifications, std::vector<std::string>{"session"});
    EXPECT_EQ(card.reloads, 1);
    EXPECT_TRUE(log.contains(1, "[LPA__reset_settings] LPA__delete_profile_unlocked failed, rc 6"));
}

TEST_F(reset_settings, the_cards_own_refusal_is_no_failure)
{
    list({{a, 1}});
    card.answers["BF32"] = {{"BF3203800103"}};
    card.answers["BF33"] = {{"BF3303800103"}};
    EXPECT_EQ(LPA__reset_settings("modem0"), 0u);
    EXPECT_EQ(changes(), "disable 890000000000000001\ndelete 890000000000000001\n");
}

TEST_F(reset_settings, notifications_that_fail_give_1_and_no_reload)
{
    list({{a, 0}});
    rsp.notification_codes = {11};
    log_capture log;
    EXPECT_EQ(LPA__reset_settings("modem0"), 1u);
    EXPECT_TRUE(log.contains(1, "[LPA__reset_settings] process_notifications_unlocked failed, rc 11"));
    EXPECT_EQ(card.reloads, 0);
}

TEST_F(reset_settings, a_reload_that_fails_is_only_logged)
{
    list({{a, 0}});
    card.reload_fails = true;
    log_capture log;
    EXPECT_EQ(LPA__reset_settings("modem0"), 0u);
    EXPECT_TRUE(log.contains(1, "[LPA__reset_settings] Error reloading modem, rc 1"));
}

TEST_F(reset_settings, with_reload_disabled_the_modem_is_left_alone)
{
    list({{a, 0}});
    LPA__set_reload_disabled(1);
    EXPECT_EQ(LPA__reset_settings("modem0"), 0u);
    EXPECT_EQ(card.reloads, 0);
}

TEST_F(reset_settings, without_a_session)
{
    card.reachable = false;
    log_capture log;
    EXPECT_EQ(LPA__reset_settings("modem0"), 14u);
    EXPECT_EQ(operation_lines(log), "3 [LPA__reset_settings] MNF profile 0: (null)\n"
                                    "1 [LPA__reset_settings] eUICC__initialize failed, rc 14\n");
}

TEST_F(reset_settings, profile_list_that_cannot_be_read)
{
    card.answers["BF2D"] = {{"", "6985"}};
    log_capture log;
    EXPECT_EQ(LPA__reset_settings("modem0"), 18u);
    EXPECT_TRUE(log.contains(1, "[LPA__reset_settings] LPA__get_profiles_unlocked failed, rc 18"));
    EXPECT_EQ(card.sessions, 1);
    EXPECT_EQ(card.reloads, 0);
}

TEST_F(reset_settings, profile_list_that_cannot_be_parsed)
{
    card.answers["BF2D"] = {{tlv("BF2D", tlv("A1", "01"))}};
    log_capture log;
    EXPECT_EQ(LPA__reset_settings("modem0"), 1u);
    EXPECT_TRUE(log.contains(1, "[LPA__reset_settings] lpa_tlv_parse_profile_info_list_response failed, rc 1"));
    EXPECT_EQ(changes(), "");
}

TEST_F(reset_settings, survives_the_lack_of_any_allocation)
{
    list({{a, 1}, {b, 0}});
    for (int nth = 1;; ++nth) {
        log_capture log(1);
        failing_memory failing(nth);
        const uint32_t code = LPA__reset_settings("modem0");
        card.open_sessions = 0; // a channel whose closing command finds no memory stays open
        EXPECT_EQ(fake_bus.open_connections, 0);
        if (failing_memory::reached()) continue;
        EXPECT_EQ(code, 0u);
        EXPECT_GT(nth, 5);
        return;
    }
}

} // namespace
