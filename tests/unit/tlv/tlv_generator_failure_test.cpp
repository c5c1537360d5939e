// Every failure that checked sizes rule out: a step below an appender fails, and the log tells where.
#include "foundation/log.h"
#include "support/log_capture.h"
#include "tlv/tlv_data_extractor.h"
#include "tlv/tlv_generator.h"
#include "unit/fakes/primitive_fault.h"
#include <array>
#include <gtest/gtest.h>
#include <string>

namespace {

struct failure {
    const char *name;
    int32_t (*append)(uint8_t *buffer, uint32_t size);
    const char *primitive;
    int nth;
    const char *log;
};
void PrintTo(const failure &row, std::ostream *out) { *out << row.name; }

class appender_failure : public testing::TestWithParam<failure> {};

TEST_P(appender_failure, is_reported_by_each_level_it_passes)
{
    uint8_t buffer[64] = {};
    const log_capture log;
    const primitive_fault fault(GetParam().primitive, GetParam().nth, -7);
    EXPECT_EQ(GetParam().append(buffer, sizeof buffer), -7);
    EXPECT_TRUE(primitive_fault::reached());
    EXPECT_EQ(log.up_to(LOG__ERROR), GetParam().log);
}

constexpr uint8_t three_bytes[] = {0x41, 0x42, 0x43};
constexpr uint8_t bits_101[] = {1, 0, 1};

int32_t tag_and_length(uint8_t *buffer, uint32_t size)
{
    return tlv_generator__add_tag_and_length(buffer, size, 0, 0xBF29, 3);
}
int32_t element(uint8_t *buffer, uint32_t size)
{
    return tlv_generator__add_tlv(buffer, size, 0, 0x81, three_bytes, sizeof three_bytes);
}
int32_t base64(uint8_t *buffer, uint32_t size)
{
    return tlv_generator__add_tlv_base64_value(buffer, size, 0, 0x04, "QUJD", 4);
}
int32_t bit_string(uint8_t *buffer, uint32_t size)
{
    return tlv_generator__add_tlv_bit_string_value(buffer, size, 0, 0x81, bits_101, sizeof bits_101);
}
int32_t oid(uint8_t *buffer, uint32_t size)
{
    return tlv_generator__add_tlv_oid_value(buffer, size, 0, 0x06, "2.999.3", 7);
}
int32_t integer(uint8_t *buffer, uint32_t size)
{
    return tlv_generator__add_tlv_integer_value(buffer, size, 0, 0x02, 5);
}
int32_t device_info(uint8_t *buffer, uint32_t size) { return tlv_generator__add_device_info_value(buffer, size, 0); }
int32_t ctx_params1(uint8_t *buffer, uint32_t size)
{
    return tlv_generator__add_ctx_params1_value(buffer, size, three_bytes, sizeof three_bytes);
}

constexpr const char *add_tag = "tlv_generator__add_tag";
constexpr const char *add_length = "tlv_generator__add_length";

// clang-format off
const failure failures[] = {
    {"tag_and_length_tag_size", tag_and_length, add_tag, 1,
     "1 [tlv_generator__add_tag_and_length] Error calculating the number of bytes of the TAG, rc -7\n"},
    {"tag_and_length_tag", tag_and_length, add_tag, 2,
     "1 [tlv_generator__add_tag_and_length] Error adding the TAG to the buffer, rc -7\n"},
    {"tag_and_length_length", tag_and_length, add_length, 2,
     "1 [tlv_generator__add_tag_and_length] Error adding the LENGTH to the buffer, rc -7\n"},
    {"element_header", element, add_tag, 3,
     "1 [tlv_generator__add_tag_and_length] Error adding the TAG to the buffer, rc -7\n"
     "1 [tlv_generator__add_tlv] Error adding the TAG and LENGTH to the buffer, rc -7\n"},
    {"base64_header", base64, add_tag, 3,
     "1 [tlv_generator__add_tag_and_length] Error adding the TAG to the buffer, rc -7\n"
     "1 [tlv_generator__add_tlv_base64_value] Error adding the base64 TAG LENGTH, rc -7\n"},
    {"bit_string_size", bit_string, "byte_utils__bit_string_encode", 1,
     "1 [tlv_generator__add_tlv_bit_string_value] Error calculating the size of the bit string value, rc -7\n"},
    {"bit_string_header", bit_string, add_tag, 3,
     "1 [tlv_generator__add_tag_and_length] Error adding the TAG to the buffer, rc -7\n"
     "1 [tlv_generator__add_tlv_bit_string_value] Error adding the bit string TAG LENGTH, rc -7\n"},
    {"bit_string_value", bit_string, "byte_utils__bit_string_encode", 2,
     "1 [tlv_generator__add_tlv_bit_string_value] Error adding the bit string VALUE, rc -7\n"},
    {"oid_header", oid, add_tag, 3,
     "1 [tlv_generator__add_tag_and_length] Error adding the TAG to the buffer, rc -7\n"
     "1 [tlv_generator__add_tlv_oid_value] Error adding the OID TAG LENGTH, rc -7\n"},
    {"oid_value", oid, "byte_utils__oid_encode", 2,
     "1 [tlv_generator__add_tlv_oid_value] Error adding the OID VALUE, rc -7\n"},
    {"integer_contents", integer, "byte_utils__uint_to_byte_array", 1,
     "1 [tlv_generator__add_tlv_integer_value] Error parsing the integer to byte array, err -7\n"},
    {"device_info_tac", device_info, add_tag, 5,
     "1 [tlv_generator__add_tag_and_length] Error adding the TAG to the buffer, rc -7\n"
     "1 [tlv_generator__add_tlv] Error adding the TAG and LENGTH to the buffer, rc -7\n"
     "1 [tlv_generator__add_device_info_value] Error adding the tac TLV, rc -7\n"},
    {"device_info_capabilities", device_info, add_tag, 8,
     "1 [tlv_generator__add_tag_and_length] Error adding the TAG to the buffer, rc -7\n"
     "1 [tlv_generator__add_tlv] Error adding the TAG and LENGTH to the buffer, rc -7\n"
     "1 [tlv_generator__add_device_info_value] Error adding the size of the deviceCapabilities TLV, rc -7\n"},
    {"ctx_params1_device_info_value_size", ctx_params1, add_tag, 2,
     "1 [tlv_generator__add_tag_and_length] Error calculating the number of bytes of the TAG, rc -7\n"
     "1 [tlv_generator__add_tlv] Error calculating the number of bytes of the TAG and LENGTH, rc -7\n"
     "1 [tlv_generator__add_device_info_value] Error calculating the size of the tac TLV, rc -7\n"
     "1 [tlv_generator__add_device_info_value] Error calculating the size of the deviceInfo VALUE, rc -7\n"},
    {"ctx_params1_device_info_size", ctx_params1, add_tag, 4,
     "1 [tlv_generator__add_tag_and_length] Error calculating the number of bytes of the TAG, rc -7\n"
     "1 [tlv_generator__add_tlv] Error calculating the number of bytes of the TAG and LENGTH, rc -7\n"
     "1 [tlv_generator__add_device_info_value] Error calculating the size of the deviceCapabilities TLV, rc -7\n"},
    {"ctx_params1_size", ctx_params1, add_tag, 5,
     "1 [tlv_generator__add_tag_and_length] Error calculating the number of bytes of the TAG, rc -7\n"
     "1 [tlv_generator__add_tlv] Error calculating the number of bytes of the TAG and LENGTH, rc -7\n"
     "1 [tlv_generator__add_device_info_value] Error calculating the size of the deviceCapabilities TLV, rc -7\n"},
    {"ctx_params1_tag", ctx_params1, add_tag, 6,
     "1 [tlv_generator__add_device_info_value] Error adding the CtxParams1 TAG, rc -7\n"},
    {"ctx_params1_length", ctx_params1, add_length, 6,
     "1 [tlv_generator__add_device_info_value] Error adding the CtxParams1 LENGTH, rc -7\n"},
    {"ctx_params1_matching_id", ctx_params1, add_tag, 9,
     "1 [tlv_generator__add_tag_and_length] Error adding the TAG to the buffer, rc -7\n"
     "1 [tlv_generator__add_tlv] Error adding the TAG and LENGTH to the buffer, rc -7\n"
     "1 [tlv_generator__add_device_info_value] Error adding the matchingId TLV, rc -7\n"},
    {"ctx_params1_device_info_tag", ctx_params1, add_tag, 10,
     "1 [tlv_generator__add_device_info_value] Error adding the deviceInfo TAG, rc -7\n"},
    {"ctx_params1_device_info_length", ctx_params1, add_length, 10,
     "1 [tlv_generator__add_device_info_value] Error adding the deviceInfo LENGTH, rc -7\n"},
    {"ctx_params1_device_info_value", ctx_params1, add_tag, 15,
     "1 [tlv_generator__add_tag_and_length] Error adding the TAG to the buffer, rc -7\n"
     "1 [tlv_generator__add_tlv] Error adding the TAG and LENGTH to the buffer, rc -7\n"
     "1 [tlv_generator__add_device_info_value] Error adding the tac TLV, rc -7\n"
     "1 [tlv_generator__add_device_info_value] Error adding the deviceInfo VALUE, rc -7\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, appender_failure, testing::ValuesIn(failures),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(authenticate_server_request_failure, in_ctx_params1_gives_1_and_no_request)
{
    constexpr const char *answer = R"({"serverSigned1":"MAA=","serverSignature1":"XzcA",)"
                                   R"("euiccCiPKIdToBeUsed":"BAA=","serverCertificate":"MAA="})";
    uint8_t *data = nullptr;
    uint32_t length = 0;
    const log_capture log;
    const primitive_fault fault(add_tag, 11, -7); // five to size, five to size again, then the first one written
    EXPECT_EQ(tlv_generator__authenticate_server_request(answer, three_bytes, sizeof three_bytes, &data, &length), 1U);
    EXPECT_TRUE(primitive_fault::reached());
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(log.up_to(LOG__ERROR),
              "1 [tlv_generator__add_device_info_value] Error adding the CtxParams1 TAG, rc -7\n"
              "1 [tlv_generator__authenticate_server_request] Adding the CtxParams1 TLV, rc -7\n");
}

TEST(asn1_list_failure, of_the_parser_is_passed_on)
{
    constexpr uint8_t answer[] = {0xA0, 0x00};
    asn1_list list = {};
    const log_capture log;
    const primitive_fault fault("ber_tlv_parser__ber_tlv_2", 1, 5);
    EXPECT_EQ(tlv_data_extractor__asn1_list_init(&list, 0xA0, 0xE3, answer, sizeof answer), 5U);
    EXPECT_EQ(log.up_to(LOG__ERROR), "1 [tlv_data_extractor__asn1_list_init] Error parsing the ASN.1 list, rc 5\n");
}

} // namespace
