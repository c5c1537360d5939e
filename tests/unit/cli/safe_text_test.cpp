#include "cli/safe_text.h"
#include <gtest/gtest.h>

namespace {

struct text_case {
    const char *name;
    std::string text;
    const char *printable, *json;
};
void PrintTo(const text_case &row, std::ostream *out) { *out << row.name; }

class safe_text : public testing::TestWithParam<text_case> {};

TEST_P(safe_text, is_harmless)
{
    EXPECT_EQ(printable(GetParam().text), GetParam().printable);
    EXPECT_EQ(escaped_json(GetParam().text), GetParam().json);
}

using namespace std::string_literals;

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, safe_text, testing::ValuesIn(std::vector<text_case>{
    {"empty", "", "", ""},
    {"plain", "Data 5 \"x\" \\ ~", "Data 5 \"x\" \\ ~", "Data 5 \"x\" \\ ~"},
    {"two_three_and_four_bytes", "é€😀", "é€😀", "é€😀"},
    {"zero", "a\0b"s, "a\\x00b", "a\\u0000b"},
    {"line_end", "\r\n", "\\x0D\\x0A", "\\u000d\\u000a"},
    {"escape", "\x1B[0m", "\\x1B[0m", "\\u001b[0m"},
    {"delete_character", "\x7F", "\\x7F", "\\u007f"},
    {"first_c1", "\xC2\x80", "\\u0080", "\\u0080"},
    {"last_c1", "\xC2\x9F", "\\u009F", "\\u009f"},
    {"after_c1", "\xC2\xA0", "\xC2\xA0", "\xC2\xA0"},
    {"line_separator", "\xE2\x80\xA8", "\\u2028", "\\u2028"},
    {"right_to_left_override", "\xE2\x80\xAE", "\\u202E", "\\u202e"},
    {"right_to_left_mark", "\xE2\x80\x8F", "\\u200F", "\\u200f"},
    {"isolate", "\xE2\x81\xA6", "\\u2066", "\\u2066"},
    {"arabic_letter_mark", "\xD8\x9C", "\\u061C", "\\u061c"},
    {"lone_continuation", "\x80", "\\x80", "\\ufffd"},
    {"cut_sequence", "\xE2\x82", "\\xE2\\x82", "\\ufffd\\ufffd"},
    {"broken_sequence", "\xC3(", "\\xC3(", "\\ufffd("},
    {"overlong_two_bytes", "\xC0\xAF", "\\xC0\\xAF", "\\ufffd\\ufffd"},
    {"overlong_three_bytes", "\xE0\x80\xAF", "\\xE0\\x80\\xAF", "\\ufffd\\ufffd\\ufffd"},
    {"surrogate", "\xED\xA0\x80", "\\xED\\xA0\\x80", "\\ufffd\\ufffd\\ufffd"},
    {"beyond_unicode", "\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80", "\\ufffd\\ufffd\\ufffd\\ufffd"},
    {"byte_that_never_occurs", "\xFF", "\\xFF", "\\ufffd"},
}), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

TEST(valid_utf8, replaces_only_what_is_none)
{
    EXPECT_EQ(valid_utf8("a\x1B é\xFF\xE2\x82"), "a\x1B é\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(display_width, counts_columns)
{
    EXPECT_EQ(display_width(""), 0u);
    EXPECT_EQ(display_width("abc"), 3u);
    EXPECT_EQ(display_width("é€"), 2u);
    EXPECT_EQ(display_width("漢字"), 4u);
    EXPECT_EQ(display_width("e\u0301"), 1u); // an accent that combines
}

} // namespace
