#include "es9/json_data_extractor.h"
#include "lpa/memory.h"
#include "support/log_capture.h"
#include "unit/fakes/failing_memory.h"
#include <gtest/gtest.h>
#include <memory>

namespace {
// The terminated document in a block of exactly its size.
std::unique_ptr<char[]> exact(const std::string &text)
{
    auto block = std::make_unique<char[]>(text.size() + 1);
    text.copy(block.get(), text.size());
    return block;
}

// One row for every scanner: outcome is the value or, for a failure, "rc N".
struct scan_case {
    const char *name, *document, *key, *outcome, *log;
};
class json_scan : public testing::TestWithParam<scan_case> {
  protected:
    template <typename Scan> static void expect(Scan scan)
    {
        log_capture log;
        const auto document = exact(GetParam().document);
        EXPECT_EQ(scan(document.get(), GetParam().key), GetParam().outcome);
        EXPECT_EQ(log.up_to(5), GetParam().log);
    }
};

std::string failed(uint32_t rc) { return "rc " + std::to_string(rc); }
std::string name_of(const auto &info) { return info.param.name; }

std::string string_value(const char *document, const char *key)
{
    const char *value = nullptr;
    uint32_t length = 0;
    const uint32_t rc = json_data_extractor__get_string_value(document, key, &value, &length);
    if (rc != 0) return failed(rc);
    EXPECT_GE(value, document);
    return {value, length};
}

std::string int_value(const char *document, const char *key)
{
    int32_t value = 4711;
    const uint32_t rc = json_data_extractor__get_int_value(document, key, &value);
    if (rc == 0) return std::to_string(value);
    EXPECT_EQ(value, 4711);
    return failed(rc);
}

std::string boolean_value(const char *document, const char *key)
{
    uint8_t value = 55;
    const uint32_t rc = json_data_extractor__get_boolean_value(document, key, &value);
    if (rc == 0) return std::to_string(value);
    EXPECT_EQ(value, 55);
    return failed(rc);
}

std::string object_value(const char *document, const char *key)
{
    const char *object = nullptr;
    uint32_t length = 0;
    const uint32_t rc = json_data_extractor__get_object_value(document, key, &object, &length);
    if (rc != 0) return failed(rc);
    EXPECT_GE(object, document);
    return {object, length};
}

class json_string_value : public json_scan {};
TEST_P(json_string_value, gives_value_and_log) { expect(string_value); }

INSTANTIATE_TEST_SUITE_P(
    table, json_string_value,
    testing::ValuesIn(std::to_array<scan_case>({
        {"status", R"({"status":"Executed-Success"})", "\"status\"", "Executed-Success", ""},
        {"escaped_quote_is_not_unescaped", R"({"a":"a\"b"})", "\"a\"", R"(a\"b)", ""},
        {"escaped_backslash_at_the_end_does_not_end_it", R"({"a":"b\\","c":"d"})", "\"a\"", R"(b\\",)", ""},
        {"empty", R"({"a":"","b":"c"})", "\"a\"", "", ""},
        {"number_runs_on_into_the_next_quoted_text", R"({"a":12,"b":"c"})", "\"a\"", "b", ""},
        {"key_in_an_earlier_string_value_is_found_there", R"({"x":"say \"k\" now","y":"1","k":"v"})", "\"k", "1", ""},
        {"key_that_is_a_whole_earlier_value_is_found_there", R"({"x":"k","y":"1","k":"v"})", "\"k\"", "1", ""},
        {"key_without_quotes_matches_inside_words", R"({"akb":"v","k":"w"})", "k", "v", ""},
        {"colon_may_stand_anywhere_later", R"({"a" "b" : "c"})", "\"a\"", "c", ""},
        {"first_of_two", R"({"a":"1","a":"2"})", "\"a\"", "1", ""},
        {"nested", R"({"h":{"a":"1"},"a":"2"})", "\"a\"", "1", ""},
        {"colon_in_the_key_counts_after_its_first_character", R"(:a:"v")", ":a", "v", ""},
        {"no_key", R"({"b":"c"})", "\"a\"", "rc 1",
         "4 json_data_extractor__get_string_value : key '\"a\"' not found\n"},
        {"empty_document", "", "\"a\"", "rc 1", "4 json_data_extractor__get_string_value : key '\"a\"' not found\n"},
        {"empty_key_in_an_empty_document", "", "", "rc 1",
         "4 json_data_extractor__get_string_value: character ':' not found after the key=''\n"},
        {"no_colon", R"({"a")", "\"a\"", "rc 1",
         "4 json_data_extractor__get_string_value: character ':' not found after the key='\"a\"'\n"},
        {"no_quote", R"({"a":12})", "\"a\"", "rc 1",
         "4 json_data_extractor__get_string_value: character '\"' not found after the key='\"a\"' and the character ':\n"},
        {"no_end_quote", R"({"a":"b)", "\"a\"", "rc 1",
         "4 [json_data_extractor__string_value_find_end_quote] char '\"' not found, cursor is null\n"
         "4 json_data_extractor__get_string_value: End quote not found\n"},
        {"nothing_after_the_opening_quote", R"({"a":")", "\"a\"", "rc 1",
         "4 [json_data_extractor__string_value_find_end_quote] char '\"' not found, cursor is null\n"
         "4 json_data_extractor__get_string_value: End quote not found\n"},
        {"escaped_quote_at_the_end_of_the_document", R"({"a":"b\")", "\"a\"", "rc 1",
         "4 [json_data_extractor__string_value_find_end_quote] char '\"' not found, cursor > str_end\n"
         "4 json_data_extractor__get_string_value: End quote not found\n"},
        {"text_after_an_escaped_quote_without_another", R"({"a":"b\"c)", "\"a\"", "rc 1",
         "4 [json_data_extractor__string_value_find_end_quote] char '\"' not found, cursor is null\n"
         "4 json_data_extractor__get_string_value: End quote not found\n"},
    })),
    [](const auto &info) { return name_of(info); });

class json_int_value : public json_scan {};
TEST_P(json_int_value, gives_value_and_log) { expect(int_value); }

INSTANTIATE_TEST_SUITE_P(
    table, json_int_value,
    testing::ValuesIn(std::to_array<scan_case>({
        {"ends_at_the_brace", R"({"n":12})", "\"n\"", "12", ""},
        {"ends_at_the_comma", R"({"n":12,"m":3})", "\"n\"", "12", ""},
        {"comma_after_the_inner_brace_is_preferred", R"({"o":{"n":12},"x":1})", "\"n\"", "12", ""},
        {"blanks_and_sign", R"({"n":  -7 })", "\"n\"", "-7", ""},
        {"not_a_number_is_0", R"({"n":"x"})", "\"n\"", "0", ""},
        {"first_character_is_not_the_brace", R"({"n":}})", "\"n\"", "0", ""},
        {"comma_right_after_the_colon", R"({"n":,})", "\"n\"", "0", ""},
        {"nineteen_characters_fit", R"({"n":0000000000000000012})", "\"n\"", "12", ""},
        {"span_of_20_characters_returns_9_not_1", R"({"n":00000000000000000012})", "\"n\"", "rc 9",
         "4 json_data_extractor__get_int_value:Not enough space to add number to the buffer. Buffer size 20, buffer size needed 21\n"},
        {"far_comma_makes_the_span_long", R"({"o":{"n":1}                  ,"x":2})", "\"n\"", "rc 9",
         "4 json_data_extractor__get_int_value:Not enough space to add number to the buffer. Buffer size 20, buffer size needed 21\n"},
        {"no_key", R"({"m":1})", "\"n\"", "rc 1", "4 json_data_extractor__get_int_value : key '\"n\"' not found\n"},
        {"no_colon", R"({"n" 1})", "\"n\"", "rc 1",
         "4 json_data_extractor__get_int_value: character ':' not found after the key='\"n\"'\n"},
        {"no_end", R"({"n":1)", "\"n\"", "rc 1",
         "4 json_data_extractor__get_int_value: character ',' or '}' not found after the key='\"n\"'\n"},
        {"brace_as_the_only_character", R"({"n":})", "\"n\"", "rc 1",
         "4 json_data_extractor__get_int_value: character ',' or '}' not found after the key='\"n\"'\n"},
        {"nothing_after_the_colon", R"({"n":)", "\"n\"", "rc 1",
         "4 json_data_extractor__get_int_value: character ',' or '}' not found after the key='\"n\"'\n"},
    })),
    [](const auto &info) { return name_of(info); });

TEST(json_int_value, counts_the_span_in_one_byte)
{
    const auto with_span = [](size_t length) { return "{\"n\":12" + std::string(length - 2, ' ') + "}"; };
    log_capture log;
    EXPECT_EQ(int_value(exact(with_span(255)).get(), "\"n\""), "rc 9");
    EXPECT_EQ(int_value(exact(with_span(256)).get(), "\"n\""), "0") << "no character";
    EXPECT_EQ(int_value(exact(with_span(257)).get(), "\"n\""), "1") << "one character";
    EXPECT_EQ(int_value(exact(with_span(258)).get(), "\"n\""), "12") << "two characters";
    EXPECT_EQ(
        log.up_to(5),
        "4 json_data_extractor__get_int_value:Not enough space to add number to the buffer. Buffer size 20, buffer size needed 256\n");
}

class json_boolean_value : public json_scan {};
TEST_P(json_boolean_value, gives_value_and_log) { expect(boolean_value); }

constexpr const char *no_true = "5 [json_data_extractor__get_boolean_value] boolean true not found after key '\"b\"'\n";

INSTANTIATE_TEST_SUITE_P(
    table, json_boolean_value,
    testing::ValuesIn(std::to_array<scan_case>({
        {"comma_after_the_inner_brace_is_preferred", R"({"o":{"b":1} true,"x":2})", "\"b\"", "1", ""},
        {"true_before_the_brace", R"({"b":true})", "\"b\"", "1", ""},
        {"true_before_the_comma", R"({"b": true ,"c":false})", "\"b\"", "1", ""},
        {"false_before_the_brace", R"({"b":false})", "\"b\"", "0", no_true},
        {"true_after_the_end_comma_does_not_count", R"({"b":false,"c":true})", "\"b\"", "0", no_true},
        {"true_is_tried_first", R"({"b":false true})", "\"b\"", "1", ""},
        {"neither", R"({"b":1,"c":true,"d":false})", "\"b\"", "rc 1",
         "5 [json_data_extractor__get_boolean_value] boolean true not found after key '\"b\"'\n"
         "5 [json_data_extractor__get_boolean_value] boolean false not found after key '\"b\"'\n"
         "2 [json_data_extractor__get_boolean_value] No boolean value found after find the key '\"b\"'\n"},
        {"no_key", R"({"c":true})", "\"b\"", "rc 1",
         "4 [json_data_extractor__get_boolean_value] key '\"b\"' not found\n"},
        {"no_colon", R"({"b" true})", "\"b\"", "rc 1",
         "4 [json_data_extractor__get_boolean_value] character ':' not found after the key='\"b\"'\n"},
        {"no_end", R"({"b":true)", "\"b\"", "rc 1",
         "4 [json_data_extractor__get_boolean_value] character ',' or '}' not found after the key='\"b\"'\n"},
    })),
    [](const auto &info) { return name_of(info); });

class json_object_value : public json_scan {};
TEST_P(json_object_value, gives_value_and_log) { expect(object_value); }

INSTANTIATE_TEST_SUITE_P(
    table, json_object_value,
    testing::ValuesIn(std::to_array<scan_case>({
        {"flat", R"({"o":{"a":1},"x":2})", "\"o\"", R"({"a":1})", ""},
        {"empty", R"({"o":{}})", "\"o\"", "{}", ""},
        {"nested", R"({"o":{"a":{"b":{}}},"x":2})", "\"o\"", R"({"a":{"b":{}}})", ""},
        {"brace_inside_a_string_closes_it_early", R"({"o":{"a":"}"}})", "\"o\"", R"({"a":"})", ""},
        {"runs_on_into_the_next_object", R"({"o":1,"p":{"a":1}})", "\"o\"", R"({"a":1})", ""},
        {"no_key", R"({"p":{}})", "\"o\"", "rc 1", "4 json_data_extractor__get_object_value : key '\"o\"' not found\n"},
        {"no_colon", R"({"o"{}})", "\"o\"", "rc 1",
         "4 json_data_extractor__get_object_value: character ':' not found after the key='\"o\"'\n"},
        {"no_brace", R"({"o":1})", "\"o\"", "rc 1",
         "4 json_data_extractor__get_object_value: character '{' not found after the key='\"o\"' and the character ':\n"},
        {"no_end", R"({"o":{"a":{})", "\"o\"", "rc 1",
         "4 json_data_extractor__get_object_value: character '}' corrsponding at the first '}' character not found\n"},
    })),
    [](const auto &info) { return name_of(info); });

using copy_operation = uint32_t (*)(const char *document, const char *key, char **value);

// The copy, or "rc N", with nothing handed out.
std::string copied(copy_operation copy, const char *document, const char *key)
{
    char untouched = 0;
    char *value = &untouched;
    const uint32_t rc = copy(document, key, &value);
    if (rc != 0) {
        EXPECT_EQ(value, nullptr);
        return failed(rc);
    }
    std::string result = value;
    M_free(value);
    return result;
}

struct copy_case {
    const char *name;
    copy_operation copy;
    const char *document, *value, *not_found_log, *no_memory_log;
};
class json_copy : public testing::TestWithParam<copy_case> {};

TEST_P(json_copy, is_terminated)
{
    log_capture log;
    EXPECT_EQ(copied(GetParam().copy, GetParam().document, "\"k\""), GetParam().value);
    EXPECT_EQ(log.up_to(5), "");
}

TEST_P(json_copy, passes_the_scanners_code_on)
{
    log_capture log;
    EXPECT_EQ(copied(GetParam().copy, "{}", "\"k\""), "rc 1");
    EXPECT_EQ(log.up_to(5), GetParam().not_found_log);
}

TEST_P(json_copy, answers_9_without_memory)
{
    log_capture log;
    failing_memory fails(1);
    EXPECT_EQ(copied(GetParam().copy, GetParam().document, "\"k\""), "rc 9");
    EXPECT_EQ(log.up_to(5), GetParam().no_memory_log);
}

INSTANTIATE_TEST_SUITE_P(table, json_copy,
                         testing::ValuesIn(std::to_array<copy_case>({
                             {"of_a_string", json_data_extractor__get_string_value_copy, R"({"k":"value"})", "value",
                              "4 json_data_extractor__get_string_value : key '\"k\"' not found\n"
                              "4 json_data_extractor__get_string_value_copy error finding the value, retrun code 1\n",
                              "4 json_data_extractor__get_string_value_copy error allocating memory\n"},
                             {"of_an_empty_string", json_data_extractor__get_string_value_copy, R"({"k":""})", "",
                              "4 json_data_extractor__get_string_value : key '\"k\"' not found\n"
                              "4 json_data_extractor__get_string_value_copy error finding the value, retrun code 1\n",
                              "4 json_data_extractor__get_string_value_copy error allocating memory\n"},
                             {"of_an_object", json_data_extractor__get_object_value_copy, R"({"k":{"a":1}})",
                              R"({"a":1})",
                              "4 json_data_extractor__get_object_value : key '\"k\"' not found\n"
                              "4 json_data_extractor__get_object_value_copy error finding the value, retrun code 1\n",
                              "4 json_data_extractor__get_object_value_copy error allocating memory\n"},
                         })),
                         [](const auto &info) { return name_of(info); });

TEST(json_scanners, find_nothing_in_a_null_document)
{
    EXPECT_EQ(string_value(nullptr, "\"a\""), "rc 1");
    EXPECT_EQ(int_value(nullptr, "\"a\""), "rc 1");
    EXPECT_EQ(boolean_value(nullptr, "\"a\""), "rc 1");
    EXPECT_EQ(object_value(nullptr, "\"a\""), "rc 1");
}

TEST(json_scanners, read_each_shortened_document_within_its_bytes)
{
    const std::string whole = R"({"a":"b\"c","n":12,"b":true,"o":{"p":{}}})";
    for (size_t length = 0; length <= whole.size(); ++length) {
        const auto document = exact(whole.substr(0, length));
        EXPECT_EQ(string_value(document.get(), "\"a\""), length >= 11 ? R"(b\"c)" : "rc 1") << length;
        EXPECT_EQ(int_value(document.get(), "\"n\""), length >= 19 ? "12" : "rc 1") << length;
        EXPECT_EQ(boolean_value(document.get(), "\"b\""), length >= 28 ? "1" : "rc 1") << length;
        EXPECT_EQ(object_value(document.get(), "\"o\""), length >= 40 ? R"({"p":{}})" : "rc 1") << length;
    }
}
} // namespace
