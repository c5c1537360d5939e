#include "euicc/apdu.h"
#include "foundation/log.h"
#include "lpa/memory.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/euicc/failing_calls.h"
#include "unit/fakes/failing_memory.h"
#include "unit/fakes/fake_clock.h"
#include "unit/fakes/fake_modem.h"
#include <array>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

namespace {
using testing::ElementsAre;
using testing::HasSubstr;

class apdu : public testing::Test {
  protected:
    apdu()
    {
        fake_modem.reset();
        failing_calls.reset();
        pauses.clear();
        handle.modem_number = 2;
    }
    ~apdu() override { failing_calls.reset(); }

    ModemHandle handle = {};
    ApduResponse response = {};
    log_capture log;
};

void expect_nothing_held(const ApduResponse &response)
{
    EXPECT_EQ(response.data, nullptr);
    EXPECT_EQ(response.length, 0U);
}

// The record

struct sw_case {
    uint16_t sw;
    bool success, available;
};
class status_word : public testing::TestWithParam<sw_case> {};

TEST_P(status_word, is_judged)
{
    const ApduResponse response = {nullptr, 0, GetParam().sw};
    EXPECT_EQ(apdu_utils__sw_is_success(&response), GetParam().success);
    EXPECT_EQ(apdu_utils__sw_response_available(&response), GetParam().available);
}

INSTANTIATE_TEST_SUITE_P(table, status_word,
                         testing::Values(sw_case{0x9000, true, false}, sw_case{0x9100, true, false},
                                         sw_case{0x9101, false, false}, sw_case{0x9001, false, false},
                                         sw_case{0x0090, false, false}, sw_case{0x6100, false, true},
                                         sw_case{0x61FF, false, true}, sw_case{0x6200, false, false},
                                         sw_case{0x0061, false, false}, sw_case{0x6A88, false, false}),
                         [](const auto &info) {
                             char name[8];
                             snprintf(name, sizeof name, "SW_%04X", info.param.sw);
                             return std::string(name);
                         });

TEST_F(apdu, freed_response_is_empty)
{
    response = {static_cast<uint8_t *>(M_malloc(3)), 3, 0x9000};
    apdu_utils__free_response(&response);
    expect_nothing_held(response);
    EXPECT_EQ(response.sw, 0);
    apdu_utils__free_response(&response); // again is harmless
}

// APDU to AT+CSIM

TEST_F(apdu, becomes_a_csim_command)
{
    char *command = nullptr;
    const auto open_channel = bytes("00 70 00 00 01");
    EXPECT_EQ(at_utils__APDU_to_CSIM_command(open_channel.data(), 5, &command), 0U);
    EXPECT_STREQ(command, "AT+CSIM=10,\"0070000001\"\r\n");
    M_free(command);
    EXPECT_EQ(log.up_to(LOG__TRACE), "5 at_utils__APDU_to_CSIM_command apdu\n"
                                     "5 00 70 00 00 01 \n"
                                     "5 [at_utils__APDU_to_CSIM_command] AT_length_num_digits: 2\n"
                                     "5 [at_utils__APDU_to_CSIM_command] at_command_length: 25\n"
                                     "5 [at_utils__APDU_to_CSIM_command] AT command first part[AT+CSIM=10,\"]\n"
                                     "5 [at_utils__APDU_to_CSIM_command] generated AT command "
                                     "[AT+CSIM=10,\"0070000001\"\r\n]\n");
}

TEST_F(apdu, of_any_length_becomes_a_csim_command)
{
    const log_capture quiet(LOG__WARN);
    for (const uint16_t length : {0, 1, 4, 5, 49, 50, 246, 255, 256, 499, 500, 4999, 5000, 65535}) {
        std::vector<uint8_t> command_apdu(length);
        for (size_t i = 0; i < length; ++i)
            command_apdu[i] = static_cast<uint8_t>(i * 7);
        char *command = nullptr;
        ASSERT_EQ(at_utils__APDU_to_CSIM_command(command_apdu.data(), length, &command), 0U);
        EXPECT_EQ(std::string(command), at_csim(hex(command_apdu)) + "\r\n");
        M_free(command);
    }
}

struct encoding_failure {
    const char *label;
    failing_calls_type failing;
    const char *log;
};
class csim_encoding_fails : public apdu, public testing::WithParamInterface<encoding_failure> {};

TEST_P(csim_encoding_fails, with_code_1)
{
    failing_calls = GetParam().failing;
    const auto open_channel = bytes("00 70 00 00 01");
    char *command = const_cast<char *>("old");
    EXPECT_EQ(at_utils__APDU_to_CSIM_command(open_channel.data(), 5, &command), 1U);
    EXPECT_EQ(command, nullptr);
    EXPECT_EQ(log.up_to(LOG__INFO), GetParam().log);
}

INSTANTIATE_TEST_SUITE_P(
    table, csim_encoding_fails,
    testing::ValuesIn(std::to_array<encoding_failure>({
        {"when_the_length_cannot_be_measured",
         {.unprintable_format = "%u"},
         "1 [at_utils__APDU_to_CSIM_command] AT_length_num_digits < 0\n"},
        {"when_the_length_cannot_be_written",
         {.unprintable_format = "AT+CSIM=%u,\""},
         "1 [at_utils__APDU_to_CSIM_command] Error adding the APDU length in the AT+CSIM={length},\" string\n"},
        {"when_the_bytes_cannot_be_written",
         {.unprintable_byte = 0},
         "1 [at_utils__APDU_to_CSIM_command] Binary APDU data to string failed, i: 0\n"},
    })),
    [](const auto &info) { return std::string(info.param.label); });

TEST_F(apdu, without_memory_becomes_no_command)
{
    const failing_memory memory(1);
    char *command = nullptr;
    EXPECT_EQ(at_utils__APDU_to_CSIM_command(bytes("00").data(), 1, &command), 9U);
    EXPECT_EQ(command, nullptr);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [at_utils__APDU_to_CSIM_command] Can't allocate data to AT_command\n");
}

TEST_F(apdu, of_null_becomes_no_command)
{
    char *command = nullptr;
    EXPECT_EQ(at_utils__APDU_to_CSIM_command(nullptr, 4, &command), 1U);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [at_utils__APDU_to_CSIM_command] Binary APDU data to string failed, i: 0\n");
}

// +CSIM to response

struct answer_case {
    const char *label, *answer;
    uint32_t code;
    uint16_t sw;
    const char *data, *log; // lines up to level 3
};
class csim_answer : public apdu, public testing::WithParamInterface<answer_case> {};

TEST_P(csim_answer, gives_code_response_and_log)
{
    response = {nullptr, 77, 0x1234}; // what an earlier exchange has left
    EXPECT_EQ(at_utils__CSIM_response_to_APDU(GetParam().answer, &response), GetParam().code);
    EXPECT_EQ(response.sw, GetParam().sw);
    EXPECT_EQ(hex(response.data, response.length), GetParam().data);
    if (*GetParam().data == '\0') { EXPECT_EQ(response.data, nullptr); }
    EXPECT_EQ(log.up_to(LOG__INFO), GetParam().log);
    M_free(response.data);
}

constexpr const char *no_tag = "1 [at_utils__CSIM_response_to_APDU] '+CSIM:' not found\n";
constexpr const char *no_first = "1 [at_utils__CSIM_response_to_APDU] first '\"' not found\n";
constexpr const char *no_second = "1 [at_utils__CSIM_response_to_APDU] second '\"' not found\n";
constexpr const char *bad_length = "1 [at_utils__CSIM_response_to_APDU] apdu response length is invalid\n";

INSTANTIATE_TEST_SUITE_P(
    table, csim_answer,
    testing::ValuesIn(std::to_array<answer_case>({
        {"of_9000_alone_has_no_data", "+CSIM: 4,\"9000\"", 0, 0x9000, "", ""},
        {"of_data_and_status_word", "\r\n+CSIM: 10,\"0102FF6110\"\r\n\r\nOK\r\n", 0, 0x6110, "0102FF", ""},
        {"in_lower_case", "+CSIM: 8,\"abcd9000\"", 0, 0x9000, "ABCD", ""},
        {"with_a_wrong_number_is_read_by_its_quotes", "+CSIM: 999,\"019000\"", 0, 0x9000, "01", ""},
        {"without_a_number", "+CSIM:\"9000\"", 0, 0x9000, "", ""},
        {"after_an_unsolicited_line", "\r\n+CREG: \"1\"\r\n+CSIM: 4,\"9000\"", 0, 0x9000, "", ""},
        {"before_another_quoted_text", "+CSIM: 4,\"9000\"\r\n+COPS: 0,0,\"XY\"", 0, 0x9000, "", ""},
        {"null", nullptr, 4, 0, "", ""},
        {"empty", "", 4, 0, "", ""},
        {"without_csim", "\r\nOK\r\n", 1, 0, "", no_tag},
        {"with_quotes_only_before_csim", "\"9000\" +CSIM: 4", 1, 0, "", no_first},
        {"without_quotes", "+CSIM: 4,9000", 1, 0, "", no_first},
        {"without_a_second_quote", "+CSIM: 4,\"9000", 1, 0, "", no_second},
        {"ending_with_its_first_quote", "+CSIM: 4,\"", 1, 0, "", no_second},
        {"of_90_alone", "+CSIM: 2,\"90\"", 1, 0, "", bad_length},
        {"of_nothing", "+CSIM: 0,\"\"", 1, 0, "", bad_length},
        {"of_an_odd_count", "+CSIM: 5,\"19000\"", 1, 0, "", bad_length},
    })),
    [](const auto &info) { return std::string(info.param.label); });

TEST_F(apdu, csim_answer_is_traced)
{
    EXPECT_EQ(at_utils__CSIM_response_to_APDU("+CSIM: 8,\"AB019000\"", &response), 0U);
    EXPECT_EQ(log.up_to(LOG__TRACE), "5 [at_utils__CSIM_response_to_APDU] AT_response [+CSIM: 8,\"AB019000\"]\n"
                                     "5 [at_utils__CSIM_response_to_APDU] APDU SW [0x9000] and data length [2]\n"
                                     "5 [at_utils__CSIM_response_to_APDU] APDU data\n"
                                     "5 AB 01 \n");
    apdu_utils__free_response(&response);
}

TEST_F(apdu, csim_answer_cut_short_anywhere_is_refused)
{
    const log_capture quiet(LOG__WARN);
    const std::string whole = "\r\n+CSIM: 12,\"010203049000\"";
    for (size_t length = 0; length < whole.size(); ++length) {
        // strdup: a block exactly as large as its text
        const std::unique_ptr<char, decltype(&free)> cut(strdup(whole.substr(0, length).c_str()), free);
        EXPECT_EQ(at_utils__CSIM_response_to_APDU(cut.get(), &response), length == 0 ? 4U : 1U) << length;
        expect_nothing_held(response);
    }
}

TEST_F(apdu, csim_answer_of_other_characters_than_digits_stays_in_its_bounds)
{
    for (const char *answer : {"+CSIM: 4,\"zzzz\"", "+CSIM: 8,\"\x80\xFF{}9000\"", "+CSIM: 8,\"%n%s90%n\""}) {
        EXPECT_EQ(at_utils__CSIM_response_to_APDU(answer, &response), 0U);
        apdu_utils__free_response(&response);
    }
}

TEST_F(apdu, csim_answer_whose_status_word_cannot_be_read_is_refused)
{
    failing_calls.hex_string_to_short = true;
    EXPECT_EQ(at_utils__CSIM_response_to_APDU("+CSIM: 8,\"AB019000\"", &response), 1U);
    expect_nothing_held(response);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [at_utils__CSIM_response_to_APDU] failed to parse the SW of the APDU\n");
}

TEST_F(apdu, csim_answer_whose_data_cannot_be_read_is_refused)
{
    failing_calls.unreadable_byte = 1;
    EXPECT_EQ(at_utils__CSIM_response_to_APDU("+CSIM: 8,\"AB019000\"", &response), 1U);
    expect_nothing_held(response);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [at_utils__CSIM_response_to_APDU] failed to parse the data of the APDU\n");
}

TEST_F(apdu, csim_answer_without_memory_gives_9)
{
    const failing_memory memory(1);
    EXPECT_EQ(at_utils__CSIM_response_to_APDU("+CSIM: 8,\"AB019000\"", &response), 9U);
    expect_nothing_held(response);
    EXPECT_EQ(log.up_to(LOG__INFO),
              "1 [at_utils__CSIM_response_to_APDU] memory allocation for the apdu_response failed\n");
}

// AT commands

class at_command : public apdu {
  protected:
    char answer[AT_ANSWER_SIZE] = "old";
};

TEST_F(at_command, is_sent_to_the_handles_modem)
{
    fake_modem.script = {{"\r\nOK\r\n"}};
    EXPECT_EQ(eUICC__send_AT_command(&handle, "AT\r\n", answer), 0U);
    EXPECT_STREQ(answer, "\r\nOK\r\n");
    EXPECT_THAT(fake_modem.commands, ElementsAre("AT"));
    EXPECT_THAT(fake_modem.modems, ElementsAre(2));
    EXPECT_THAT(fake_modem.timeouts, ElementsAre(60));
    EXPECT_TRUE(pauses.empty());
    EXPECT_EQ(log.up_to(LOG__TRACE), "4 [eUICC__send_AT_command] at_command [AT\r\n]\n"
                                     "4 [eUICC__send_AT_command] gsm_response [\r\nOK\r\n]\n");
}

TEST_F(at_command, answered_with_error_is_retried_once_after_10_seconds)
{
    fake_modem.script = {{"\r\n+CME ERROR: 13\r\n"}, {"\r\nOK\r\n"}};
    EXPECT_EQ(eUICC__send_AT_command(&handle, "AT\r\n", answer), 0U);
    EXPECT_STREQ(answer, "\r\nOK\r\n");
    EXPECT_THAT(fake_modem.commands, ElementsAre("AT", "AT"));
    EXPECT_THAT(pauses, ElementsAre(10U));
    EXPECT_EQ(log.up_to(LOG__TRACE),
              "4 [eUICC__send_AT_command] at_command [AT\r\n]\n"
              "4 [eUICC__send_AT_command] gsm_response [\r\n+CME ERROR: 13\r\n]\n"
              "2 [eUICC__send_AT_command] retry 1 gsm_response with error [\r\n+CME ERROR: 13\r\n]\n"
              "4 [eUICC__send_AT_command] gsm_response [\r\nOK\r\n]\n"
              "2 [eUICC__send_AT_command] retry 2 request [AT\r\n] gsm_response [\r\nOK\r\n]\n");
}

TEST_F(at_command, answered_with_error_twice_gives_15)
{
    fake_modem.script = {{"\r\nERROR\r\n"}, {"\r\nERROR\r\n"}};
    EXPECT_EQ(eUICC__send_AT_command(&handle, "AT\r\n", answer), 15U);
    EXPECT_THAT(pauses, ElementsAre(10U));
    EXPECT_EQ(fake_modem.commands.size(), 2U);
    EXPECT_EQ(log.up_to(LOG__INFO), "2 [eUICC__send_AT_command] retry 1 gsm_response with error [\r\nERROR\r\n]\n"
                                    "2 [eUICC__send_AT_command] retry 2 request [AT\r\n] gsm_response [\r\nERROR\r\n]\n"
                                    "2 [eUICC__send_AT_command] retry 2 gsm_response with error [\r\nERROR\r\n]\n"
                                    "1 [eUICC__send_AT_command] failed\n");
}

TEST_F(at_command, that_cannot_be_sent_gives_14_without_retry)
{
    fake_modem.script = {{"", 3}};
    EXPECT_EQ(eUICC__send_AT_command(&handle, "AT\r\n", answer), 14U);
    EXPECT_EQ(fake_modem.commands.size(), 1U);
    EXPECT_TRUE(pauses.empty());
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [eUICC__send_AT_command] write_serial_port failed, rc 3\n");
}

TEST_F(at_command, that_cannot_be_sent_again_gives_14)
{
    fake_modem.script = {{"ERROR"}, {"", 3}};
    EXPECT_EQ(eUICC__send_AT_command(&handle, "AT\r\n", answer), 14U);
    EXPECT_THAT(pauses, ElementsAre(10U));
}

TEST_F(at_command, without_handle_command_or_buffer_gives_4)
{
    EXPECT_EQ(eUICC__send_AT_command(nullptr, "AT\r\n", answer), 4U);
    EXPECT_EQ(eUICC__send_AT_command(&handle, nullptr, answer), 4U);
    EXPECT_EQ(eUICC__send_AT_command(&handle, "AT\r\n", nullptr), 4U);
    const std::string line = "1 [eUICC__send_AT_command] port or at_command is null\n";
    EXPECT_EQ(log.up_to(LOG__TRACE), line + line + line);
    EXPECT_TRUE(fake_modem.commands.empty());
}

TEST_F(at_command, whose_answer_just_fits_is_copied_whole)
{
    const std::string text(AT_ANSWER_SIZE - 1, 'x');
    fake_modem.script = {{text}};
    const auto exact = std::make_unique<char[]>(AT_ANSWER_SIZE);
    EXPECT_EQ(eUICC__send_AT_command(&handle, "AT\r\n", exact.get()), 0U);
    EXPECT_EQ(exact.get(), text);
}

TEST_F(at_command, whose_answer_is_longer_than_the_buffer_gives_1)
{
    fake_modem.script = {{std::string(AT_ANSWER_SIZE, 'x')}};
    const auto exact = std::make_unique<char[]>(AT_ANSWER_SIZE);
    EXPECT_EQ(eUICC__send_AT_command(&handle, "AT\r\n", exact.get()), 1U);
    EXPECT_STREQ(exact.get(), "");
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [eUICC__send_AT_command] failed\n");
}

// Exchange

class exchange : public apdu {
  protected:
    uint32_t send(const std::string &command_apdu)
    {
        const auto command = bytes(command_apdu);
        return eUICC__send_apdu(&handle, command.data(), static_cast<uint16_t>(command.size()), &response);
    }
    ~exchange() override { apdu_utils__free_response(&response); }
    std::string data() const { return hex(response.data, response.length); }
};

TEST_F(exchange, returns_data_and_status_word)
{
    fake_modem.script = {{csim("01029000")}};
    EXPECT_EQ(send("81E2910000"), 0U);
    EXPECT_EQ(data(), "0102");
    EXPECT_EQ(response.sw, 0x9000);
    EXPECT_THAT(fake_modem.commands, ElementsAre(at_csim("81E2910000")));
    EXPECT_THAT(log.at(LOG__TRACE), HasSubstr("generated AT command [" + at_csim("81E2910000") + "\r\n]"));
}

TEST_F(exchange, fetches_16_announced_bytes_with_get_response_on_the_same_channel)
{
    const std::string sixteen = "000102030405060708090A0B0C0D0E0F";
    fake_modem.script = {{csim("6110")}, {csim(sixteen + "9000")}};
    EXPECT_EQ(send("81E2910000"), 0U);
    EXPECT_EQ(data(), sixteen);
    EXPECT_EQ(response.sw, 0x9000);
    EXPECT_THAT(fake_modem.commands, ElementsAre(at_csim("81E2910000"), at_csim("81C0000010")));
    EXPECT_THAT(log.at(LOG__DEBUG), HasSubstr("4 [eUICC__send_get_response_apdu] get_response data\n"
                                              "4 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F\n"
                                              "4 [eUICC__send_get_response_apdu] apdu_response data\n"
                                              "4 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F\n"));
}

TEST_F(exchange, concatenates_the_pieces_of_a_chain_in_order)
{
    fake_modem.script = {{csim("AA6102")}, {csim("BBBB6103")}, {csim("6101")}, {csim("CCCCCC9100")}};
    EXPECT_EQ(send("01A40400"), 0U);
    EXPECT_EQ(data(), "AABBBBCCCCCC");
    EXPECT_EQ(response.sw, 0x9100);
    EXPECT_THAT(fake_modem.commands,
                ElementsAre(at_csim("01A40400"), at_csim("01C0000002"), at_csim("01C0000003"), at_csim("01C0000001")));
}

TEST_F(exchange, ends_a_chain_with_whatever_status_word_comes)
{
    fake_modem.script = {{csim("6100")}, {csim("6A88")}};
    EXPECT_EQ(send("8100000000"), 0U);
    EXPECT_EQ(response.data, nullptr);
    EXPECT_EQ(response.sw, 0x6A88);
    EXPECT_EQ(fake_modem.commands[1], at_csim("81C0000000"));
}

struct exchange_failure {
    const char *label;
    std::deque<fake_modem_type::answer> script;
    uint32_t code;
    const char *log; // level 1
};
class exchange_fails : public exchange, public testing::WithParamInterface<exchange_failure> {};

TEST_P(exchange_fails, and_holds_no_data)
{
    fake_modem.script = GetParam().script;
    EXPECT_EQ(send("81E2910000"), GetParam().code);
    EXPECT_TRUE(fake_modem.script.empty());
    expect_nothing_held(response);
    EXPECT_EQ(log.at(LOG__ERROR), GetParam().log);
}

INSTANTIATE_TEST_SUITE_P(
    table, exchange_fails,
    testing::ValuesIn(std::to_array<exchange_failure>({
        {"when_not_sent",
         {{"", 2}},
         14,
         "1 [eUICC__send_AT_command] write_serial_port failed, rc 2\n"
         "1 [eUICC__send_apdu] eUICC__send_AT_command failed, rc 14\n"},
        {"when_answered_with_error_twice",
         {{"ERROR"}, {"ERROR"}},
         15,
         "1 [eUICC__send_AT_command] failed\n"
         "1 [eUICC__send_apdu] eUICC__send_AT_command failed, rc 15\n"},
        {"when_the_answer_is_malformed",
         {{"OK"}},
         1,
         "1 [at_utils__CSIM_response_to_APDU] '+CSIM:' not found\n"
         "1 [eUICC__send_apdu] at_utils__CSIM_response_to_APDU failed, rc 1\n"},
        {"when_the_answer_is_empty", {{""}}, 4, "1 [eUICC__send_apdu] at_utils__CSIM_response_to_APDU failed, rc 4\n"},
        {"when_get_response_is_not_sent",
         {{csim("AA6102")}, {"", 2}},
         14,
         "1 [eUICC__send_AT_command] write_serial_port failed, rc 2\n"
         "1 [eUICC__send_get_response_apdu] eUICC__send_AT_command failed, rc 14\n"},
        {"when_get_response_is_answered_with_error_twice",
         {{csim("AA6102")}, {"ERROR"}, {"ERROR"}},
         15,
         "1 [eUICC__send_AT_command] failed\n"
         "1 [eUICC__send_get_response_apdu] eUICC__send_AT_command failed, rc 15\n"},
        {"when_a_piece_is_malformed",
         {{csim("AA6102")}, {csim("BB6101")}, {csim("90")}},
         1,
         "1 [at_utils__CSIM_response_to_APDU] apdu response length is invalid\n"
         "1 [eUICC__send_get_response_apdu] at_utils__CSIM_response_to_APDU failed, rc 1\n"},
    })),
    [](const auto &info) { return std::string(info.param.label); });

struct memory_case {
    const char *label;
    int allocation;
    const char *first_answer, *log;
};
class exchange_without_memory : public exchange, public testing::WithParamInterface<memory_case> {};

TEST_P(exchange_without_memory, gives_9_and_holds_no_data)
{
    fake_modem.script = {{csim(GetParam().first_answer)}, {csim("BB9000")}};
    {
        const failing_memory memory(GetParam().allocation);
        EXPECT_EQ(send("81E2910000"), 9U);
        EXPECT_TRUE(failing_memory::reached());
    }
    expect_nothing_held(response);
    EXPECT_EQ(log.at(LOG__ERROR), GetParam().log);
}

INSTANTIATE_TEST_SUITE_P(table, exchange_without_memory,
                         testing::ValuesIn(std::to_array<memory_case>({
                             {"for_the_command", 1, "AA6101",
                              "1 [at_utils__APDU_to_CSIM_command] Can't allocate data to AT_command\n"
                              "1 [eUICC__send_apdu] at_utils__APDU_to_CSIM_command failed, rc 9\n"},
                             {"for_the_first_answer", 2, "AA6101",
                              "1 [at_utils__CSIM_response_to_APDU] memory allocation for the apdu_response failed\n"
                              "1 [eUICC__send_apdu] at_utils__CSIM_response_to_APDU failed, rc 9\n"},
                             {"for_get_response", 3, "AA6101",
                              "1 [at_utils__APDU_to_CSIM_command] Can't allocate data to AT_command\n"
                              "1 [eUICC__send_get_response_apdu] at_utils__APDU_to_CSIM_command failed, rc 9\n"},
                             {"for_the_piece", 4, "AA6101",
                              "1 [at_utils__CSIM_response_to_APDU] memory allocation for the apdu_response failed\n"
                              "1 [eUICC__send_get_response_apdu] at_utils__CSIM_response_to_APDU failed, rc 9\n"},
                             {"for_the_sum", 5, "AA6101",
                              "1 [eUICC__send_apdu] Get response, reallocation for the apdu_response data failed\n"},
                             {"for_the_first_data", 4, "6101",
                              "1 [eUICC__send_apdu] Get response, allocation for the apdu_response data failed\n"},
                         })),
                         [](const auto &info) { return std::string(info.param.label); });

TEST_F(exchange, of_no_apdu_gives_4)
{
    const uint8_t byte = 0;
    EXPECT_EQ(eUICC__send_apdu(&handle, nullptr, 5, &response), 4U);
    EXPECT_EQ(eUICC__send_apdu(&handle, &byte, 0, &response), 4U);
    EXPECT_TRUE(fake_modem.commands.empty());
    const std::string line = "1 [eUICC__send_apdu] at_utils__APDU_to_CSIM_command failed, rc 4\n";
    EXPECT_EQ(log.up_to(LOG__INFO), line + line);
}

TEST_F(exchange, follows_a_chain_however_long_it_is)
{
    constexpr size_t pieces = 70000; // more than 16 bits can count
    const log_capture errors(LOG__ERROR);
    fake_modem.otherwise = [](const std::string &) {
        return fake_modem_type::answer{csim(fake_modem.commands.size() > pieces ? "AA9000" : "6100")};
    };
    EXPECT_EQ(send("81E2910000"), 0U);
    EXPECT_EQ(fake_modem.commands.size(), 1U + pieces);
    EXPECT_EQ(response.length, 1U);
    EXPECT_EQ(response.sw, 0x9000);
    EXPECT_EQ(errors.up_to(LOG__TRACE), "");
    fake_modem.reset();
}

TEST_F(exchange, gives_up_a_chain_whose_data_never_end)
{
    const log_capture errors(LOG__ERROR);
    const std::string kilobyte(2008, 'A');
    fake_modem.otherwise = [&](const std::string &) { return fake_modem_type::answer{csim(kilobyte + "6100")}; };
    EXPECT_EQ(send("81E2910000"), 9U);
    EXPECT_EQ(fake_modem.commands.size(), 1045U); // of 1004 bytes each; 1044 fit into 1 MiB
    expect_nothing_held(response);
    EXPECT_EQ(errors.up_to(LOG__TRACE),
              "1 [eUICC__send_apdu] Get response, reallocation for the apdu_response data failed\n");
    fake_modem.reset();
}

TEST_F(exchange, gives_up_a_chain_that_never_ends_without_data)
{
    const log_capture errors(LOG__ERROR);
    fake_modem.otherwise = [](const std::string &) { return fake_modem_type::answer{csim("6110")}; };
    EXPECT_EQ(send("81E2910000"), 1U);
    EXPECT_EQ(fake_modem.commands.size(), 100002U);
    expect_nothing_held(response);
    EXPECT_EQ(errors.up_to(LOG__TRACE),
              "1 [eUICC__send_get_response_apdu] at_utils__CSIM_response_to_APDU failed, rc 1\n");
    fake_modem.reset();
}

// AT+CMEE

struct cmee_case {
    const char *label, *answer, *command, *log; // lines of eUICC__cmee
};
class cmee : public apdu, public testing::WithParamInterface<cmee_case> {};

TEST_P(cmee, chooses_a_mode)
{
    fake_modem.script = {{GetParam().answer}, {"\r\nOK\r\n"}};
    EXPECT_EQ(eUICC__cmee(&handle), 0U);
    EXPECT_THAT(fake_modem.commands, ElementsAre("AT+CMEE=?", GetParam().command));
    std::string lines;
    for (const auto &line : log.lines())
        if (line.text.starts_with("[eUICC__cmee]")) lines += std::to_string(line.level) + " " + line.text + "\n";
    EXPECT_EQ(lines, GetParam().log);
}

INSTANTIATE_TEST_SUITE_P(
    table, cmee,
    testing::ValuesIn(std::to_array<cmee_case>({
        {"the_highest_of_a_range", "\r\n+CMEE: (0-2)\r\n\r\nOK\r\n", "AT+CMEE=2",
         "4 [eUICC__cmee] CMEE char found '2'\n4 [eUICC__cmee] CMEE value 2\n"},
        {"the_last_of_a_list", "+CMEE: (0,1)", "AT+CMEE=1",
         "4 [eUICC__cmee] CMEE char found '1'\n4 [eUICC__cmee] CMEE value 1\n"},
        {"the_last_digit_of_a_number", "+CMEE: (0-12)", "AT+CMEE=2",
         "4 [eUICC__cmee] CMEE char found '2'\n4 [eUICC__cmee] CMEE value 2\n"},
        {"none_when_no_digit_stands_there", "+CMEE: ()", "AT+CMEE=0",
         "4 [eUICC__cmee] CMEE char found '('\n4 [eUICC__cmee] CMEE value 0\n"},
        {"none_without_a_list", "\r\nOK\r\n", "AT+CMEE=0",
         "4 [eUICC__cmee] End of the CMEE response list not found\n4 [eUICC__cmee] CMEE value 0\n"},
        {"none_when_the_list_ends_first", ")", "AT+CMEE=0",
         "4 [eUICC__cmee] End of the CMEE response list not found\n4 [eUICC__cmee] CMEE value 0\n"},
        {"none_for_an_empty_answer", "", "AT+CMEE=0",
         "4 [eUICC__cmee] End of the CMEE response list not found\n4 [eUICC__cmee] CMEE value 0\n"},
    })),
    [](const auto &info) { return std::string(info.param.label); });

TEST_F(apdu, cmee_that_cannot_be_listed_is_set_to_0)
{
    fake_modem.script = {{"", 1}, {"OK"}};
    EXPECT_EQ(eUICC__cmee(&handle), 0U);
    EXPECT_THAT(fake_modem.commands, ElementsAre("AT+CMEE=?", "AT+CMEE=0"));
    EXPECT_THAT(log.at(LOG__DEBUG),
                HasSubstr("4 [eUICC__cmee] Error on list the supported write values for AT+CMEE, rc 14\n"));
    EXPECT_THAT(log.at(LOG__DEBUG), HasSubstr("at_command [AT+CMEE=?\r\n]"));
    EXPECT_THAT(log.at(LOG__DEBUG), HasSubstr("at_command [AT+CMEE=0\r\n]"));
}

TEST_F(apdu, cmee_returns_the_result_of_setting_it)
{
    fake_modem.script = {{"+CMEE: (0-2)"}, {"ERROR"}, {"ERROR"}};
    EXPECT_EQ(eUICC__cmee(&handle), 15U);
}
} // namespace
