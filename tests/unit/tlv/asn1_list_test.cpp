#include "foundation/log.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "tlv/tlv_data_extractor.h"
#include "unit/tlv/exact_block.h"
#include <array>
#include <gtest/gtest.h>

namespace {

// A walk over the E3 elements of an A0 list: the first failure's code, and the elements up to it.
struct walk {
    uint32_t code;
    std::string elements;
};

walk walk_list(const exact_block &input)
{
    asn1_list list = {};
    uint32_t code = tlv_data_extractor__asn1_list_init(&list, 0xA0, 0xE3, input.data(), input.size());
    std::string elements;
    while (code == 0) {
        const uint8_t *element = input.data();
        uint32_t size = 99;
        code = tlv_data_extractor__asn1_list_get_next(&list, &element, &size);
        EXPECT_EQ(element == nullptr, size == 0);
        if (!element) break;
        elements += hex(element, size) + " ";
    }
    return {code, elements};
}

struct list_case {
    const char *name, *input;
    uint32_t code;
    const char *elements, *log; // up to level 4
};
class asn1_list_walk : public testing::TestWithParam<list_case> {};

TEST_P(asn1_list_walk, gives_its_elements_code_and_log)
{
    const exact_block input(GetParam().input);
    log_capture log;
    const walk result = walk_list(input);
    EXPECT_EQ(result.code, GetParam().code);
    EXPECT_EQ(result.elements, GetParam().elements);
    EXPECT_EQ(log.up_to(LOG__DEBUG), GetParam().log);
}

TEST_P(asn1_list_walk, cut_short_is_refused)
{
    log_capture quiet(LOG__TRACE); // dumps too
    for_each_cut(bytes(GetParam().input), [](const exact_block &cut) { EXPECT_NE(walk_list(cut).code, 0u); });
}

INSTANTIATE_TEST_SUITE_P(
    table, asn1_list_walk,
    testing::ValuesIn(std::to_array<list_case>({
        {"two_elements_of_three_bytes", "A0 06 E3 01 00 E3 01 00", 0, "E30100 E30100 ", ""},
        {"no_element", "A0 00", 0, "", ""},
        {"list_behind_a_sibling", "80 01 00 A0 03 E3 01 07", 0, "E30107 ", ""},
        {"other_tags_are_skipped", "A0 08 81 01 00 E3 03 80 01 05", 0, "E303800105 ", ""},
        {"other_tag_at_the_end", "A0 06 E3 01 05 81 01 00", 1, "E30105 ",
         "1 [tlv_data_extractor__asn1_list_get_next] Element TAG 0x00E3 not found\n"},
        {"element_that_runs_past_the_list", "A0 03 E3 05 00 AA AA", 1, "",
         "1 [tlv_data_extractor__asn1_list_get_next] Error calculating the size of the ASN.1 list element, rc 1\n"},
        {"list_missing", "A1 03 E3 01 00", 1, "", "1 [tlv_data_extractor__asn1_list_init] List TAG 0x00A0 not found\n"},
        {"list_bigger_than_the_buffer", "A0 06 E3 01 00", 7, "",
         "1 [tlv_data_extractor__asn1_list_init] The ASN.1 list is bigger than the TLV buffer\n"},
        {"nothing", "", 4, "", "1 [tlv_data_extractor__asn1_list_init] tlv is empty/null\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(asn1_list_walk, ends_again_and_again)
{
    const exact_block input("A0 03 E3 01 00");
    asn1_list list = {};
    ASSERT_EQ(tlv_data_extractor__asn1_list_init(&list, 0xA0, 0xE3, input.data(), input.size()), 0u);
    const uint8_t *element = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(tlv_data_extractor__asn1_list_get_next(&list, &element, &size), 0u);
    EXPECT_EQ(element, input.data() + 2);
    EXPECT_EQ(size, 3u);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(tlv_data_extractor__asn1_list_get_next(&list, &element, &size), 0u);
        EXPECT_EQ(element, nullptr);
        EXPECT_EQ(size, 0u);
    }
}

TEST(asn1_list_walk, is_refused_for_a_null_buffer)
{
    asn1_list list = {};
    EXPECT_EQ(tlv_data_extractor__asn1_list_init(&list, 0xA0, 0xE3, nullptr, 5), 4u);
    EXPECT_EQ(list.value, nullptr);
}

TEST(asn1_list_walk, logs_its_state_at_trace_level)
{
    const exact_block input("A0 03 E3 01 00");
    log_capture log;
    walk_list(input);
    char pointer[32];
    snprintf(pointer, sizeof pointer, "%p", static_cast<void *>(input.data() + 2));
    const std::string buffer = std::string(" buffer=") + pointer + ", buffer_size=3, buffer_offset=";
    EXPECT_TRUE(log.contains("[tlv_data_extractor__asn1_list_init] ASN.1 List"));
    EXPECT_TRUE(log.contains("A0 03 E3 01 00 "));
    EXPECT_TRUE(log.contains("[tlv_data_extractor__asn1_list_init]" + buffer + "0"));
    EXPECT_TRUE(log.contains("[tlv_data_extractor__asn1_list_get_next]" + buffer + "0"));
    EXPECT_TRUE(log.contains("[tlv_data_extractor__asn1_list_get_next]" + buffer + "3"));
}

TEST(hostile_input, never_leads_a_walk_outside_the_buffer)
{
    log_capture quiet(0);
    for_random_blocks(20000, [](const exact_block &input) { EXPECT_LE(walk_list(input).code, 7u); });
}

} // namespace
