#include "es9/es9_extractor.h"
#include "foundation/log.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include <array>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace {
// A terminated text in a heap block of exactly its size, so that the sanitizer sees a step outside.
class exact_text {
  public:
    explicit exact_text(const std::string &text) : text_(new char[text.size() + 1])
    {
        text.copy(text_.get(), text.size());
        text_[text.size()] = 0;
    }
    char *get() { return text_.get(); }

  private:
    std::unique_ptr<char[]> text_;
};

std::string header(const std::string &status, const std::string &status_code_data = "")
{
    const std::string more = status_code_data.empty() ? "" : ",\"statusCodeData\":{" + status_code_data + "}";
    return R"("header":{"functionExecutionStatus":{"status":")" + status + "\"" + more + "}}";
}

std::string codes(const std::string &subject, const std::string &reason)
{
    return R"("subjectCode":")" + subject + R"(","reasonCode":")" + reason + "\"";
}

std::string refused(const std::string &subject, const std::string &reason)
{
    return "{" + header("Failed", codes(subject, reason)) + "}";
}

const std::string body = R"("transactionId":"0A0b0C","profileMetadata":"vyUA","smdpSigned2":"MAOAAQE=",)"
                         R"("smdpSignature2":"XzcBqg==","smdpCertificate":"MAA\u003d")";
const std::string accepted = "{" + header("Executed-Success") + "," + body + "}";

// Dumped values follow their title in lines of hex digits; the tests look at the titles.
std::string without_dumps(const std::string &log)
{
    std::string result;
    for (size_t at = 0; at < log.size();) {
        const size_t end = log.find('\n', at) + 1;
        const std::string line = log.substr(at, end - at);
        const bool is_dump = line.size() > 4 && line.find_first_not_of("0123456789ABCDEF \n", 2) == std::string::npos;
        if (!is_dump) result += line;
        at = end;
    }
    return result;
}

TEST(authenticate_client_response, points_to_its_fields_decoded_in_place)
{
    exact_text json(accepted);
    AuthenticateClientResponseEs9 response;
    log_capture log;
    ASSERT_EQ(es9_json_extractor__authenticate_client_response(json.get(), &response), 0U);
    EXPECT_EQ(response.failed, 0);
    EXPECT_EQ(hex(response.transactionId.value, response.transactionId.length), "0A0B0C");
    EXPECT_EQ(hex(response.profileMetadata, response.profileMetadata_length), "BF2500");
    EXPECT_EQ(hex(response.smdpSigned2, response.smdpSigned2_length), "3003800101");
    EXPECT_EQ(hex(response.smdpSignature2, response.smdpSignature2_length), "5F3701AA");
    EXPECT_EQ(hex(response.smdpCertificate, response.smdpCertificate_length), "3000");
    EXPECT_EQ(response.text, nullptr);
    const auto *start = reinterpret_cast<const uint8_t *>(json.get());
    EXPECT_GE(response.profileMetadata, start);
    EXPECT_LT(response.profileMetadata, start + accepted.size());
    EXPECT_EQ(log.up_to(LOG__INFO), "");
    EXPECT_TRUE(
        log.contains(5, "[es9_json_extractor__initiate_authentication_response] The status is Executed-Success"));
}

struct broken_case {
    const char *name;
    std::string json;
    std::string log; // up to level 3, without the outermost line
};

std::string without(std::string text, const std::string &part, const std::string &instead = "")
{
    return text.replace(text.find(part), part.size(), instead);
}

class broken_authenticate_client_response : public testing::TestWithParam<broken_case> {};

TEST_P(broken_authenticate_client_response, gives_1_and_tells_the_field)
{
    exact_text json(GetParam().json);
    AuthenticateClientResponseEs9 response;
    log_capture log;
    EXPECT_EQ(es9_json_extractor__authenticate_client_response(json.get(), &response), 1U);
    EXPECT_EQ(without_dumps(log.up_to(LOG__INFO)), GetParam().log);
}

const std::string tag = "1 [es9_json_extractor__authenticate_client_response] ";
const std::string bad_body = tag + "Error extracting the AuthenticateClientResponseEs9 JSON body\n";
const std::string bad_header = tag + "Error extracting data from the JSON responseHeader, rc 1\n";

INSTANTIATE_TEST_SUITE_P(
    table, broken_authenticate_client_response,
    testing::ValuesIn(std::to_array<broken_case>({
        {"no_header", without(accepted, "header", "footer"),
         "1 [es9_json_extractor__header] Can not get the value of \"header\", rc 1\n" + bad_header},
        {"no_function_execution_status", without(accepted, "functionExecutionStatus", "x"),
         "1 [es9_json_extractor__function_execution_status] Can not get the value of \"functionExecutionStatus\", rc 1\n" +
             bad_header},
        {"no_status", without(accepted, "\"status\"", "\"x\""),
         "1 [es9_json_extractor__function_execution_status] Can not get the value of \"status\", rc 1\n" + bad_header},
        {"a_status_outside_the_header_does_not_count",
         R"({"header":{"functionExecutionStatus":{}},"status":"Executed-Success"})",
         "1 [es9_json_extractor__function_execution_status] Can not get the value of \"status\", rc 1\n" + bad_header},
        {"unknown_status", without(accepted, "Executed-Success", "Executed-Successfully"),
         "1 [es9_json_extractor__function_execution_status] Unknown status \n" + bad_header},
        {"executed_with_warning_is_rejected", without(accepted, "Executed-Success", "Executed-WithWarning"),
         tag + "Status different than 'Executed-Success' or 'Failed'. Status: 1\n"},
        {"expired_is_rejected", without(accepted, "Executed-Success", "Expired"),
         tag + "Status different than 'Executed-Success' or 'Failed'. Status: 3\n"},
        {"no_transaction_id", without(accepted, "transactionId", "x"),
         tag + "Can not get the value of \"transactionId\", rc 1\n" + bad_body},
        {"transaction_id_with_a_wrong_digit", without(accepted, "0A0b0C", "0A0g0C"),
         tag + "Can not get the value of \"transactionId\", rc -1\n" + bad_body},
        {"transaction_id_with_half_a_byte", without(accepted, "0A0b0C", "0A0b0"),
         tag + "Can not get the value of \"transactionId\", rc -4\n" + bad_body},
        {"transaction_id_of_17_bytes", without(accepted, "0A0b0C", "0102030405060708091011121314151617"),
         tag + "Can not get the value of \"transactionId\", rc -4\n" + bad_body},
        {"empty_transaction_id", without(accepted, "0A0b0C", ""),
         tag + "Can not get the value of \"transactionId\", rc 0\n" + bad_body},
        {"no_profile_metadata", without(accepted, "profileMetadata", "x"),
         tag + "Can not get the value of \"profileMetadata\", rc 1\n" + bad_body},
        {"no_smdp_signed_2", without(accepted, "smdpSigned2", "x"),
         tag + "Can not get the value of \"smdpSigned2\", rc 1\n" + bad_body},
        {"no_smdp_signature_2", without(accepted, "smdpSignature2", "x"),
         tag + "Can not get the value of \"smdpSignature2\", rc 1\n" + bad_body},
        {"no_smdp_certificate", without(accepted, "smdpCertificate", "x"),
         tag + "Can not get the value of \"smdpCertificate\", rc 1\n" + bad_body},
        {"profile_metadata_not_base64", without(accepted, "vyUA", "vyU"),
         "1 [b64_decode_static] Error calculating the size need it for decode, err -4\n" + tag +
             "Error parsing the base64 profileMetadata, err -4\n" + bad_body},
        {"smdp_signed_2_not_base64", without(accepted, "MAOAAQE=", "MAOAAQE"),
         "1 [b64_decode_static] Error calculating the size need it for decode, err -4\n" + tag +
             "Error parsing the base64 smdpSigned2, err -4\n" + bad_body},
        {"smdp_signature_2_empty", without(accepted, "XzcBqg==", ""),
         tag + "Error parsing the base64 smdpSignature2, err -4\n" + bad_body},
        {"smdp_certificate_not_base64", without(accepted, "MAA\\u003d", "MA"),
         "1 [b64_decode_static] Error calculating the size need it for decode, err -4\n" + tag +
             "Error parsing the base64 smdpCertificate, err -4\n" + bad_body},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(authenticate_client_response, a_received_beginning_of_a_status_counts_as_the_first_that_begins_so)
{
    for (const char *status : {"Exec", "Executed-", ""}) {
        exact_text json(without(accepted, "Executed-Success", status));
        AuthenticateClientResponseEs9 response;
        EXPECT_EQ(es9_json_extractor__authenticate_client_response(json.get(), &response), 0U) << status;
        EXPECT_EQ(response.failed, 0);
    }
}

TEST(authenticate_client_response, every_text_cut_short_is_read_within_its_bounds)
{
    for (const std::string &whole : {accepted, refused("8.1", "6.1")})
        for (size_t length = 0; length < whole.size() - 1; ++length) {
            exact_text json(whole.substr(0, length));
            AuthenticateClientResponseEs9 response;
            const uint32_t rc = es9_json_extractor__authenticate_client_response(json.get(), &response);
            const bool is_header_whole = length > whole.find("}}");
            if (!is_header_whole) { EXPECT_EQ(rc, 1U) << length; }
        }
}

TEST(authenticate_client_response, null_gives_4)
{
    AuthenticateClientResponseEs9 response;
    log_capture log;
    EXPECT_EQ(es9_json_extractor__authenticate_client_response(nullptr, &response), 4U);
    EXPECT_EQ(log.up_to(LOG__TRACE), tag + "JSON response is null\n");
}

struct refusal_case {
    const char *name, *subject, *reason;
    uint32_t error;
    std::vector<std::string> messages;
};

constexpr const char *error_tag = "[es9_json_extractor__authenticate_client_error] ";
constexpr const char *eum_invalid = "EUM Certificate is invalid.";
constexpr const char *euicc_certificate_invalid = "eUICC Certificate is invalid.";
constexpr const char *signature_invalid = "eUICC signature is invalid or serverChallenge is invalid.";

class authenticate_client_refusal : public testing::TestWithParam<refusal_case> {};

std::string code_lines(const log_capture &log)
{
    std::string result;
    for (const auto &line : log.lines())
        if (line.level == LOG__WARN && line.text.starts_with(error_tag)) result += line.text + "\n";
    return result;
}

TEST_P(authenticate_client_refusal, gives_the_error_of_the_last_matching_row)
{
    exact_text json(refused(GetParam().subject, GetParam().reason));
    AuthenticateClientResponseEs9 response;
    log_capture log;
    EXPECT_EQ(es9_json_extractor__authenticate_client_response(json.get(), &response), 0U);
    EXPECT_EQ(response.failed, 1);
    EXPECT_EQ(response.authenticateClientError, GetParam().error);
    std::string messages;
    for (const std::string &message : GetParam().messages)
        messages += error_tag + message + "\n";
    EXPECT_EQ(code_lines(log), messages);
    EXPECT_EQ(log.lines().back().text, error_tag + ("authenticateClientError: " + std::to_string(GetParam().error)));
    EXPECT_EQ(log.lines().back().level, LOG__TRACE);
}

INSTANTIATE_TEST_SUITE_P(
    table, authenticate_client_refusal,
    testing::ValuesIn(std::to_array<refusal_case>({
        {"eum_certificate_invalid", "8.1.2", "6.1", 1, {eum_invalid}},
        {"eum_certificate_expired", "8.1.2", "6.3", 2, {"EUM Certificate has expired."}},
        {"euicc_certificate_invalid", "8.1.3", "6.1", 3, {euicc_certificate_invalid}},
        {"euicc_certificate_expired", "8.1.3", "6.3", 4, {"eUICC Certificate has expired."}},
        {"rows_1_3_and_5_match_and_the_last_wins",
         "8.1",
         "6.1",
         5,
         {eum_invalid, euicc_certificate_invalid, signature_invalid}},
        {"no_space", "8.1", "4.8", 11, {"eUICC does not have sufficient space for this Profile."}},
        {"unknown_ci",
         "8.11.1",
         "3.9",
         9,
         {"Unknown CI Public Key. The CI used by the EUM Certificate is not a trusted root for the SM-DP+."}},
        {"not_released", "8.2", "1.2", 8, {"Profile has not yet been released."}},
        {"unknown_transaction", "8.10.1", "3.9", 10, {"The RSP session identified by the TransactionID is unknown."}},
        {"matching_id_refused", "8.2.6", "3.8", 6, {"MatchingID (AC_Token or EventID) is refused."}},
        {"other_eid", "8.1.1", "3.8", 7, {"EID doesn't match the expected value."}},
        {"no_eligible_profile", "8.2.5", "4.3", 8, {"No eligible Profile for this eUICC/Device."}},
        {"order_expired_is_only_logged", "8.8.5", "4.10", 127, {"The Download order has expired"}},
        {"too_many_retries_are_only_logged",
         "8.8.5",
         "6.4",
         127,
         {"The maximum number of retries for the Profile download order has been exceeded."}},
        {"a_reason_cut_short_matches_too",
         "8.1",
         "6",
         5,
         {eum_invalid, "EUM Certificate has expired.", euicc_certificate_invalid, "eUICC Certificate has expired.",
          signature_invalid}},
        {"a_row_that_only_logs_keeps_the_error_found_before",
         "8",
         "6",
         5,
         {eum_invalid, "EUM Certificate has expired.", euicc_certificate_invalid, "eUICC Certificate has expired.",
          signature_invalid, "The maximum number of retries for the Profile download order has been exceeded."}},
        {"unknown_codes", "9.9", "1.1", 127, {}},
        {"known_subject_with_unknown_reason", "8.1", "9.9", 127, {}},
        {"longer_codes_than_any", "8.1.2.3", "6.1", 127, {}},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(authenticate_client_response, a_failure_without_status_code_data_leaves_the_error_undefined)
{
    exact_text json("{" + header("Failed") + "}");
    AuthenticateClientResponseEs9 response;
    EXPECT_EQ(es9_json_extractor__authenticate_client_response(json.get(), &response), 0U);
    EXPECT_EQ(response.failed, 1);
    EXPECT_EQ(response.authenticateClientError, 127U);
}

struct status_data_case {
    const char *name;
    std::string data;
    uint32_t code;
    std::string log; // titles up to level 4 below the status code data
};
class status_code_data : public testing::TestWithParam<status_data_case> {};

TEST_P(status_code_data, is_logged_value_by_value)
{
    exact_text json("{" + header("Failed", GetParam().data) + "}");
    AuthenticateClientResponseEs9 response;
    log_capture log;
    EXPECT_EQ(es9_json_extractor__authenticate_client_response(json.get(), &response), GetParam().code);
    std::string seen;
    for (const auto &line : log.lines())
        if (line.text.find("status_code_data_value]") != std::string::npos ||
            line.text.find("JSON object") != std::string::npos)
            seen += std::to_string(line.level) + " " + line.text + "\n";
    EXPECT_EQ(seen, GetParam().log);
}

const std::string value_tag = "[es9_json_extractor__status_code_data_value] ";
const std::string bad_data =
    "1 [es9_json_extractor__function_execution_status] Error extracting data from \"statusCodeData\" JSON object, rc 1\n";

INSTANTIATE_TEST_SUITE_P(table, status_code_data,
                         testing::ValuesIn(std::to_array<status_data_case>({
                             {"complete", codes("8.1", "4.8") + R"(,"subjectIdentifier":"id","message":"text")", 0,
                              "2 " + value_tag + "subjectCode: \n2 " + value_tag + "reasonCode: \n2 " + value_tag +
                                  "subjectIdentifier: \n2 " + value_tag + "message: \n"},
                             {"required_only", codes("8.1", "4.8"), 0,
                              "2 " + value_tag + "subjectCode: \n2 " + value_tag + "reasonCode: \n4 " + value_tag +
                                  "\"subjectIdentifier\" is not present in statusCodeData\n4 " + value_tag +
                                  "\"message\" is not present in statusCodeData\n"},
                             {"no_subject_code", R"("reasonCode":"4.8")", 1,
                              "1 " + value_tag + "Can not get the value of \"subjectCode\", rc 1\n" + bad_data},
                             {"no_reason_code", R"("subjectCode":"8.1")", 1,
                              "2 " + value_tag + "subjectCode: \n1 " + value_tag +
                                  "Can not get the value of \"reasonCode\", rc 1\n" + bad_data},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(status_code_data_values, are_dumped_as_received)
{
    exact_text json(refused("8.1", "4.8"));
    AuthenticateClientResponseEs9 response;
    log_capture log;
    EXPECT_EQ(es9_json_extractor__authenticate_client_response(json.get(), &response), 0U);
    EXPECT_TRUE(log.contains(2, "38 2E 31 ")); // 8.1
    EXPECT_TRUE(log.contains(2, "34 2E 38 ")); // 4.8
}

TEST(extraction, leaves_the_text_of_a_failed_answer_as_it_was)
{
    const std::string text = refused("8.1", "4.8");
    exact_text json(text);
    AuthenticateClientResponseEs9 response;
    EXPECT_EQ(es9_json_extractor__authenticate_client_response(json.get(), &response), 0U);
    EXPECT_EQ(json.get(), text);
}

struct cancel_case {
    const char *name;
    std::string json;
    uint32_t code;
    uint8_t failed;
    uint32_t error;
    std::string log; // level 2 and worse, without dumps and value titles
};
class cancel_session_response : public testing::TestWithParam<cancel_case> {};

TEST_P(cancel_session_response, is_read)
{
    exact_text json(GetParam().json);
    CancelSessionResponseEs9 response;
    log_capture log;
    EXPECT_EQ(es9_json_extractor__cancel_session_response(json.get(), &response), GetParam().code);
    EXPECT_EQ(response.failed, GetParam().failed);
    EXPECT_EQ(response.cancelSessionError, GetParam().error);
    std::string seen;
    for (const auto &line : log.lines())
        if (line.level <= LOG__WARN && line.text.starts_with("[") && !line.text.starts_with(value_tag))
            seen += std::to_string(line.level) + " " + line.text + "\n";
    EXPECT_EQ(seen, GetParam().log);
    if (GetParam().failed) {
        EXPECT_EQ(log.lines().back().text, error_tag + ("cancelSessionError: " + std::to_string(GetParam().error)));
        EXPECT_EQ(log.lines().back().level, LOG__TRACE);
    }
}

const std::string cancel_tag = "1 [es9_json_extractor__cancel_session_response] ";
INSTANTIATE_TEST_SUITE_P(table, cancel_session_response,
                         testing::ValuesIn(std::to_array<cancel_case>({
                             {"success", "{" + header("Executed-Success") + "}", 0, 0, 127, ""},
                             {"unknown_transaction", refused("8.10.1", "3.9"), 0, 1, 1,
                              std::string("2 ") + error_tag +
                                  "The RSP session identified by the TransactionID is unknown.\n"},
                             {"signature_invalid", refused("8.1", "6.1"), 0, 1, 2,
                              std::string("2 ") + error_tag + "eUICC signature is invalid.\n"},
                             {"oid_invalid_is_only_logged", refused("8.8", "3.10"), 0, 1, 127,
                              std::string("2 ") + error_tag + "The provided SM-DP+ OID is invalid.\n"},
                             {"other_codes", refused("1.1", "1.1"), 0, 1, 127, ""},
                             {"without_status_code_data", "{" + header("Failed") + "}", 0, 1, 127, ""},
                             {"with_warning", "{" + header("Executed-WithWarning") + "}", 1, 0, 127,
                              cancel_tag + "Status different than 'Executed-Success' or 'Failed'. Status: 1\n"},
                             {"no_header", "{}", 1, 0, 127,
                              "1 [es9_json_extractor__header] Can not get the value of \"header\", rc 1\n" +
                                  cancel_tag + "Error extracting data from the JSON responseHeader, rc 1\n"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(cancel_session_response_text, null_gives_4)
{
    CancelSessionResponseEs9 response;
    log_capture log;
    EXPECT_EQ(es9_json_extractor__cancel_session_response(nullptr, &response), 4U);
    EXPECT_EQ(log.up_to(LOG__TRACE), cancel_tag + "JSON response is null\n");
}

struct signed_case {
    const char *name, *tlv;
    uint32_t code;
    uint8_t cc_required;
    const char *otpk;
    const char *log; // this module's lines
};
class smdp_signed_2 : public testing::TestWithParam<signed_case> {};

TEST_P(smdp_signed_2, is_read)
{
    const auto tlv = bytes(GetParam().tlv);
    SmdpSigned2 record;
    log_capture log;
    EXPECT_EQ(es9_tlv_extractor__smdp_signed_2(tlv.data(), static_cast<uint32_t>(tlv.size()), &record),
              GetParam().code);
    std::string seen;
    for (const auto &line : log.lines())
        if (line.text.find("mdpSigned2") != std::string::npos || line.text.find("smdp_signed_2") != std::string::npos ||
            line.text.find("ccRequiredFlag") != std::string::npos || line.text.find("Otpk") != std::string::npos)
            seen += std::to_string(line.level) + " " + line.text + "\n";
    EXPECT_EQ(seen, GetParam().log);
    if (GetParam().code != 0) return;
    EXPECT_EQ(record.transactionId_present, 1);
    EXPECT_EQ(hex(record.transactionId.value, record.transactionId.length), "0102");
    EXPECT_EQ(record.ccRequiredFlag, GetParam().cc_required);
    EXPECT_EQ(record.bppEuiccOtpk_present, *GetParam().otpk != 0);
    EXPECT_EQ(hex(record.bppEuiccOtpk, record.bppEuiccOtpk_length), GetParam().otpk);
}

INSTANTIATE_TEST_SUITE_P(
    table, smdp_signed_2,
    testing::ValuesIn(std::to_array<signed_case>({
        {"without_key", "30 07 80 02 01 02 01 01 00", 0, 0, "",
         "4 ccRequiredFlag: false\n4 SmdpSigned2 bppEuiccOtpk is not present\n"},
        {"with_key", "30 0C 80 02 01 02 01 01 FF 5F 49 02 AA BB", 0, 1, "AABB", "4 ccRequiredFlag: true\n"},
        {"behind_another_element", "04 01 00 30 07 80 02 01 02 01 01 00", 0, 0, "",
         "4 ccRequiredFlag: false\n4 SmdpSigned2 bppEuiccOtpk is not present\n"},
        {"nothing", "", 4, 0, "", "1 [es9_tlv_extractor__smdp_signed_2] tlv is empty/null\n"},
        {"no_sequence", "31 00", 1, 0, "", "1 [es9_tlv_extractor__smdp_signed_2] SmdpSigned2 TAG 0x30 not found\n"},
        {"no_transaction_id", "30 03 01 01 00", 1, 0, "",
         "1 The field transactionId is not present in the SmdpSigned2\n"},
        {"empty_transaction_id", "30 05 80 00 01 01 00", 1, 0, "", ""},
        {"no_flag", "30 04 80 02 01 02", 1, 0, "", ""},
        {"key_runs_past_the_end", "30 0A 80 02 01 02 01 01 00 5F 49 05 AA", 1, 0, "",
         "4 ccRequiredFlag: false\n1 Error parsing the bppEuiccOtpk, rc 1\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(smdp_signed_2_bytes, cut_short_are_read_within_their_bounds)
{
    const auto whole = bytes("30 0C 80 02 01 02 01 01 FF 5F 49 02 AA BB");
    for (size_t length = 0; length < whole.size(); ++length) {
        const std::vector<uint8_t> cut(whole.begin(), whole.begin() + static_cast<long>(length));
        SmdpSigned2 record;
        const uint32_t rc = es9_tlv_extractor__smdp_signed_2(cut.data(), static_cast<uint32_t>(length), &record);
        const bool is_complete_without_key = length >= 9;
        if (!is_complete_without_key) { EXPECT_NE(rc, 0U) << length; }
        if (rc == 0) { EXPECT_EQ(record.bppEuiccOtpk, nullptr) << length; }
    }
    SmdpSigned2 record;
    EXPECT_EQ(es9_tlv_extractor__smdp_signed_2(nullptr, 5, &record), 4U);
}
} // namespace
