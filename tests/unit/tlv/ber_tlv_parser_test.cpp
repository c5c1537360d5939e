#include "foundation/log.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "tlv/ber_tlv_parser.h"
#include "unit/tlv/exact_block.h"
#include <array>
#include <gtest/gtest.h>

namespace {

std::string zeros(size_t count)
{
    std::string digits;
    for (size_t i = 0; i < count; ++i)
        digits += "00";
    return digits;
}

// --- Heads ---------------------------------------------------------------------------------------------------------

struct head_case {
    const char *name, *head;
    uint16_t tag;
    uint8_t tag_bytes;
    uint32_t length;
    uint8_t length_bytes;
};
class head : public testing::TestWithParam<head_case> {};

TEST_P(head, is_read_alike_by_every_operation)
{
    const head_case &expected = GetParam();
    const exact_block input(expected.head + zeros(expected.length));
    const uint32_t length_offset = expected.tag_bytes;
    const uint32_t value_offset = length_offset + expected.length_bytes;

    EXPECT_EQ(ber_tlv_parser__get_tag_bytes_count(input.data(), 0), expected.tag_bytes);
    EXPECT_EQ(ber_tlv_parser__get_tlv_tag(input.data(), 0), expected.tag);
    EXPECT_EQ(ber_tlv_parser__get_length_offset(input.data(), 0), length_offset);
    EXPECT_EQ(ber_tlv_parser__get_length_bytes_count(input.data(), length_offset), expected.length_bytes);
    EXPECT_EQ(ber_tlv_parser__get_value_offset(input.data(), 0), value_offset);

    uint16_t tag = 0;
    uint8_t tag_bytes = 0;
    EXPECT_EQ(ber_tlv_parser__get_tag_data(input.data(), input.size(), 0, &tag, &tag_bytes), 0u);
    EXPECT_EQ(tag, expected.tag);
    EXPECT_EQ(tag_bytes, expected.tag_bytes);

    uint32_t length = 99;
    EXPECT_EQ(ber_tlv_parser__get_data_length(input.data(), length_offset, &length), 0u);
    EXPECT_EQ(length, expected.length);

    uint32_t tlv_size = 0, full_length = 0;
    EXPECT_EQ(ber_tlv_parser__get_tlv_bytes_count(input.data(), 0, &tlv_size), 0u);
    EXPECT_EQ(ber_tlv_parser__get_full_tlv_length(input.data(), 0, &full_length), 0u);
    EXPECT_EQ(tlv_size, value_offset + expected.length);
    EXPECT_EQ(full_length, tlv_size);

    for (const bool bounded : {false, true}) {
        ber_tlv_record record = {};
        const uint32_t rc = bounded ? ber_tlv_parser__ber_tlv_2(input.data(), input.size(), 0, &record)
                                    : ber_tlv_parser__ber_tlv(input.data(), 0, &record);
        EXPECT_EQ(rc, 0u);
        EXPECT_EQ(record.tag, expected.tag);
        EXPECT_EQ(record.tag_bytes, expected.tag_bytes);
        EXPECT_EQ(record.length, expected.length);
        EXPECT_EQ(record.length_bytes, expected.length_bytes);
    }
    EXPECT_EQ(ber_tlv_parser__validate_tlv(input.data(), input.size()), 0u);
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag_2(input.data(), input.size(), 0, expected.tag), 0);
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag(input.data(), input.size(), 0, expected.tag), 0);
}

TEST_P(head, cut_short_is_refused_wherever_a_size_is_given)
{
    const head_case &expected = GetParam();
    for_each_cut(bytes(expected.head), [](const exact_block &cut) {
        EXPECT_EQ(ber_tlv_parser__validate_tlv(cut.data(), cut.size()), 1u);
        EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag_2(cut.data(), cut.size(), 0, GetParam().tag), -1);
        EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag(cut.data(), cut.size(), 0, GetParam().tag), -1);
        ber_tlv_record record = {};
        EXPECT_EQ(ber_tlv_parser__ber_tlv_2(cut.data(), cut.size(), 0, &record), 1u);
        uint16_t tag = 0;
        uint8_t tag_bytes = 0;
        const uint32_t rc = ber_tlv_parser__get_tag_data(cut.data(), cut.size(), 0, &tag, &tag_bytes);
        EXPECT_EQ(rc, cut.size() < GetParam().tag_bytes ? 4u : 0u);
    });
}

INSTANTIATE_TEST_SUITE_P(table, head,
                         testing::ValuesIn(std::to_array<head_case>({
                             {"one_byte_tag_and_length", "5A 0A", 0x5A, 1, 10, 1},
                             {"two_byte_tag_and_length_256", "BF 2D 82 01 00", 0xBF2D, 2, 256, 3},
                             {"length_127_in_one_byte", "80 7F", 0x80, 1, 127, 1},
                             {"length_127_in_two_bytes", "80 81 7F", 0x80, 1, 127, 2},
                             {"length_65536_in_four_bytes", "80 83 01 00 00", 0x80, 1, 65536, 4},
                             {"length_byte_80_is_length_0", "30 80", 0x30, 1, 0, 1},
                             {"three_byte_tag_is_told_by_its_first_byte", "9F 81 01 00", 0x9F, 3, 0, 1},
                             {"longest_tag_has_eleven_bytes", "1F 80 80 80 80 80 80 80 80 80 80 00", 0x1F, 11, 0, 1},
                             {"second_to_last_tag_byte_without_more", "1F 80 80 80 80 80 80 80 80 00 00", 0x1F, 10, 0,
                              1},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(ber_tlv_parser, reads_heads_at_an_offset)
{
    const exact_block input("80 01 AA BF 2D 81 01 BB");
    ber_tlv_record record = {};
    EXPECT_EQ(ber_tlv_parser__ber_tlv_2(input.data(), input.size(), 3, &record), 0u);
    EXPECT_EQ(record.tag, 0xBF2D);
    EXPECT_EQ(ber_tlv_parser__get_length_offset(input.data(), 3), 5u);
    EXPECT_EQ(ber_tlv_parser__get_value_offset(input.data(), 3), 7u);
}

TEST(ber_tlv_parser, counts_length_bytes_without_a_limit)
{
    const exact_block input("84 FF");
    EXPECT_EQ(ber_tlv_parser__get_length_bytes_count(input.data(), 0), 5);
    EXPECT_EQ(ber_tlv_parser__get_length_bytes_count(input.data(), 1), 128);
}

TEST(ber_tlv_parser, logs_its_steps_at_trace_level)
{
    const exact_block input("BF 2D 01 AA");
    log_capture log;
    ber_tlv_parser__get_tlv_tag(input.data(), 0);
    EXPECT_EQ(log.up_to(LOG__TRACE), "5 tag.len=2\n");
    log.clear();
    ber_tlv_parser__get_value_offset(input.data(), 0);
    EXPECT_EQ(log.up_to(LOG__TRACE), "5 nTag=2\n5 nLen=1\n");
    log.clear();
    ber_tlv_record record = {};
    ber_tlv_parser__ber_tlv_2(input.data(), input.size(), 0, &record);
    EXPECT_EQ(log.up_to(LOG__TRACE), "5 ber_tlv_parser__ber_tlv_2 bufferSize=4, offset=0\n5 tag.len=2\n");
    log.clear();
    uint32_t size = 0;
    ber_tlv_parser__get_tlv_bytes_count(input.data(), 0, &size);
    EXPECT_EQ(log.up_to(LOG__TRACE), "");
}

TEST(ber_tlv_parser, tells_constructed_from_primitive)
{
    const uint8_t constructed = 0xA0, two_byte_constructed = 0xBF, sequence = 0x30, primitive = 0x80, universal = 0x5F;
    EXPECT_EQ(ber_tlv_parser__is_constructed_2(&constructed), 1);
    EXPECT_EQ(ber_tlv_parser__is_constructed_2(&two_byte_constructed), 1);
    EXPECT_EQ(ber_tlv_parser__is_constructed_2(&sequence), 1);
    EXPECT_EQ(ber_tlv_parser__is_constructed_2(&primitive), 0);
    EXPECT_EQ(ber_tlv_parser__is_constructed_2(&universal), 0);
    EXPECT_EQ(ber_tlv_parser__is_constructed_2(nullptr), 0);
}

TEST(ber_tlv_parser, refuses_tag_data_of_nothing)
{
    const exact_block input("80 00");
    uint16_t tag = 0x1234;
    uint8_t tag_bytes = 9;
    EXPECT_EQ(ber_tlv_parser__get_tag_data(nullptr, 2, 0, &tag, &tag_bytes), 4u);
    EXPECT_EQ(ber_tlv_parser__get_tag_data(input.data(), 0, 0, &tag, &tag_bytes), 4u);
    EXPECT_EQ(ber_tlv_parser__get_tag_data(input.data(), 2, 2, &tag, &tag_bytes), 4u);
    EXPECT_EQ(tag, 0x1234);
    EXPECT_EQ(tag_bytes, 9);
}

TEST(ber_tlv_parser, refuses_a_record_outside_or_nowhere)
{
    const exact_block input("80 00");
    ber_tlv_record record = {};
    log_capture log;
    EXPECT_EQ(ber_tlv_parser__ber_tlv(input.data(), 0, nullptr), 1u);
    EXPECT_EQ(ber_tlv_parser__ber_tlv_2(input.data(), 2, 0, nullptr), 1u);
    EXPECT_EQ(ber_tlv_parser__ber_tlv_2(input.data(), 2, 2, &record), 1u);
    EXPECT_EQ(ber_tlv_parser__ber_tlv_2(nullptr, 2, 0, &record), 1u);
    EXPECT_EQ(log.up_to(LOG__DEBUG), "");
}

// --- A length byte 84 makes every operation that needs the length fail ---------------------------------------------

constexpr const char *position_1 = "1 At position 1 the len is more then 3 [4]\n";
constexpr const char *position_1_and_tlv = "1 At position 1 the len is more then 3 [4]\n"
                                           "1 could not get the data length of the TLV, offset=1\n";

TEST(length_byte_84, fails_the_length)
{
    const exact_block input("5A 84 00 00 00 01 AA");
    uint32_t length = 99;
    log_capture log;
    EXPECT_EQ(ber_tlv_parser__get_data_length(input.data(), 1, &length), 1u);
    EXPECT_EQ(length, 99u);
    EXPECT_EQ(log.up_to(LOG__INFO), position_1);
}

TEST(length_byte_84, fails_the_element_size)
{
    const exact_block input("5A 84 00 00 00 01 AA");
    uint32_t size = 99;
    log_capture log;
    EXPECT_EQ(ber_tlv_parser__get_tlv_bytes_count(input.data(), 0, &size), 1u);
    EXPECT_EQ(ber_tlv_parser__get_full_tlv_length(input.data(), 0, &size), 1u);
    EXPECT_EQ(size, 99u);
    EXPECT_EQ(log.up_to(LOG__INFO), std::string(position_1_and_tlv) + position_1_and_tlv);
}

TEST(length_byte_84, fails_the_records)
{
    const exact_block input("5A 84 00 00 00 01 AA");
    ber_tlv_record record = {.tag = 0, .tag_bytes = 0, .length = 0, .length_bytes = 77};
    log_capture log;
    EXPECT_EQ(ber_tlv_parser__ber_tlv(input.data(), 0, &record), 1u);
    EXPECT_EQ(record.length_bytes, 77);
    EXPECT_EQ(record.tag, 0x5A);
    EXPECT_EQ(ber_tlv_parser__ber_tlv_2(input.data(), input.size(), 0, &record), 1u);
    EXPECT_EQ(log.up_to(LOG__INFO), std::string(position_1_and_tlv) + position_1_and_tlv);
}

TEST(length_byte_84, fails_the_searches_when_it_is_the_last_byte_too)
{
    for (const char *digits : {"5A 84 00 00 00 01 AA", "5A 84"}) {
        const exact_block input(digits);
        log_capture log;
        EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag_2(input.data(), input.size(), 0, 0x5A), -1);
        EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag(input.data(), input.size(), 0, 0x5A), -1);
        EXPECT_EQ(log.up_to(LOG__INFO), std::string(position_1_and_tlv) + "1 could not parse TLV, offset=0\n" +
                                            position_1_and_tlv + "1 could not parse TLV, offset=0\n");
    }
}

// --- Validation ----------------------------------------------------------------------------------------------------

struct validate_case {
    const char *name, *input;
    uint32_t code;
    const char *log; // up to level 4
};
class validate_tlv : public testing::TestWithParam<validate_case> {};

TEST_P(validate_tlv, gives_code_and_log)
{
    const exact_block input(GetParam().input);
    log_capture log;
    EXPECT_EQ(ber_tlv_parser__validate_tlv(input.data(), input.size()), GetParam().code);
    EXPECT_EQ(log.up_to(LOG__DEBUG), GetParam().log);
}

INSTANTIATE_TEST_SUITE_P(
    table, validate_tlv,
    testing::ValuesIn(std::to_array<validate_case>({
        {"one_whole_element", "80 01 AA", 0, "4 [ber_tlv_parser__validate_tlv] processed 3 of 3 bytes\n"},
        {"two_elements", "80 01 AA BF 2D 00", 0,
         "4 [ber_tlv_parser__validate_tlv] processed 3 of 6 bytes\n"
         "4 [ber_tlv_parser__validate_tlv] processed 6 of 6 bytes\n"},
        {"value_runs_past_end", "80 02 AA", 1,
         "4 [ber_tlv_parser__validate_tlv] processed 4 of 3 bytes\n"
         "3 [ber_tlv_parser__validate_tlv] offset 4 > data size 3\n"},
        {"contents_are_not_entered", "A0 01 84", 0, "4 [ber_tlv_parser__validate_tlv] processed 3 of 3 bytes\n"},
        {"nothing_given", "", 1, "3 [ber_tlv_parser__validate_tlv] nothing to validate\n"},
        {"four_length_bytes", "5A 84 00 00 00 01 AA", 1,
         "1 At position 1 the len is more then 3 [4]\n"
         "1 could not get the data length of the TLV, offset=1\n"
         "3 [ber_tlv_parser__validate_tlv] could not parse TLV, offset=0\n"},
        {"tag_cut_off", "80 00 BF", 1,
         "4 [ber_tlv_parser__validate_tlv] processed 2 of 3 bytes\n"
         "1 could not get the data length of the TLV, offset=3\n"
         "3 [ber_tlv_parser__validate_tlv] could not parse TLV, offset=2\n"},
        {"length_missing", "BF 2D", 1,
         "1 could not get the data length of the TLV, offset=2\n"
         "3 [ber_tlv_parser__validate_tlv] could not parse TLV, offset=0\n"},
        {"length_cut_off", "80 82 01", 1,
         "1 could not get the data length of the TLV, offset=1\n"
         "3 [ber_tlv_parser__validate_tlv] could not parse TLV, offset=0\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(validate_tlv, refuses_null)
{
    log_capture log;
    EXPECT_EQ(ber_tlv_parser__validate_tlv(nullptr, 5), 1u);
    EXPECT_EQ(log.up_to(LOG__INFO), "3 [ber_tlv_parser__validate_tlv] nothing to validate\n");
}

// --- Searches ------------------------------------------------------------------------------------------------------

struct find_case {
    const char *name, *input;
    uint32_t offset;
    uint16_t tag;
    int32_t siblings, deep; // expected offsets
};
class find : public testing::TestWithParam<find_case> {};

TEST_P(find, gives_the_offset_of_the_element)
{
    const exact_block input(GetParam().input);
    log_capture quiet(0);
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag_2(input.data(), input.size(), GetParam().offset, GetParam().tag),
              GetParam().siblings);
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag(input.data(), input.size(), GetParam().offset, GetParam().tag),
              GetParam().deep);
}

INSTANTIATE_TEST_SUITE_P(table, find,
                         testing::ValuesIn(std::to_array<find_case>({
                             {"first_sibling", "80 01 AA 81 01 BB", 0, 0x80, 0, 0},
                             {"later_sibling", "80 01 AA 81 01 BB", 0, 0x81, 3, 3},
                             {"two_byte_tag", "80 01 AA BF 2D 00", 0, 0xBF2D, 3, 3},
                             {"first_byte_of_a_two_byte_tag_is_another_tag", "BF 2D 00 BF 2E 00", 0, 0xBF, -1, -1},
                             {"starts_at_the_offset", "80 01 AA 80 01 BB", 3, 0x80, 3, 3},
                             {"value_bytes_are_no_elements", "04 02 80 00 81 00", 0, 0x80, -1, -1},
                             {"absent", "80 01 AA", 0, 0x81, -1, -1},
                             {"offset_at_the_end", "80 01 AA", 3, 0x80, -1, -1},
                             {"offset_beyond_the_end", "80 01 AA", 4, 0x80, -1, -1},
                             {"found_although_its_value_is_cut_off", "80 05 AA", 0, 0x80, 0, 0},
                             {"nothing_after_a_value_that_is_cut_off", "80 05 AA 81 00", 0, 0x81, -1, -1},
                             {"nested_element_is_found_by_the_deep_search_alone", "A0 03 80 01 AA", 0, 0x80, -1, 2},
                             {"bound_equal_to_the_first_nested_offset_hides_it", "A0 02 80 00", 0, 0x80, -1, -1},
                             {"nested_search_ends_at_the_childs_length_as_a_position", "A0 04 80 00 81 00", 0, 0x81, -1,
                              -1},
                             {"nested_position_below_the_childs_length", "A0 05 80 00 81 01 AA", 0, 0x81, -1, 4},
                             {"bound_may_cut_the_head_that_it_finds", "BF 2D 04 81 01 FF 00", 0, 0x81, -1, 3},
                             {"childs_length_below_its_value_offset_hides_it", "BF 2D 02 80 00 81 00", 0, 0x80, -1, -1},
                             {"goes_on_behind_a_child_without_the_tag", "A0 02 80 00 81 00", 0, 0x81, 4, 4},
                             {"two_levels_down", "30 0C 30 08 80 01 AA 81 00 00 00 00 00 00", 0, 0x80, -1, 4},
                             {"child_that_claims_more_than_there_is", "A0 7F 80 00 00 00", 0, 0x80, -1, 2},
                             {"empty_child_at_the_end", "81 00 A0 00", 0, 0x80, -1, -1},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(find, logs_each_search)
{
    const exact_block input("80 01 AA");
    log_capture log;
    ber_tlv_parser__find_tlv_by_tag_2(input.data(), input.size(), 0, 0x5A);
    EXPECT_EQ(log.up_to(LOG__TRACE), "5 ber_tlv_parser__find_tlv_by_tag_2 [5A] offset=0 bufferSize=3\n"
                                     "5 tag.len=1\n");
}

TEST(find, logs_the_deep_search_step_by_step)
{
    const exact_block input("A0 03 80 01 AA");
    log_capture log;
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag(input.data(), input.size(), 0, 0x80), 2);
    EXPECT_EQ(log.up_to(LOG__TRACE), "5 ber_tlv_parser__find_tlv_by_tag [80] offset=0 bufferSize=5\n"
                                     "5 tlvSize=5\n"
                                     "5 tag.len=1\n"
                                     "5 _getTLVTAg= 160, tag=128\n"
                                     "5 the tag at 0 is constructed\n"
                                     "5 tag.len=1\n"
                                     "5 ber_tlv_parser__find_tlv_by_tag [80] offset=2 bufferSize=3\n"
                                     "5 tlvSize=3\n"
                                     "5 tag.len=1\n"
                                     "5 _getTLVTAg= 128, tag=128\n");
}

TEST(find, returns_minus_one_for_nothing_to_search)
{
    const exact_block input("80 00");
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag_2(nullptr, 2, 0, 0x80), -1);
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag(nullptr, 2, 0, 0x80), -1);
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag_2(input.data(), 0, 0, 0x80), -1);
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag(input.data(), 0, 0, 0x80), -1);
}

TEST(find, returns_minus_one_for_more_bytes_than_an_offset_can_tell)
{
    const exact_block input("80 00");
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag_2(input.data(), 0x80000000u, 0, 0x80), -1);
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag(input.data(), 0x80000000u, 0, 0x80), -1);
}

// Constructed elements, each of which fills the rest of a large block; in the innermost lies 80 00.
std::vector<uint8_t> nested(uint32_t levels)
{
    std::vector<uint8_t> result(60000);
    for (uint32_t i = 0; i < levels; ++i) {
        const size_t length = result.size() - 4 * (i + 1);
        const uint8_t head[] = {0xA0, 0x82, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)};
        std::ranges::copy(head, result.begin() + 4 * i);
    }
    result[4 * levels] = 0x80;
    return result;
}

TEST(find, enters_sixty_four_levels_and_no_more)
{
    log_capture quiet(0);
    const exact_block reachable{std::span<const uint8_t>(nested(64))};
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag(reachable.data(), reachable.size(), 0, 0x80), 256);
    const exact_block too_deep{std::span<const uint8_t>(nested(65))};
    EXPECT_EQ(ber_tlv_parser__find_tlv_by_tag(too_deep.data(), too_deep.size(), 0, 0x80), -1);
}

// --- Hostile input -------------------------------------------------------------------------------------------------

TEST(hostile_input, never_leads_outside_the_buffer)
{
    log_capture quiet(0);
    for_random_blocks(20000, [](const exact_block &input) {
        const uint32_t size = input.size();
        ber_tlv_parser__validate_tlv(input.data(), size);
        for (const uint16_t tag : {0x80, 0xBF2D, 0x5A}) {
            for (uint32_t offset = 0; offset <= size + 1; offset += 3) {
                EXPECT_LT(ber_tlv_parser__find_tlv_by_tag_2(input.data(), size, offset, tag), static_cast<int>(size));
                EXPECT_LT(ber_tlv_parser__find_tlv_by_tag(input.data(), size, offset, tag), static_cast<int>(size));
            }
        }
        for (uint32_t offset = 0; offset <= size; ++offset) {
            ber_tlv_record record = {};
            const uint32_t rc = ber_tlv_parser__ber_tlv_2(input.data(), size, offset, &record);
            if (rc == 0) { EXPECT_LE(offset + record.tag_bytes + record.length_bytes, size); }
            uint16_t tag = 0;
            uint8_t tag_bytes = 0;
            if (ber_tlv_parser__get_tag_data(input.data(), size, offset, &tag, &tag_bytes) == 0) {
                EXPECT_LE(offset + tag_bytes, size);
            }
        }
    });
}

} // namespace
