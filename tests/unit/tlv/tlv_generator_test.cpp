#include "foundation/log.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "tlv/tlv_generator.h"
#include "unit/tlv/exact_block.h"
#include <array>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>

namespace {

using append = std::function<int32_t(uint8_t *buffer, uint32_t size, uint32_t offset)>;

const uint8_t three_bytes[] = {0x41, 0x42, 0x43};
const uint8_t plain_iccid[] = {0x89, 0x01, 0x23, 0x45, 0x67, 0x89, 0x01, 0x23, 0x45, 0x6F};
const uint8_t card_iccid[] = {0x98, 0x10, 0x32, 0x54, 0x76, 0x98, 0x10, 0x32, 0x54, 0xF6};
const uint8_t bits_101[] = {1, 0, 1, 0, 0};
constexpr OctetArray raw_octets = {three_bytes, 3, OCTET_ARRAY_RAW};
const OctetArray base64_octets = {reinterpret_cast<const uint8_t *>("QUJD"), 4, OCTET_ARRAY_BASE64};
constexpr TransactionId two_byte_id = {{0xA1, 0xB2}, 2};
constexpr TransactionId sixteen_byte_id = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}, 16};
constexpr uint32_t last_offset = INT32_MAX;

// --- Every appender: sizing, every short buffer, the exact one -----------------------------------------------------

struct append_case {
    const char *name;
    append add;
    const char *expected;
    const char *no_room; // text, with the sizes left out
};
void PrintTo(const append_case &tested, std::ostream *out) { *out << tested.name; }

class appender : public testing::TestWithParam<append_case> {};

TEST_P(appender, sizes_and_writes_the_same)
{
    const std::vector<uint8_t> expected = bytes(GetParam().expected);
    for (const uint32_t offset : {0u, 3u}) {
        const uint32_t end = offset + static_cast<uint32_t>(expected.size());
        EXPECT_EQ(GetParam().add(nullptr, 0, offset), static_cast<int32_t>(end));
        const exact_block buffer{std::span<const uint8_t>(std::vector<uint8_t>(end, 0xEE))};
        EXPECT_EQ(GetParam().add(buffer.data(), end, offset), static_cast<int32_t>(end));
        EXPECT_EQ(hex(buffer.data(), offset), hex(std::vector<uint8_t>(offset, 0xEE)));
        EXPECT_EQ(hex(buffer.data() + offset, expected.size()), hex(expected));
    }
}

TEST_P(appender, leaves_every_shorter_buffer_untouched)
{
    const uint32_t length = static_cast<uint32_t>(bytes(GetParam().expected).size());
    for (const uint32_t offset : {0u, 3u}) {
        const uint32_t end = offset + length;
        for (uint32_t size = 0; size < end; ++size) {
            const std::vector<uint8_t> before(size, 0xEE);
            const exact_block buffer{std::span<const uint8_t>(before)};
            log_capture log;
            EXPECT_EQ(GetParam().add(buffer.data(), size, offset), -7);
            EXPECT_EQ(hex(buffer.data(), size), hex(before));
            EXPECT_EQ(log.at(LOG__ERROR), "1 " + std::string(GetParam().no_room) + ". Buffer size " +
                                              std::to_string(size) + ", buffer size needed " + std::to_string(end) +
                                              "\n");
        }
    }
}

#define ADD(call) [](uint8_t *buffer, uint32_t size, uint32_t offset) { return call; }
constexpr const char *add_tlv_no_room = "[tlv_generator__add_tlv] Not enough space to add the TLV to the buffer";

const append_case append_cases[] = {
    {"two_byte_tag", ADD(tlv_generator__add_tag(buffer, size, offset, 0xBF38)), "BF 38",
     "[tlv_generator__add_tag] Not enough space to add the BF38 to the buffer"},
    {"one_byte_tag", ADD(tlv_generator__add_tag(buffer, size, offset, 0x0080)), "80",
     "[tlv_generator__add_tag] Not enough space to add the 0080 to the buffer"},
    {"application_tag", ADD(tlv_generator__add_tag(buffer, size, offset, 0x5F37)), "5F 37",
     "[tlv_generator__add_tag] Not enough space to add the 5F37 to the buffer"},
    {"high_byte_without_all_five_bits_is_left_out", ADD(tlv_generator__add_tag(buffer, size, offset, 0xBE38)), "38",
     "[tlv_generator__add_tag] Not enough space to add the BE38 to the buffer"},
    {"length_0", ADD(tlv_generator__add_length(buffer, size, offset, 0)), "00",
     "[tlv_generator__add_length] Not enough space to add the LENGTH to the buffer"},
    {"length_126_is_one_byte", ADD(tlv_generator__add_length(buffer, size, offset, 126)), "7E",
     "[tlv_generator__add_length] Not enough space to add the LENGTH to the buffer"},
    {"length_127_is_81_7F", ADD(tlv_generator__add_length(buffer, size, offset, 127)), "81 7F",
     "[tlv_generator__add_length] Not enough space to add the LENGTH to the buffer"},
    {"length_254_is_81_FE", ADD(tlv_generator__add_length(buffer, size, offset, 254)), "81 FE",
     "[tlv_generator__add_length] Not enough space to add the LENGTH to the buffer"},
    {"length_255_is_82_00_FF", ADD(tlv_generator__add_length(buffer, size, offset, 255)), "82 00 FF",
     "[tlv_generator__add_length] Not enough space to add the LENGTH to the buffer"},
    {"length_65534_is_82_FF_FE", ADD(tlv_generator__add_length(buffer, size, offset, 65534)), "82 FF FE",
     "[tlv_generator__add_length] Not enough space to add the LENGTH to the buffer"},
    {"length_65535_is_83_00_FF_FF", ADD(tlv_generator__add_length(buffer, size, offset, 65535)), "83 00 FF FF",
     "[tlv_generator__add_length] Not enough space to add the LENGTH to the buffer"},
    {"longest_length", ADD(tlv_generator__add_length(buffer, size, offset, 0xFFFFFE)), "83 FF FF FE",
     "[tlv_generator__add_length] Not enough space to add the LENGTH to the buffer"},
    {"tag_and_length", ADD(tlv_generator__add_tag_and_length(buffer, size, offset, 0xBF29, 0x1234)), "BF 29 82 12 34",
     "[tlv_generator__add_tag_and_length] Not enough space to add the TLV to the buffer"},
    {"whole_element", ADD(tlv_generator__add_tlv(buffer, size, offset, 0x81, three_bytes, 3)), "81 03 41 42 43",
     add_tlv_no_room},
    {"empty_element", ADD(tlv_generator__add_tlv(buffer, size, offset, 0xA0, nullptr, 0)), "A0 00", add_tlv_no_room},
    {"encoded_element", ADD(tlv_generator__add_tlv_full_bytes(buffer, size, offset, three_bytes, 3)), "41 42 43",
     "[tlv_generator__add_tlv_full_bytes] Not enough space to add the TLV to the buffer"},
    {"integer_0", ADD(tlv_generator__add_tlv_integer_value(buffer, size, offset, 0x02, 0)), "02 01 00",
     add_tlv_no_room},
    {"integer_with_top_bit", ADD(tlv_generator__add_tlv_integer_value(buffer, size, offset, 0x80, 0xFFFFFFFF)),
     "80 05 00 FF FF FF FF", add_tlv_no_room},
    {"boolean_true", ADD(tlv_generator__add_tlv_boolean_value(buffer, size, offset, 0x81, 7)), "81 01 FF",
     add_tlv_no_room},
    {"boolean_false", ADD(tlv_generator__add_tlv_boolean_value(buffer, size, offset, 0x81, 0)), "81 01 00",
     add_tlv_no_room},
    {"null_value", ADD(tlv_generator__add_tlv_null_value(buffer, size, offset, 0xBF2E)), "BF 2E 00",
     "[tlv_generator__add_tag_and_length] Not enough space to add the TLV to the buffer"},
    {"base64_value", ADD(tlv_generator__add_tlv_base64_value(buffer, size, offset, 0x5F37, "AQI=", 4)),
     "5F 37 02 01 02", "[tlv_generator__add_tlv_base64_value] Not enough space to add the TLV to the buffer"},
    {"base64_value_with_escaped_padding",
     ADD(tlv_generator__add_tlv_base64_value(buffer, size, offset, 0x04, "AQ\\u003d\\u003d", 14)), "04 01 01",
     "[tlv_generator__add_tlv_base64_value] Not enough space to add the TLV to the buffer"},
    {"raw_octets", ADD(tlv_generator__add_tlv_octet_array_value(buffer, size, offset, 0x04, &raw_octets)),
     "04 03 41 42 43", add_tlv_no_room},
    {"base64_octets", ADD(tlv_generator__add_tlv_octet_array_value(buffer, size, offset, 0x04, &base64_octets)),
     "04 03 41 42 43", "[tlv_generator__add_tlv_base64_value] Not enough space to add the TLV to the buffer"},
    {"bit_string", ADD(tlv_generator__add_tlv_bit_string_value(buffer, size, offset, 0x81, bits_101, 5)), "81 02 05 A0",
     "[tlv_generator__add_tlv_bit_string_value] Not enough space to add the TLV to the buffer"},
    {"bit_string_without_bits", ADD(tlv_generator__add_tlv_bit_string_value(buffer, size, offset, 0x81, bits_101, 0)),
     "81 00", "[tlv_generator__add_tlv_bit_string_value] Not enough space to add the TLV to the buffer"},
    {"oid", ADD(tlv_generator__add_tlv_oid_value(buffer, size, offset, 0x06, "2.999.3", 7)), "06 03 88 37 03",
     "[tlv_generator__add_tlv_oid_value] Not enough space to add the TLV to the buffer"},
    {"transaction_id", ADD(tlv_generator__add_tlv_transaction_id_value(buffer, size, offset, 0x80, &two_byte_id)),
     "80 02 A1 B2", add_tlv_no_room},
    {"longest_transaction_id",
     ADD(tlv_generator__add_tlv_transaction_id_value(buffer, size, offset, 0x80, &sixteen_byte_id)),
     "80 10 0102030405060708090A0B0C0D0E0F10", add_tlv_no_room},
    {"plain_iccid_turns_to_card_order",
     ADD(tlv_generator__add_tlv_iccid_nibble_swap_value(buffer, size, offset, 0x5A, plain_iccid)),
     "5A 0A 981032547698103254F6", add_tlv_no_room},
    {"iccid_in_card_order_stays",
     ADD(tlv_generator__add_tlv_iccid_nibble_swap_value(buffer, size, offset, 0x5A, card_iccid)),
     "5A 0A 981032547698103254F6", add_tlv_no_room},
    {"device_info", ADD(tlv_generator__add_device_info_value(buffer, size, offset)), "80 04 00 00 00 00 A1 00",
     "[tlv_generator__add_device_info_value] Not enough space to add the TLV to the buffer"},
};

INSTANTIATE_TEST_SUITE_P(table, appender, testing::ValuesIn(append_cases),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(appender, writes_a_long_value_with_its_two_byte_length)
{
    const std::vector<uint8_t> value(300, 0x5C);
    const exact_block buffer{std::span<const uint8_t>(std::vector<uint8_t>(304))};
    EXPECT_EQ(tlv_generator__add_tlv(buffer.data(), 304, 0, 0x86, value.data(), 300), 304);
    EXPECT_EQ(hex(buffer.data(), 5), "8682012C5C");
    EXPECT_EQ(buffer.data()[303], 0x5C);
}

TEST(appender, keeps_the_callers_iccid)
{
    uint8_t iccid[10];
    memcpy(iccid, plain_iccid, sizeof iccid);
    uint8_t buffer[12];
    EXPECT_EQ(tlv_generator__add_tlv_iccid_nibble_swap_value(buffer, sizeof buffer, 0, 0x5A, iccid), 12);
    EXPECT_EQ(hex(iccid, 10), hex(plain_iccid, 10));
}

// --- Log of the writers --------------------------------------------------------------------------------------------

TEST(appender, logs_tag_and_length_at_trace_level)
{
    uint8_t buffer[4];
    log_capture log;
    EXPECT_EQ(tlv_generator__add_tag(buffer, 4, 0, 0xBF2D), 2);
    EXPECT_EQ(tlv_generator__add_length(buffer, 4, 2, 200), 4);
    EXPECT_EQ(
        log.up_to(LOG__TRACE),
        "5 [tlv_generator__add_tag] TAG 0xBF2D, num bytes 2\n5 [tlv_generator__add_tag] TAG\n5 BF 2D \n5 [tlv_generator__add_tag] LENGTH 200, num bytes 2\n5 [tlv_generator__add_tag] LENGTH\n5 81 C8 \n");
}

TEST(appender, logs_the_whole_element_at_trace_level)
{
    uint8_t buffer[3];
    log_capture log;
    EXPECT_EQ(tlv_generator__add_tlv_integer_value(buffer, 3, 0, 0x02, 5), 3);
    EXPECT_TRUE(log.contains("[tlv_generator__add_tlv_integer_value] Integer byte array"));
    EXPECT_TRUE(log.contains("[tlv_generator__add_tag] VALUE num bytes 1"));
    EXPECT_TRUE(log.up_to(LOG__TRACE).ends_with("5 [tlv_generator__add_tlv] TLV\n5 02 01 05 \n"));
    EXPECT_EQ(log.up_to(LOG__DEBUG), "");
}

TEST(appender, logs_nothing_but_sizes_without_a_buffer)
{
    log_capture log;
    EXPECT_EQ(tlv_generator__add_tlv(nullptr, 0, 0, 0x80, three_bytes, 3), 5);
    EXPECT_EQ(
        log.up_to(LOG__TRACE),
        "5 [tlv_generator__add_tag] TAG 0x0080, num bytes 1\n5 [tlv_generator__add_tag] LENGTH 3, num bytes 1\n5 [tlv_generator__add_tag] VALUE num bytes 3\n");
}

// --- Odd inputs ----------------------------------------------------------------------------------------------------

TEST(add_tlv, writes_the_header_alone_for_a_null_value_with_a_length)
{
    uint8_t buffer[5] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(tlv_generator__add_tlv(buffer, 5, 0, 0xA1, nullptr, 3), 2);
    EXPECT_EQ(hex(buffer, 5), "A103EEEEEE");
    EXPECT_EQ(tlv_generator__add_tlv(nullptr, 0, 0, 0xA1, nullptr, 3), 5);
}

TEST(add_tlv_full_bytes, adds_nothing_for_an_empty_element)
{
    uint8_t buffer[5] = {};
    for (const auto &[tlv, length] : {std::pair<const uint8_t *, uint32_t>{nullptr, 3}, {three_bytes, 0}}) {
        log_capture log;
        EXPECT_EQ(tlv_generator__add_tlv_full_bytes(buffer, 5, 2, tlv, length), 2);
        EXPECT_EQ(log.up_to(LOG__TRACE), "2 [tlv_generator__add_tlv_full_bytes] TLV is empty/null\n");
    }
}

struct refusal_case {
    const char *name;
    append add;
    bool sizing; // with no buffer, else with one of 64 bytes
    uint32_t offset;
    int32_t code;
    const char *log; // level 1
};
void PrintTo(const refusal_case &tested, std::ostream *out) { *out << tested.name; }

class refusal : public testing::TestWithParam<refusal_case> {};

TEST_P(refusal, gives_code_and_log)
{
    uint8_t buffer[64] = {};
    log_capture log;
    const bool sizing = GetParam().sizing;
    EXPECT_EQ(GetParam().add(sizing ? nullptr : buffer, sizing ? 0 : 64, GetParam().offset), GetParam().code);
    EXPECT_EQ(log.at(LOG__ERROR), GetParam().log);
}

#define LENGTH_TOO_LONG                                                                                                \
    "1 [tlv_generator__add_length] Error calculating the number of bytes of the LENGTH\n"                              \
    "1 [tlv_generator__add_tag_and_length] Error calculating the number of bytes of the LENGTH, rc -1\n"
#define TAG_BEYOND_LAST_OFFSET                                                                                                  \
    "1 [tlv_generator__add_tag] Not enough space to add the 0080 to the buffer. Buffer size 0, buffer size needed 2147483648\n" \
    "1 [tlv_generator__add_tag_and_length] Error calculating the number of bytes of the TAG, rc -7\n"                           \
    "1 [tlv_generator__add_tlv] Error calculating the number of bytes of the TAG and LENGTH, rc -7\n"

const TransactionId no_id = {{}, 0};
const TransactionId seventeen_byte_id = {{}, 17};
const OctetArray unknown_octets = {three_bytes, 3, 2};
const uint8_t foreign_iccid[10] = {0x12};

const refusal_case refusal_cases[] = {
    {"length_0x1000000", ADD(tlv_generator__add_length(buffer, size, offset, 0x1000000)), false, 0, -1,
     "1 [tlv_generator__add_length] Error calculating the number of bytes of the LENGTH\n"},
    {"length_0xFFFFFF", ADD(tlv_generator__add_length(buffer, size, offset, 0xFFFFFF)), true, 0, -1,
     "1 [tlv_generator__add_length] Error calculating the number of bytes of the LENGTH\n"},
    {"element_too_long", ADD(tlv_generator__add_tlv(buffer, size, offset, 0x80, three_bytes, 0x1000000)), true, 0, -1,
     LENGTH_TOO_LONG "1 [tlv_generator__add_tlv] Error calculating the number of bytes of the TAG and LENGTH, rc -1\n"},
    {"offset_that_would_wrap", ADD(tlv_generator__add_tag(buffer, size, offset, 0xBF38)), false, 0xFFFFFFFF, -7,
     "1 [tlv_generator__add_tag] Not enough space to add the BF38 to the buffer. Buffer size 64, buffer size needed 1\n"},
    {"copy_that_would_wrap", ADD(tlv_generator__add_tlv_full_bytes(buffer, size, offset, three_bytes, 0xFFFFFFFE)),
     false, 8, -7,
     "1 [tlv_generator__add_tlv_full_bytes] Not enough space to add the TLV to the buffer. Buffer size 64, buffer size needed 6\n"},
    {"copy_longer_than_any_offset",
     ADD(tlv_generator__add_tlv_full_bytes(buffer, size, offset, three_bytes, 0x80000000)), true, 0, -7,
     "1 [tlv_generator__add_tlv_full_bytes] Not enough space to add the TLV to the buffer. Buffer size 0, buffer size needed 2147483648\n"},
    {"length_beyond_the_last_offset", ADD(tlv_generator__add_tag_and_length(buffer, size, offset, 0x80, 1)), true,
     last_offset - 1, -7,
     "1 [tlv_generator__add_length] Not enough space to add the LENGTH to the buffer. Buffer size 0, buffer size needed 2147483648\n"
     "1 [tlv_generator__add_tag_and_length] Error calculating the number of bytes of the LENGTH, rc -7\n"},
    {"base64_text_missing", ADD(tlv_generator__add_tlv_base64_value(buffer, size, offset, 0x04, nullptr, 4)), false, 0,
     -4, "1 [tlv_generator__add_tlv_base64_value] Error calculating the size of the base 64 value, rc -4\n"},
    {"base64_of_five_characters", ADD(tlv_generator__add_tlv_base64_value(buffer, size, offset, 0x04, "QUJDQ", 5)),
     false, 0, -4,
     "1 [b64_decode_static] Error calculating the size need it for decode, err -4\n"
     "1 [tlv_generator__add_tlv_base64_value] Error calculating the size of the base 64 value, rc -4\n"},
    {"base64_that_decodes_to_less_than_its_size",
     ADD(tlv_generator__add_tlv_base64_value(buffer, size, offset, 0x04, "QUJD\r\n\r\n", 8)), false, 0, -4,
     "1 [tlv_generator__add_tlv_base64_value] Error adding the base64 VALUE, rc -4\n"},
    {"base64_beyond_the_last_offset", ADD(tlv_generator__add_tlv_base64_value(buffer, size, offset, 0x80, "QUJD", 4)),
     true, last_offset, -7,
     TAG_BEYOND_LAST_OFFSET
     "1 [tlv_generator__add_tlv_base64_value] Error calculating the size of the base64 TLV, rc -7\n"},
    {"octets_of_unknown_format",
     ADD(tlv_generator__add_tlv_octet_array_value(buffer, size, offset, 4, &unknown_octets)), false, 0, -4,
     "1 [tlv_generator__add_tlv_octet_array_value] Invalid octet array format 2\n"},
    {"bit_string_beyond_the_last_offset",
     ADD(tlv_generator__add_tlv_bit_string_value(buffer, size, offset, 0x80, bits_101, 5)), true, last_offset, -7,
     TAG_BEYOND_LAST_OFFSET
     "1 [tlv_generator__add_tlv_bit_string_value] Error calculating the size of the bit string TLV, rc -7\n"},
    {"oid_text_missing", ADD(tlv_generator__add_tlv_oid_value(buffer, size, offset, 0x06, nullptr, 3)), false, 0, 4,
     "1 [byte_utils__oid_encode] OID is empty or null\n"
     "1 [tlv_generator__add_tlv_oid_value] Error calculating the size of the OID value, rc 4\n"},
    {"oid_with_second_node_too_large", ADD(tlv_generator__add_tlv_oid_value(buffer, size, offset, 0x06, "1.40", 4)),
     false, 0, -4,
     "1 [byte_utils__oid_encode_first_two_nodes] If the first subID has a value of 0 or 1, the second subID can have a value only of 0 through 39. First subID: 1, second subID: 40\n"
     "1 [byte_utils__oid_encode] Error encoding the fist two nodes, rc -4\n"
     "1 [tlv_generator__add_tlv_oid_value] Error calculating the size of the OID value, rc -4\n"},
    {"oid_beyond_the_last_offset", ADD(tlv_generator__add_tlv_oid_value(buffer, size, offset, 0x80, "2.999.3", 7)),
     true, last_offset, -7,
     TAG_BEYOND_LAST_OFFSET "1 [tlv_generator__add_tlv_oid_value] Error calculating the size of the OID TLV, rc -7\n"},
    {"transaction_id_missing", ADD(tlv_generator__add_tlv_transaction_id_value(buffer, size, offset, 0x80, nullptr)),
     true, 0, 4, "1 [tlv_generator__add_tlv_transaction_id_value] TransactionId is null\n"},
    {"transaction_id_of_length_0", ADD(tlv_generator__add_tlv_transaction_id_value(buffer, size, offset, 0x80, &no_id)),
     false, 0, 4,
     "1 [tlv_generator__add_tlv_transaction_id_value] Invalid TransactionId size: 0, minimum size: 1, maximum size 16.\n"},
    {"transaction_id_of_length_17",
     ADD(tlv_generator__add_tlv_transaction_id_value(buffer, size, offset, 0x80, &seventeen_byte_id)), true, 0, 4,
     "1 [tlv_generator__add_tlv_transaction_id_value] Invalid TransactionId size: 17, minimum size: 1, maximum size 16.\n"},
    {"iccid_of_another_industry",
     ADD(tlv_generator__add_tlv_iccid_nibble_swap_value(buffer, size, offset, 0x5A, foreign_iccid)), false, 0, 4,
     "1 [is_iccid_nibble_swaped] The first byte of the ICCID is not correct. Expected: 89 or 98, current: 12\n"
     "1 [byte_utils__iccid_plain] The ICCID has an invalid format, rc 4\n"
     "1 [tlv_generator__add_tlv_iccid_nibble_swap_value] Error nibble swaping the ICCID, rc 4\n"},
    {"iccid_missing", ADD(tlv_generator__add_tlv_iccid_nibble_swap_value(buffer, size, offset, 0x5A, nullptr)), false,
     0, 4,
     "1 [is_iccid_nibble_swaped] The first byte of the ICCID is not correct. Expected: 89 or 98, current: 00\n"
     "1 [byte_utils__iccid_plain] The ICCID has an invalid format, rc 4\n"
     "1 [tlv_generator__add_tlv_iccid_nibble_swap_value] Error nibble swaping the ICCID, rc 4\n"},
    {"iccid_is_not_looked_at_when_sizing",
     ADD(tlv_generator__add_tlv_iccid_nibble_swap_value(buffer, size, offset, 0x5A, nullptr)), true, 0, 12, ""},
    {"tac_beyond_the_last_offset", ADD(tlv_generator__add_device_info_value(buffer, size, offset)), true, last_offset,
     -7,
     TAG_BEYOND_LAST_OFFSET
     "1 [tlv_generator__add_device_info_value] Error calculating the size of the tac TLV, rc -7\n"},
    {"device_capabilities_beyond_the_last_offset", ADD(tlv_generator__add_device_info_value(buffer, size, offset)),
     true, last_offset - 7, -7,
     "1 [tlv_generator__add_length] Not enough space to add the LENGTH to the buffer. Buffer size 0, buffer size needed 2147483648\n"
     "1 [tlv_generator__add_tag_and_length] Error calculating the number of bytes of the LENGTH, rc -7\n"
     "1 [tlv_generator__add_tlv] Error calculating the number of bytes of the TAG and LENGTH, rc -7\n"
     "1 [tlv_generator__add_device_info_value] Error calculating the size of the deviceCapabilities TLV, rc -7\n"},
};

INSTANTIATE_TEST_SUITE_P(table, refusal, testing::ValuesIn(refusal_cases),
                         [](const auto &info) { return std::string(info.param.name); });

// --- CtxParams1 ----------------------------------------------------------------------------------------------------

struct ctx_params1_case {
    const char *name, *matching_id, *expected;
};
class ctx_params1 : public testing::TestWithParam<ctx_params1_case> {};

TEST_P(ctx_params1, sizes_and_writes_the_same)
{
    const auto *id = reinterpret_cast<const uint8_t *>(GetParam().matching_id);
    const uint32_t id_length = id ? static_cast<uint32_t>(strlen(GetParam().matching_id)) : 0;
    const std::vector<uint8_t> expected = bytes(GetParam().expected);
    const uint32_t end = static_cast<uint32_t>(expected.size());
    EXPECT_EQ(tlv_generator__add_ctx_params1_value(nullptr, 0, id, id_length), static_cast<int32_t>(end));
    for (uint32_t size = 0; size <= end; ++size) {
        const std::vector<uint8_t> before(size, 0xEE);
        const exact_block buffer{std::span<const uint8_t>(before)};
        log_capture log;
        const int32_t rc = tlv_generator__add_ctx_params1_value(buffer.data(), size, id, id_length);
        EXPECT_EQ(rc, size < end ? -7 : static_cast<int32_t>(end));
        EXPECT_EQ(hex(buffer.data(), size), hex(size < end ? before : expected));
        EXPECT_EQ(
            log.at(LOG__ERROR),
            size == end
                ? ""
                : "1 [tlv_generator__add_device_info_value] Not enough space to add the TLV to the buffer. Buffer size " +
                      std::to_string(size) + ", buffer size needed " + std::to_string(end) + "\n");
    }
}

INSTANTIATE_TEST_SUITE_P(table, ctx_params1,
                         testing::ValuesIn(std::to_array<ctx_params1_case>({
                             {"with_a_matching_id", "ABC", "A0 0F 80 03 41 42 43 A1 08 80 04 00 00 00 00 A1 00"},
                             {"empty_matching_id_is_written_too", "", "A0 0C 80 00 A1 08 80 04 00 00 00 00 A1 00"},
                             {"no_matching_id", nullptr, "A0 0C 80 00 A1 08 80 04 00 00 00 00 A1 00"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(ctx_params1, takes_a_null_matching_id_for_an_empty_one)
{
    EXPECT_EQ(tlv_generator__add_ctx_params1_value(nullptr, 0, nullptr, 5), 14);
}

TEST(ctx_params1, refuses_a_matching_id_too_long_for_a_length_field)
{
    log_capture log;
    EXPECT_EQ(tlv_generator__add_ctx_params1_value(nullptr, 0, three_bytes, 0x1000000), -1);
    EXPECT_EQ(log.at(LOG__ERROR), LENGTH_TOO_LONG
              "1 [tlv_generator__add_tlv] Error calculating the number of bytes of the TAG and LENGTH, rc -1\n"
              "1 [tlv_generator__add_device_info_value] Error calculating the size of the matchingId TLV, rc -1\n");
}

TEST(ctx_params1, refuses_contents_too_long_for_a_length_field)
{
    log_capture log;
    EXPECT_EQ(tlv_generator__add_ctx_params1_value(nullptr, 0, three_bytes, 0xFFFFFE), -1);
    EXPECT_EQ(
        log.at(LOG__ERROR), LENGTH_TOO_LONG
        "1 [tlv_generator__add_tlv] Error calculating the number of bytes of the TAG and LENGTH, rc -1\n"
        "1 [tlv_generator__add_device_info_value] Error calculating the size of the deviceCapabilities TLV, rc -1\n");
}

} // namespace
