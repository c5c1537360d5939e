#include "foundation/base64.h"
#include "foundation/log.h"
#include "lpa/memory.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "tlv/tlv_generator.h"
#include "unit/fakes/failing_memory.h"
#include <array>
#include <gtest/gtest.h>

namespace {

const std::vector<uint8_t> matching_id = {0x41, 0x42, 0x43};
constexpr const char *ctx_params1 = "A00F8003414243A108800400000000A100";

std::string base64(const std::vector<uint8_t> &content)
{
    char *text = base64_encode(content.data(), static_cast<uint32_t>(content.size()), nullptr);
    std::string result = text ? text : "";
    M_free(text);
    return result;
}

// The members of the server's answer, as base64 texts.
struct answer {
    std::string serverSigned1 = base64(bytes("30 03 80 01 11"));
    std::string serverSignature1 = base64(bytes("5F 37 02 22 33"));
    std::string euiccCiPKIdToBeUsed = base64(bytes("04 02 44 55"));
    std::string serverCertificate = base64(bytes("30 03 02 01 66"));

    std::string json() const
    {
        std::string text = "{\"header\":{\"functionExecutionStatus\":{\"status\":\"Executed-Success\"}}";
        add(text, "serverSigned1", serverSigned1);
        add(text, "serverSignature1", serverSignature1);
        add(text, "euiccCiPKIdToBeUsed", euiccCiPKIdToBeUsed);
        add(text, "serverCertificate", serverCertificate);
        return text + "}";
    }

  private:
    static void add(std::string &text, const char *key, const std::string &value)
    {
        if (value != "-") text += std::string(",\"") + key + "\":\"" + value + "\"";
    }
};

struct outcome {
    uint32_t code;
    std::vector<uint8_t> request;
    bool null;
};

outcome build(const std::string &json)
{
    auto *data = reinterpret_cast<uint8_t *>(1);
    uint32_t length = 0;
    outcome result = {tlv_generator__authenticate_server_request(json.c_str(), matching_id.data(), 3, &data, &length),
                      {},
                      data == nullptr};
    if (data) result.request.assign(data, data + length);
    M_free(data);
    return result;
}

TEST(authenticate_server_request, joins_the_four_elements_and_ctx_params1)
{
    const outcome result = build(answer{}.json());
    EXPECT_EQ(result.code, 0u);
    EXPECT_EQ(hex(result.request),
              std::string("BF3824") + "3003800111" + "5F37022233" + "04024455" + "3003020166" + ctx_params1);
}

TEST(authenticate_server_request, logs_its_pieces_at_debug_level)
{
    log_capture log;
    build(answer{}.json());
    const std::string text = log.at(LOG__DEBUG);
    const std::string expected =
        "4 [tlv_generator__authenticate_server_request] tlv_server_signed\n4 30 03 80 01 11 \n"
        "4 [tlv_generator__authenticate_server_request] tlv_server_signature\n4 5F 37 02 22 33 \n"
        "4 [tlv_generator__authenticate_server_request] tlv_euicc_ci_pk\n4 04 02 44 55 \n"
        "4 [tlv_generator__authenticate_server_request] tlv_server_certificate\n4 30 03 02 01 66 \n"
        "4 [tlv_generator__authenticate_server_request] tlv_ctx_params\n"
        "4 A0 0F 80 03 41 42 43 A1 08 80 04 00 00 00 00 A1\n4 00 \n"
        "4 [tlv_generator__authenticate_server_request] Authenticate server request\n"
        "4 BF 38 24 30 03 80 01 11 5F 37 02 22 33 04 02 44\n"
        "4 55 30 03 02 01 66 A0 0F 80 03 41 42 43 A1 08 80\n"
        "4 04 00 00 00 00 A1 00 \n";
    EXPECT_EQ(text, expected);
    EXPECT_EQ(log.up_to(LOG__INFO), "");
}

TEST(authenticate_server_request, accepts_escaped_padding_and_keeps_the_callers_text)
{
    answer escaped;
    escaped.euiccCiPKIdToBeUsed = "BAJEVQ\\u003d\\u003d";
    const std::string json = escaped.json();
    const std::string before = json;
    const outcome result = build(json);
    EXPECT_EQ(result.code, 0u);
    EXPECT_EQ(result.request, build(answer{}.json()).request);
    EXPECT_EQ(json, before);
}

struct length_case {
    const char *name;
    uint32_t certificate;
    const char *header;
};
class request_length : public testing::TestWithParam<length_case> {};

// The other pieces have 31 bytes.
TEST_P(request_length, takes_as_many_bytes_as_the_length_writer)
{
    answer with_certificate;
    with_certificate.serverCertificate = base64(std::vector<uint8_t>(GetParam().certificate, 0x30));
    const outcome result = build(with_certificate.json());
    EXPECT_EQ(result.code, 0u);
    const std::string header = hex(bytes(GetParam().header));
    ASSERT_EQ(result.request.size(), header.size() / 2 + 31 + GetParam().certificate);
    EXPECT_EQ(hex(result.request.data(), header.size() / 2), header);
}

INSTANTIATE_TEST_SUITE_P(table, request_length,
                         testing::ValuesIn(std::to_array<length_case>({
                             {"contents_of_126", 126 - 31, "BF38 7E"},
                             {"contents_of_127", 127 - 31, "BF38 81 7F"},
                             {"contents_of_254", 254 - 31, "BF38 81 FE"},
                             {"contents_of_255", 255 - 31, "BF38 82 00FF"},
                             {"contents_of_65534", 65534 - 31, "BF38 82 FFFE"},
                             {"contents_of_65535", 65535 - 31, "BF38 83 00FFFF"},
                             {"longest_contents", 0xFFFFFE - 31, "BF38 83 FFFFFE"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(authenticate_server_request, refuses_contents_too_long_for_a_length_field)
{
    answer too_long;
    too_long.serverCertificate = base64(std::vector<uint8_t>(0xFFFFFF - 31, 0x30));
    log_capture log;
    const outcome result = build(too_long.json());
    EXPECT_EQ(result.code, 1u);
    EXPECT_TRUE(result.null);
    EXPECT_EQ(
        log.at(LOG__ERROR),
        "1 [tlv_generator__authenticate_server_request] Error calculating the length of the AuthenticateServerRequest TLV\n");
}

TEST(authenticate_server_request, looks_for_every_member_before_it_decodes_one)
{
    answer incomplete;
    incomplete.serverSigned1 = "QUJ";
    incomplete.euiccCiPKIdToBeUsed = incomplete.serverCertificate = "-";
    log_capture log;
    EXPECT_EQ(build(incomplete.json()).code, 1u);
    EXPECT_EQ(log.at(LOG__ERROR), "1 [tlv_generator__authenticate_server_request] 'euiccCiPKIdToBeUsed' not found in "
                                  "initate authentication HTTP response\n");
}

struct missing_case {
    const char *name;
    std::string answer::*member;
};
class answer_member : public testing::TestWithParam<missing_case> {};

TEST_P(answer_member, missing_gives_the_scanners_code)
{
    answer incomplete;
    incomplete.*GetParam().member = "-";
    log_capture log;
    const outcome result = build(incomplete.json());
    EXPECT_EQ(result.code, 1u);
    EXPECT_TRUE(result.null);
    EXPECT_EQ(log.at(LOG__ERROR), std::string("1 [tlv_generator__authenticate_server_request] '") + GetParam().name +
                                      "' not found in initate authentication HTTP response\n");
}

TEST_P(answer_member, that_is_no_base64_is_refused)
{
    for (const char *bad : {"QUJ", "", "!!"}) {
        answer garbled;
        garbled.*GetParam().member = bad;
        log_capture log;
        const outcome result = build(garbled.json());
        EXPECT_EQ(result.code, 1u);
        EXPECT_TRUE(result.null);
        EXPECT_EQ(log.at(LOG__ERROR),
                  std::string("1 [tlv_generator__authenticate_server_request] Error decoding the '") + GetParam().name +
                      "' base64 field\n");
    }
}

INSTANTIATE_TEST_SUITE_P(table, answer_member,
                         testing::ValuesIn(std::to_array<missing_case>({
                             {"serverSigned1", &answer::serverSigned1},
                             {"serverSignature1", &answer::serverSignature1},
                             {"euiccCiPKIdToBeUsed", &answer::euiccCiPKIdToBeUsed},
                             {"serverCertificate", &answer::serverCertificate},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(authenticate_server_request, refuses_a_null_answer)
{
    auto *data = reinterpret_cast<uint8_t *>(1);
    uint32_t length = 7;
    log_capture log;
    EXPECT_EQ(tlv_generator__authenticate_server_request(nullptr, matching_id.data(), 3, &data, &length), 1u);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(length, 7u);
    EXPECT_EQ(
        log.at(LOG__ERROR),
        "1 [tlv_generator__authenticate_server_request] 'serverSigned1' not found in initate authentication HTTP response\n");
}

TEST(authenticate_server_request, refuses_a_matching_id_too_long_for_a_length_field)
{
    uint8_t *data = nullptr;
    uint32_t length = 0;
    log_capture log;
    EXPECT_EQ(tlv_generator__authenticate_server_request(answer{}.json().c_str(), matching_id.data(), 0x1000000, &data,
                                                         &length),
              1u);
    EXPECT_EQ(data, nullptr);
    EXPECT_TRUE(
        log.at(LOG__ERROR)
            .ends_with(
                "1 [tlv_generator__authenticate_server_request] Error calculating the size of the CtxParams1 TLV, rc -1\n"));
}

struct memory_case {
    int nth;
    uint32_t code;
    const char *log;
};

TEST(authenticate_server_request, tells_which_allocation_failed_and_releases_the_rest)
{
    // Each field takes two: a copy of its text and the decoded bytes.
    const memory_case cases[] = {
        {1, 1, "1 [tlv_generator__authenticate_server_request] Error decoding the 'serverSigned1' base64 field\n"},
        {2, 1, "1 [tlv_generator__authenticate_server_request] Error decoding the 'serverSigned1' base64 field\n"},
        {3, 1, "1 [tlv_generator__authenticate_server_request] Error decoding the 'serverSignature1' base64 field\n"},
        {4, 1, "1 [tlv_generator__authenticate_server_request] Error decoding the 'serverSignature1' base64 field\n"},
        {5, 1,
         "1 [tlv_generator__authenticate_server_request] Error decoding the 'euiccCiPKIdToBeUsed' base64 field\n"},
        {6, 1,
         "1 [tlv_generator__authenticate_server_request] Error decoding the 'euiccCiPKIdToBeUsed' base64 field\n"},
        {7, 1, "1 [tlv_generator__authenticate_server_request] Error decoding the 'serverCertificate' base64 field\n"},
        {8, 1, "1 [tlv_generator__authenticate_server_request] Error decoding the 'serverCertificate' base64 field\n"},
        {9, 9, "1 [tlv_generator__authenticate_server_request] Can not allocate data to the tlv_ctx_params\n"},
        {10, 9, "1 [tlv_generator__authenticate_server_request] can't allocate data to tlv\n"},
        {11, 9,
         "1 [tlv_generator__authenticate_server_request] can't reallocate data to tlv to copy the tlv_server_signed\n"},
        {12, 9,
         "1 [tlv_generator__authenticate_server_request] can't reallocate data to tlv to copy the tlv_server_signature\n"},
        {13, 9,
         "1 [tlv_generator__authenticate_server_request] can't reallocate data to tlv to copy the tlv_euicc_ci_pk\n"},
        {14, 9,
         "1 [tlv_generator__authenticate_server_request] can't reallocate data to tlv to copy the tlv_server_certificate\n"},
        {15, 9,
         "1 [tlv_generator__authenticate_server_request] can't reallocate data to tlv to copy the tlv_ctx_params\n"},
    };
    const std::string json = answer{}.json();
    for (const memory_case &expected : cases) {
        log_capture log;
        failing_memory memory(expected.nth);
        const outcome result = build(json);
        EXPECT_TRUE(failing_memory::reached());
        EXPECT_EQ(result.code, expected.code) << expected.nth;
        EXPECT_TRUE(result.null);
        EXPECT_EQ(log.at(LOG__ERROR), expected.log) << expected.nth;
    }
    failing_memory memory(16);
    EXPECT_EQ(build(json).code, 0u);
    EXPECT_FALSE(failing_memory::reached());
}

} // namespace
