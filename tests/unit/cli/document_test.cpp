#include "cli/document.h"
#include <gtest/gtest.h>

namespace {

struct document_case {
    const char *name, *text;
    const char *json; // as it is written again; null: none of the library's
};
void PrintTo(const document_case &row, std::ostream *out) { *out << row.name; }

class document : public testing::TestWithParam<document_case> {};

TEST_P(document, is_read_as_the_library_means_it)
{
    const json read = read_document(GetParam().text);
    EXPECT_EQ(read.is_discarded(), GetParam().json == nullptr);
    if (GetParam().json) {
        EXPECT_EQ(json_text(read), GetParam().json);
        EXPECT_EQ(json::parse(json_text(read)), read);
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(table, document, testing::ValuesIn(std::vector<document_case>{
    {"empty_list", "[]", "[]"},
    {"empty_object", "{}", "{}"},
    {"number", R"({"free_memory":4294967295})", R"({"free_memory":4294967295})"},
    {"text", R"({"eid":"89"})", R"({"eid":"89"})"},
    {"order_of_members", R"([{"status":1,"name":"N","bootstrap":0}])", R"([{"status":1,"name":"N","bootstrap":0}])"},
    {"two_objects", R"([{"iccid":"1","bootstrap":0},{"iccid":"2","bootstrap":1}])", R"([{"iccid":"1","bootstrap":0},{"iccid":"2","bootstrap":1}])"},
    {"empty_text", R"({"name":"","bootstrap":0})", R"({"name":"","bootstrap":0})"},
    {"quote", R"([{"name":"5" display","bootstrap":0}])", R"([{"name":"5\" display","bootstrap":0}])"},
    {"quotes_at_both_ends", R"([{"name":""quoted"","bootstrap":0}])", R"([{"name":"\"quoted\"","bootstrap":0}])"},
    {"quote_before_comma", R"([{"name":"a","b","bootstrap":0}])", R"([{"name":"a\",\"b","bootstrap":0}])"},
    {"quote_before_brace", R"([{"name":"a"}b","bootstrap":0}])", R"([{"name":"a\"}b","bootstrap":0}])"},
    {"quote_before_a_known_member_again", R"([{"name":"a","name":"b","bootstrap":0}])", R"([{"name":"a\",\"name\":\"b","bootstrap":0}])"},
    {"quote_before_an_unknown_member", R"([{"name":"a","other":"b","bootstrap":0}])", R"([{"name":"a\",\"other\":\"b","bootstrap":0}])"},
    {"quote_in_the_last_text", R"({"result":2,"description":"a"b"})", R"({"result":2,"description":"a\"b"})"},
    {"imitation_that_nothing_tells_apart", R"([{"nickname":"a","name":"b","bootstrap":0}])", R"([{"nickname":"a","name":"b","bootstrap":0}])"},
    {"backslash", R"([{"name":"a\nb\","bootstrap":0}])", R"([{"name":"a\\nb\\","bootstrap":0}])"},
    {"control_character", "{\"name\":\"a\nb\"}", R"({"name":"a\nb"})"},
    {"no_utf8", "{\"name\":\"a\xFF\"}", "{\"name\":\"a\xEF\xBF\xBD\"}"},
    {"nothing", "", nullptr},
    {"text_alone", "\"a\"", nullptr},
    {"cut_list", R"([{"name":"a"})", nullptr},
    {"cut_object", R"({"name":"a")", nullptr},
    {"cut_text", R"({"name":"a)", nullptr},
    {"something_behind", R"({"name":"a"}{)", nullptr},
    {"unknown_member", R"({"other":"a"})", nullptr},
    {"list_of_numbers", "[1]", nullptr},
    {"no_number", R"({"status":A})", nullptr},
    {"number_too_large", R"({"status":99999999999999999999})", nullptr},
    {"list_not_ended", R"([{"bootstrap":0},])", nullptr},
}), [](const auto &info) { return std::string(info.param.name); });
// clang-format on

TEST(json_text, takes_texts_that_are_no_utf8) { EXPECT_EQ(json_text({{"a", "\xFF"}}), "{\"a\":\"\xEF\xBF\xBD\"}"); }

} // namespace
