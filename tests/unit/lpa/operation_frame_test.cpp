#include "lpa/lpa.h"
#include "support/log_capture.h"
#include "unit/fakes/failing_memory.h"
#include "unit/fakes/fake_bus.h"
#include "unit/fakes/fake_clock.h"
#include "unit/lpa/operation_table.h"
#include "unit/lpa/scripted_card.h"
#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

using pauses_type = std::vector<unsigned>;

class every_operation : public lpa_test, public testing::WithParamInterface<operation_row> {
  protected:
    void SetUp() override
    {
        lpa_test::SetUp();
        script_answer(row, row.good_answer);
    }
    std::string document() const { return row.document ? row.document : ""; }
    void expect_success(const operation_outcome &outcome) const
    {
        EXPECT_EQ(outcome.code, 0u);
        EXPECT_EQ(outcome.json, row.document ? row.document : "(null)");
        EXPECT_EQ(outcome.length, row.document ? document().size() + 1 : 0);
    }
    void expect_no_document(const operation_outcome &outcome) const
    {
        EXPECT_EQ(outcome.json, "(null)");
        EXPECT_EQ(outcome.length, 0u);
    }
    std::string retry(uint32_t count) const
    {
        return std::string("2 [") + row.name + "] retry " + std::to_string(count) + " due to previous error\n";
    }
    std::string fatal(uint32_t code) const
    {
        return std::string("1 FATAL [") + row.name + "] failed, rc " + std::to_string(code) + "\n";
    }
    int attempts() const
    {
        if (row.codes == source::download) return static_cast<int>(rsp.downloads.size());
        if (row.codes == source::notifications) return static_cast<int>(rsp.notifications.size());
        return card.sessions;
    }
    const operation_row &row = GetParam();
};
class operation_with_document : public every_operation {};
class operation_that_can_be_refused : public every_operation {};
class card_operation : public every_operation {};
class operation_that_asks_again : public every_operation {}; // for a malformed answer
class follow_ups : public every_operation {};

TEST_P(every_operation, succeeds)
{
    log_capture log;
    expect_success(run(row.run));
    EXPECT_EQ(operation_lines(log), attempt_lines(row, 0) + success_lines(row, document()));
    EXPECT_EQ(update_events(), success_events(row, 0));
    EXPECT_EQ(pauses, success_pauses(row));
    EXPECT_EQ(attempts(), 1);
    if (row.is_card_operation()) { EXPECT_EQ(card.requests, std::vector<std::string>{row.request}); }
}

struct retry_case {
    std::vector<uint32_t> codes; // of the attempts before the one that succeeds
    pauses_type pauses;          // a recovery reload pauses 1 s itself
    int reloads;
};

TEST_P(every_operation, is_repeated_after_6_and_18)
{
    const retry_case cases[] = {
        {{6}, {5}, 0},           {{6, 6}, {5, 5}, 0},     {{18}, {1, 5}, 1}, {{18, 18}, {1, 5, 1, 5}, 2},
        {{6, 18}, {5, 1, 5}, 1}, {{18, 6}, {1, 5, 5}, 1},
    };
    for (const retry_case &expected : cases) {
        SetUp();
        std::vector<uint32_t> codes = expected.codes;
        codes.push_back(0);
        script_codes(row, codes);
        log_capture log;
        const operation_outcome outcome = run(row.run);
        expect_success(outcome);
        std::string lines;
        for (uint32_t i = 0; i < expected.codes.size(); ++i)
            lines += attempt_lines(row, expected.codes[i]) + retry(i + 1);
        EXPECT_EQ(operation_lines(log), lines + attempt_lines(row, 0) + success_lines(row, document()));
        pauses_type all_pauses = expected.pauses;
        for (const unsigned pause : success_pauses(row))
            all_pauses.push_back(pause);
        EXPECT_EQ(pauses, all_pauses);
        EXPECT_EQ(attempts(), static_cast<int>(codes.size()));
        EXPECT_EQ(update_events(), success_events(row, 0));
    }
}

TEST_P(every_operation, gives_up_after_6_three_times)
{
    script_codes(row, {6, 6, 6});
    log_capture log;
    const operation_outcome outcome = run(row.run);
    EXPECT_EQ(outcome.code, 6u);
    expect_no_document(outcome);
    const std::string failed = attempt_lines(row, 6);
    EXPECT_EQ(operation_lines(log), failed + retry(1) + failed + retry(2) + failed + retry(3) + fatal(6));
    EXPECT_EQ(pauses, (pauses_type{5, 5, 5}));
    EXPECT_EQ(attempts(), 3);
    EXPECT_EQ(card.reloads, 0);
    EXPECT_EQ(update_events(), failure_events(row, 6));
}

TEST_P(every_operation, gives_up_after_18_three_times_with_a_reload_each)
{
    script_codes(row, {18, 18, 18});
    log_capture log;
    const operation_outcome outcome = run(row.run);
    EXPECT_EQ(outcome.code, 18u);
    expect_no_document(outcome);
    const std::string failed = attempt_lines(row, 18);
    EXPECT_EQ(operation_lines(log), failed + retry(1) + failed + retry(2) + failed + retry(3) + fatal(18));
    EXPECT_EQ(pauses, (pauses_type{1, 5, 1, 5, 1, 5}));
    EXPECT_EQ(attempts(), 3);
    EXPECT_EQ(card.reloads, 3);
    EXPECT_EQ(update_events(), failure_events(row, 18));
}

TEST_P(every_operation, ends_when_the_recovery_reload_fails)
{
    script_codes(row, {18, 18, 18});
    card.reload_fails = true;
    log_capture log;
    const operation_outcome outcome = run(row.run);
    // Notification processing alone keeps its code.
    const bool keeps_code = row.codes == source::notifications;
    EXPECT_EQ(outcome.code, keeps_code ? 18u : 1u);
    expect_no_document(outcome);
    EXPECT_EQ(operation_lines(log), attempt_lines(row, 18) + retry(1) + "1 [" + row.name + "] reload_modem failed\n" +
                                        (keeps_code ? fatal(18) : ""));
    EXPECT_EQ(pauses, pauses_type{});
    EXPECT_EQ(attempts(), 1);
    EXPECT_EQ(update_events(), failure_events(row, outcome.code));
}

TEST_P(every_operation, recovers_by_a_reload_even_when_reloads_are_disabled)
{
    LPA__set_reload_disabled(1);
    script_codes(row, {18, 0});
    expect_success(run(row.run));
    EXPECT_EQ(card.reloads, 1);
    EXPECT_EQ(attempts(), 2);
}

TEST_P(every_operation, ends_at_once_after_any_other_code)
{
    if (row.is_card_operation()) card.reachable = false;
    else script_codes(row, {14});
    log_capture log;
    const operation_outcome outcome = run(row.run);
    EXPECT_EQ(outcome.code, 14u);
    expect_no_document(outcome);
    EXPECT_EQ(operation_lines(log),
              (row.is_card_operation() ? "1 [" + row.step() + "] eUICC__initialize failed, rc 14\n"
                                       : attempt_lines(row, 14)) +
                  fatal(14));
    EXPECT_EQ(pauses, pauses_type{});
    EXPECT_EQ(update_events(), failure_events(row, 14));
}

TEST_P(operation_with_document, gives_no_document_when_the_answer_cannot_be_converted)
{
    script_answer(row, "800100"); // well-formed, but no answer to this
    log_capture log;
    const operation_outcome outcome = run(row.run);
    EXPECT_EQ(outcome.code, 0u);
    expect_no_document(outcome);
    EXPECT_EQ(operation_lines(log),
              attempt_lines(row, 0) + success_lines(row, "") + "1 [" + row.name + "] JSON process failed, rc 1\n");
    EXPECT_EQ(update_events(), success_events(row, 0));
}

TEST_P(operation_that_can_be_refused, gives_16_and_the_document_when_the_card_reports_a_result_of_its_own)
{
    script_answer(row, row.refused_answer);
    log_capture log;
    const operation_outcome outcome = run(row.run);
    EXPECT_EQ(outcome.code, 16u);
    EXPECT_EQ(outcome.json, row.refused_document);
    EXPECT_EQ(outcome.length, strlen(row.refused_document) + 1);
    EXPECT_EQ(operation_lines(log), attempt_lines(row, 0) + success_lines(row, row.refused_document));
    EXPECT_EQ(update_events(), success_events(row, 16));
    EXPECT_EQ(pauses, success_pauses(row));
}

TEST_P(card_operation, does_not_mind_a_session_that_ends_badly)
{
    forced.terminate = 1;
    log_capture log;
    expect_success(run(row.run));
    EXPECT_EQ(operation_lines(log),
              "1 [" + row.step() + "] eUICC__terminate failed, rc 1\n" + success_lines(row, document()));
}

// ---- Malformed answers --------------------------------------------------------------------------------------------

TEST_P(operation_that_asks_again, asks_again_for_a_malformed_answer)
{
    for (int malformed = 1; malformed <= 2; ++malformed) {
        SetUp();
        for (int i = 0; i < malformed; ++i)
            card.first.push_back({row.tag() + "0580"});
        log_capture log;
        expect_success(run(row.run));
        std::string lines;
        pauses_type all_pauses;
        for (int i = 0; i < malformed; ++i) {
            lines += "3 [" + row.inner() + "] retry " + std::to_string(i + 1) + " failed, invalid result\n";
            all_pauses.push_back(3);
        }
        EXPECT_EQ(operation_lines(log), lines + success_lines(row, document()));
        for (const unsigned pause : success_pauses(row))
            all_pauses.push_back(pause);
        EXPECT_EQ(pauses, all_pauses);
        EXPECT_EQ(card.requests_of(row.tag()), malformed + 1);
        EXPECT_EQ(card.sessions, 1); // all on one session
    }
}

TEST_P(operation_that_asks_again, hands_the_third_malformed_answer_to_the_converter)
{
    script_answer(row, row.tag() + "0580");
    log_capture log;
    const operation_outcome outcome = run(row.run);
    EXPECT_EQ(outcome.code, 0u);
    expect_no_document(outcome);
    const std::string invalid = "3 [" + row.inner() + "] retry ";
    EXPECT_EQ(operation_lines(log), invalid + "1 failed, invalid result\n" + invalid + "2 failed, invalid result\n" +
                                        invalid + "3 failed, invalid result\n" + success_lines(row, "") + "1 [" +
                                        row.name + "] JSON process failed, rc 1\n");
    EXPECT_EQ(card.requests_of(row.tag()), 3);
    EXPECT_EQ(std::count(pauses.begin(), pauses.end(), 3u), 2);
}

TEST_P(operation_that_asks_again, converts_a_good_answer_with_something_behind_it)
{
    script_answer(row, row.good_answer + "9000"); // tag 90 without a value
    expect_success(run(row.run));
    EXPECT_EQ(card.requests_of(row.tag()), 1);
}

TEST_P(operation_that_asks_again, asks_again_when_there_is_no_answer)
{
    card.first.push_back({""});
    expect_success(run(row.run));
    EXPECT_EQ(card.requests_of(row.tag()), 2);
}

TEST_P(operation_that_asks_again, dumps_the_answer)
{
    log_capture log;
    expect_success(run(row.run));
    EXPECT_NE(("\n" + log.at(4)).find(std::string("\n4 ") + row.answer_title), std::string::npos);
}

// ---- Arguments and memory -----------------------------------------------------------------------------------------

TEST_P(every_operation, refuses_a_missing_place_for_its_outputs)
{
    char unwritten[] = "unwritten";
    char *json = unwritten;
    uint32_t length = 99;
    EXPECT_EQ(row.run(nullptr, &length), 4u);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(row.run(&json, nullptr), 4u);
    EXPECT_EQ(json, nullptr);
    EXPECT_EQ(attempts(), 0);
    EXPECT_TRUE(update_events().empty());
}

TEST_P(every_operation, survives_the_lack_of_any_allocation)
{
    for (int nth = 1;; ++nth) {
        SetUp();
        log_capture log(1);
        failing_memory failing(nth);
        const operation_outcome outcome = run(row.run);
        EXPECT_EQ(outcome.json == "(null)", outcome.length == 0) << "allocation " << nth;
        if (outcome.code != 0) { EXPECT_EQ(outcome.json, "(null)") << "allocation " << nth; }
        EXPECT_EQ(fake_bus.open_connections, 0) << "allocation " << nth;
        card.open_sessions = 0; // a channel whose closing command finds no memory stays open
        if (!failing_memory::reached()) {
            expect_success(outcome);
            return;
        }
    }
}

// ---- What follows a success ---------------------------------------------------------------------------------------

TEST_P(follow_ups, a_reload_that_fails_is_only_logged)
{
    card.reload_fails = true;
    log_capture log;
    expect_success(run(row.run));
    const bool reloads = row.after != follow_up::notify;
    EXPECT_EQ(operation_lines(log).find(std::string("1 [") + row.name + "] Error reloading modem, rc 1\n") !=
                  std::string::npos,
              reloads);
    EXPECT_EQ(operation_lines(log).find("modem reloaded"), std::string::npos);
    EXPECT_EQ(update_events(), success_events(row, 0));
}

TEST_P(follow_ups, with_reload_disabled_the_modem_is_left_alone_but_notifications_and_event_are_sent)
{
    LPA__set_reload_disabled(1);
    log_capture log;
    expect_success(run(row.run));
    EXPECT_EQ(card.reloads, 0);
    EXPECT_EQ(rsp.notifications, std::vector<std::string>{"modem0"});
    EXPECT_EQ(update_events(), success_events(row, 0));
    EXPECT_EQ(operation_lines(log), attempt_lines(row, 0) + success_lines(row, document()));
}

TEST_P(follow_ups, notifications_that_fail_are_only_logged)
{
    rsp.notification_codes = {11};
    log_capture log;
    expect_success(run(row.run));
    const std::string lines = operation_lines(log);
    EXPECT_NE(lines.find("1 FATAL [LPA__process_notifications] failed, rc 11\n2 [" + std::string(row.name) +
                         "] could not process the notifications, rc 11\n"),
              std::string::npos);
    EXPECT_EQ(lines.find("Notifications processed successfully"), std::string::npos);
    std::vector<std::string> events = success_events(row, 0);
    events[0] = "gsm.modem0 event 4 state 11";
    EXPECT_EQ(update_events(), events);
}

TEST_P(follow_ups, nothing_follows_a_failure)
{
    script_codes(row, {6, 6, 6});
    run(row.run);
    EXPECT_EQ(card.reloads, 0);
    EXPECT_TRUE(rsp.notifications.empty());
}

// ---- What holds for which operations ------------------------------------------------------------------------------

auto operations_where(bool (*holds)(const operation_row &row))
{
    std::vector<operation_row> result;
    std::ranges::copy_if(operation_table(), std::back_inserter(result), holds);
    return testing::ValuesIn(result);
}

std::string name_of(const testing::TestParamInfo<operation_row> &info)
{
    return std::string(info.param.name).substr(5);
}

constexpr auto any = [](const operation_row &) { return true; };
constexpr auto has_document = [](const operation_row &row) { return row.document != nullptr; };
constexpr auto can_be_refused = [](const operation_row &row) { return !row.refused_answer.empty(); };
constexpr auto is_of_the_card = [](const operation_row &row) { return row.is_card_operation(); };
constexpr auto asks_again = [](const operation_row &row) { return *row.answer_title != 0; };
constexpr auto has_follow_up = [](const operation_row &row) { return row.after != follow_up::nothing; };

INSTANTIATE_TEST_SUITE_P(operations, every_operation, operations_where(any), name_of);
INSTANTIATE_TEST_SUITE_P(operations, operation_with_document, operations_where(has_document), name_of);
INSTANTIATE_TEST_SUITE_P(operations, operation_that_can_be_refused, operations_where(can_be_refused), name_of);
INSTANTIATE_TEST_SUITE_P(operations, card_operation, operations_where(is_of_the_card), name_of);
INSTANTIATE_TEST_SUITE_P(operations, operation_that_asks_again, operations_where(asks_again), name_of);
INSTANTIATE_TEST_SUITE_P(operations, follow_ups, operations_where(has_follow_up), name_of);

} // namespace
