#include "euicc/euicc_session.h"
#include "foundation/log.h"
#include "lpa/memory.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/euicc/failing_calls.h"
#include "unit/fakes/failing_memory.h"
#include "unit/fakes/fake_bus.h"
#include "unit/fakes/fake_clock.h"
#include "unit/fakes/fake_modem.h"
#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

namespace {
using testing::ElementsAre;
using testing::HasSubstr;
using answer = fake_modem_type::answer;

const std::string ask_cmee = "AT+CMEE=?";
const std::string set_cmee = "AT+CMEE=2";
const std::string open_channel = at_csim("0070000001");
const std::string capability_1 = at_csim("81AA000005A903830107");
const std::string select_1 = at_csim("01A4040010A0000005591010FFFFFFFF890000010000");

std::string close_channel(const std::string &number) { return at_csim("007080" + number + "00"); }

const answer cmee_list = {"\r\n+CMEE: (0-2)\r\n\r\nOK\r\n"};
const answer ok = {"\r\nOK\r\n"};
const answer error = {"\r\nERROR\r\n"};
const answer not_sent = {"", 1};
answer card(const std::string &response) { return {csim(response)}; }

class session : public testing::Test {
  protected:
    session()
    {
        fake_bus.reset();
        fake_modem.reset();
        failing_calls.reset();
        pauses.clear();
    }

    ~session() override
    {
        EXPECT_EQ(fake_bus.open_connections, handle ? 1 : 0);
        if (handle) close_modem(handle);
        fake_modem.reset();
        failing_calls.reset();
    }

    // The lines of the session's own functions, process and path lines left out.
    std::string lines(int level) const
    {
        std::string result;
        for (const auto &line : log.lines())
            if (line.level <= level &&
                (line.text.starts_with("[eUICC__initialize]") || line.text.starts_with("[eUICC__terminate]") ||
                 line.text.starts_with("[eUICC__open_logical_channel]") ||
                 line.text.starts_with("[eUICC__close_logical_channel]") ||
                 line.text.starts_with("[eUICC__terminal_capability]") ||
                 line.text.starts_with("[eUICC__select_ISDR_application]") ||
                 line.text.starts_with("[eUICC__await_refresh]")))
                result += std::to_string(line.level) + " " + line.text + "\n";
        return result;
    }

    ModemHandle *handle = nullptr;
    uint8_t channel = 99;
    log_capture log;
};

// Starting

TEST_F(session, starts_on_channel_1)
{
    fake_modem.script = {cmee_list, ok, card("019000"), card("9000"), card("6F009000")};
    EXPECT_EQ(eUICC__initialize("modem3", &handle, &channel), 0U);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(channel, 1);
    EXPECT_EQ(handle->logical_channel, 1U);
    EXPECT_EQ(handle->modem_number, 3);
    EXPECT_THAT(fake_modem.commands, ElementsAre(ask_cmee, set_cmee, open_channel, capability_1, select_1));
    EXPECT_TRUE(pauses.empty());
    EXPECT_EQ(lines(LOG__TRACE), "4 [eUICC__initialize] Opening the modem\n"
                                 "4 [eUICC__initialize] modem opened\n"
                                 "4 [eUICC__initialize] Opening a logical channel\n"
                                 "4 [eUICC__initialize] Logical channel 01 opened\n"
                                 "4 [eUICC__initialize] Reporting the terminal capabilities\n"
                                 "4 [eUICC__initialize] Terminal capabilities reported\n"
                                 "4 [eUICC__initialize] Selecting the ISDR application\n"
                                 "4 [eUICC__initialize] ISDR Application selected\n");
}

TEST_F(session, starts_although_the_error_mode_cannot_be_set)
{
    fake_modem.script = {cmee_list, error, error, card("019000"), card("9000"), card("9000")};
    EXPECT_EQ(eUICC__initialize("modem0", &handle, &channel), 0U);
    EXPECT_EQ(lines(LOG__WARN), "1 [eUICC__initialize] eUICC__cmee failed, rc 15\n");
}

TEST_F(session, does_not_start_when_the_modem_cannot_be_opened)
{
    EXPECT_EQ(eUICC__initialize("modem9", &handle, &channel), 1U);
    EXPECT_EQ(handle, nullptr);
    EXPECT_TRUE(pauses.empty());
    EXPECT_EQ(lines(LOG__TRACE), "4 [eUICC__initialize] Opening the modem\n"
                                 "1 [eUICC__initialize] Failed to open modem\n");
}

TEST_F(session, that_gets_channel_3_closes_1_2_and_3_and_opens_again)
{
    fake_modem.script = {cmee_list,      ok,           card("039000"), card("9000"), card("6200"), card("6A86"),
                         card("019000"), card("9000"), card("9000")};
    EXPECT_EQ(eUICC__initialize("modem0", &handle, &channel), 0U);
    EXPECT_EQ(channel, 1);
    EXPECT_THAT(fake_modem.commands,
                ElementsAre(ask_cmee, set_cmee, open_channel, close_channel("01"), close_channel("02"),
                            close_channel("03"), open_channel, capability_1, select_1));
    EXPECT_THAT(lines(LOG__TRACE),
                HasSubstr("4 [eUICC__initialize] Opening a logical channel\n"
                          "1 [eUICC__initialize] eSIM communication out of sync, logical channel 3 selected\n"
                          "4 [eUICC__close_logical_channel] Logical channel 01 closed\n"
                          "4 [eUICC__close_logical_channel] Logical channel 02 was already closed\n"
                          "1 [eUICC__close_logical_channel] Logical channel 03 not closed\n"
                          "1 [eUICC__initialize]] Error closing logical channel, rc 1\n"
                          "4 [eUICC__initialize] Logical channel 01 opened\n"));
    EXPECT_TRUE(pauses.empty());
}

TEST_F(session, uses_the_second_channel_whatever_its_number)
{
    fake_modem.script = {cmee_list,      ok,           card("029000"), card("9000"), card("9000"),
                         card("059000"), card("9000"), card("9000")};
    EXPECT_EQ(eUICC__initialize("modem0", &handle, &channel), 0U);
    EXPECT_EQ(channel, 5);
    EXPECT_EQ(handle->logical_channel, 5U);
    EXPECT_EQ(fake_modem.commands[6], at_csim("C1AA000005A903830107"));
    EXPECT_EQ(fake_modem.commands[7], at_csim("41A4040010A0000005591010FFFFFFFF890000010000"));
}

TEST_F(session, that_gets_channel_0_closes_none_and_opens_again)
{
    fake_modem.script = {cmee_list, ok, card("009000"), card("019000"), card("9000"), card("9000")};
    EXPECT_EQ(eUICC__initialize("modem0", &handle, &channel), 0U);
    EXPECT_THAT(fake_modem.commands,
                ElementsAre(ask_cmee, set_cmee, open_channel, open_channel, capability_1, select_1));
}

TEST_F(session, that_gets_channel_255_closes_them_all_once)
{
    const log_capture quiet(LOG__ERROR);
    fake_modem.script = {cmee_list, ok, card("FF9000")};
    for (int i = 1; i <= 255; ++i)
        fake_modem.script.push_back(card("9000"));
    fake_modem.script.insert(fake_modem.script.end(), {card("019000"), card("9000"), card("9000")});
    EXPECT_EQ(eUICC__initialize("modem0", &handle, &channel), 0U);
    EXPECT_EQ(fake_modem.commands.size(), 3U + 255 + 3);
    EXPECT_EQ(fake_modem.commands[3 + 254], close_channel("FF"));
}

TEST_F(session, whose_second_open_fails_ends_the_attempt)
{
    fake_modem.script = {cmee_list, ok, card("029000"), not_sent, not_sent, not_sent};
    EXPECT_EQ(eUICC__initialize("modem0", &handle, &channel), 14U);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(lines(LOG__ERROR), "1 [eUICC__initialize] eSIM communication out of sync, logical channel 2 selected\n"
                                 "1 [eUICC__close_logical_channel] eUICC__send_apdu failed, rc 14\n"
                                 "1 [eUICC__initialize]] Error closing logical channel, rc 14\n"
                                 "1 [eUICC__close_logical_channel] eUICC__send_apdu failed, rc 14\n"
                                 "1 [eUICC__initialize]] Error closing logical channel, rc 14\n"
                                 "1 [eUICC__open_logical_channel] eUICC__send_apdu failed, rc 14\n"
                                 "1 [eUICC__initialize] Error opening logical channel, rc 14\n");
}

struct failed_start {
    const char *label;
    std::deque<answer> attempt; // the answers of one attempt
    uint32_t code;
    bool repeated;   // or given up after the first attempt
    const char *log; // of one attempt, level 2
};
class start_fails : public session, public testing::WithParamInterface<failed_start> {};

TEST_P(start_fails, and_leaves_nothing_open)
{
    const size_t attempts = GetParam().repeated ? 3 : 1;
    for (size_t i = 0; i < attempts; ++i)
        fake_modem.script.insert(fake_modem.script.end(), GetParam().attempt.begin(), GetParam().attempt.end());
    EXPECT_EQ(eUICC__initialize("modem0", &handle, &channel), GetParam().code);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(fake_bus.open_connections, 0);
    EXPECT_TRUE(fake_modem.script.empty());
    EXPECT_EQ(fake_modem.commands.size(), attempts * GetParam().attempt.size());
    std::string expected = GetParam().log;
    std::vector<unsigned> expected_pauses;
    for (size_t retry = 1; retry < attempts; ++retry) {
        expected +=
            "2 [eUICC__initialize] Retry " + std::to_string(retry) + " to initialize the eUICC\n" + GetParam().log;
        expected_pauses.push_back(2);
    }
    EXPECT_EQ(lines(LOG__WARN), expected);
    EXPECT_EQ(pauses, expected_pauses);
}

INSTANTIATE_TEST_SUITE_P(table, start_fails,
                         testing::ValuesIn(std::to_array<failed_start>({
                             {"no_channel_left",
                              {cmee_list, ok, card("6A81")},
                              18,
                              true,
                              "1 [eUICC__open_logical_channel] Error opening the logical channel, SW 6A81\n"
                              "1 [eUICC__initialize] Error opening logical channel, rc 18\n"},
                             {"opened_without_a_number",
                              {cmee_list, ok, card("9000")},
                              18,
                              true,
                              "1 [eUICC__open_logical_channel] Error opening the logical channel, SW 9000\n"
                              "1 [eUICC__initialize] Error opening logical channel, rc 18\n"},
                             {"second_open_refused",
                              {cmee_list, ok, card("029000"), card("9000"), card("9000"), card("6985")},
                              18,
                              true,
                              "1 [eUICC__initialize] eSIM communication out of sync, logical channel 2 selected\n"
                              "1 [eUICC__open_logical_channel] Error opening the logical channel, SW 6985\n"
                              "1 [eUICC__initialize] Error opening logical channel, rc 18\n"},
                             {"open_not_sent",
                              {cmee_list, ok, not_sent},
                              14,
                              false,
                              "1 [eUICC__open_logical_channel] eUICC__send_apdu failed, rc 14\n"
                              "1 [eUICC__initialize] Error opening logical channel, rc 14\n"},
                             {"terminal_capability_refused",
                              {cmee_list, ok, card("019000"), card("6D00"), card("9000")},
                              17,
                              true,
                              "2 [eUICC__terminal_capability] Error reporting terminal capabilities, SW 6D00\n"
                              "2 [eUICC__initialize] eUICC__terminal_capability failed, rc 1\n"},
                             {"terminal_capability_not_sent",
                              {cmee_list, ok, card("019000"), not_sent, card("9000")},
                              17,
                              true,
                              "1 [eUICC__terminal_capability] eUICC__send_apdu failed, rc 14\n"
                              "2 [eUICC__initialize] eUICC__terminal_capability failed, rc 14\n"},
                             {"select_failure_on_all_three_attempts_returns_17_after_two_pauses",
                              {cmee_list, ok, card("019000"), card("9000"), card("6A82"), card("9000")},
                              17,
                              true,
                              "2 [eUICC__select_ISDR_application] Error selecting the ISDR Application, SW 6A82\n"
                              "2 [eUICC__initialize] Error selecting the ISDR application, rc 1\n"},
                             {"select_not_sent_and_channel_not_closed",
                              {cmee_list, ok, card("019000"), card("9000"), not_sent, not_sent},
                              17,
                              true,
                              "1 [eUICC__select_ISDR_application] eUICC__send_apdu_on_channel failed, rc 14\n"
                              "2 [eUICC__initialize] Error selecting the ISDR application, rc 14\n"
                              "1 [eUICC__close_logical_channel] eUICC__send_apdu failed, rc 14\n"
                              "1 [eUICC__terminate] Error closing logical channel, rc 14\n"},
                         })),
                         [](const auto &info) { return std::string(info.param.label); });

TEST_F(session, that_fails_on_its_channel_closes_it)
{
    fake_modem.script = {cmee_list, ok, card("019000"), card("6D00"), card("9000"),
                         cmee_list, ok, card("019000"), card("9000"), card("9000")};
    EXPECT_EQ(eUICC__initialize("modem0", &handle, &channel), 0U);
    EXPECT_EQ(fake_modem.commands[4], close_channel("01"));
    EXPECT_THAT(pauses, ElementsAre(2U));
}

TEST_F(session, reports_a_modem_that_cannot_be_closed_after_a_failed_open)
{
    failing_calls.close_modem = true;
    fake_modem.script = {cmee_list, ok, not_sent};
    EXPECT_EQ(eUICC__initialize("modem0", &handle, &channel), 14U);
    EXPECT_THAT(lines(LOG__WARN), HasSubstr("1 [eUICC__initialize] Error opening logical channel, rc 14\n"
                                            "1 [eUICC__initialize] Failed to close modem, rc -1\n"));
}

TEST_F(session, reports_a_failed_terminate_after_a_failed_select)
{
    failing_calls.close_modem = true;
    for (int attempt = 0; attempt < 3; ++attempt)
        for (const answer &next : {cmee_list, ok, card("019000"), card("9000"), card("6A82"), card("9000")})
            fake_modem.script.push_back(next);
    EXPECT_EQ(eUICC__initialize("modem0", &handle, &channel), 17U);
    EXPECT_THAT(lines(LOG__WARN), HasSubstr("1 [eUICC__terminate] Failed to close modem, rc -1\n"
                                            "1 [eUICC__initialize] eUICC__terminate failed, rc 1\n"));
}

TEST_F(session, without_memory_for_any_step_leaves_nothing_open)
{
    const log_capture quiet(LOG__ERROR);
    for (int n = 1;; ++n) {
        fake_modem.reset();
        fake_modem.otherwise = [](const std::string &command) {
            if (command.starts_with("AT+CMEE")) return ok;
            return command == open_channel ? card("019000") : card("9000");
        };
        const failing_memory memory(n);
        const uint32_t rc = eUICC__initialize("modem0", &handle, &channel);
        if (!failing_memory::reached()) {
            EXPECT_EQ(rc, 0U);
            break;
        }
        EXPECT_EQ(handle != nullptr, rc == 0) << n;
        if (handle) { EXPECT_EQ(eUICC__terminate(handle, channel), 0U); }
        handle = nullptr;
        EXPECT_EQ(fake_bus.open_connections, 0) << n;
    }
}

// An open session, without what it took to open it.

class open_session : public session {
  protected:
    open_session()
    {
        handle = open_modem("modem1");
        handle->logical_channel = 1;
        channel = 1;
        log.clear();
    }

    ~open_session() override { M_free(response); }

    std::string response_hex() const { return hex(response, response_length); }

    uint8_t *response = reinterpret_cast<uint8_t *>(1); // what the caller has left there
    uint32_t response_length = 77;
};

// Ending

TEST_F(open_session, ends_by_closing_channel_and_modem)
{
    fake_modem.script = {card("9000")};
    EXPECT_EQ(eUICC__terminate(std::exchange(handle, nullptr), 3), 0U);
    EXPECT_THAT(fake_modem.commands, ElementsAre(close_channel("03")));
    EXPECT_EQ(failing_calls.closed_channel, 0U);
    EXPECT_EQ(lines(LOG__TRACE), "4 [eUICC__close_logical_channel] Logical channel 03 closed\n"
                                 "4 [eUICC__terminate] Closing modem\n"
                                 "4 [eUICC__terminate] modem closed\n");
    EXPECT_EQ(fake_bus.open_connections, 0);
    response = nullptr;
}

TEST_F(open_session, ends_although_the_channel_is_not_closed)
{
    fake_modem.script = {card("6881")};
    EXPECT_EQ(eUICC__terminate(std::exchange(handle, nullptr), 0x13), 0U);
    EXPECT_EQ(lines(LOG__TRACE), "1 [eUICC__close_logical_channel] Logical channel 13 not closed\n"
                                 "1 [eUICC__terminate] Error closing logical channel, rc 1\n"
                                 "4 [eUICC__terminate] Closing modem\n"
                                 "4 [eUICC__terminate] modem closed\n");
    response = nullptr;
}

TEST_F(open_session, keeps_its_channel_number_when_closing_it_was_not_answered)
{
    fake_modem.script = {not_sent};
    EXPECT_EQ(eUICC__terminate(std::exchange(handle, nullptr), 1), 0U);
    EXPECT_EQ(failing_calls.closed_channel, 1U);
    response = nullptr;
}

TEST_F(open_session, that_cannot_close_the_modem_ends_with_1)
{
    failing_calls.close_modem = true;
    fake_modem.script = {card("6200")};
    EXPECT_EQ(eUICC__terminate(std::exchange(handle, nullptr), 1), 1U);
    EXPECT_EQ(lines(LOG__TRACE), "4 [eUICC__close_logical_channel] Logical channel 01 was already closed\n"
                                 "4 [eUICC__terminate] Closing modem\n"
                                 "1 [eUICC__terminate] Failed to close modem, rc -1\n");
    response = nullptr;
}

TEST_F(session, that_never_opened_ends_harmlessly) { EXPECT_EQ(eUICC__terminate(nullptr, 1), 0U); }

// Class bytes

struct class_byte_case {
    const char *label;
    uint8_t given, channel, sent;
};
class class_byte : public open_session, public testing::WithParamInterface<class_byte_case> {};

TEST_P(class_byte, is_set_for_the_channel_in_the_callers_array)
{
    response = nullptr;
    uint8_t apdu[] = {GetParam().given, 0xCA, 0x00, 0x00, 0x00};
    fake_modem.script = {card("9000")};
    ApduResponse answered = {};
    EXPECT_EQ(eUICC__send_apdu_on_channel(handle, GetParam().channel, apdu, sizeof apdu, &answered), 0U);
    EXPECT_EQ(apdu[0], GetParam().sent);
    EXPECT_EQ(fake_modem.commands[0], at_csim(hex(apdu, sizeof apdu)));
    apdu_utils__free_response(&answered);
}

INSTANTIATE_TEST_SUITE_P(table, class_byte,
                         testing::ValuesIn(std::to_array<class_byte_case>({
                             {"proprietary_on_the_basic_channel", 0x80, 0, 0x80},
                             {"proprietary_on_channel_1", 0x80, 1, 0x81},
                             {"interindustry_on_channel_1", 0x00, 1, 0x01},
                             {"channel_3_is_the_last_of_the_first_form", 0x00, 3, 0x03},
                             {"channel_4_is_the_first_of_the_further_form", 0x00, 4, 0x40},
                             {"proprietary_on_channel_5", 0x80, 5, 0xC1},
                             {"channel_19", 0x00, 19, 0x4F},
                             {"numbers_beyond_19_wrap", 0x00, 20, 0x40},
                             {"an_earlier_channel_is_replaced", 0x83, 2, 0x82},
                             {"an_earlier_further_channel_is_replaced", 0xCF, 1, 0x81},
                             {"chaining_is_kept", 0x90, 1, 0x91},
                             {"secure_messaging_stays_in_the_first_form", 0x84, 1, 0x85},
                             {"secure_messaging_moves_to_the_further_form", 0x04, 4, 0x60},
                             {"secure_messaging_moves_back", 0x60, 1, 0x05},
                             {"secure_messaging_stays_in_the_further_form", 0xE0, 6, 0xE2},
                             {"bit_20_means_nothing_in_the_first_form", 0x20, 1, 0x01},
                             {"bit_04_means_nothing_in_the_further_form", 0x44, 1, 0x01},
                         })),
                         [](const auto &info) { return std::string(info.param.label); });

TEST_F(open_session, sends_no_empty_apdu)
{
    response = nullptr;
    uint8_t byte = 0x80;
    ApduResponse answered = {};
    EXPECT_EQ(eUICC__send_apdu_on_channel(handle, 1, nullptr, 5, &answered), 4U);
    EXPECT_EQ(eUICC__send_apdu_on_channel(handle, 1, &byte, 0, &answered), 4U);
    EXPECT_EQ(byte, 0x80);
    EXPECT_TRUE(fake_modem.commands.empty());
}

// STORE DATA

class store_data : public open_session {
  protected:
    uint32_t send(const std::vector<uint8_t> &data)
    {
        // In a block of exactly its size, so that reading past its end shows.
        const auto exact = std::make_unique<uint8_t[]>(data.size());
        std::copy(data.begin(), data.end(), exact.get());
        return eUICC__store_data(handle, channel, exact.get(), static_cast<uint32_t>(data.size()), &response,
                                 &response_length);
    }

    void expect_no_response() const
    {
        EXPECT_EQ(response, nullptr);
        EXPECT_EQ(response_length, 0U);
    }
};

std::vector<uint8_t> numbered(size_t size)
{
    std::vector<uint8_t> result(size);
    for (size_t i = 0; i < size; ++i)
        result[i] = static_cast<uint8_t>(i + i / 256);
    return result;
}

// The commands that carry data on channel 1.
std::vector<std::string> blocks(const std::vector<uint8_t> &data)
{
    std::vector<std::string> result;
    size_t start = 0;
    for (unsigned block = 0;; ++block) {
        const size_t length = std::min<size_t>(240, data.size() - start);
        const bool last = start + length == data.size();
        const std::vector<uint8_t> header = {0x81, 0xE2, static_cast<uint8_t>(last ? 0x91 : 0x11),
                                             static_cast<uint8_t>(block), static_cast<uint8_t>(length)};
        result.push_back(at_csim(hex(header) + hex(data.data() + start, length) + "00"));
        start += length;
        if (last) return result;
    }
}

TEST_F(store_data, empty_sends_one_block)
{
    fake_modem.script = {card("9000")};
    EXPECT_EQ(eUICC__store_data(handle, 1, nullptr, 0, &response, &response_length), 0U);
    EXPECT_THAT(fake_modem.commands, ElementsAre(at_csim("81E291000000")));
    expect_no_response();
}

TEST_F(store_data, hands_the_response_over)
{
    fake_modem.script = {card("6103"), card("BF3E009000")};
    EXPECT_EQ(send(bytes("BF3E035C015A")), 0U);
    EXPECT_EQ(response_hex(), "BF3E00");
    EXPECT_THAT(fake_modem.commands, ElementsAre(at_csim("81E2910006BF3E035C015A00"), at_csim("81C0000003")));
    EXPECT_THAT(log.at(LOG__DEBUG), HasSubstr("4 [eUICC__store_data] finish send apdu: \n"
                                              "4 [eUICC__store_data] eUICC__store_data eUICC response\n"
                                              "4 BF 3E 00 \n"
                                              "4 [eUICC__store_data] eUICC__store_data eUICC response size: 3 \n"));
}

TEST_F(store_data, of_240_bytes_goes_in_one_last_block)
{
    fake_modem.script = {card("9000")};
    const auto data = numbered(240);
    EXPECT_EQ(send(data), 0U);
    EXPECT_THAT(fake_modem.commands, ElementsAre(at_csim("81E29100F0" + hex(data) + "00")));
}

TEST_F(store_data, of_241_bytes_goes_as_240_and_1)
{
    fake_modem.script = {card("9000"), card("AA9100")};
    const auto data = numbered(241);
    EXPECT_EQ(send(data), 0U);
    EXPECT_THAT(fake_modem.commands, ElementsAre(at_csim("81E21100F0" + hex(data.data(), 240) + "00"),
                                                 at_csim("81E2910101" + hex(data.data() + 240, 1) + "00")));
    EXPECT_EQ(response_hex(), "AA");
}

TEST_F(store_data, of_any_size_is_cut_in_blocks_of_240)
{
    const log_capture quiet(LOG__ERROR);
    fake_modem.otherwise = [](const std::string &) { return card("9000"); };
    for (const size_t size : {1, 2, 239, 240, 241, 479, 480, 481, 1000, 7200}) {
        fake_modem.commands.clear();
        const auto data = numbered(size);
        EXPECT_EQ(send(data), 0U) << size;
        EXPECT_EQ(fake_modem.commands, blocks(data)) << size;
        M_free(std::exchange(response, nullptr));
    }
}

TEST_F(store_data, block_numbers_wrap_after_255)
{
    const log_capture quiet(LOG__ERROR);
    fake_modem.otherwise = [](const std::string &) { return card("9000"); };
    EXPECT_EQ(send(numbered(240 * 257)), 0U);
    ASSERT_EQ(fake_modem.commands.size(), 257U);
    EXPECT_THAT(fake_modem.commands[255], HasSubstr("\"81E211FFF0"));
    EXPECT_THAT(fake_modem.commands[256], HasSubstr("\"81E29100F0"));
}

TEST_F(store_data, responses_of_blocks_before_the_last_are_dropped)
{
    fake_modem.script = {card("AABB9000"), card("CC9000")};
    EXPECT_EQ(send(numbered(300)), 0U);
    EXPECT_EQ(response_hex(), "CC");
}

TEST_F(store_data, stops_at_a_refused_block)
{
    fake_modem.script = {card("9000"), card("AA6A80")};
    EXPECT_EQ(send(numbered(1000)), 1U);
    EXPECT_EQ(fake_modem.commands.size(), 2U);
    expect_no_response();
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [eUICC__send_store_data_apdu_on_channel] store data 1 failed, SW 6A80\n"
                                    "1 [eUICC__store_data] eUICC__send_store_data_apdu_on_channel failed, rc 1\n");
}

TEST_F(store_data, stops_at_a_block_that_was_not_sent)
{
    fake_modem.script = {card("9000"), not_sent};
    EXPECT_EQ(send(numbered(1000)), 14U);
    EXPECT_EQ(fake_modem.commands.size(), 2U);
    expect_no_response();
    EXPECT_EQ(log.at(LOG__ERROR), "1 [eUICC__send_AT_command] write_serial_port failed, rc 1\n"
                                  "1 [eUICC__send_apdu] eUICC__send_AT_command failed, rc 14\n"
                                  "1 [eUICC__store_data] eUICC__send_store_data_apdu_on_channel failed, rc 14\n");
}

TEST_F(store_data, whose_last_block_was_answered_with_error_gives_15)
{
    fake_modem.script = {error, error};
    EXPECT_EQ(send(numbered(3)), 15U);
    expect_no_response();
    EXPECT_THAT(log.at(LOG__ERROR),
                HasSubstr("1 [eUICC__store_data] eUICC__send_store_data_apdu_on_channel failed, rc 15\n"));
}

TEST_F(store_data, of_null_gives_4)
{
    EXPECT_EQ(eUICC__store_data(handle, 1, nullptr, 5, &response, &response_length), 4U);
    expect_no_response();
    EXPECT_TRUE(fake_modem.commands.empty());
    EXPECT_EQ(log.at(LOG__ERROR), "1 [eUICC__store_data] eUICC__send_store_data_apdu_on_channel failed, rc 4\n");
}

struct refusal {
    const char *sw;
    uint32_t code;
    const char *log;
};
class store_data_refused : public store_data, public testing::WithParamInterface<refusal> {};

TEST_P(store_data_refused, gives_code_and_log)
{
    fake_modem.script = {card(std::string("0102") + GetParam().sw)};
    EXPECT_EQ(send(bytes("BF2D00")), GetParam().code);
    expect_no_response();
    EXPECT_EQ(log.up_to(LOG__INFO), GetParam().log);
}

INSTANTIATE_TEST_SUITE_P(
    table, store_data_refused,
    testing::ValuesIn(std::to_array<refusal>({
        {"6A80", 6, "2 [eUICC__store_data] Incorrect/invalid data field encoding. APDU failed, SW 6A80\n"},
        {"6A88", 6,
         "2 [eUICC__store_data] Unsupported or unknown command request in the data field. APDU failed, SW 6A88\n"},
        {"6985", 18, "2 [eUICC__store_data] REFRESH was not yet successfully executed. APDU failed, SW 6985\n"},
        {"6F00", 6, "2 [eUICC__store_data] APDU failed, SW 6F00\n"},
        {"9101", 6, "2 [eUICC__store_data] APDU failed, SW 9101\n"},
    })),
    [](const auto &info) { return std::string("SW_") + info.param.sw; });

// STORE DATA by steps

class by_steps : public store_data {
  protected:
    uint32_t step(const std::vector<uint8_t> &data, uint8_t block, uint8_t last)
    {
        return eUICC__store_data_by_steps(handle, channel, data.data(), static_cast<uint32_t>(data.size()), block, last,
                                          &response, &response_length);
    }
};

TEST_F(by_steps, block_that_others_follow)
{
    fake_modem.script = {card("9000")};
    EXPECT_EQ(step(bytes("0102"), 7, 0), 0U);
    EXPECT_THAT(fake_modem.commands, ElementsAre(at_csim("81E2110702010200")));
    expect_no_response();
    EXPECT_EQ(log.up_to(LOG__INFO), "");
}

TEST_F(by_steps, last_block_hands_the_response_over)
{
    fake_modem.script = {card("BF37009000")};
    EXPECT_EQ(step(bytes("03"), 255, 2), 0U);
    EXPECT_THAT(fake_modem.commands, ElementsAre(at_csim("81E291FF010300")));
    EXPECT_EQ(response_hex(), "BF3700");
}

TEST_F(by_steps, of_240_bytes_is_sent)
{
    fake_modem.script = {card("9000")};
    const auto data = numbered(240);
    EXPECT_EQ(step(data, 0, 1), 0U);
    EXPECT_EQ(fake_modem.commands, blocks(data));
}

TEST_F(by_steps, of_241_bytes_gives_4)
{
    EXPECT_EQ(step(numbered(241), 0, 1), 4U);
    expect_no_response();
    EXPECT_TRUE(fake_modem.commands.empty());
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [eUICC__store_data_by_steps] apdu_data_size > APDU_MAX_COMMAND_DATA_SIZE\n");
}

TEST_F(by_steps, of_nothing_is_sent_and_of_null_with_a_length_is_not)
{
    fake_modem.script = {card("9000")};
    EXPECT_EQ(eUICC__store_data_by_steps(handle, 1, nullptr, 0, 0, 1, &response, &response_length), 0U);
    EXPECT_EQ(eUICC__store_data_by_steps(handle, 1, nullptr, 1, 0, 1, &response, &response_length), 4U);
    EXPECT_THAT(fake_modem.commands, ElementsAre(at_csim("81E291000000")));
    expect_no_response();
}

TEST_F(by_steps, without_memory_gives_9)
{
    const failing_memory memory(1);
    EXPECT_EQ(step(bytes("01"), 0, 1), 9U);
    expect_no_response();
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [eUICC__store_data_by_steps] Can't allocate memory to apdu\n");
}

TEST_F(by_steps, not_sent_gives_the_transports_code)
{
    fake_modem.script = {not_sent};
    EXPECT_EQ(step(bytes("01"), 0, 1), 14U);
    expect_no_response();
    EXPECT_THAT(log.at(LOG__ERROR),
                HasSubstr("1 [eUICC__store_data_by_steps] eUICC__send_apdu_on_channel failed, rc 14\n"));
}

class by_steps_refused : public by_steps, public testing::WithParamInterface<const char *> {};

TEST_P(by_steps_refused, gives_1_whatever_the_status_word)
{
    fake_modem.script = {card(std::string("AA") + GetParam())};
    EXPECT_EQ(step(bytes("01"), 0, 1), 1U);
    expect_no_response();
    EXPECT_EQ(log.up_to(LOG__INFO), std::string("1 [eUICC__store_data] APDU failed, SW ") + GetParam() + "\n");
}

INSTANTIATE_TEST_SUITE_P(table, by_steps_refused, testing::Values("6A80", "6A88", "6985", "6F00"),
                         [](const auto &info) { return std::string("SW_") + info.param; });

// REFRESH

class await_refresh : public open_session {
  protected:
    await_refresh() { response = nullptr; }
};

TEST_F(await_refresh, ends_the_session_and_opens_a_new_one)
{
    fake_modem.script = {card("9000"), cmee_list, ok, card("019000"), card("9000"), card("9000")};
    EXPECT_EQ(eUICC__await_refresh("modem1", &handle, &channel), 0U);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(channel, 1);
    EXPECT_THAT(fake_modem.commands,
                ElementsAre(close_channel("01"), ask_cmee, set_cmee, open_channel, capability_1, select_1));
    EXPECT_THAT(pauses, ElementsAre(1U, 1U));
    const std::string all = lines(LOG__TRACE);
    EXPECT_THAT(all,
                testing::StartsWith("4 [eUICC__await_refresh] Executing the refresh procedure. Sleeping 1 seconds\n"
                                    "4 [eUICC__close_logical_channel] Logical channel 01 closed\n"));
    EXPECT_THAT(
        all,
        HasSubstr(
            "4 [eUICC__terminate] modem closed\n"
            "4 [eUICC__await_refresh] Sleeping 1 seconds between terminate and initialize the eUICC on the REFRESH procedure\n"
            "4 [eUICC__initialize] Opening the modem\n"));
}

TEST_F(await_refresh, that_cannot_end_the_session_gives_its_code)
{
    failing_calls.close_modem = true;
    fake_modem.script = {card("9000")};
    EXPECT_EQ(eUICC__await_refresh("modem1", &handle, &channel), 1U);
    EXPECT_THAT(pauses, ElementsAre(1U));
    EXPECT_THAT(lines(LOG__ERROR),
                HasSubstr("1 [eUICC__await_refresh] Error terminating the eUICC on the REFRESH procedure, rc 1\n"));
    handle = nullptr; // the modem was closed, whatever it said
}

TEST_F(await_refresh, that_cannot_open_a_session_gives_its_code)
{
    fake_modem.script = {card("9000"), cmee_list, ok, not_sent};
    EXPECT_EQ(eUICC__await_refresh("modem1", &handle, &channel), 14U);
    EXPECT_EQ(handle, nullptr);
    EXPECT_THAT(lines(LOG__ERROR),
                HasSubstr("1 [eUICC__await_refresh] Error initializing the eUICC on the REFRESH procedure, rc 14\n"));
}
} // namespace
