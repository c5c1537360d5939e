#include "foundation/log.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "tlv/tlv_data_extractor.h"
#include "unit/tlv/exact_block.h"
#include <array>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>

namespace {

std::string repeated(const char *digits, size_t count)
{
    std::string result;
    for (size_t i = 0; i < count; ++i)
        result += digits;
    return result;
}

// Result of one reader: its code and, when that is 0, what it stored, as text.
struct outcome {
    uint32_t code;
    std::string stored;
};
using reader = std::function<outcome(const uint8_t *buffer, uint32_t size)>;

constexpr uint8_t untouched = 0xEE;

// Every reader leaves its outputs alone unless it succeeds.
std::string shown(uint32_t code, const std::vector<uint8_t> &output)
{
    if (code == 0) return hex(output);
    return std::ranges::all_of(output, [](uint8_t byte) { return byte == untouched; }) ? "" : "written: " + hex(output);
}

template <uint32_t (*Read)(uint16_t, const uint8_t *, uint32_t, uint8_t *), uint16_t Tag, size_t Size>
outcome read_bytes(const uint8_t *buffer, uint32_t size)
{
    std::vector<uint8_t> output(Size, untouched);
    const uint32_t code = Read(Tag, buffer, size, output.data());
    return {code, shown(code, output)};
}

constexpr auto result_code = read_bytes<tlv_data_extractor__result_code, 0x80, 1>;
constexpr auto two_byte_result_code = read_bytes<tlv_data_extractor__result_code, 0x9F70, 1>;
constexpr auto boolean = read_bytes<tlv_data_extractor__boolean, 0x01, 1>;
constexpr auto key_identifier = read_bytes<tlv_data_extractor__subject_key_identifier, 0x04, 20>;

outcome result_code_with_parent(const uint8_t *buffer, uint32_t size)
{
    std::vector<uint8_t> output(1, untouched);
    const uint32_t code = tlv_data_extractor__result_code_with_parent_tlv(0xBF31, 0x80, buffer, size, output.data());
    return {code, shown(code, output)};
}

outcome number(const uint8_t *buffer, uint32_t size)
{
    uint32_t value = 0xEEEEEEEE;
    const uint32_t code = tlv_data_extractor__uint32(0x81, buffer, size, &value);
    if (code == 0) return {code, std::to_string(value)};
    return {code, value == 0xEEEEEEEE ? "" : "written"};
}

template <uint8_t Optional> outcome iccid(const uint8_t *buffer, uint32_t size)
{
    std::vector<uint8_t> output(11, untouched); // the flag, then the digits
    const uint32_t code = tlv_data_extractor__iccid(0x5A, buffer, size, output.data(), output.data() + 1, Optional);
    return {code, shown(code, output)};
}

outcome fqdn(const uint8_t *buffer, uint32_t size)
{
    std::vector<char> text(FQDN_TEXT_SIZE, static_cast<char>(untouched));
    const uint32_t code = tlv_data_extractor__fqdn(0x0C, buffer, size, text.data());
    if (code == 0) return {code, text.data()};
    return {code, text[0] == static_cast<char>(untouched) ? "" : "written"};
}

outcome bit_string(const uint8_t *buffer, uint32_t size)
{
    std::vector<uint8_t> bits(4, untouched);
    const uint32_t code = tlv_data_extractor__bit_string(0x81, buffer, size, bits.data(), 4);
    return {code, shown(code, bits)};
}

outcome transaction_id(const uint8_t *buffer, uint32_t size)
{
    uint8_t present = untouched;
    TransactionId id;
    memset(&id, untouched, sizeof id);
    const uint32_t code = tlv_data_extractor__transaction_id(0x80, buffer, size, &present, &id);
    if (code != 0) return {code, present == untouched && id.length == untouched ? "" : "written"};
    return {code, std::to_string(present) + " " + hex(id.value, id.length)};
}

template <uint32_t (*Read)(const uint8_t *, uint32_t, uint8_t *)>
outcome sixteen_bytes(const uint8_t *buffer, uint32_t size)
{
    std::vector<uint8_t> output(16, untouched);
    const uint32_t code = Read(buffer, size, output.data());
    return {code, shown(code, output)};
}
constexpr auto challenge = sixteen_bytes<tlv_data_extractor__euicc_challenge>;
constexpr auto eid = sixteen_bytes<tlv_data_extractor__get_euicc_data_response>;

// --- Each reader: bytes in, code, value and log out ----------------------------------------------------------------

struct read_case {
    const char *name;
    reader read;
    std::string input;
    uint32_t code;
    std::string stored;
    const char *log; // up to level 4, without dumps
};
void PrintTo(const read_case &tested, std::ostream *out) { *out << tested.name; }

class field : public testing::TestWithParam<read_case> {};

TEST_P(field, gives_code_value_and_log)
{
    const exact_block input(GetParam().input);
    log_capture log;
    const outcome result = GetParam().read(input.data(), input.size());
    EXPECT_EQ(result.code, GetParam().code);
    EXPECT_EQ(result.stored, GetParam().stored);
    EXPECT_EQ(log.up_to(LOG__DEBUG), GetParam().log);
}

TEST_P(field, cut_short_is_never_read_beyond_its_end)
{
    if (GetParam().code != 0) {
        EXPECT_EQ(GetParam().stored, "");
        return;
    }
    log_capture quiet(LOG__TRACE); // dumps too
    for_each_cut(bytes(GetParam().input), [](const exact_block &cut) {
        const outcome result = GetParam().read(cut.data(), cut.size());
        // Whole siblings may be left, and a missing transactionId is none of the failures.
        if (result.code == 0) {
            EXPECT_TRUE(result.stored == GetParam().stored || result.stored == "0 ") << cut.size();
        } else {
            EXPECT_TRUE(result.code == 1 || result.code == 4 || result.code == 8) << result.code;
            EXPECT_EQ(result.stored, "");
        }
    });
}

const std::string sixteen_digits = "00112233445566778899AABBCCDDEEFF";
const std::string twenty_digits = "000102030405060708090A0B0C0D0E0F10111213";

const read_case read_cases[] = {
    {"result_code", result_code, "80 01 05", 0, "05", ""},
    {"result_code_behind_a_sibling", result_code, "81 01 00 80 01 7F", 0, "7F", ""},
    {"result_code_with_two_byte_tag", two_byte_result_code, "9F 70 01 01", 0, "01", ""},
    {"result_code_of_two_bytes", result_code, "80 02 00 00", 1, "",
     "1 [tlv_data_extractor__result_code] Unexpected length of result code TLV. Expected: 1, current: 2\n"},
    {"result_code_of_no_bytes", result_code, "80 00", 1, "",
     "1 [tlv_data_extractor__result_code] Unexpected length of result code TLV. Expected: 1, current: 0\n"},
    {"result_code_missing", result_code, "81 01 00", 1, "",
     "1 [tlv_data_extractor__result_code] Result code TAG 0080 not found\n"},
    {"result_code_nested", result_code, "A0 03 80 01 00", 1, "",
     "1 [tlv_data_extractor__result_code] Result code TAG 0080 not found\n"},
    {"result_code_cut_off", result_code, "80 01", 1, "",
     "1 [tlv_data_extractor__result_code] Error parsing the result code TLV, rc 1\n"},
    {"result_code_of_nothing", result_code, "", 4, "", "1 [tlv_data_extractor__result_code] tlv is empty/null\n"},

    {"result_code_inside_its_response", result_code_with_parent, "BF 31 03 80 01 05", 0, "05", ""},
    {"result_code_inside_a_response_behind_a_sibling", result_code_with_parent, "80 01 01 BF 31 03 80 01 05", 0, "05",
     ""},
    {"response_missing", result_code_with_parent, "BF 32 03 80 01 05", 1, "",
     "1 [tlv_data_extractor__result_code_with_parent_tlv] Parent TAG BF31 not found\n"},
    {"response_without_the_result_code", result_code_with_parent, "BF 31 03 81 01 05", 1, "",
     "1 [tlv_data_extractor__result_code] Result code TAG 0080 not found\n"},
    {"response_empty", result_code_with_parent, "BF 31 00", 4, "",
     "1 [tlv_data_extractor__result_code] tlv is empty/null\n"},
    {"response_of_nothing", result_code_with_parent, "", 4, "",
     "1 [tlv_data_extractor__result_code_with_parent_tlv] tlv is empty/null\n"},

    {"number", number, "81 02 01 00", 0, "256", ""},
    {"number_of_no_bytes_is_0", number, "81 00", 0, "0", ""},
    {"number_of_four_significant_bytes", number, "81 05 00 FF FF FF FF", 0, "4294967295", ""},
    {"number_of_five_significant_bytes", number, "81 05 01 00 00 00 00", 1, "",
     "1 [byte_utils__byte_array_to_uint] Cannot convert the value of this buffer to a uint32_t. Bytes of the uint32_t 4, bytes needed 5\n"
     "1 [tlv_data_extractor__uint32] Error parsing the INTEGER VALUE, rc -4\n"},
    {"number_missing", number, "80 01 00", 1, "", "1 [tlv_data_extractor__uint32] TAG of INTEGER (0081) not found\n"},
    {"number_cut_off", number, "81 04 01 02", 1, "",
     "1 [tlv_data_extractor__uint32] Error parsing the INTEGER TLV, rc 1\n"},
    {"number_of_nothing", number, "", 4, "", "1 [tlv_data_extractor__uint32] tlv is empty/null\n"},

    {"boolean_FF_is_true", boolean, "01 01 FF", 0, "01", ""},
    {"boolean_00_is_false", boolean, "01 01 00", 0, "00", ""},
    {"boolean_01_is_neither", boolean, "01 01 01", 1, "", "1 [tlv_data_extractor__boolean] Wrong BOOLEAN value 01\n"},
    {"boolean_missing", boolean, "80 01 FF", 1, "",
     "1 [tlv_data_extractor__result_code] Result code TAG 0001 not found\n"
     "1 [tlv_data_extractor__boolean] Error extracting the BOOLEAN from the TLV, rc 1\n"},
    {"boolean_of_nothing", boolean, "", 4, "", "1 [tlv_data_extractor__boolean] tlv is empty/null\n"},

    {"key_identifier", key_identifier, "04 14" + twenty_digits, 0, twenty_digits, ""},
    {"key_identifier_too_short", key_identifier, "04 13" + twenty_digits, 1, "",
     "1 [tlv_data_extractor__subject_key_identifier] Bad SubjectKeyIdentifier LENGTH. Expected value: 19, current value: 20.\n"},
    {"key_identifier_too_long", key_identifier, "04 15 00" + twenty_digits, 1, "",
     "1 [tlv_data_extractor__subject_key_identifier] Bad SubjectKeyIdentifier LENGTH. Expected value: 21, current value: 20.\n"},
    {"key_identifier_missing", key_identifier, "05 00", 1, "",
     "1 [tlv_data_extractor__subject_key_identifier] TAG of SubjectKeyIdentifier (0004) not found\n"},
    {"key_identifier_cut_off", key_identifier, "04 14 00", 1, "",
     "1 [tlv_data_extractor__subject_key_identifier] Error parsing the SubjectKeyIdentifier TLV, rc 1\n"},
    {"key_identifier_of_nothing", key_identifier, "", 4, "",
     "1 [tlv_data_extractor__subject_key_identifier] tlv is empty/null\n"},

    {"iccid_in_plain_order_with_its_flag", iccid<0>, "5A 0A 98 10 32 54 76 98 10 32 54 F6", 0, "018901234567890123456F",
     ""},
    {"iccid_of_nine_bytes", iccid<0>, "5A 09 98 10 32 54 76 98 10 32 54", 1, "",
     "1 [tlv_data_extractor__iccid] Bad ICCID LENGTH. Expected value: 9, current value: 10.\n"},
    {"iccid_missing", iccid<0>, "80 00", 1, "", "1 [tlv_data_extractor__iccid] TAG of ICCID (005A) not found\n"},
    {"optional_iccid_missing", iccid<1>, "80 00", 8, "",
     "3 [tlv_data_extractor__iccid] TAG of ICCID (005A) not found\n"},
    {"optional_iccid_there", iccid<1>, "5A 0A 98 10 32 54 76 98 10 32 54 F6", 0, "018901234567890123456F", ""},
    {"optional_iccid_of_eleven_bytes", iccid<1>, "5A 0B 98 10 32 54 76 98 10 32 54 F6 00", 1, "",
     "1 [tlv_data_extractor__iccid] Bad ICCID LENGTH. Expected value: 11, current value: 10.\n"},
    {"iccid_cut_off", iccid<0>, "5A 0A 98", 1, "", "1 [tlv_data_extractor__iccid] Error parsing the ICCID TLV, rc 1\n"},
    {"iccid_of_nothing", iccid<0>, "", 4, "", "1 [tlv_data_extractor__iccid] tlv is empty/null\n"},

    {"fqdn", fqdn, "0C 04 61 2E 62 63", 0, "a.bc", ""},
    {"fqdn_of_no_bytes", fqdn, "0C 00", 0, "", ""},
    {"fqdn_of_255_bytes", fqdn, "0C 81 FF" + repeated("61", 255), 0, std::string(255, 'a'), ""},
    {"fqdn_of_256_bytes", fqdn, "0C 82 01 00" + repeated("61", 256), 1, "",
     "1 [tlv_data_extractor__fqdn] The FQDN is too long. Max length: 255, actual length: 256\n"},
    {"fqdn_missing", fqdn, "80 00", 1, "", "1 [tlv_data_extractor__fqdn] TAG of FQDN (000C) not found\n"},
    {"fqdn_cut_off", fqdn, "0C 04 61", 1, "", "1 [tlv_data_extractor__fqdn] Error parsing the FQDN TLV, rc 1\n"},
    {"fqdn_of_nothing", fqdn, "", 4, "", "1 [tlv_data_extractor__fqdn] tlv is empty/null\n"},

    {"bit_string", bit_string, "81 02 05 A0", 0, "010001EE", ""},
    {"bit_string_that_fills_the_output", bit_string, "81 02 04 90", 0, "01000001", ""},
    {"bit_string_of_one_bit_more", bit_string, "81 02 03 90", 1, "",
     "1 [byte_utils__bit_string_decode] Not enough space to write the decoded bit string to the buffer. Buffer size 4, buffer size needed 5\n"
     "1 [tlv_data_extractor__bit_string] Error decoding the BIT STRING, rc -7\n"},
    {"bit_string_with_8_unused_bits", bit_string, "81 02 08 00", 1, "",
     "1 [byte_utils__bit_string_decode] The maximum value for the unused bits of a BIT STRING is 7, current value 8\n"
     "1 [tlv_data_extractor__bit_string] Error decoding the BIT STRING, rc -4\n"},
    {"bit_string_missing", bit_string, "80 00", 1, "",
     "1 [tlv_data_extractor__bit_string] TAG of BIT STRING (0081) not found\n"},
    {"bit_string_cut_off", bit_string, "81 02 05", 1, "",
     "1 [tlv_data_extractor__bit_string] Error parsing the BIT STRING TLV, rc 1\n"},
    {"bit_string_of_nothing", bit_string, "", 4, "", "1 [tlv_data_extractor__bit_string] tlv is empty/null\n"},

    {"transaction_id", transaction_id, "80 02 A1 B2", 0, "1 A1B2",
     "4 [tlv_data_extractor__transaction_id] transactionId\n4 A1 B2 \n"},
    {"transaction_id_of_16_bytes", transaction_id, "80 10" + sixteen_digits, 0, "1 " + sixteen_digits,
     "4 [tlv_data_extractor__transaction_id] transactionId\n4 00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF\n"},
    {"transaction_id_missing", transaction_id, "81 00", 0, "0 ",
     "4 [tlv_data_extractor__transaction_id] TAG of transactionId (0080) not found\n"},
    {"transaction_id_of_0_bytes", transaction_id, "80 00", 1, "",
     "1 [tlv_data_extractor__transaction_id] Bad transactionId size 0. Minumum size 1, maximum size 16\n"},
    {"transaction_id_of_17_bytes", transaction_id, "80 11 00" + sixteen_digits, 1, "",
     "1 [tlv_data_extractor__transaction_id] Bad transactionId size 17. Minumum size 1, maximum size 16\n"},
    {"transaction_id_cut_off", transaction_id, "80 02 A1", 1, "",
     "1 [tlv_data_extractor__transaction_id] Error parsing the transactionId TLV, rc 1\n"},
    {"transaction_id_of_nothing", transaction_id, "", 4, "",
     "1 [tlv_data_extractor__transaction_id] tlv is empty/null\n"},

    {"challenge", challenge, "BF 2E 12 80 10" + sixteen_digits, 0, sixteen_digits, ""},
    {"challenge_whatever_its_tag", challenge, "BF 2E 12 04 10" + sixteen_digits, 0, sixteen_digits, ""},
    {"challenge_of_15_bytes", challenge, "BF 2E 11 80 0F 00112233445566778899AABBCCDDEE", 1, "",
     "1 [tlv_data_extractor__euicc_challenge] Bad eUICC Challenge length found in the TLV\n"},
    {"challenge_cut_off", challenge, "BF 2E 12 80 10 00 11", 1, "",
     "1 [tlv_data_extractor__euicc_challenge] Bad eUICC Challenge length found in the TLV\n"},
    {"challenge_response_missing", challenge, "BF 3E 12 80 10" + sixteen_digits, 1, "",
     "4 [tlv_data_extractor__euicc_challenge] not found GET_EUICC_CHALLENGE TAG\n"},
    {"challenge_response_empty", challenge, "BF 2E 00", 1, "",
     "1 [tlv_data_extractor__euicc_challenge] Error parsing the eUICC Challenge TLV, rc 1\n"},
    {"challenge_of_nothing", challenge, "", 4, "", "1 [tlv_data_extractor__euicc_challenge] tlv is empty/null\n"},

    {"eid", eid, "BF 3E 12 5A 10" + sixteen_digits, 0, sixteen_digits,
     "4 [tlv_data_extractor__get_euicc_data_response] eid Length=16\n"
     "4 [tlv_data_extractor__get_euicc_data_response] eid finded\n"
     "4 00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF\n"},
    {"eid_of_17_bytes", eid, "BF 3E 13 5A 11 00" + sixteen_digits, 1, "",
     "4 [tlv_data_extractor__get_euicc_data_response] eid Length=17\n"
     "1 [tlv_data_extractor__get_euicc_data_response] Bad EID length found in the TLV\n"},
    {"eid_response_missing", eid, "BF 2E 12 5A 10" + sixteen_digits, 1, "",
     "4 [tlv_data_extractor__get_euicc_data_response] not found GET_EUICC_DATA TAG\n"},
    {"eid_unreadable", eid, "BF 3E 02 5A 84", 1, "",
     "1 At position 4 the len is more then 3 [4]\n"
     "1 could not get the data length of the TLV, offset=4\n"
     "1 [tlv_data_extractor__get_euicc_data_response] ber_tlv_parser__ber_tlv failed, rc 1\n"},
    {"eid_of_nothing", eid, "", 4, "", "1 [tlv_data_extractor__get_euicc_data_response] tlv is empty/null\n"},
};

INSTANTIATE_TEST_SUITE_P(table, field, testing::ValuesIn(read_cases),
                         [](const auto &info) { return std::string(info.param.name); });

// --- What the table does not show ----------------------------------------------------------------------------------

TEST(field, is_refused_for_a_null_buffer)
{
    log_capture quiet(0);
    const reader readers[] = {
        result_code, result_code_with_parent, number,    boolean, key_identifier, iccid<0>, iccid<1>, fqdn,
        bit_string,  transaction_id,          challenge, eid};
    for (const reader &read : readers)
        EXPECT_EQ(read(nullptr, 5).code, 4u);
}

TEST(field, input_is_dumped_at_trace_level)
{
    const exact_block input("5A 0A 98 10 32 54 76 98 10 32 54 F6");
    log_capture log;
    iccid<0>(input.data(), input.size());
    EXPECT_TRUE(log.at(LOG__TRACE)
                    .starts_with("5 [tlv_data_extractor__iccid] ICCID TLV\n"
                                 "5 5A 0A 98 10 32 54 76 98 10 32 54 F6 \n"));
}

TEST(field, dumps_name_each_reader)
{
    const std::pair<reader, const char *> titles[] = {
        {result_code, "[tlv_data_extractor__result_code] result code TLV"},
        {number, "[tlv_data_extractor__uint32] INTEGER TLV"},
        {key_identifier, "[tlv_data_extractor__subject_key_identifier] SubjectKeyIdentifier TLV"},
        {fqdn, "[tlv_data_extractor__fqdn] FQDN TLV"},
        {bit_string, "[tlv_data_extractor__bit_string] BIT STRING TLV"},
        {transaction_id, "[tlv_data_extractor__transaction_id] transactionId TLV"},
    };
    const exact_block input("80 00");
    for (const auto &[read, title] : titles) {
        log_capture log;
        read(input.data(), input.size());
        EXPECT_TRUE(log.contains(title)) << title;
    }
}

TEST(field, challenge_is_traced)
{
    const exact_block input("BF 2E 12 80 10" + sixteen_digits);
    log_capture log;
    challenge(input.data(), input.size());
    EXPECT_TRUE(log.contains("[tlv_data_extractor__euicc_challenge] GET_EUICC_CHALLENGE TAG found at 0"));
    EXPECT_TRUE(log.contains("[tlv_data_extractor__euicc_challenge] offset = 3"));
    EXPECT_TRUE(log.contains("[tlv_data_extractor__euicc_challenge] eUICC challenge Length=16"));
    EXPECT_TRUE(log.at(LOG__TRACE)
                    .ends_with("5 [tlv_data_extractor__euicc_challenge] eUICC Challenge finded\n"
                               "5 00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF\n"));
}

TEST(field, eid_is_traced)
{
    const exact_block input("80 00 BF 3E 12 5A 10" + sixteen_digits);
    log_capture log;
    eid(input.data(), input.size());
    EXPECT_TRUE(log.contains("[tlv_data_extractor__get_euicc_data_response] GET_EUICC_DATA TAG found at 2"));
}

TEST(field, missing_transaction_id_keeps_the_old_bytes_but_not_the_length)
{
    const exact_block input("81 00");
    uint8_t present = 1;
    TransactionId id = {{0xA1, 0xB2}, 2};
    EXPECT_EQ(tlv_data_extractor__transaction_id(0x80, input.data(), input.size(), &present, &id), 0u);
    EXPECT_EQ(present, 0);
    EXPECT_EQ(id.length, 0);
}

TEST(hostile_input, never_leads_a_reader_outside_the_buffer)
{
    log_capture quiet(0);
    const reader readers[] = {
        result_code, result_code_with_parent, number,    boolean, key_identifier, iccid<0>, iccid<1>, fqdn,
        bit_string,  transaction_id,          challenge, eid};
    for_random_blocks(5000, [&readers](const exact_block &input) {
        for (const reader &read : readers)
            EXPECT_LE(read(input.data(), input.size()).code, 8u);
    });
}

} // namespace
