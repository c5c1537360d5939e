#include "foundation/byte_utils.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include <gtest/gtest.h>
#include <memory>

namespace {
// Encodes a text that is not terminated, in a block of exactly its length.
int32_t encode(uint8_t *out, uint32_t size, const std::string &text)
{
    const auto exact = std::make_unique<char[]>(text.size());
    text.copy(exact.get(), text.size());
    testing::internal::CaptureStderr(); // the text is shown there
    const int32_t result = byte_utils__oid_encode(out, size, exact.get(), static_cast<uint32_t>(text.size()));
    testing::internal::GetCapturedStderr();
    return result;
}

struct oid_case {
    const char *name, *text, *content;
};
class oid_encode : public testing::TestWithParam<oid_case> {};

TEST_P(oid_encode, is_written_into_exactly_its_size_and_refused_by_anything_smaller)
{
    const auto expected = bytes(GetParam().content);
    const auto needed = static_cast<uint32_t>(expected.size());
    EXPECT_EQ(encode(nullptr, 0, GetParam().text), static_cast<int32_t>(needed));
    std::vector<uint8_t> out(needed, 0xEE);
    EXPECT_EQ(encode(out.data(), needed, GetParam().text), static_cast<int32_t>(needed));
    EXPECT_EQ(hex(out), hex(expected));
    for (uint32_t size = 0; size < needed; ++size) {
        const auto small = std::make_unique<uint8_t[]>(size);
        EXPECT_EQ(encode(small.get(), size, GetParam().text), -7) << size;
    }
}

INSTANTIATE_TEST_SUITE_P(table, oid_encode,
                         testing::ValuesIn(std::to_array<oid_case>({
                             {"text_2_999_3_is_88_37_03", "2.999.3", "88 37 03"},
                             {"two_nodes", "1.39", "4F"},
                             {"zero_nodes", "0.0.0", "00 00"},
                             {"gsma_rsp_role", "2.23.146.1.2.1.4", "67 81 12 01 02 01 04"},
                             {"one_to_two_bytes", "1.2.127.128", "2A 7F 81 00"},
                             {"two_to_three_bytes", "1.2.16383.16384", "2A FF 7F 81 80 00"},
                             {"three_to_four_bytes", "1.2.2097151.2097152", "2A FF FF 7F 81 80 80 00"},
                             {"four_to_five_bytes", "1.2.268435455.268435456", "2A FF FF FF 7F 81 80 80 80 00"},
                             {"largest_node", "1.2.4294967295", "2A 8F FF FF FF 7F"},
                             {"node_beyond_32_bits", "1.2.99999999999", "2A 8F FF FF FF 7F"},
                             {"dot_at_the_end", "1.2.3.", "2A 03"},
                             {"empty_node_is_0", "1.2..3", "2A 00 03"},
                             {"no_number_is_0", "1.2.x", "2A 00"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

struct refused_case {
    const char *name, *text;
    int32_t result;
    const char *log;
};
class oid_encode_refuses : public testing::TestWithParam<refused_case> {};

TEST_P(oid_encode_refuses, with_code_and_log)
{
    log_capture log;
    uint8_t out[16];
    EXPECT_EQ(encode(out, sizeof out, GetParam().text), GetParam().result);
    EXPECT_EQ(log.up_to(1), GetParam().log);
}

INSTANTIATE_TEST_SUITE_P(
    table, oid_encode_refuses,
    testing::ValuesIn(std::to_array<refused_case>({
        {"empty_text", "", -4, "1 [byte_utils__oid_encode] Error extracting the first node, rc -4\n"},
        {"one_node", "2", -4, "1 [byte_utils__oid_encode] Error extracting the second node, rc -4\n"},
        {"one_node_with_dot", "2.", -4, "1 [byte_utils__oid_encode] Error extracting the second node, rc -4\n"},
        {"first_node_3", "3.1", -4,
         "1 [byte_utils__oid_encode_first_two_nodes] The valid values of the first subID are 0, 1, or 2. First subID: 3\n"
         "1 [byte_utils__oid_encode] Error encoding the fist two nodes, rc -4\n"},
        {"text_1_40", "1.40", -4,
         "1 [byte_utils__oid_encode_first_two_nodes] If the first subID has a value of 0 or 1, the second subID can have a value only of 0 through 39. First subID: 1, second subID: 40\n"
         "1 [byte_utils__oid_encode] Error encoding the fist two nodes, rc -4\n"},
        {"text_0_40", "0.40.1", -4,
         "1 [byte_utils__oid_encode_first_two_nodes] If the first subID has a value of 0 or 1, the second subID can have a value only of 0 through 39. First subID: 0, second subID: 40\n"
         "1 [byte_utils__oid_encode] Error encoding the fist two nodes, rc -4\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(oid_encode, logs_null_and_returns_4)
{
    log_capture log;
    EXPECT_EQ(byte_utils__oid_encode(nullptr, 0, nullptr, 5), 4);
    EXPECT_EQ(log.up_to(5), "1 [byte_utils__oid_encode] OID is empty or null\n");
}

TEST(oid_encode, logs_the_node_that_does_not_fit)
{
    log_capture log;
    uint8_t out[3];
    EXPECT_EQ(encode(out, 1, "2.999.300"), -7);
    EXPECT_EQ(
        log.up_to(1),
        "1 [esipa_tlv_generator__ipa_euicc_data] Not enough space to add the OID node 1079. Buffer size 1, buffer size needed 2\n"
        "1 [byte_utils__oid_encode] Error encoding the fist two nodes, rc -7\n");
    log.clear();
    EXPECT_EQ(encode(out, 3, "2.999.300"), -7);
    EXPECT_EQ(
        log.up_to(1),
        "1 [esipa_tlv_generator__ipa_euicc_data] Not enough space to add the OID node 300. Buffer size 3, buffer size needed 4\n"
        "1 [byte_utils__oid_encode] Error encoding the 3 node with value 300, rc -7\n");
}

TEST(oid_encode, traces_each_step)
{
    log_capture log;
    uint8_t out[3];
    EXPECT_EQ(encode(out, sizeof out, "2.999.3"), 3);
    EXPECT_EQ(log.up_to(5), "5 [byte_utils__get_next_oid_node_value] OID chunk: 2.999.3\n"
                            "5 [byte_utils__get_next_oid_node_value] OID subId: 2\n"
                            "5 [byte_utils__get_next_oid_node_value] OID chunk: 999.3\n"
                            "5 [byte_utils__get_next_oid_node_value] OID subId: 999\n"
                            "4 [byte_utils__oid_encode_first_two_nodes] First subID: 2, second subID: 999\n"
                            "4 [byte_utils__oid_encode_node] Node value: 1079\n"
                            "4 [byte_utils__oid_encode_node] Node encoded\n4 88 37 \n"
                            "5 [byte_utils__get_next_oid_node_value] OID chunk: 3\n"
                            "5 [byte_utils__get_next_oid_node_value] OID subId: 3\n"
                            "4 [byte_utils__oid_encode_node] Node value: 3\n"
                            "4 [byte_utils__oid_encode_node] Node encoded\n4 03 \n"
                            "4 [byte_utils__oid_encode] OID encoded\n4 88 37 03 \n");
}

TEST(oid_encode, shows_the_text_on_standard_error)
{
    log_capture log(4);
    testing::internal::CaptureStderr();
    byte_utils__oid_encode(nullptr, 0, "2.999.3", 5);
    const std::string shown = testing::internal::GetCapturedStderr();
    ASSERT_NE(shown.find('\t'), std::string::npos);
    EXPECT_EQ(shown.substr(shown.find('\t')), "\t[byte_utils__oid_encode] OID: 2.999\n");
}

TEST(oid_encode, reads_a_node_of_at_most_eleven_characters_and_goes_on_after_the_twelfth)
{
    log_capture log;
    uint8_t out[16];
    EXPECT_EQ(encode(out, sizeof out, "1.2.00000000005x7"), 3);
    EXPECT_EQ(hex(out, 3), "2A0507");
    EXPECT_TRUE(log.contains("[byte_utils__get_next_oid_node_value] OID chunk: 00000000005"));
}

TEST(oid_encode, ignores_what_follows_129_further_nodes)
{
    log_capture log(3);
    std::string text = "1.2";
    for (int node = 0; node < 129; ++node)
        text += ".3";
    EXPECT_EQ(encode(nullptr, 0, text), 130);
    EXPECT_EQ(encode(nullptr, 0, text + ".4.5"), 130);
    EXPECT_EQ(log.up_to(3), "");
}

TEST(oid_encode, reads_each_shortened_text_within_its_characters)
{
    const std::string whole = "2.999.1234567890.1";
    const int32_t expected[] = {-4, -4, -4, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 4, 5, 6, 7, 7, 8};
    for (size_t length = 0; length <= whole.size(); ++length)
        EXPECT_GE(encode(nullptr, 0, whole.substr(0, length)), length < 3 ? -4 : 1) << length;
    EXPECT_EQ(encode(nullptr, 0, whole), expected[18]);
}
} // namespace
