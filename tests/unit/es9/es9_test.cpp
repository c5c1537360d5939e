#include "es9/es9.h"
#include "foundation/log.h"
#include "lpa/memory.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/fakes/failing_memory.h"
#include "unit/fakes/fake_https.h"
#include <array>
#include <gtest/gtest.h>

namespace {
const uint8_t challenge[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
const TransactionId transaction = {{0x0A, 0xBC}, 2};
const uint8_t data[] = {0xBF, 0x20, 0x00};

const std::string success = R"({"header":{"functionExecutionStatus":{"status":"Executed-Success"}}})";
const std::string failed = R"({"header":{"functionExecutionStatus":{"status":"Failed"}}})";
const std::string authenticated =
    R"({"header":{"functionExecutionStatus":{"status":"Executed-Success"}},"transactionId":"0ABC",)"
    R"("profileMetadata":"vyUA","smdpSigned2":"MAA=","smdpSignature2":"XzcA","smdpCertificate":"MAA="})";

AuthenticateClientResponseEs9 consent;
CancelSessionResponseEs9 cancelled;

uint32_t release(uint32_t rc, char *text)
{
    M_free(text);
    return rc;
}

// One function as the tests see it; smdp_address comes from them.
struct function {
    const char *name;
    uint32_t (*call)(const char *smdp_address);
    std::string url, body, good_answer;
    const char *call_line;
    const char *http_failed;
    bool reports_connection, accepts_204, requires_success;
    const char *generator_failed; // after a failed allocation in the generator
    const char *transport_failed; // its own line, with status -7 and result 1
};

const function functions[] = {
    {"initiate_authentication",
     [](const char *address) {
         char *text = nullptr;
         const uint32_t rc = es9__initiate_authentication(address, challenge, data, sizeof data, &text);
         EXPECT_EQ(text != nullptr, rc == 0);
         return release(rc, text);
     },
     "https://smdp.example/gsma/rsp2/es9plus/initiateAuthentication",
     R"({"euiccChallenge":"AAECAwQFBgcICQoLDA0ODw==","euiccInfo1":"vyAA","smdpAddress":"smdp.example"})", success,
     "ES9.InitiateAuthentication to the SMDP+ 'smdp.example'", "HTTP request failed, status code ", true, false, true,
     "[es9__initiate_authentication] es9_json_generator__initiate_authentication_request failed, rc 1", nullptr},
    {"authenticate_client",
     [](const char *address) {
         const uint32_t rc = es9__authenticate_client(address, "0ABC", data, sizeof data, &consent);
         EXPECT_EQ(consent.text != nullptr, rc == 0);
         if (rc != 0) { EXPECT_EQ(consent.smdpSigned2, nullptr); }
         es9__free_authenticate_client_response(&consent);
         EXPECT_EQ(consent.text, nullptr);
         return rc;
     },
     "https://smdp.example/gsma/rsp2/es9plus/authenticateClient",
     R"({"transactionId": "0ABC","authenticateServerResponse":"vyAA"})", authenticated,
     "ES9.AuthenticateClient to the SMDP+ 'smdp.example'", "HTTP request failed, HTTP status code ", false, false,
     false, "[es9__authenticate_client] es9_json_generator__authenticate_client_request failed, rc 1", nullptr},
    {"get_bound_profile_package",
     [](const char *address) {
         char *text = nullptr;
         const uint32_t rc = es9__get_bound_profile_package(address, &transaction, data, sizeof data, &text);
         EXPECT_EQ(text != nullptr, rc == 0);
         return release(rc, text);
     },
     "https://smdp.example/gsma/rsp2/es9plus/getBoundProfilePackage",
     R"({"transactionId": "0ABC","prepareDownloadResponse":"vyAA"})", success,
     "ES9.GetBoundProfilePackage to the SMDP+ 'smdp.example'", "HTTP request failed, HTTP status code ", false, false,
     true, "[es9__get_bound_profile_package] es9_json_generator__get_bound_profile_package_request failed, rc 1",
     nullptr},
    {"handle_notification", [](const char *address) { return es9__handle_notification(address, data, sizeof data); },
     "https://smdp.example/gsma/rsp2/es9plus/handleNotification", R"({"pendingNotification":"vyAA"})", "",
     "ES9.PendingNotification to the SMDP+ 'smdp.example'", "HTTP request failed, HTTP status code ", true, true, false,
     "[es9__handle_notification] es9_json_generator__handle_notification_request failed, rc 1",
     "[es9__handle_notification] network__send_https_request failed, code -7, rc 1"},
    {"cancel_session",
     [](const char *address) { return es9__cancel_session(address, &transaction, data, sizeof data, &cancelled); },
     "https://smdp.example/gsma/rsp2/es9plus/cancelSession",
     R"({"transactionId": "0ABC","cancelSessionResponse":"vyAA"})", success,
     "ES9.CancelSession to the SMDP+ 'smdp.example'", "HTTP request failed, HTTP status code ", false, false, false,
     "[es9__cancel_session] es9_json_generator__cancel_session_request failed, rc 1", nullptr},
};

class es9 : public testing::TestWithParam<function> {
  protected:
    void SetUp() override { fake_https.reset(); }
    void TearDown() override { EXPECT_EQ(fake_https.open_handles, 0); }
    uint32_t call() { return GetParam().call("smdp.example"); }
    uint32_t call_answered(long status, const std::string &body)
    {
        fake_https.script = {{.status = status, .body = body}};
        return call();
    }
    log_capture log;
};

TEST_P(es9, posts_its_template_to_its_path)
{
    EXPECT_EQ(call_answered(200, GetParam().good_answer), 0U);
    ASSERT_EQ(fake_https.requests.size(), 1U);
    EXPECT_EQ(fake_https.requests[0].url, GetParam().url);
    EXPECT_EQ(fake_https.requests[0].body, GetParam().body);
    EXPECT_EQ(log.up_to(LOG__INFO), "3 " + std::string(GetParam().call_line) + "\n3 HTTP response status code 200\n");
    EXPECT_TRUE(log.contains(4, "[es9__" + std::string(GetParam().name) + "] json request [" + GetParam().body + "]"));
}

TEST_P(es9, refuses_a_missing_address_with_4)
{
    EXPECT_EQ(GetParam().call(nullptr), 4U);
    EXPECT_TRUE(fake_https.requests.empty());
    const bool tells = !GetParam().reports_connection && GetParam().call != functions[1].call;
    EXPECT_EQ(log.up_to(LOG__TRACE), tells ? "1 The SMDP+ Address is null\n" : "");
}

TEST_P(es9, handle_notification_accepts_204_with_an_empty_body_and_the_others_only_200)
{
    EXPECT_EQ(call_answered(204, ""), GetParam().accepts_204 ? 0U : 1U);
    for (const long status : {201L, 0L, 302L, 404L, 500L}) {
        log.clear();
        EXPECT_EQ(call_answered(status, GetParam().good_answer), 1U) << status;
        EXPECT_EQ(log.at(LOG__ERROR), "1 " + (GetParam().http_failed + std::to_string(status)) + "\n");
    }
}

TEST_P(es9, a_host_that_cannot_be_resolved_is_told_apart_where_the_caller_needs_it)
{
    fake_https.script = {{.result = CURLE_COULDNT_RESOLVE_HOST}};
    EXPECT_EQ(call(), GetParam().reports_connection ? 11U : 1U);
}

TEST_P(es9, any_other_transport_failure_gives_1)
{
    fake_https.script = {{.result = CURLE_COULDNT_CONNECT}};
    EXPECT_EQ(call(), 1U);
    std::string expected = "1 [HTTP_execute] curl_easy_perform failed: text of the code(7)\n";
    if (GetParam().transport_failed) expected += "1 " + std::string(GetParam().transport_failed) + "\n";
    EXPECT_EQ(log.at(LOG__ERROR), expected);
}

TEST_P(es9, requires_executed_success_where_the_answer_is_handed_out_as_it_is)
{
    if (!GetParam().requires_success) {
        EXPECT_EQ(call_answered(200, failed), 0U);
        return;
    }
    EXPECT_EQ(call_answered(200, failed), 1U);
    EXPECT_EQ(log.at(LOG__ERROR), "1 json response 'Function execution status' not 'Executed-Success'\n");
}

TEST_P(es9, a_generator_that_fails_is_told_and_its_code_returned)
{
    failing_memory memory(1);
    EXPECT_EQ(call(), 1U);
    EXPECT_TRUE(log.contains(1, GetParam().generator_failed));
    EXPECT_TRUE(fake_https.requests.empty());
}

TEST_P(es9, every_failed_allocation_gives_a_failure_and_leaks_nothing)
{
    fake_https.otherwise = [](const auto &) {
        return fake_https_type::answer{.status = 200, .body = GetParam().good_answer};
    };
    int n = 1;
    for (;; ++n) {
        failing_memory memory(n);
        const uint32_t rc = call();
        if (!failing_memory::reached()) {
            EXPECT_EQ(rc, 0U);
            break;
        }
        EXPECT_NE(rc, 0U) << n;
    }
    EXPECT_GT(n, 4);
}

INSTANTIATE_TEST_SUITE_P(functions, es9, testing::ValuesIn(functions),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(es9_input, that_is_missing_gives_4)
{
    fake_https.reset();
    log_capture log;
    char *text = nullptr;
    EXPECT_EQ(es9__initiate_authentication("a", nullptr, data, 3, &text), 4U);
    EXPECT_EQ(es9__initiate_authentication("a", challenge, nullptr, 3, &text), 4U);
    EXPECT_EQ(es9__initiate_authentication("a", challenge, data, 0, &text), 4U);
    EXPECT_EQ(es9__authenticate_client("a", nullptr, data, 3, &consent), 4U);
    EXPECT_EQ(es9__authenticate_client("a", "00", nullptr, 3, &consent), 4U);
    EXPECT_EQ(es9__authenticate_client("a", "00", data, 0, &consent), 4U);
    EXPECT_EQ(es9__get_bound_profile_package("a", nullptr, data, 3, &text), 4U);
    EXPECT_EQ(es9__get_bound_profile_package("a", &transaction, nullptr, 3, &text), 4U);
    EXPECT_EQ(es9__handle_notification("a", nullptr, 3), 4U);
    EXPECT_EQ(es9__handle_notification("a", data, 0), 4U);
    EXPECT_EQ(es9__cancel_session("a", nullptr, data, 3, &cancelled), 4U);
    EXPECT_EQ(es9__cancel_session("a", &transaction, data, 0, &cancelled), 4U);
    EXPECT_EQ(text, nullptr);
    EXPECT_TRUE(fake_https.requests.empty());
}

TEST(es9_authenticate_client, keeps_the_answer_that_its_record_points_into)
{
    fake_https.reset();
    fake_https.script = {{.status = 200, .body = authenticated}};
    AuthenticateClientResponseEs9 response;
    ASSERT_EQ(es9__authenticate_client("smdp.example", "0ABC", data, sizeof data, &response), 0U);
    EXPECT_EQ(hex(response.transactionId.value, response.transactionId.length), "0ABC");
    EXPECT_EQ(hex(response.profileMetadata, response.profileMetadata_length), "BF2500");
    EXPECT_EQ(hex(response.smdpCertificate, response.smdpCertificate_length), "3000");
    es9__free_authenticate_client_response(&response);
    EXPECT_EQ(response.profileMetadata, nullptr);
    es9__free_authenticate_client_response(nullptr);
}

TEST(es9_authenticate_client, a_server_that_answers_failed_is_a_success_of_the_call)
{
    fake_https.reset();
    fake_https.script = {{.status = 200, .body = failed}};
    AuthenticateClientResponseEs9 response;
    EXPECT_EQ(es9__authenticate_client("smdp.example", "0ABC", data, sizeof data, &response), 0U);
    EXPECT_EQ(response.failed, 1);
    es9__free_authenticate_client_response(&response);
}

TEST(es9_authenticate_client, an_unreadable_answer_gives_1_and_an_empty_record)
{
    fake_https.reset();
    fake_https.script = {{.status = 200, .body = "{}"}};
    AuthenticateClientResponseEs9 response;
    EXPECT_EQ(es9__authenticate_client("smdp.example", "0ABC", data, sizeof data, &response), 1U);
    EXPECT_EQ(response.text, nullptr);
}

TEST(es9_cancel_session, an_unreadable_answer_gives_1)
{
    fake_https.reset();
    fake_https.script = {{.status = 200, .body = "{}"}};
    log_capture log;
    EXPECT_EQ(es9__cancel_session("smdp.example", &transaction, data, sizeof data, &cancelled), 1U);
    EXPECT_TRUE(log.contains(
        1, "[es9__authenticate_client] Error extracting data from the CancelSessionResponse in JSON binding, rc 1"));
}

TEST(es9_cancel_session, tells_the_error_of_the_server)
{
    fake_https.reset();
    fake_https.script = {{.status = 200, .body = failed}};
    EXPECT_EQ(es9__cancel_session("smdp.example", &transaction, data, sizeof data, &cancelled), 0U);
    EXPECT_EQ(cancelled.failed, 1);
    EXPECT_EQ(cancelled.cancelSessionError, 127U);
}
} // namespace
