// What the progress callback is told of whole operations, and that nothing else depends on it.
#include "support/progress_capture.h"
#include "system/system_test.h"

namespace {
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class progress : public system_test {
  protected:
    json travel() { return order({{"provider", "Desk Operator"}, {"name", "Travel"}, {"size", 65536}}); }
    void add_notification(const char *event)
    {
        desk.card_does({{"do", "add-notification"}, {"event", event}, {"address", desk.server()}});
    }
};

const std::string names = " 'Desk Operator' 'Travel'";

std::string bytes_of(const progress_capture::call &call)
{
    return " " + std::to_string(call.done) + "/" + std::to_string(call.total);
}

std::vector<progress_capture::call> calls_of(const progress_capture &told, uint32_t step)
{
    std::vector<progress_capture::call> result;
    std::ranges::copy_if(told.calls, std::back_inserter(result),
                         [step](const auto &call) { return call.step == step; });
    return result;
}

TEST_F(progress, of_a_download_tells_every_step_once_and_every_block)
{
    const json ordered = desk.add_order(travel());
    const progress_capture told;
    ASSERT_EQ(install(ordered).code, 0U);
    const auto installing = calls_of(told, LPA_PROGRESS__INSTALLING);
    EXPECT_THAT(told.steps(),
                ElementsAre("opening", "authenticating", "preparing" + names, "fetching" + names,
                            "installing" + bytes_of(installing.back()) + names, "reporting" + names, "done" + names));
    EXPECT_EQ(installing.front().done, 0U);
    EXPECT_EQ(installing.back().done, installing.back().total);
    EXPECT_GT(installing.back().total, 65536U);
    for (size_t i = 1; i < installing.size(); ++i) {
        EXPECT_GT(installing[i].done, installing[i - 1].done);
        EXPECT_LE(installing[i].done - installing[i - 1].done, 240U);
        EXPECT_EQ(installing[i].total, installing[0].total);
    }
}

TEST_F(progress, of_a_download_that_delivers_other_notifications_tells_them_before_the_end)
{
    add_notification("enable");
    add_notification("disable");
    const json ordered = desk.add_order(travel());
    const progress_capture told;
    ASSERT_EQ(install(ordered).code, 0U);
    const std::vector<std::string> end(told.lines.end() - 5, told.lines.end());
    EXPECT_THAT(end, ElementsAre("reporting" + names, "delivering 0/2" + names, "delivering 1/2" + names,
                                 "delivering 2/2" + names, "done" + names));
}

TEST_F(progress, of_a_download_that_the_card_stops_ends_with_the_report)
{
    desk.card_does({{"do", "fail-loading"}, {"command", 5}, {"reason", 10}});
    const json ordered = desk.add_order(travel());
    const progress_capture told;
    EXPECT_EQ(install(ordered).code, 16U);
    EXPECT_EQ(told.lines.back(), "reporting" + names);
    const auto installing = calls_of(told, LPA_PROGRESS__INSTALLING);
    EXPECT_LT(installing.back().done, installing.back().total);
}

TEST_F(progress, of_a_download_that_the_server_refuses_ends_there)
{
    const progress_capture told;
    EXPECT_EQ(install("1$" + desk.server() + "$UNKNOWN").code, 13U);
    EXPECT_THAT(told.lines, ElementsAre("opening", "authenticating"));
}

TEST_F(progress, of_a_download_that_is_tried_again_starts_over)
{
    desk.card_does({{"do", "answer"}, {"function", "BF21"}, {"sw", "6985"}});
    const json ordered = desk.add_order(travel());
    const progress_capture told;
    ASSERT_EQ(install(ordered).code, 0U);
    const std::vector<std::string> begin(told.lines.begin(), told.lines.begin() + 6);
    EXPECT_THAT(begin, ElementsAre("opening", "authenticating", "preparing" + names, "opening" + names,
                                   "authenticating" + names, "preparing" + names));
    EXPECT_EQ(told.lines.back(), "done" + names);
}

struct delivering_operation {
    const char *name;
    uint32_t (*run)();
    uint32_t notifications; // two wait, and those that it causes itself
};
void PrintTo(const delivering_operation &row, std::ostream *out) { *out << row.name; }

class delivery_progress : public progress, public testing::WithParamInterface<delivering_operation> {};

constexpr const char *one_iccid = "8999900000000000017";   // disabled
constexpr const char *other_iccid = "8999900000000000025"; // enabled

TEST_P(delivery_progress, counts_the_notifications)
{
    desk.card_does({{"do", "add-profile"}, {"iccid", one_iccid}});
    desk.card_does({{"do", "add-profile"}, {"iccid", other_iccid}, {"enabled", true}});
    add_notification("install");
    add_notification("enable");
    std::vector<std::string> expected;
    for (uint32_t done = 0; done <= GetParam().notifications; ++done)
        expected.push_back("delivering " + std::to_string(done) + "/" + std::to_string(GetParam().notifications));
    const progress_capture told;
    EXPECT_EQ(GetParam().run(), 0U);
    EXPECT_EQ(told.lines, expected);
}

INSTANTIATE_TEST_SUITE_P(
    operations, delivery_progress,
    testing::ValuesIn(std::to_array<delivering_operation>({
        {"process_notifications", [] { return run(LPA__process_notifications, "modem0").code; }, 2},
        {"enable_profile", [] { return run(LPA__enable_profile, "modem0", one_iccid).code; }, 2},
        {"disable_profile", [] { return run(LPA__disable_profile, "modem0", other_iccid).code; }, 2},
        {"delete_profile", [] { return run(LPA__delete_profile, "modem0", one_iccid).code; }, 2},
        {"reset_memory", [] { return run(LPA__reset_memory, "modem0").code; }, 2},
        {"reset_settings", [] { return LPA__reset_settings("modem0"); }, 2},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(progress, of_an_operation_that_delivers_nothing_is_not_told)
{
    const progress_capture told;
    EXPECT_EQ(run(LPA__process_notifications, "modem0").code, 0U);
    EXPECT_EQ(run(LPA__get_eid, "modem0").code, 0U);
    EXPECT_EQ(run(LPA__set_smdp_address, "modem0", "smdp.example").code, 0U);
    EXPECT_THAT(told.lines, IsEmpty());
}

// A whole life of a card and what it left behind; challenges, keys and signatures are new each time.
struct traces {
    std::vector<std::string> outcomes, events, log, requests;
    std::vector<size_t> commands; // their lengths
};

TEST_F(progress, changes_nothing_else)
{
    const auto live = [this] {
        desk.card_does({{"do", "wipe"}});
        desk.card_does({{"do", "add-notification"}, {"event", "delete"}, {"address", desk.server()}});
        desk.server_does({{"do", "clear-history"}});
        desk.command({{"bus", "clear"}});
        desk.forget_traffic();
        log.clear();
        const std::string iccid = "8999900000000000033";
        const json ordered = desk.add_order(order({{"iccid", iccid}, {"confirmation_code", "2468"}}));
        traces seen;
        for (const outcome &one : {install(ordered, "2468"), run(LPA__enable_profile, "modem0", iccid.c_str()),
                                   run(LPA__delete_profile, "modem0", iccid.c_str())})
            seen.outcomes.push_back(std::to_string(one.code) + " " + one.document);
        for (const json &event : desk.events())
            seen.events.push_back(event.dump());
        for (const auto &line : log.lines()) // of the rest only that it is there: it may hold what is new each time
            seen.log.push_back(std::to_string(line.level) +
                               (line.text.starts_with("[") ? line.text.substr(0, 20) : ""));
        for (const json &request : desk.sm_dp().at("requests"))
            seen.requests.push_back(request.at("endpoint").get<std::string>() + " " +
                                    std::to_string(request.at("body").get<std::string>().size()));
        for (const std::string &command : desk.traffic())
            seen.commands.push_back(command.size());
        return seen;
    };
    const traces alone = live();
    const progress_capture told;
    const traces watched = live();
    EXPECT_EQ(watched.outcomes, alone.outcomes);
    EXPECT_EQ(watched.events, alone.events);
    EXPECT_EQ(watched.log, alone.log);
    EXPECT_EQ(watched.requests, alone.requests);
    EXPECT_EQ(watched.commands, alone.commands);
    EXPECT_THAT(alone.outcomes, Not(IsEmpty()));
    EXPECT_THAT(told.lines, Not(IsEmpty()));
}
} // namespace
