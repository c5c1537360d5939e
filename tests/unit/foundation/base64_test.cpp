#include "foundation/base64.h"
#include "lpa/memory.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/fakes/failing_memory.h"
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

namespace {
std::unique_ptr<char[]> exact(const std::string &text)
{
    auto block = std::make_unique<char[]>(text.size());
    text.copy(block.get(), text.size());
    return block;
}

std::string encoded(const std::vector<uint8_t> &input)
{
    uint32_t length = 0;
    char *text = base64_encode(input.data(), static_cast<uint32_t>(input.size()), &length);
    if (!text) return "null";
    EXPECT_EQ(strlen(text), length);
    std::string result = text;
    M_free(text);
    return result;
}

// Decodes in exactly sized blocks: hex of the bytes, or "null".
std::string decoded(const std::string &input)
{
    const auto text = exact(input);
    uint32_t length = 0;
    uint8_t *data = base64_decode(text.get(), static_cast<uint32_t>(input.size()), &length);
    if (!data) return "null";
    std::string result = hex(data, length);
    M_free(data);
    return result;
}

struct rfc_case {
    const char *name, *plain, *text;
};
class base64 : public testing::TestWithParam<rfc_case> {};

TEST_P(base64, goes_there_and_back)
{
    const std::string plain = GetParam().plain;
    EXPECT_EQ(encoded({plain.begin(), plain.end()}), GetParam().text);
    EXPECT_EQ(decoded(GetParam().text), plain.empty() ? "null" : hex({plain.begin(), plain.end()}));
}

INSTANTIATE_TEST_SUITE_P(rfc_4648, base64,
                         testing::ValuesIn(std::to_array<rfc_case>({
                             {"nothing", "", ""},
                             {"one", "f", "Zg=="},
                             {"two", "fo", "Zm8="},
                             {"three", "foo", "Zm9v"},
                             {"four", "foob", "Zm9vYg=="},
                             {"five", "fooba", "Zm9vYmE="},
                             {"six", "foobar", "Zm9vYmFy"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(base64_encode, uses_every_character_of_the_alphabet_and_no_line_breaks)
{
    const auto all =
        bytes("00108310518720928B30D38F41149351559761969B71D79F8218A39259A7A29AABB2DBAFC31CB3D35DB7E39EBBF3DFBF");
    EXPECT_EQ(encoded(all), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    EXPECT_EQ(encoded(std::vector<uint8_t>(300, 0)), std::string(400, 'A'));
}

TEST(base64_encode, does_without_the_out_length)
{
    const uint8_t byte = 1;
    char *text = base64_encode(&byte, 1, nullptr);
    EXPECT_STREQ(text, "AQ==");
    M_free(text);
}

TEST(base64_encode, gives_null_when_the_size_wraps)
{
    const uint8_t byte = 1;
    for (const uint32_t length : {0x40000000U, 0x5FFFFFFFU, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
        EXPECT_EQ(base64_encode(&byte, length, nullptr), nullptr) << length;
}

TEST(base64_encode, gives_null_without_memory)
{
    const uint8_t byte = 1;
    uint32_t length = 5;
    failing_memory fails(1);
    EXPECT_EQ(base64_encode(&byte, 1, &length), nullptr);
    EXPECT_EQ(length, 5U);
}

struct decode_case {
    const char *name, *text, *bytes;
};
class base64_decode_of : public testing::TestWithParam<decode_case> {};

TEST_P(base64_decode_of, gives_bytes_or_null) { EXPECT_EQ(decoded(GetParam().text), GetParam().bytes); }

INSTANTIATE_TEST_SUITE_P(table, base64_decode_of,
                         testing::ValuesIn(std::to_array<decode_case>({
                             {"two_escaped_pads", "AQ\\u003d\\u003d", "01"},
                             {"one_escaped_pad", "AQI\\u003d", "0102"},
                             {"escaped_pad_after_a_pad", "AQ=\\u003d", "01"},
                             {"characters_outside_the_alphabet_are_skipped", "A\nQ\r I D-", "010203"},
                             {"skipped_character_behind_a_whole_group", "AQIDAQ\rID", "010203010203"},
                             {"pad_behind_a_whole_group", "AQIDAQ==AQID", "01020301"},
                             {"last_characters_of_the_alphabet", "+/+/", "FBFFBF"},
                             {"incomplete_group", "AQI", "null"},
                             {"only_characters_to_skip", "----", "null"},
                             {"three_pads", "A===", "null"},
                             {"four_pads", "====", "null"},
                             {"decoding_stops_after_a_padded_group", "AQ==AQID", "01"},
                             {"pad_in_front_counts_for_its_group", "=QID",
                              "0102"}, // the last byte is dropped: 00 00|01 00|0000 10|0000 11
                             {"escape_alone_is_text", "\\u003d", "null"},
                             {"two_escapes_alone_are_one", "\\u003d\\u003d", "null"},
                             {"escape_elsewhere_is_text", "\\u003dAQIAA", "null"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(base64_decode, rewrites_escaped_padding_in_the_callers_text)
{
    char two[] = "AQ\\u003d\\u003d";
    uint32_t length = 0;
    uint8_t *data = base64_decode(two, static_cast<uint32_t>(strlen(two)), &length);
    EXPECT_EQ(hex(data, length), "01");
    EXPECT_STREQ(two, "AQ==");
    M_free(data);
    char one[] = "AQI\\u003d";
    data = base64_decode(one, static_cast<uint32_t>(strlen(one)), &length);
    EXPECT_EQ(hex(data, length), "0102");
    EXPECT_STREQ(one, "AQI=");
    M_free(data);
}

TEST(base64_decode, rewrites_only_the_last_of_two_escapes_that_are_the_whole_text)
{
    char text[] = "\\u003d\\u003d";
    EXPECT_EQ(base64_decode(text, 12, nullptr), nullptr);
    EXPECT_STREQ(text, "\\u003d=");
    char one[] = "\\u003d";
    EXPECT_EQ(base64_decode(one, 6, nullptr), nullptr);
    EXPECT_STREQ(one, "\\u003d");
}

TEST(base64_decode, does_not_touch_other_texts)
{
    char text[] = "AQ==";
    uint8_t *data = base64_decode(text, 4, nullptr);
    EXPECT_STREQ(text, "AQ==");
    M_free(data);
    EXPECT_EQ(base64_decode(nullptr, 4, nullptr), nullptr);
}

TEST(base64_decode, gives_null_without_memory_and_leaves_the_length)
{
    char text[] = "AQ==";
    uint32_t length = 5;
    failing_memory fails(1);
    EXPECT_EQ(base64_decode(text, 4, &length), nullptr);
    EXPECT_EQ(length, 5U);
}

TEST(base64_decode, reads_each_shortened_text_within_its_characters)
{
    const std::string whole = "AQIDBAUGBw\\u003d\\u003d";
    const std::string expected = "010203040506";
    for (size_t length = 0; length <= 10; ++length) {
        const bool whole_groups = length > 0 && length % 4 == 0;
        EXPECT_EQ(decoded(whole.substr(0, length)), whole_groups ? expected.substr(0, length / 4 * 6) : "null")
            << length;
    }
    // With the last escape cut, the letters and digits of the first are characters like any other.
    for (size_t length = 11; length < whole.size(); ++length)
        EXPECT_EQ(decoded(whole.substr(0, length)) == "null", length != 13 && length != 18) << length;
    EXPECT_EQ(decoded(whole), "01020304050607");
}

// What b64_decode_static gives for an exactly sized text: in a buffer of the told size, and of each smaller one.
std::string statically_decoded(const std::string &input)
{
    const auto text = exact(input);
    const auto length = static_cast<uint32_t>(input.size());
    const int32_t needed = b64_decode_static(nullptr, 0, text.get(), length);
    if (needed < 0) return std::to_string(needed);
    const auto size = static_cast<uint32_t>(needed);
    for (uint32_t small = 0; small < size; ++small) {
        const auto out = std::make_unique<uint8_t[]>(small);
        EXPECT_EQ(b64_decode_static(out.get(), small, text.get(), length), -7);
        EXPECT_EQ(hex(out.get(), small), hex(std::vector<uint8_t>(small)));
    }
    const auto out = std::make_unique<uint8_t[]>(size);
    const int32_t written = b64_decode_static(out.get(), size, text.get(), length);
    EXPECT_LE(written, needed);
    // The same over the start of its own text.
    EXPECT_EQ(b64_decode_static(reinterpret_cast<uint8_t *>(text.get()), length, text.get(), length), written);
    EXPECT_EQ(hex(reinterpret_cast<uint8_t *>(text.get()), static_cast<size_t>(written)),
              hex(out.get(), static_cast<size_t>(written)));
    return hex(out.get(), static_cast<size_t>(written));
}

struct static_case {
    const char *name, *text, *result;
};
class b64_decode_static_of : public testing::TestWithParam<static_case> {};

TEST_P(b64_decode_static_of, gives_bytes_or_code) { EXPECT_EQ(statically_decoded(GetParam().text), GetParam().result); }

INSTANTIATE_TEST_SUITE_P(table, b64_decode_static_of,
                         testing::ValuesIn(std::to_array<static_case>({
                             {"whole_groups", "AQIDBAUG", "010203040506"},
                             {"one_pad", "AQI=", "0102"},
                             {"two_pads", "AQ==", "01"},
                             {"one_escaped_pad", "AQI\\u003d", "0102"},
                             {"two_escaped_pads", "AQ\\u003d\\u003d", "01"},
                             {"escaped_pad_after_a_pad", "AQ=\\u003d", "01"},
                             {"incomplete_group", "AQI", "-4"},
                             {"nothing", "", "-4"},
                             {"escaped_pad_alone", "\\u003d", "-4"},
                             {"skipped_characters_leave_their_group_out", "AQ\nIDBAU", "010203"},
                             {"wrong_backslash_counts_as_a_character_of_value_0", "A\\QIDAAA", "0004080C0000"},
                             {"escape_in_the_middle_is_a_pad", "AQI\\u003dAQIDBAA", "01020102"},
                             {"escape_behind_a_whole_group", "AQIDAQI\\u003dAQIDBAA", "01020301020102"},
                             {"padded_groups_go_on_with_fewer_bytes", "AQI=AQ==AQID", "01020101"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(b64_decode_static, returns_the_decoded_size_without_writing_for_a_null_output)
{
    EXPECT_EQ(b64_decode_static(nullptr, 0, "AQIDBAUGBw==", 12), 7);
    EXPECT_EQ(b64_decode_static(nullptr, 0, "AQIDBAUGBw\\u003d\\u003d", 22), 7);
}

TEST(b64_decode_static, answers_minus_4_for_null_and_for_lengths_beyond_its_result)
{
    log_capture log;
    EXPECT_EQ(b64_decode_static(nullptr, 0, nullptr, 4), -4);
    EXPECT_EQ(b64_decode_static(nullptr, 0, "AQID", 0), -4);
    EXPECT_EQ(b64_decode_static(nullptr, 0, "AQID", 0xFFFFFFFC), -4);
    EXPECT_EQ(log.up_to(5), "");
}

TEST(b64_decode_static, logs_its_failures)
{
    log_capture log;
    uint8_t out[6];
    EXPECT_EQ(b64_decode_static(out, sizeof out, "AQI", 3), -4);
    EXPECT_EQ(b64_decode_static(out, 2, "AQID", 4), -7);
    EXPECT_EQ(b64_decode_static(out, sizeof out, "A\\QI", 4), 3);
    EXPECT_EQ(
        log.up_to(5),
        "1 [b64_decode_static] Error calculating the size need it for decode, err -4\n"
        "1 [b64_decode_static] Not enough space to decode the base64 to the buffer. Buffer size 2, buffer size needed 3\n"
        "1 [b64_decode_static] Wrong character found '\\' on decoding\n");
}

TEST(b64_decode_static, reads_and_writes_within_bounds_whatever_the_text)
{
    log_capture log(0);
    const std::string pieces[] = {"A", "=", "\\", "\\u003d", "-", "Q"};
    constexpr size_t count = std::size(pieces);
    for (size_t number = 0; number < count * count * count * count * count * count; ++number) {
        std::string text;
        for (size_t left = number; left > 0; left /= count)
            text += pieces[left % count];
        const auto input = exact(text);
        const auto length = static_cast<uint32_t>(text.size());
        const int32_t needed = b64_decode_static(nullptr, 0, input.get(), length);
        if (needed < 0) continue;
        const auto out = std::make_unique<uint8_t[]>(static_cast<size_t>(needed));
        EXPECT_LE(b64_decode_static(out.get(), static_cast<uint32_t>(needed), input.get(), length), needed) << text;
    }
}
} // namespace
