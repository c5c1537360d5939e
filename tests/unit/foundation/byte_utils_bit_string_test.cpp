#include "foundation/byte_utils.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>

namespace {
std::unique_ptr<uint8_t[]> exact(const std::vector<uint8_t> &content)
{
    auto block = std::make_unique<uint8_t[]>(content.size());
    std::copy(content.begin(), content.end(), block.get());
    return block;
}

// One entry a bit: "101" is 01 00 01.
std::vector<uint8_t> bits(const std::string &digits)
{
    std::vector<uint8_t> result;
    for (const char digit : digits)
        result.push_back(digit == '1' ? 1 : 0);
    return result;
}

struct encode_case {
    const char *name, *bits, *content;
};
class bit_string_encode : public testing::TestWithParam<encode_case> {};

TEST_P(bit_string_encode, is_written_into_exactly_its_size_and_refused_by_anything_smaller)
{
    const auto input = exact(bits(GetParam().bits));
    const auto count = static_cast<uint32_t>(bits(GetParam().bits).size());
    const auto expected = bytes(GetParam().content);
    const auto needed = static_cast<uint32_t>(expected.size());
    EXPECT_EQ(byte_utils__bit_string_encode(nullptr, 0, input.get(), count), static_cast<int32_t>(needed));
    const auto out = exact(std::vector<uint8_t>(needed, 0xEE));
    EXPECT_EQ(byte_utils__bit_string_encode(out.get(), needed, input.get(), count), static_cast<int32_t>(needed));
    EXPECT_EQ(hex(out.get(), needed), hex(expected));
    for (uint32_t size = 0; size < needed; ++size) {
        log_capture log;
        const std::vector<uint8_t> untouched(size, 0xEE);
        const auto small = exact(untouched);
        EXPECT_EQ(byte_utils__bit_string_encode(small.get(), size, input.get(), count), -7);
        EXPECT_EQ(hex(small.get(), size), hex(untouched));
        EXPECT_EQ(
            log.up_to(5),
            "1 [byte_utils__bit_string_encode] Not enough space to add the encoded bit string to the buffer. Buffer size " +
                std::to_string(size) + ", buffer size needed " + std::to_string(needed) + "\n");
    }
}

INSTANTIATE_TEST_SUITE_P(table, bit_string_encode,
                         testing::ValuesIn(std::to_array<encode_case>({
                             {"bits_101_are_05_A0", "101", "05 A0"},
                             {"bits_000_are_nothing", "000", ""},
                             {"no_bits_are_nothing", "", ""},
                             {"first_bit", "1", "07 80"},
                             {"trailing_zeros_are_dropped", "1000000000", "07 80"},
                             {"seven_bits", "0000001", "01 02"},
                             {"nine_bits", "111111111", "07 FF 80"},
                             {"zeros_in_front_are_kept", "0000000000001", "03 00 08"},
                             {"eight_bits_lose_their_byte", "10100001", "08 00"},
                             {"sixteen_bits_lose_their_last_byte", "1010000010100001", "08 A0 00"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(bit_string_encode, takes_any_value_but_zero_for_a_set_bit)
{
    const uint8_t input[] = {0xFF, 0, 2};
    uint8_t out[2];
    EXPECT_EQ(byte_utils__bit_string_encode(out, sizeof out, input, 3), 2);
    EXPECT_EQ(hex(out, 2), "05A0");
}

TEST(bit_string_encode, takes_null_for_no_bits) { EXPECT_EQ(byte_utils__bit_string_encode(nullptr, 0, nullptr, 3), 0); }

struct decode_case {
    const char *name, *content;
    int32_t result;
    const char *bits, *log;
};
class bit_string_decode : public testing::TestWithParam<decode_case> {};

TEST_P(bit_string_decode, gives_bits_or_code_and_log)
{
    log_capture log(4);
    const auto content = bytes(GetParam().content);
    const auto length = static_cast<uint32_t>(content.size());
    const auto expected = bits(GetParam().bits);
    const auto input = exact(content);
    const auto out = exact(std::vector<uint8_t>(expected.size(), 0xEE));
    EXPECT_EQ(byte_utils__bit_string_decode(out.get(), static_cast<uint32_t>(expected.size()), input.get(), length),
              GetParam().result);
    EXPECT_EQ(log.up_to(4), GetParam().log);
    EXPECT_EQ(byte_utils__bit_string_decode(nullptr, 0, input.get(), length), GetParam().result);
    EXPECT_EQ(hex(out.get(), expected.size()), hex(expected));
}

INSTANTIATE_TEST_SUITE_P(
    table, bit_string_decode,
    testing::ValuesIn(std::to_array<decode_case>({
        {"content_07_80_is_one_set_bit", "07 80", 1, "1", ""},
        {"content_05_A0_is_101", "05 A0", 3, "101", ""},
        {"no_unused_bits", "00 A1", 8, "10100001", ""},
        {"two_bytes", "04 A1 50", 12, "101000010101", ""},
        {"no_bytes", "", 0, "", ""},
        {"empty_bit_string", "00", 0, "", ""},
        {"empty_bit_string_with_unused_bits", "05", -4, "",
         "1 [byte_utils__bit_string_decode] BIT STRING of size 1 SHALL be an empty BIT STRING. Expected value 0, current value 5\n"},
        {"content_08_00_is_refused", "08 00", -4, "",
         "1 [byte_utils__bit_string_decode] The maximum value for the unused bits of a BIT STRING is 7, current value 8\n"},
        {"single_byte_above_7_is_an_empty_bit_string_first", "08", -4, "",
         "1 [byte_utils__bit_string_decode] BIT STRING of size 1 SHALL be an empty BIT STRING. Expected value 0, current value 8\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(bit_string_decode, refuses_every_smaller_output_and_leaves_it)
{
    const auto content = bytes("04 A1 50");
    for (uint32_t size = 0; size < 12; ++size) {
        log_capture log(4);
        const std::vector<uint8_t> untouched(size, 0xEE);
        const auto small = exact(untouched);
        EXPECT_EQ(byte_utils__bit_string_decode(small.get(), size, content.data(), 3), -7);
        EXPECT_EQ(hex(small.get(), size), hex(untouched));
        EXPECT_EQ(
            log.up_to(4),
            "1 [byte_utils__bit_string_decode] Not enough space to write the decoded bit string to the buffer. Buffer size " +
                std::to_string(size) + ", buffer size needed 12\n");
    }
}

TEST(bit_string_decode, reads_each_shortened_content_within_its_bytes)
{
    const auto whole = bytes("00 A1 50 FF");
    for (uint32_t length = 0; length <= 4; ++length) {
        const auto input = exact({whole.begin(), whole.begin() + length});
        uint8_t out[24];
        const int32_t expected = length == 0 ? 0 : static_cast<int32_t>(length - 1) * 8;
        EXPECT_EQ(byte_utils__bit_string_decode(out, sizeof out, input.get(), length), expected);
    }
}

TEST(bit_string_decode, dumps_the_content_and_logs_null)
{
    log_capture log;
    EXPECT_EQ(byte_utils__bit_string_decode(nullptr, 0, bytes("07 80").data(), 2), 1);
    EXPECT_EQ(byte_utils__bit_string_decode(nullptr, 0, nullptr, 2), -4);
    EXPECT_EQ(log.up_to(5), "5 [byte_utils__bit_string_decode] plain BIT STRING\n"
                            "5 07 80 \n"
                            "1 [byte_utils__bit_string_decode] BIT STRING is empty or null\n");
}

TEST(bit_string_decode, refuses_more_bits_than_its_result_can_tell)
{
    log_capture log(4); // without the dump only the first byte is read
    const uint8_t content[] = {0};
    EXPECT_EQ(byte_utils__bit_string_decode(nullptr, 0, content, 0x10000000), -4);
}

TEST(bit_string, comes_back_as_it_went_unless_its_last_byte_is_full)
{
    for (uint32_t value = 1; value < 1U << 15; value += 2) { // 15 bits, the last one set
        uint8_t input[15];
        for (uint32_t i = 0; i < 15; ++i)
            input[i] = static_cast<uint8_t>(value >> (14 - i) & 1);
        uint8_t content[3];
        uint8_t output[15];
        ASSERT_EQ(byte_utils__bit_string_encode(content, sizeof content, input, 15), 3);
        ASSERT_EQ(byte_utils__bit_string_decode(output, sizeof output, content, 3), 15);
        ASSERT_TRUE(std::equal(input, input + 15, output));
    }
}
} // namespace
