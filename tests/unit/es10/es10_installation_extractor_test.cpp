#include "es10/es10_installation_extractor.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/fakes/primitive_fault.h"
#include <cstring>
#include <gtest/gtest.h>

namespace {

uint32_t size_of(const std::vector<uint8_t> &data) { return static_cast<uint32_t>(data.size()); }

// tag and one length byte around contents, all in hex
std::string tlv(const std::string &tag, const std::string &contents)
{
    const uint8_t length = static_cast<uint8_t>(bytes(contents).size());
    return tag + hex(&length, 1) + contents;
}

const std::string transaction_id = "80 02 AABB";
const std::string metadata = "BF2F 0D 80 02 0102 81 02 07 80 0C 03 61 2E 62";
const std::string smdp_oid = "06 02 8837";
const std::string signature = "5F37 02 CAFE";
const std::string success = tlv("A2", tlv("A0", "4F 05 A000000559"
                                                "04 03 300100"));
const std::string error = tlv("A2", tlv("A1", "80 01 05 81 01 0F"));

std::string installation_result(const std::string &final_result)
{
    return tlv("BF37", tlv("BF27", transaction_id + metadata + smdp_oid + final_result) + signature);
}

std::string own_lines(const log_capture &log, int level)
{
    std::string own;
    for (const log_capture::line &line : log.lines())
        if (line.level <= level && line.text.rfind("[es10_tlv", 0) == 0 &&
            line.text.find("__notification_") == std::string::npos)
            own += std::to_string(line.level) + " " + line.text + "\n";
    return own;
}

// ---- the record

TEST(installation_result, of_a_success_fills_the_record)
{
    const auto response = bytes(installation_result(success));
    ProfileInstallationResult result;
    memset(&result, 0xEE, sizeof result);
    const log_capture log;
    ASSERT_EQ(es10_tlv_extractor__profile_installation_result(response.data(), size_of(response), &result), 0u);
    EXPECT_EQ(hex(result.transactionId.value, result.transactionId.length), "AABB");
    EXPECT_EQ(result.notificationMetadata.seqNumber, 258u);
    EXPECT_EQ(result.notificationMetadata.profileManagementOperation, 0u);
    EXPECT_STREQ(result.notificationMetadata.notificationAddress, "a.b");
    EXPECT_EQ(hex(result.smdpOid, result.smdpOid_length), "8837");
    EXPECT_EQ(result.finalResult, static_cast<uint32_t>(FINAL_RESULT__SUCCESS));
    EXPECT_EQ(hex(result.aid, result.aid_length), "A000000559");
    EXPECT_EQ(result.simaResponse_present, 1);
    EXPECT_EQ(hex(result.simaResponse, result.simaResponse_length), "300100");
    EXPECT_EQ(hex(result.euiccSignPIR, result.euiccSignPIR_length), "CAFE");
    EXPECT_EQ(result.bppCommandId, 0);
    EXPECT_EQ(result.errorReason, 0);
    EXPECT_EQ(own_lines(log, 5), "5 [es10_tlv_extractor__profile_installation_result] tlv\n"
                                 "4 [es10_tlv_extractor__profile_installation_result_data] smdpOid\n"
                                 "4 [es10_tlv_extractor__success_result] SuccessResult aid\n"
                                 "4 [es10_tlv_extractor__success_result] SuccessResult simaResponse\n"
                                 "4 [es10_tlv_extractor__profile_installation_result] euiccSignPIR\n");
    EXPECT_TRUE(log.at(4).ends_with("4 [es10_tlv_extractor__success_result] SuccessResult aid\n4 A0 00 00 05 59 \n"
                                    "4 [es10_tlv_extractor__success_result] SuccessResult simaResponse\n4 30 01 00 \n"
                                    "4 [es10_tlv_extractor__profile_installation_result] euiccSignPIR\n4 CA FE \n"));
}

TEST(installation_result, of_an_error_fills_the_record)
{
    const auto response = bytes(installation_result(error));
    ProfileInstallationResult result;
    memset(&result, 0xEE, sizeof result);
    const log_capture log;
    ASSERT_EQ(es10_tlv_extractor__profile_installation_result(response.data(), size_of(response), &result), 0u);
    EXPECT_EQ(result.finalResult, static_cast<uint32_t>(FINAL_RESULT__ERROR));
    EXPECT_EQ(result.bppCommandId, 5);
    EXPECT_EQ(result.errorReason, 15);
    EXPECT_EQ(result.simaResponse_present, 0);
    EXPECT_EQ(result.simaResponse, nullptr);
    EXPECT_EQ(result.aid_length, 0);
    EXPECT_EQ(own_lines(log, 4), "4 [es10_tlv_extractor__profile_installation_result_data] smdpOid\n"
                                 "4 [es10_tlv_extractor__error_result] errorResult bppCommandId: 5\n"
                                 "4 [es10_tlv_extractor__error_result] errorResult errorReason: 15\n"
                                 "4 [es10_tlv_extractor__error_result] errorResult simaResponse is not present\n"
                                 "4 [es10_tlv_extractor__profile_installation_result] euiccSignPIR\n");
}

TEST(installation_result, of_an_error_with_sima_response_points_at_it)
{
    const auto response = bytes(installation_result(tlv("A2", tlv("A1", "80 01 00 81 01 7F 04 02 3000"))));
    ProfileInstallationResult result = {};
    const log_capture log;
    ASSERT_EQ(es10_tlv_extractor__profile_installation_result(response.data(), size_of(response), &result), 0u);
    EXPECT_EQ(result.errorReason, 127);
    EXPECT_EQ(result.simaResponse_present, 1);
    EXPECT_EQ(hex(result.simaResponse, result.simaResponse_length), "3000");
    EXPECT_NE(log.at(4).find("4 [es10_tlv_extractor__error_result] errorResult simaResponse is present\n"
                             "4 [es10_tlv_extractor__error_result] ErrorResult simaResponse\n4 30 00 \n"),
              std::string::npos);
}

// ---- the bounds of single values

struct value_case {
    const char *name;
    std::string final_result;
    uint32_t code;
    const char *log; // errors of the innermost reader
};

std::string aid_of(int length)
{
    const uint8_t byte = static_cast<uint8_t>(length);
    return tlv("A2", tlv("A0", "4F" + hex(&byte, 1) + hex(std::vector<uint8_t>(length, 0xA0)) + "04 00"));
}

std::string error_of(const char *command, const char *reason)
{
    return tlv("A2", tlv("A1", std::string("80 01") + command + "81 01" + reason));
}

class final_result : public testing::TestWithParam<value_case> {};

TEST_P(final_result, gives_code_and_log)
{
    const auto element = bytes(GetParam().final_result);
    ProfileInstallationResult result = {};
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__final_result(element.data(), size_of(element), &result), GetParam().code);
    EXPECT_EQ(own_lines(log, 1), GetParam().log);
}

// clang-format off
#define REASON "1 [es10_tlv_extractor__error_result] Error extracting the errorReason of the errorResult, rc 1\n"
const value_case value_cases[] = {
    {"aid_of_4_bytes_fails", aid_of(4), 1, "1 [es10_tlv_extractor__success_result] Bad aid length 4\n"},
    {"aid_of_5_bytes", aid_of(5), 0, ""},
    {"aid_of_16_bytes", aid_of(16), 0, ""},
    {"aid_of_17_bytes_fails", aid_of(17), 1, "1 [es10_tlv_extractor__success_result] Bad aid length 17\n"},
    {"success_without_aid", tlv("A2", tlv("A0", "04 00")), 1, "1 [es10_tlv_extractor__success_result] aid TAG 0x4F not found\n"},
    {"success_without_sima_response", tlv("A2", tlv("A0", "4F 05 A000000559")), 1, "1 [es10_tlv_extractor__success_result] simaResponse TAG 0x04 not found\n"},
    {"success_with_sima_response_running_past_it", tlv("A2", tlv("A0", "4F 05 A000000559 04 01")), 1, "1 [es10_tlv_extractor__success_result] Error parsing the simaResponse TLV, rc 1\n"},
    {"empty_success", tlv("A2", "A0 00"), 4, "1 [es10_tlv_extractor__success_result] tlv is empty/null\n"},
    {"error_reason_1", error_of("00", "01"), 0, ""},
    {"error_reason_15", error_of("00", "0F"), 0, ""},
    {"error_reason_127", error_of("00", "7F"), 0, ""},
    {"error_reason_0_fails", error_of("00", "00"), 1, "1 [es10_tlv_extractor__error_reason] Error 00 not defined in the errorReason\n" REASON},
    {"error_reason_16_fails", error_of("00", "10"), 1, "1 [es10_tlv_extractor__error_reason] Error 10 not defined in the errorReason\n" REASON},
    {"error_reason_126_fails", error_of("00", "7E"), 1, "1 [es10_tlv_extractor__error_reason] Error 7E not defined in the errorReason\n" REASON},
    {"error_reason_128_fails", error_of("00", "80"), 1, "1 [es10_tlv_extractor__error_reason] Error 80 not defined in the errorReason\n" REASON},
    {"no_error_reason", tlv("A2", tlv("A1", "80 01 00")), 1, "1 [es10_tlv_extractor__error_reason] Error extracting the errorReason, rc 1\n" REASON},
    {"bpp_command_id_5", error_of("05", "01"), 0, ""},
    {"bpp_command_id_6_fails", error_of("06", "01"), 1,
     "1 [es10_tlv_extractor__bpp_command_id] id 06 not defined in the bppCommandId\n"
     "1 [es10_tlv_extractor__error_result] Error extracting the bppCommandId of the errorResult, rc 1\n"},
    {"no_bpp_command_id", tlv("A2", tlv("A1", "81 01 01")), 1,
     "1 [es10_tlv_extractor__bpp_command_id] Error extracting the bppCommandId, rc 1\n"
     "1 [es10_tlv_extractor__error_result] Error extracting the bppCommandId of the errorResult, rc 1\n"},
    {"error_with_sima_response_running_past_it", tlv("A2", tlv("A1", "80 01 00 81 01 01 04 01")), 1, "1 [es10_tlv_extractor__error_result] Error parsing the simaResponse TLV, rc 1\n"},
    {"empty_error", tlv("A2", "A1 00"), 4, "1 [es10_tlv_extractor__error_result] tlv is empty/null\n"},
    {"neither_success_nor_error", tlv("A2", "A3 00"), 1, "1 [es10_tlv_extractor__final_result] Unknown TAG (00A3) of finalResult CHOICE TLV\n"},
    {"without_choice", "A2 00", 1, "1 [es10_tlv_extractor__final_result] Error parsing the finalResult CHOICE TLV, rc 1\n"},
    {"with_a_choice_running_past_it", "A2 02 A0 01", 1, "1 [es10_tlv_extractor__final_result] Error parsing the finalResult CHOICE TLV, rc 1\n"},
    {"running_past_the_bytes_there_are", "A2 03 A0 00", 1, "1 [es10_tlv_extractor__final_result] Error parsing the finalResult CHOICE TLV, rc 1\n"},
    {"missing", "A3 00", 1, "1 [es10_tlv_extractor__final_result] finalResult TAG 0x00A2 not found\n"},
    {"of_nothing", "", 4, "1 [es10_tlv_extractor__final_result] tlv is empty/null\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, final_result, testing::ValuesIn(value_cases),
                         [](const auto &info) { return std::string(info.param.name); });

// ---- what is missing or broken further out

struct broken_case {
    const char *name;
    std::string answer;
    uint32_t code;
    const char *log; // errors, those of the notification left out
};

class broken_result : public testing::TestWithParam<broken_case> {};

TEST_P(broken_result, is_reported_up_to_the_top)
{
    const auto response = bytes(GetParam().answer);
    ProfileInstallationResult result = {};
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__profile_installation_result(response.data(), size_of(response), &result),
              GetParam().code);
    EXPECT_EQ(own_lines(log, 1), GetParam().log);
}

// clang-format off
#define TOP(rc) "1 [es10_tlv_extractor__profile_installation_result] Error extracting the profileInstallationResultData of the ProfileInstallationResult, rc " rc "\n"
const broken_case broken_cases[] = {
    {"another_answer", "BF38 00", 1, "1 [es10_tlv_extractor__profile_installation_result] ProfileInstallationResult TAG 0xBF37 not found\n"},
    {"no_answer", "", 4, "1 [es10_tlv_extractor__profile_installation_result] tlv is empty/null\n"},
    {"empty", "BF37 00", 4, "1 [es10_tlv_extractor__profile_installation_result_data] tlv is empty/null\n" TOP("4")},
    {"without_data", tlv("BF37", signature), 1, "1 [es10_tlv_extractor__profile_installation_result_data] ProfileInstallationResultData TAG 0xBF27 not found\n" TOP("1")},
    {"without_transaction_id", tlv("BF37", tlv("BF27", metadata + smdp_oid + success) + signature), 1,
     "1 [es10_tlv_extractor__profile_installation_result_data] The field transactionId is not present in the ProfileInstallationResultData\n" TOP("1")},
    {"with_a_transaction_id_of_17_bytes", tlv("BF37", tlv("BF27", "80 11 0102030405060708090A0B0C0D0E0F1011" + metadata + smdp_oid + success) + signature), 1,
     "1 [es10_tlv_extractor__profile_installation_result_data] Error extracting the transactionId of the ProfileInstallationResultData, rc 1\n" TOP("1")},
    {"without_notification", tlv("BF37", tlv("BF27", transaction_id + smdp_oid + success) + signature), 1,
     "1 [es10_tlv_extractor__profile_installation_result_data] Error extracting the notificationMetadata of the ProfileInstallationResultData, rc 1\n" TOP("1")},
    {"without_smdp_oid", tlv("BF37", tlv("BF27", transaction_id + metadata + success) + signature), 1,
     "1 [es10_tlv_extractor__profile_installation_result_data] smdpOid TAG 0x06 not found\n" TOP("1")},
    {"with_an_smdp_oid_running_past_the_data", tlv("BF37", tlv("BF27", transaction_id + metadata + "06 02 88") + signature), 1,
     "1 [es10_tlv_extractor__profile_installation_result_data] Error parsing the smdpOid TLV, rc 1\n" TOP("1")},
    {"without_final_result", tlv("BF37", tlv("BF27", transaction_id + metadata + smdp_oid) + signature), 1,
     "1 [es10_tlv_extractor__final_result] finalResult TAG 0x00A2 not found\n"
     "1 [es10_tlv_extractor__profile_installation_result_data] Error extracting the finalResult of the ProfileInstallationResultData, rc 1\n" TOP("1")},
    {"without_signature", tlv("BF37", tlv("BF27", transaction_id + metadata + smdp_oid + success)), 1,
     "1 [es10_tlv_extractor__profile_installation_result] euiccSignPIR TAG 0x5F37 not found\n" TOP("1")},
    {"with_a_signature_running_past_the_answer", tlv("BF37", tlv("BF27", transaction_id + metadata + smdp_oid + success) + "5F37 02 CA"), 1,
     "1 [es10_tlv_extractor__profile_installation_result] Error parsing the euiccSignPIR TLV, rc 1\n" TOP("1")},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, broken_result, testing::ValuesIn(broken_cases),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(inner_readers, of_nothing_give_4)
{
    ProfileInstallationResult result = {};
    uint8_t value = 0xEE;
    const log_capture log;
    EXPECT_EQ(es10_tlv_extractor__profile_installation_result_data(nullptr, 1, &result), 4u);
    EXPECT_EQ(es10_tlv_extractor__bpp_command_id(nullptr, 1, &value), 4u);
    EXPECT_EQ(es10_tlv_extractor__error_reason(nullptr, 1, &value), 4u);
    EXPECT_EQ(value, 0xEE);
    EXPECT_EQ(log.up_to(5), "1 [es10_tlv_extractor__profile_installation_result_data] tlv is empty/null\n"
                            "1 [es10_tlv_extractor__bpp_command_id] tlv is empty/null\n"
                            "1 [es10_tlv_extractor__error_reason] tlv is empty/null\n");
}

TEST(inner_readers, leave_a_value_that_is_not_defined_alone)
{
    const auto element = bytes("80 01 06 81 01 10");
    uint8_t id = 0xEE, reason = 0xEE;
    const log_capture quiet(0);
    EXPECT_EQ(es10_tlv_extractor__bpp_command_id(element.data(), 6, &id), 1u);
    EXPECT_EQ(es10_tlv_extractor__error_reason(element.data(), 6, &reason), 1u);
    EXPECT_EQ(id, 0xEE);
    EXPECT_EQ(reason, 0xEE);
}

TEST(parser_codes, pass_through_unchanged)
{
    const auto response = bytes(installation_result(success));
    ProfileInstallationResult result = {};
    const log_capture log;
    const primitive_fault fault("ber_tlv_parser__ber_tlv_2", 8, 4); // BF37, BF27, 80, BF2F with three fields, smdpOid
    EXPECT_EQ(es10_tlv_extractor__profile_installation_result(response.data(), size_of(response), &result), 4u);
    EXPECT_EQ(
        own_lines(log, 1),
        "1 [es10_tlv_extractor__profile_installation_result_data] Error parsing the smdpOid TLV, rc 4\n" TOP("4"));
}

} // namespace
