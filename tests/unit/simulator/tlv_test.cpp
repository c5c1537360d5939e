#include "simulator/tlv.h"
#include "support/bytes.h"
#include <gtest/gtest.h>

namespace {
using sim::byte_vector;

struct encode_case {
    const char *name;
    uint16_t tag;
    size_t length;
    const char *head;
};
class tlv_encodes : public testing::TestWithParam<encode_case> {};

TEST_P(tlv_encodes, tag_and_shortest_length)
{
    const byte_vector value(GetParam().length, 0xAA);
    const byte_vector encoded = sim::tlv(GetParam().tag, value);
    EXPECT_EQ(hex(encoded.data(), encoded.size() - value.size()), GetParam().head);
    EXPECT_TRUE(std::equal(value.begin(), value.end(), encoded.end() - static_cast<ptrdiff_t>(value.size())));
    const auto read = sim::read_element(encoded);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tag, GetParam().tag);
    EXPECT_EQ(read->value.size(), value.size());
    EXPECT_EQ(read->whole.size(), encoded.size());
}

INSTANTIATE_TEST_SUITE_P(table, tlv_encodes,
                         testing::ValuesIn(std::to_array<encode_case>({
                             {"nothing_in_it", 0x5A, 0, "5A00"},
                             {"longest_short_form", 0x5A, 127, "5A7F"},
                             {"one_length_byte", 0x5A, 128, "5A8180"},
                             {"longest_with_one_length_byte", 0xBF2D, 255, "BF2D81FF"},
                             {"two_length_bytes", 0xBF2D, 256, "BF2D820100"},
                             {"three_length_bytes", 0xA3, 0x10000, "A383010000"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

struct refuse_case {
    const char *name, *input;
};
class read_element_refuses : public testing::TestWithParam<refuse_case> {};

TEST_P(read_element_refuses, damaged_input)
{
    const auto input = bytes(GetParam().input);
    EXPECT_FALSE(sim::read_element(input));
    EXPECT_FALSE(sim::find_child(input, 0x5A));
}

INSTANTIATE_TEST_SUITE_P(table, read_element_refuses,
                         testing::ValuesIn(std::to_array<refuse_case>({
                             {"nothing", ""},
                             {"a_tag_alone", "5A"},
                             {"half_a_tag", "BF"},
                             {"a_tag_of_three_bytes", "BF 81 01 00"},
                             {"a_value_beyond_the_end", "5A 02 01"},
                             {"the_indefinite_form", "5A 80 00 00"},
                             {"five_length_bytes", "5A 85 00 00 00 00 01 AA"},
                             {"length_bytes_beyond_the_end", "5A 82 01"},
                             {"a_huge_length", "5A 84 FF FF FF FF AA"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(read_element, takes_lengths_longer_than_needed)
{
    const auto input = bytes("5A 82 00 01 AA BB");
    const auto read = sim::read_element(input);
    ASSERT_TRUE(read);
    EXPECT_EQ(hex(read->value.data(), read->value.size()), "AA");
    EXPECT_EQ(read->whole.size(), 5U);
}

TEST(read_elements, gives_all_or_nothing)
{
    const auto good = bytes("80 01 AA BF 2F 00 81 00");
    const auto read = sim::read_elements(good);
    ASSERT_TRUE(read);
    ASSERT_EQ(read->size(), 3U);
    EXPECT_EQ((*read)[1].tag, 0xBF2F);
    EXPECT_FALSE(sim::read_elements(bytes("80 01 AA 81")));
    EXPECT_TRUE(sim::read_elements({})->empty());
}

TEST(find_child, looks_among_siblings_only)
{
    const auto input = bytes("A0 03 5A 01 11 5A 01 22");
    const auto found = sim::find_child(input, 0x5A);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->value[0], 0x22);
    EXPECT_FALSE(sim::find_child(input, 0x81));
}

TEST(integer_value, never_reads_as_negative)
{
    EXPECT_EQ(hex(sim::integer_value(0)), "00");
    EXPECT_EQ(hex(sim::integer_value(127)), "7F");
    EXPECT_EQ(hex(sim::integer_value(128)), "0080");
    EXPECT_EQ(hex(sim::integer_value(0xFFFFFFFF)), "00FFFFFFFF");
    EXPECT_EQ(sim::to_uint(sim::integer_value(0x12345678)), 0x12345678U);
}

TEST(join, keeps_the_order)
{
    const byte_vector first{1, 2};
    const byte_vector last{3};
    EXPECT_EQ(hex(sim::join({first, {}, last})), "010203");
}
} // namespace
