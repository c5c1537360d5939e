#include "simulator/blob.h"
#include "support/bytes.h"
#include <array>
#include <gtest/gtest.h>

namespace {
using namespace sim;
using nlohmann::json;

TEST(blob, writes_attributes_with_padding)
{
    EXPECT_EQ(hex(write_blob_attribute(7, bytes("AA"))), "07000005AA000000");
    EXPECT_EQ(hex(write_blob_uint32(3, 0x01020304)), "0300000801020304");
    EXPECT_EQ(hex(write_blob_text(2, "abc")), "0200000861626300");
    EXPECT_EQ(hex(write_blob_field(field_type::string, "path", bytes("2F00"))), "8300000E00047061746800002F000000");
    EXPECT_THROW(write_blob_attribute(1, byte_vector(0xFFFFFC)), std::length_error);
}

TEST(blob, reads_attributes)
{
    const byte_vector data = bytes("07000005AA000000 83000004");
    const auto attributes = read_blob_attributes(data);
    ASSERT_TRUE(attributes);
    ASSERT_EQ(attributes->size(), 2U);
    EXPECT_EQ(attributes->at(0).id, 7);
    EXPECT_FALSE(attributes->at(0).extended);
    EXPECT_EQ(attributes->at(0).value.size(), 1U);
    EXPECT_EQ(attributes->at(1).id, 3);
    EXPECT_TRUE(attributes->at(1).extended);
    EXPECT_TRUE(attributes->at(1).value.empty());
}

struct malformed_case {
    const char *name, *data;
};
class malformed_attributes : public testing::TestWithParam<malformed_case> {};
TEST_P(malformed_attributes, are_refused) { EXPECT_FALSE(read_blob_attributes(bytes(GetParam().data))); }
INSTANTIATE_TEST_SUITE_P(table, malformed_attributes,
                         testing::ValuesIn(std::to_array<malformed_case>({
                             {"head_cut_short", "070000"},
                             {"length_below_its_head", "07000003"},
                             {"runs_over_the_end", "07000009 00000000"},
                             {"padding_missing", "07000005 AA"},
                             {"second_malformed", "07000004 00"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

class malformed_fields : public testing::TestWithParam<malformed_case> {};
TEST_P(malformed_fields, are_refused) { EXPECT_FALSE(blob_fields_to_list(bytes(GetParam().data))); }
INSTANTIATE_TEST_SUITE_P(table, malformed_fields,
                         testing::ValuesIn(std::to_array<malformed_case>({
                             {"not_extended", "03000008 00000000"},
                             {"unknown_type", "89000008 00000000"},
                             {"type_0", "80000008 00000000"},
                             {"no_name", "83000006 00000000"},
                             {"name_runs_over_the_end", "83000008 00044142"},
                             {"name_without_its_zero", "8500000C 00014141 00000000"},
                             {"string_without_zero", "8300000C 00014100 41414141"},
                             {"string_with_zero_within", "8300000C 00014100 41004100"},
                             {"empty_string_without_zero", "83000008 00014100"},
                             {"int32_of_2_bytes", "8500000A 00014100 00010000"},
                             {"nested_malformed", "8200000C 00014100 00000001"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(blob, turns_fields_of_every_type_into_json)
{
    const auto field = [](field_type type, const char *name, const char *value) {
        return write_blob_field(type, name, bytes(value));
    };
    const byte_vector inner = join({field(field_type::int32, "", "FFFFFFFF"), field(field_type::string, "", "6100")});
    const byte_vector table = join({
        write_blob_field(field_type::array, "list", inner),
        write_blob_field(field_type::table, "table", field(field_type::int16, "n", "8000")),
        field(field_type::int64, "long", "0000000100000000"),
        field(field_type::int8, "flag", "01"),
        field(field_type::real, "real", "3FF8000000000000"),
    });
    EXPECT_EQ(blob_fields_to_json(table), json::parse(R"({"list":[-1,"a"],"table":{"n":-32768},"long":4294967296,
                                                          "flag":true,"real":1.5})"));
    EXPECT_EQ(blob_fields_to_list(table)->at(1),
              json::parse(R"({"name":"table","type":"table","value":{"n":-32768}})"));
}

TEST(blob, refuses_tables_nested_too_deeply)
{
    byte_vector table;
    for (int depth = 0; depth < 15; ++depth)
        table = write_blob_field(field_type::table, "t", table);
    EXPECT_TRUE(blob_fields_to_json(table));
    for (int depth = 0; depth < 5; ++depth)
        table = write_blob_field(field_type::table, "t", table);
    EXPECT_FALSE(blob_fields_to_json(table));
}

TEST(blob, finds_a_field_by_name_and_type)
{
    const byte_vector data = join({write_blob_field(field_type::int32, "id", bytes("00000001")),
                                   write_blob_field(field_type::string, "id", bytes("6100"))});
    const auto fields = *read_blob_fields(data);
    EXPECT_EQ(blob_to_text(*find_blob_field(fields, "id", field_type::string)), "a");
    EXPECT_FALSE(find_blob_field(fields, "id", field_type::table));
    EXPECT_FALSE(find_blob_field(fields, "data", field_type::string));
}
} // namespace
