#include "foundation/byte_utils.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

namespace {
// A block of exactly size bytes, so that the address sanitizer sees each step outside; filled with EE.
std::unique_ptr<uint8_t[]> exact(size_t size)
{
    auto block = std::make_unique<uint8_t[]>(size);
    memset(block.get(), 0xEE, size);
    return block;
}

std::unique_ptr<uint8_t[]> exact(const std::vector<uint8_t> &content)
{
    auto block = exact(content.size());
    std::copy(content.begin(), content.end(), block.get());
    return block;
}

std::string name_of(const auto &info) { return info.param.name; }

TEST(hex_string_to_byte, takes_the_first_two_characters)
{
    uint8_t value = 0;
    EXPECT_EQ(byte_utils__hex_string_to_byte("9f7", &value), 0U);
    EXPECT_EQ(value, 0x9F);
    EXPECT_EQ(byte_utils__hex_string_to_byte("0A", &value), 0U);
    EXPECT_EQ(value, 0x0A);
}

TEST(hex_string_to_byte, reads_every_byte_in_both_cases)
{
    for (uint32_t byte = 0; byte < 256; ++byte) {
        char upper[3];
        char lower[3];
        snprintf(upper, sizeof upper, "%02X", byte);
        snprintf(lower, sizeof lower, "%02x", byte);
        uint8_t value = 0;
        EXPECT_EQ(byte_utils__hex_string_to_byte(upper, &value), 0U);
        EXPECT_EQ(value, byte);
        EXPECT_EQ(byte_utils__hex_string_to_byte(lower, &value), 0U);
        EXPECT_EQ(value, byte);
    }
}

TEST(hex_string_to_byte, answers_4_for_a_null_or_short_text_and_leaves_the_value)
{
    uint8_t value = 0x55;
    for (const char *text : {static_cast<const char *>(nullptr), "", "9"})
        EXPECT_EQ(byte_utils__hex_string_to_byte(text, &value), 4U);
    EXPECT_EQ(value, 0x55);
}

TEST(hex_string_to_byte, checks_no_digit)
{
    uint8_t value = 0;
    EXPECT_EQ(byte_utils__hex_string_to_byte("P0", &value), 0U); // (0x50 & 0x1F) + 9 is 25, modulo 25 is 0
    EXPECT_EQ(value, 0x00);
}

TEST(hex_string_to_short, takes_the_first_four_characters)
{
    uint16_t value = 0;
    EXPECT_EQ(byte_utils__hex_string_to_short("9F70xx", &value), 0U);
    EXPECT_EQ(value, 0x9F70);
    EXPECT_EQ(byte_utils__hex_string_to_short("00ff", &value), 0U);
    EXPECT_EQ(value, 0x00FF);
}

TEST(hex_string_to_short, answers_4_for_a_null_or_short_text_and_leaves_the_value)
{
    uint16_t value = 0x5555;
    for (const char *text : {static_cast<const char *>(nullptr), "", "9", "9F", "9F7"})
        EXPECT_EQ(byte_utils__hex_string_to_short(text, &value), 4U);
    EXPECT_EQ(value, 0x5555);
}

TEST(bytes_to_short, has_the_high_byte_first)
{
    EXPECT_EQ(byte_utils__bytes_to_short(0x9F, 0x70), 0x9F70);
    EXPECT_EQ(byte_utils__bytes_to_short(0xFF, 0xFF), 0xFFFF);
}

TEST(char_utf8_to_byte, is_the_byte_value_of_the_character)
{
    for (int byte = 1; byte < 256; ++byte) {
        uint8_t value = 0;
        EXPECT_EQ(byte_utils__char_UTF8_to_byte(static_cast<char>(byte), &value), 0U);
        EXPECT_EQ(value, byte);
    }
}

TEST(char_utf8_to_byte, answers_4_for_character_0)
{
    uint8_t value = 0x55;
    EXPECT_EQ(byte_utils__char_UTF8_to_byte('\0', &value), 4U);
    EXPECT_EQ(value, 0x55);
}

TEST(byte_array_to_hex_string, writes_upper_case_digits_without_terminator)
{
    const auto input = bytes("00 9F AB C1");
    const auto text = exact(8);
    EXPECT_EQ(byte_utils__byte_array_to_hex_string(input.data(), 4, reinterpret_cast<char *>(text.get()), 8), 0U);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(text.get()), 8), "009FABC1");
}

TEST(byte_array_to_hex_string, answers_4_for_too_small_a_text_and_leaves_it)
{
    const auto input = bytes("00 9F AB C1");
    for (uint32_t size = 0; size < 8; ++size) {
        const auto text = exact(size);
        EXPECT_EQ(byte_utils__byte_array_to_hex_string(input.data(), 4, reinterpret_cast<char *>(text.get()), size),
                  4U);
        EXPECT_EQ(hex(text.get(), size), hex(exact(size).get(), size));
    }
    EXPECT_EQ(byte_utils__byte_array_to_hex_string(input.data(), 0x80000000, nullptr, 0), 4U) << "2 * count wraps";
}

struct hex_case {
    const char *name, *text;
    int32_t result;
    const char *expected;
};
class hex_string_to_byte_array : public testing::TestWithParam<hex_case> {};

TEST_P(hex_string_to_byte_array, reads_pairs)
{
    const std::string text = GetParam().text;
    const auto input = exact({text.begin(), text.end()});
    const auto length = static_cast<uint32_t>(text.size());
    const uint32_t size = (length + 1) / 2;
    const auto out = exact(size);
    EXPECT_EQ(byte_utils__hex_string_to_byte_array(reinterpret_cast<char *>(input.get()), length, out.get(), size),
              GetParam().result);
    EXPECT_EQ(hex(out.get(), size), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(table, hex_string_to_byte_array,
                         testing::ValuesIn(std::to_array<hex_case>({
                             {"both_cases", "09aFAf", 3, "09AFAF"},
                             {"nothing", "", 0, ""},
                             {"bad_first_digit_zeroes_its_byte", "11g022", -1, "1100EE"},
                             {"bad_second_digit_zeroes_its_byte", "110/22", -1, "1100EE"},
                             {"before_the_digits", "/0", -1, "00"},
                             {"after_the_digits", ":0", -1, "00"},
                             {"before_upper_case", "@0", -1, "00"},
                             {"after_upper_case", "G0", -1, "00"},
                             {"before_lower_case", "`0", -1, "00"},
                             {"after_lower_case", "g0", -1, "00"},
                             {"odd_last_digit_is_no_byte", "112", -1, "1100"},
                         })),
                         [](const auto &info) { return name_of(info); });

TEST(hex_string_to_byte_array, answers_minus_4_when_the_text_is_longer_than_twice_the_size)
{
    const auto out = exact(2);
    EXPECT_EQ(byte_utils__hex_string_to_byte_array("112233", 6, out.get(), 2), -4);
    EXPECT_EQ(byte_utils__hex_string_to_byte_array("11223", 5, out.get(), 2), -4);
    EXPECT_EQ(hex(out.get(), 2), "EEEE");
    EXPECT_EQ(byte_utils__hex_string_to_byte_array("1122", 4, out.get(), 2), 2);
    EXPECT_EQ(byte_utils__hex_string_to_byte_array(nullptr, 2, out.get(), 2), -4);
}

struct integer_case {
    const char *name;
    uint32_t value;
    const char *content;
};
class der_integer : public testing::TestWithParam<integer_case> {};

TEST_P(der_integer, is_written_into_exactly_its_size_and_refused_by_anything_smaller)
{
    const auto expected = bytes(GetParam().content);
    const auto needed = static_cast<uint32_t>(expected.size());
    EXPECT_EQ(byte_utils__uint_to_byte_array(nullptr, 0, GetParam().value), static_cast<int32_t>(needed));
    const auto out = exact(needed);
    EXPECT_EQ(byte_utils__uint_to_byte_array(out.get(), needed, GetParam().value), static_cast<int32_t>(needed));
    EXPECT_EQ(hex(out.get(), needed), hex(expected));
    for (uint32_t size = 0; size < needed; ++size) {
        log_capture log;
        const auto small = exact(size);
        EXPECT_EQ(byte_utils__uint_to_byte_array(small.get(), size, GetParam().value), -4);
        EXPECT_EQ(hex(small.get(), size), hex(exact(size).get(), size));
        EXPECT_EQ(log.up_to(4), "1 Not enough space to add the unsigned integer to the buffer. Buffer size " +
                                    std::to_string(size) + ", buffer size needed " + std::to_string(needed) + "\n");
    }
}

TEST_P(der_integer, is_read_back)
{
    const auto content = exact(bytes(GetParam().content));
    uint32_t value = 0x55555555;
    EXPECT_EQ(
        byte_utils__byte_array_to_uint(content.get(), static_cast<uint32_t>(bytes(GetParam().content).size()), &value),
        0);
    EXPECT_EQ(value, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(table, der_integer,
                         testing::ValuesIn(std::to_array<integer_case>({
                             {"zero", 0, "00"},
                             {"one", 1, "01"},
                             {"largest_of_one_byte", 0x7F, "7F"},
                             {"value_0x80_is_00_80", 0x80, "00 80"},
                             {"value_255_is_00_FF", 255, "00 FF"},
                             {"value_256_is_01_00", 0x100, "01 00"},
                             {"largest_of_two_bytes", 0x7FFF, "7F FF"},
                             {"smallest_of_three_bytes", 0x8000, "00 80 00"},
                             {"value_2_to_the_24_is_01_00_00_00", 1U << 24, "01 00 00 00"},
                             {"largest_of_four_bytes", 0x7FFFFFFF, "7F FF FF FF"},
                             {"largest", 0xFFFFFFFF, "00 FF FF FF FF"},
                         })),
                         [](const auto &info) { return name_of(info); });

TEST(der_integer, traces_value_and_size)
{
    log_capture log;
    uint8_t out[5];
    byte_utils__uint_to_byte_array(out, sizeof out, 4294967295);
    byte_utils__uint_to_byte_array(nullptr, 0, 0);
    EXPECT_EQ(log.up_to(5), "5 [byte_utils__uint_to_byte_array] value=4294967295\n"
                            "5 [byte_utils__uint_to_byte_array] int_value_size=5\n"
                            "5 [byte_utils__uint_to_byte_array] value=0\n");
}

TEST(byte_array_to_uint, gives_0_for_nothing)
{
    uint32_t value = 5;
    EXPECT_EQ(byte_utils__byte_array_to_uint(nullptr, 4, &value), 0);
    EXPECT_EQ(value, 0U);
    value = 5;
    EXPECT_EQ(byte_utils__byte_array_to_uint(exact(0).get(), 0, &value), 0);
    EXPECT_EQ(value, 0U);
    value = 5;
    EXPECT_EQ(byte_utils__byte_array_to_uint(exact(bytes("00 00 00 00 00 00")).get(), 6, &value), 0);
    EXPECT_EQ(value, 0U);
}

TEST(byte_array_to_uint, skips_any_number_of_leading_zero_bytes)
{
    uint32_t value = 0;
    EXPECT_EQ(byte_utils__byte_array_to_uint(exact(bytes("00 00 00 01 02 03 04")).get(), 7, &value), 0);
    EXPECT_EQ(value, 0x01020304U);
}

TEST(byte_array_to_uint, answers_minus_4_for_more_than_4_significant_bytes_and_leaves_the_value)
{
    log_capture log;
    uint32_t value = 5;
    EXPECT_EQ(byte_utils__byte_array_to_uint(exact(bytes("00 01 02 03 04 05")).get(), 6, &value), -4);
    EXPECT_EQ(value, 5U);
    EXPECT_EQ(
        log.up_to(5),
        "1 [byte_utils__byte_array_to_uint] Cannot convert the value of this buffer to a uint32_t. Bytes of the uint32_t 4, bytes needed 5\n");
}

TEST(byte_array_to_uint, reads_each_shortened_input_within_its_bytes)
{
    const auto whole = bytes("01 02 03 04");
    const uint32_t expected[] = {0, 0x01, 0x0102, 0x010203, 0x01020304};
    for (uint32_t length = 0; length <= 4; ++length) {
        uint32_t value = 5;
        EXPECT_EQ(byte_utils__byte_array_to_uint(exact({whole.begin(), whole.begin() + length}).get(), length, &value),
                  0);
        EXPECT_EQ(value, expected[length]);
    }
}

TEST(byte_nibble_swap, exchanges_the_nibbles)
{
    EXPECT_EQ(byte_utils__byte_nibble_swap(0x98), 0x89);
    EXPECT_EQ(byte_utils__byte_nibble_swap(0x0F), 0xF0);
}

struct iccid_case {
    const char *name, *iccid;
    uint8_t wanted;
    uint32_t result;
    const char *expected;
};
class iccid_parse_format : public testing::TestWithParam<iccid_case> {};

TEST_P(iccid_parse_format, brings_ten_bytes_into_the_wanted_order)
{
    const auto iccid = exact(bytes(GetParam().iccid));
    EXPECT_EQ(byte_utils__iccid_parse_format(iccid.get(), GetParam().wanted), GetParam().result);
    EXPECT_EQ(hex(iccid.get(), ICCID_BYTES), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    table, iccid_parse_format,
    testing::ValuesIn(std::to_array<iccid_case>({
        {"swapped_to_plain", "98 10 32 54 76 98 10 32 54 F6", ICCID_ORDER_PLAIN, 0, "8901234567890123456F"},
        {"plain_stays_plain", "89 01 23 45 67 89 01 23 45 6F", ICCID_ORDER_PLAIN, 0, "8901234567890123456F"},
        {"plain_to_swapped", "89 01 23 45 67 89 01 23 45 6F", ICCID_ORDER_SWAPPED, 0, "981032547698103254F6"},
        {"swapped_stays_swapped", "98 10 32 54 76 98 10 32 54 F6", ICCID_ORDER_SWAPPED, 0, "981032547698103254F6"},
        {"neither_is_refused", "12 01 23 45 67 89 01 23 45 6F", ICCID_ORDER_PLAIN, 4, "1201234567890123456F"},
    })),
    [](const auto &info) { return name_of(info); });

TEST(iccid_parse_format, logs_a_first_byte_that_is_neither_89_nor_98)
{
    log_capture log;
    uint8_t iccid[ICCID_BYTES] = {0x1A};
    byte_utils__iccid_parse_format(iccid, ICCID_ORDER_SWAPPED);
    EXPECT_EQ(log.up_to(5),
              "1 [is_iccid_nibble_swaped] The first byte of the ICCID is not correct. Expected: 89 or 98, current: 1A\n"
              "1 [byte_utils__iccid_plain] The ICCID has an invalid format, rc 4\n");
}

TEST(iccid_parse_format, answers_4_for_null)
{
    EXPECT_EQ(byte_utils__iccid_parse_format(nullptr, ICCID_ORDER_PLAIN), 4U);
}
} // namespace
