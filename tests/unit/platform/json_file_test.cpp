#include "platform/config/json_file.h"
#include "unit/platform/scripted_terminal.h"
#include <array>
#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>

namespace {
// A file and what is read of it.
struct parsed {
    explicit parsed(const std::string &text) : on_disk("LPA_TEST_FILE", text)
    {
        root = json_file__read(&file, getenv("LPA_TEST_FILE"), &problem);
    }
    file_in_environment on_disk;
    json_file file;
    const char *problem = nullptr;
    json_value root = {};
};

std::string text_of(json_value value)
{
    char *text = json_file__copy_text(value);
    const std::string result = text ? text : "(none)";
    free(text);
    return result;
}

struct form_case {
    const char *name, *text;
    bool well_formed;
};
class json_form : public testing::TestWithParam<form_case> {};

TEST_P(json_form, is_checked)
{
    const parsed given(GetParam().text);
    EXPECT_EQ(given.root.begin != nullptr, GetParam().well_formed);
    EXPECT_STREQ(given.problem, GetParam().well_formed ? nullptr : "it is not well-formed JSON");
}

INSTANTIATE_TEST_SUITE_P(table, json_form,
                         testing::ValuesIn(std::to_array<form_case>({
                             {"object", " { \"a\" : 1 , \"b\" : [ true , false , null ] } \r\n\t", true},
                             {"empty_lists", "[[],{}]", true},
                             {"numbers", "[0,-1,2.5,1e3,1.5E-2,7E+1]", true},
                             {"escapes", R"(["\"\\\/\b\f\n\r\tA"])", true},
                             {"depth_16", "[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]", true},
                             {"depth_17", "[[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]]", false},
                             {"nothing", "  ", false},
                             {"two_values", "1 2", false},
                             {"open_object", "{\"a\":1", false},
                             {"open_text", "\"abc", false},
                             {"line_end_in_text", "\"a\nb\"", false},
                             {"bad_escape", R"("\x")", false},
                             {"short_unicode", R"("\u12G4")", false},
                             {"escape_at_the_end", "\"\\", false},
                             {"name_without_quotes", "{a:1}", false},
                             {"no_colon", "{\"a\" 1}", false},
                             {"comma_before_the_end", "[1,]", false},
                             {"no_comma", "[1 2]", false},
                             {"lone_minus", "-", false},
                             {"lone_point", "1.", false},
                             {"lone_exponent", "1e", false},
                             {"other_word", "nul", false},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(json_file, finds_members_and_elements)
{
    const parsed given(R"({"a" : {"x":1}, "b":[10, [20] ,"thirty"], "a":"later"})");
    EXPECT_EQ(text_of(json_file__element(json_file__member(given.root, "b"), 2)), "thirty");
    int64_t number = 0;
    EXPECT_TRUE(json_file__thousandths(json_file__member(json_file__member(given.root, "a"), "x"), &number));
    EXPECT_EQ(number, 1000);
    EXPECT_EQ(json_file__element(json_file__member(given.root, "b"), 3).begin, nullptr);
    EXPECT_EQ(json_file__member(given.root, "c").begin, nullptr);
    EXPECT_EQ(json_file__member(json_file__member(given.root, "b"), "a").begin, nullptr);
    EXPECT_EQ(json_file__element(given.root, 0).begin, nullptr);
    EXPECT_EQ(json_file__element(json_absent, 0).begin, nullptr);
    EXPECT_EQ(json_file__member(json_absent, "a").begin, nullptr);
    EXPECT_EQ(text_of(json_absent), "(none)");
    EXPECT_EQ(text_of(given.root), "(none)");
}

TEST(json_file, resolves_escapes)
{
    const parsed given(R"(["a\"b\\c\/d\b\f\n\r\te","\u0041\u00e9\u20AC\ud83d\ude00","\ud83dx\ude00"])");
    EXPECT_EQ(text_of(json_file__element(given.root, 0)), "a\"b\\c/d\b\f\n\r\te");
    EXPECT_EQ(text_of(json_file__element(given.root, 1)), "A\u00e9\u20AC\U0001F600");
    EXPECT_EQ(text_of(json_file__element(given.root, 2)), "\uFFFDx\uFFFD");
}

struct number_case {
    const char *name, *text;
    int64_t thousandths; // -1: refused
};
class json_number : public testing::TestWithParam<number_case> {};

TEST_P(json_number, is_read_in_thousandths)
{
    const parsed given(GetParam().text);
    int64_t number = -1;
    EXPECT_EQ(json_file__thousandths(given.root, &number), GetParam().thousandths >= 0);
    EXPECT_EQ(number, GetParam().thousandths);
}

INSTANTIATE_TEST_SUITE_P(table, json_number,
                         testing::ValuesIn(std::to_array<number_case>({
                             {"whole", "60", 60000},
                             {"zero", "0", 0},
                             {"tenth", "0.1", 100},
                             {"three_decimals", "1.234", 1234},
                             {"more_decimals_are_cut_off", "1.23499", 1234},
                             {"largest", "1000000000", 1000000000000},
                             {"too_large", "1000000001", -1},
                             {"far_too_large", "99999999999999999999", -1},
                             {"negative", "-1", -1},
                             {"exponent", "1e3", -1},
                             {"text", "\"1\"", -1},
                             {"word", "true", -1},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(json_file, takes_files_up_to_64_KiB)
{
    const std::string largest = "[1" + std::string(64 * 1024 - 3, ' ') + "]";
    EXPECT_NE(parsed(largest).root.begin, nullptr);
    const parsed larger(largest + " ");
    EXPECT_EQ(larger.root.begin, nullptr);
    EXPECT_STREQ(larger.problem, "File too large");
}

TEST(json_file, tells_why_a_file_cannot_be_read)
{
    json_file file;
    const char *problem = nullptr;
    EXPECT_EQ(json_file__read(&file, "/tmp", &problem).begin, nullptr);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_STREQ(problem, "Is a directory");
}
} // namespace
