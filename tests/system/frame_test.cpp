// The frame that all operations share, in each of its branches, for each operation.
#include "system/system_test.h"

namespace {
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char *iccid = "8999900000000000017";

using pause_list = std::vector<unsigned>;
using call_type = uint32_t (*)(char **json, uint32_t *length);

struct operation {
    const char *name;
    call_type call;
    const char *function;   // first of the card's functions that it uses
    pause_list own_pauses;  // of a success
    int event = -1;         // none
    bool has_iccid = false; // in its event
    bool delivers = false;  // notifications after its success
    bool converts = true;   // the first function's answer into its document
    const char *inner = nullptr;
    std::string inner_name() const { return inner ? inner : std::string(name) + "_unlocked"; }
};

template <auto Operation> uint32_t query(char **json, uint32_t *length) { return Operation("modem0", json, length); }
template <auto Operation> uint32_t change(char **json, uint32_t *length)
{
    return Operation("modem0", iccid, json, length);
}
uint32_t rename(char **json, uint32_t *length)
{
    return LPA__set_profile_nickname("modem0", iccid, "Spare", json, length);
}
uint32_t set_address(char **json, uint32_t *length)
{
    return LPA__set_smdp_address("modem0", "smdp.example", json, length);
}
std::string activation_code; // of the order that is waiting
uint32_t download(char **json, uint32_t *length)
{
    return LPA__start_rsp("modem0", activation_code.c_str(), nullptr, json, length);
}

const std::vector<operation> operations = {
    {"LPA__get_eid", query<LPA__get_eid>, "BF3E", {}},
    {"LPA__get_profiles", query<LPA__get_profiles>, "BF2D", {}},
    {.name = "LPA__get_addresses",
     .call = query<LPA__get_addresses>,
     .function = "BF3C",
     .own_pauses = {},
     .inner = "LPA__get_addreses_unlocked"},
    {"LPA__get_notifications", query<LPA__get_notifications>, "BF28", {}},
    {"LPA__set_smdp_address", set_address, "BF3F", {}},
    {"LPA__set_profile_nickname", rename, "BF29", {}, 5, true},
    {.name = "LPA__enable_profile",
     .call = change<LPA__enable_profile>,
     .function = "BF31",
     .own_pauses = {1},
     .event = 1,
     .has_iccid = true,
     .delivers = true},
    {.name = "LPA__disable_profile",
     .call = change<LPA__disable_profile>,
     .function = "BF32",
     .own_pauses = {1},
     .event = 2,
     .has_iccid = true,
     .delivers = true},
    {.name = "LPA__delete_profile",
     .call = change<LPA__delete_profile>,
     .function = "BF33",
     .own_pauses = {1},
     .event = 3,
     .has_iccid = true,
     .delivers = true},
    {.name = "LPA__reset_memory",
     .call = query<LPA__reset_memory>,
     .function = "BF34",
     .own_pauses = {5, 1},
     .event = 6,
     .delivers = true,
     .converts = false},
    {.name = "LPA__process_notifications",
     .call = query<LPA__process_notifications>,
     .function = "BF28",
     .own_pauses = {},
     .event = 4,
     .converts = false},
    {.name = "LPA__start_rsp",
     .call = download,
     .function = "BF20",
     .own_pauses = {},
     .event = 0,
     .delivers = true,
     .converts = false},
};

class frame : public system_test, public testing::WithParamInterface<operation> {
  protected:
    const operation &row = GetParam();
    const std::string tag = std::string("[") + row.name + "] ";

    // A card and a modem on which the operation succeeds, with nothing remembered.
    void begin()
    {
        desk.card_does({{"do", "remove-profiles"}});
        if (row.call != download)
            desk.card_does({{"do", "add-profile"}, {"iccid", iccid}, {"enabled", row.event == 2}});
        else activation_code = desk.add_order(order()).at("activation_code").get<std::string>();
        desk.modem_does({{"do", "clear-faults"}});
        desk.modem_does({{"do", "set"}, {"sim_busy", 0}});
        desk.forget_traffic();
        desk.command({{"bus", "clear"}});
        pauses.clear();
        log.clear();
    }
    outcome perform() { return run(row.call); }
    void refuse(const char *sw, uint32_t times)
    {
        desk.card_does({{"do", "answer"}, {"function", row.function}, {"sw", sw}, {"times", times}});
    }

    json own_event(uint32_t state) const
    {
        json data = {{"modem", "gsm.modem0"}, {"event", row.event}, {"state", state}};
        if (row.has_iccid) data["iccid"] = iccid;
        return data;
    }
    void expect_failure(const outcome &result, uint32_t code, const pause_list &expected)
    {
        EXPECT_EQ(result.code, code);
        EXPECT_EQ(result.document, "");
        EXPECT_EQ(pauses, expected);
        EXPECT_EQ(desk.events(), row.event < 0 ? json::array() : json::array({own_event(code)}));
        EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());
    }
    void expect_end(const outcome &result, pause_list expected) // with code 0
    {
        EXPECT_EQ(result.code, 0U);
        expected.insert(expected.end(), row.own_pauses.begin(), row.own_pauses.end());
        EXPECT_EQ(pauses, expected);
        json events = json::array();
        if (row.delivers) events.push_back({{"modem", "gsm.modem0"}, {"event", 4}, {"state", 0}});
        if (row.event >= 0) events.push_back(own_event(0));
        EXPECT_EQ(desk.events(), events);
        EXPECT_THAT(desk.card().at("open_channels"), IsEmpty());
    }
    void expect_success(const outcome &result, const pause_list &before)
    {
        expect_end(result, before);
        const bool has_document = row.converts || row.call == download;
        EXPECT_EQ(!result.document.empty(), has_document);
        EXPECT_THAT(log.at(1), Not(HasSubstr("FATAL")));
    }
    void expect_retries(uint32_t count)
    {
        std::string all = log.at(2);
        for (uint32_t i = 1; i <= count; ++i) {
            const std::string line = "2 " + tag + "retry " + std::to_string(i) + " due to previous error\n";
            const size_t at = all.find(line);
            EXPECT_NE(at, std::string::npos) << line;
            if (at != std::string::npos) all.erase(at, line.size());
        }
        EXPECT_THAT(all, Not(HasSubstr("due to previous error")));
    }
    void expect_fatal(uint32_t code)
    {
        EXPECT_THAT(log.at(1), HasSubstr("FATAL [" + std::string(row.name) + "] failed, rc " + std::to_string(code)));
    }
    long reloads()
    {
        const auto traffic = desk.traffic();
        return std::count(traffic.begin(), traffic.end(), "AT+CFUN=0");
    }
};

TEST_P(frame, goes_on_after_6_once_or_twice)
{
    for (uint32_t times : {0U, 1U, 2U}) {
        begin();
        refuse("6A80", times);
        expect_success(perform(), pause_list(times, 5));
        expect_retries(times);
    }
}

TEST_P(frame, gives_6_after_three_attempts)
{
    begin();
    refuse("6A80", 3);
    expect_failure(perform(), 6, {5, 5, 5});
    expect_retries(3);
    expect_fatal(6);
    EXPECT_EQ(reloads(), 0);
}

TEST_P(frame, reloads_the_modem_and_goes_on_after_18_once_or_twice)
{
    LPA__set_reload_disabled(1); // recovers all the same
    for (uint32_t times : {1U, 2U}) {
        begin();
        refuse("6985", times);
        EXPECT_EQ(perform().code, 0U);
        expect_retries(times);
        EXPECT_EQ(reloads(), times);
        pause_list expected;
        for (uint32_t i = 0; i < times; ++i)
            expected.insert(expected.end(), {1, 5});
        if (row.name == std::string("LPA__reset_memory")) expected.push_back(5);
        EXPECT_EQ(pauses, expected);
    }
}

TEST_P(frame, gives_18_after_three_attempts_and_three_reloads)
{
    begin();
    refuse("6985", 3);
    expect_failure(perform(), 18, {1, 5, 1, 5, 1, 5});
    expect_retries(3);
    expect_fatal(18);
    EXPECT_EQ(reloads(), 3);
}

TEST_P(frame, ends_when_the_recovery_reload_fails)
{
    begin();
    refuse("6985", 1);
    desk.modem_does({{"do", "set"}, {"sim_busy", 99}});
    // Delivering notifications alone keeps its code.
    const bool keeps_code = row.event == 4;
    expect_failure(perform(), keeps_code ? 18 : 1, pause_list(16, 1));
    expect_retries(1);
    EXPECT_THAT(log.at(1), HasSubstr(tag + "reload_modem failed"));
    if (keeps_code) expect_fatal(18);
    else EXPECT_THAT(log.at(1), Not(HasSubstr("FATAL")));
}

TEST_P(frame, gives_15_at_once)
{
    begin();
    desk.modem_does({{"do", "fault"}, {"kind", "error"}, {"contains", row.function}, {"times", 2}});
    expect_failure(perform(), 15, {10});
    expect_retries(0);
    expect_fatal(15);
}

TEST_P(frame, gives_17_at_once)
{
    begin();
    desk.modem_does(
        {{"do", "fault"}, {"kind", "status-word"}, {"text", "6A82"}, {"contains", "01A40400"}, {"times", 3}});
    expect_failure(perform(), 17, {2, 2});
    expect_retries(0);
    expect_fatal(17);
}

// The operations whose first answer becomes their document; what the others make of it, their own tests tell.
class converted : public frame {};

TEST_P(converted, asks_up_to_three_times_for_a_well_formed_answer)
{
    const std::string malformed = std::string(row.function) + "0580";
    for (uint32_t times : {1U, 2U}) {
        begin();
        desk.card_does({{"do", "answer"}, {"function", row.function}, {"data", malformed}, {"times", times}});
        expect_success(perform(), pause_list(times, 3));
        for (uint32_t i = 1; i <= times; ++i)
            EXPECT_TRUE(
                log.contains("[" + row.inner_name() + "] retry " + std::to_string(i) + " failed, invalid result"));
    }
    begin();
    desk.card_does({{"do", "answer"}, {"function", row.function}, {"data", malformed}, {"times", 3}});
    const outcome result = perform();
    EXPECT_EQ(result.document, "");
    expect_end(result, {3, 3});
    EXPECT_TRUE(log.contains("[" + row.inner_name() + "] retry 3 failed, invalid result"));
    EXPECT_THAT(log.at(1), HasSubstr(tag + "JSON process failed, rc "));
}

TEST_P(converted, gives_0_without_a_document_when_the_answer_cannot_be_converted)
{
    begin();
    desk.card_does({{"do", "answer"}, {"function", row.function}, {"data", "800100"}});
    const outcome result = perform();
    EXPECT_EQ(result.document, "");
    expect_end(result, {});
    EXPECT_THAT(log.at(1), HasSubstr(tag + "JSON process failed, rc 1"));
}

std::vector<operation> converted_operations()
{
    std::vector<operation> rows = operations;
    std::erase_if(rows, [](const operation &row) { return !row.converts; });
    return rows;
}

std::string name_of(const testing::TestParamInfo<operation> &info) { return std::string(info.param.name).substr(5); }

INSTANTIATE_TEST_SUITE_P(of, frame, testing::ValuesIn(operations), name_of);
INSTANTIATE_TEST_SUITE_P(of, converted, testing::ValuesIn(converted_operations()), name_of);
} // namespace
