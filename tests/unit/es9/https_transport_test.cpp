#include "es9/https_transport.h"
#include "foundation/log.h"
#include "lpa/memory.h"
#include "support/log_capture.h"
#include "unit/fakes/failing_format.h"
#include "unit/fakes/failing_memory.h"
#include "unit/fakes/fake_https.h"
#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

namespace {
using testing::ElementsAre;

struct free_text {
    void operator()(char *text) const { M_free(text); }
};
using text_holder = std::unique_ptr<char, free_text>;

class https : public testing::Test {
  protected:
    void SetUp() override { fake_https.reset(); }
    void TearDown() override
    {
        g_socks_proxy_address = nullptr;
        EXPECT_EQ(fake_https.open_handles, 0);
        EXPECT_EQ(fake_https.open_header_lines, 0);
    }

    uint32_t send(const char *body, const char *fqdn = "smdp.example", const char *path = "/gsma/rsp2/es9plus/x")
    {
        char *text = nullptr;
        const uint32_t rc = network__send_https_request(fqdn, path, body, &status, &text);
        response.reset(text);
        return rc;
    }

    log_capture log;
    int32_t status = 77;
    text_holder response;
};

TEST_F(https, posts_the_body_and_hands_out_status_and_answer)
{
    fake_https.script = {{.status = 200, .body = "{\"a\":1}"}};
    EXPECT_EQ(send("{\"b\":2}"), 0U);
    EXPECT_EQ(status, 200);
    EXPECT_STREQ(response.get(), "{\"a\":1}");

    ASSERT_EQ(fake_https.requests.size(), 1U);
    const auto &request = fake_https.requests[0];
    EXPECT_EQ(request.url, "https://smdp.example/gsma/rsp2/es9plus/x");
    EXPECT_EQ(request.body, "{\"b\":2}");
    EXPECT_THAT(request.headers, ElementsAre("User-Agent: gsma-rsp-lpad", "X-Admin-Protocol: gsma/rsp/2.2.0",
                                             "Content-Type: application/json", "Content-Length: 7"));
    EXPECT_EQ(request.proxy, std::nullopt);
    EXPECT_EQ(fake_https.global_initializations, 1);
    EXPECT_EQ(log.up_to(LOG__DEBUG),
              "4 [network__send_https_request] url [https://smdp.example/gsma/rsp2/es9plus/x]\n"
              "4 [network__send_https_request] HTTP client initialized\n"
              "4 [network__send_https_request] Setting target URL to https://smdp.example/gsma/rsp2/es9plus/x\n"
              "4 [network__send_https_request] Setting request body to {\"b\":2}\n"
              "3 HTTP response status code 200\n"
              "4 [network__send_https_request] response  {\"a\":1}\n");
}

TEST_F(https, a_self_signed_certificate_is_accepted_and_the_request_is_limited_in_time)
{
    fake_https.script = {{.status = 200}};
    EXPECT_EQ(send("{}"), 0U);
    const auto &request = fake_https.requests.at(0);
    EXPECT_EQ(request.numbers.at(CURLOPT_SSL_VERIFYHOST), 0);
    EXPECT_EQ(request.numbers.at(CURLOPT_SSL_VERIFYPEER), 0);
    EXPECT_EQ(request.numbers.at(CURLOPT_CONNECTTIMEOUT), 10);
    EXPECT_EQ(request.numbers.at(CURLOPT_TIMEOUT), 20);
    EXPECT_THAT(request.order, ElementsAre(CURLOPT_URL, CURLOPT_POSTFIELDS, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA,
                                           CURLOPT_HTTPHEADER, CURLOPT_SSL_VERIFYHOST, CURLOPT_SSL_VERIFYPEER,
                                           CURLOPT_ERRORBUFFER, CURLOPT_CONNECTTIMEOUT, CURLOPT_TIMEOUT));
}

TEST_F(https, a_null_body_gives_a_request_without_post_fields_and_a_content_length_of_0)
{
    for (const char *body : {static_cast<const char *>(nullptr), ""}) {
        fake_https.reset();
        fake_https.script = {{.status = 200, .body = "answer"}};
        EXPECT_EQ(send(body), 0U);
        EXPECT_EQ(fake_https.requests.at(0).body, std::nullopt);
        EXPECT_EQ(fake_https.requests.at(0).headers.back(), "Content-Length: 0");
        EXPECT_STREQ(response.get(), "answer");
    }
}

TEST_F(https, any_http_status_is_a_success_of_the_transport)
{
    for (const long code : {0L, 204L, 404L, 500L}) {
        fake_https.script = {{.status = code}};
        EXPECT_EQ(send("{}"), 0U);
        EXPECT_EQ(status, code);
        EXPECT_STREQ(response.get(), "");
    }
}

TEST_F(https, an_answer_in_many_pieces_is_put_together)
{
    std::string body;
    for (int i = 0; i < 500; ++i)
        body += std::to_string(i);
    fake_https.piece = 7;
    fake_https.script = {{.status = 200, .body = body}};
    EXPECT_EQ(send("{}"), 0U);
    EXPECT_EQ(response.get(), body);
}

TEST_F(https, nothing_is_sent_without_host_or_path)
{
    EXPECT_EQ(send("{}", nullptr), 4U);
    EXPECT_EQ(send("{}", "host", nullptr), 4U);
    EXPECT_EQ(response.get(), nullptr);
    EXPECT_TRUE(fake_https.requests.empty());
    EXPECT_EQ(log.up_to(LOG__TRACE), "1 [network__send_https_request] fqdn, path is empty/null\n"
                                     "1 [network__send_https_request] fqdn, path is empty/null\n");
}

TEST_F(https, a_transport_failure_gives_1_and_the_negated_code)
{
    fake_https.script = {{.status = 0, .body = "beginning", .result = CURLE_COULDNT_RESOLVE_HOST}};
    EXPECT_EQ(send("{}"), 1U);
    EXPECT_EQ(status, -6);
    EXPECT_EQ(response.get(), nullptr);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [HTTP_execute] curl_easy_perform failed: text of the code(6)\n");
}

TEST_F(https, the_error_text_of_libcurl_is_logged_without_its_line_end)
{
    fake_https.script = {{.result = CURLE_OPERATION_TIMEDOUT, .error = "Connection timed out\n"},
                         {.result = CURLE_OPERATION_TIMEDOUT, .error = "Two\n\n"},
                         {.result = CURLE_OPERATION_TIMEDOUT, .error = "None"}};
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(send("{}"), 1U);
    EXPECT_EQ(status, -28);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [HTTP_execute] curl_easy_perform failed: Connection timed out\n"
                                    "1 [HTTP_execute] curl_easy_perform failed: Two\n\n"
                                    "1 [HTTP_execute] curl_easy_perform failed: None\n");
}

TEST_F(https, a_client_that_cannot_be_made_gives_1)
{
    fake_https.initializes = false;
    EXPECT_EQ(send("{}"), 1U);
    EXPECT_EQ(response.get(), nullptr);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [network__send_https_request] HTTP_initialize failed\n");
}

TEST_F(https, a_status_that_cannot_be_asked_for_gives_the_negated_code)
{
    fake_https.unknown_infos = {CURLINFO_RESPONSE_CODE};
    fake_https.script = {{.status = 200}};
    EXPECT_EQ(send("{}"), 1U);
    EXPECT_EQ(status, -CURLE_UNKNOWN_OPTION);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [HTTP_execute] curl_easy_getinfo failed, rc 48\n");
}

TEST_F(https, a_proxy_failure_whose_detail_can_be_read_gives_status_0_result_0_and_an_empty_answer)
{
    fake_https.script = {{.result = CURLE_PROXY, .proxy_error = 13}, {.result = CURLE_PROXY}};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(send("{}"), 0U);
        EXPECT_EQ(status, 0);
        EXPECT_STREQ(response.get(), "");
    }
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [HTTP_execute] curl_easy_perform failed: text of the code(97)\n"
                                    "1 [HTTP_execute] The detailed proxy error: 13\n"
                                    "3 HTTP response status code 0\n"
                                    "1 [HTTP_execute] curl_easy_perform failed: text of the code(97)\n"
                                    "3 HTTP response status code 0\n");
}

TEST_F(https, a_proxy_failure_with_an_error_text_is_answered_in_the_same_way)
{
    fake_https.script = {{.result = CURLE_PROXY, .error = "refused", .proxy_error = 13}};
    EXPECT_EQ(send("{}"), 0U);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [HTTP_execute] curl_easy_perform failed: refused\n"
                                    "3 HTTP response status code 0\n");
}

TEST_F(https, a_proxy_failure_whose_detail_cannot_be_read_gives_1)
{
    fake_https.unknown_infos = {CURLINFO_PROXY_ERROR};
    fake_https.script = {{.result = CURLE_PROXY}};
    EXPECT_EQ(send("{}"), 1U);
    EXPECT_EQ(status, -CURLE_UNKNOWN_OPTION);
}

TEST_F(https, a_proxy_address_applies_to_the_calls_made_while_it_is_set)
{
    fake_https.otherwise = [](const auto &) { return fake_https_type::answer{.status = 200, .body = ""}; };
    char address[] = "localhost:1080";
    g_socks_proxy_address = address;
    EXPECT_EQ(send("{}"), 0U);
    g_socks_proxy_address = nullptr;
    EXPECT_EQ(send("{}"), 0U);
    EXPECT_EQ(fake_https.requests.at(0).proxy, "localhost:1080");
    EXPECT_EQ(fake_https.requests.at(0).numbers.at(CURLOPT_PROXYTYPE), 7); // the proxy resolves host names
    EXPECT_EQ(fake_https.requests.at(1).proxy, std::nullopt);
    EXPECT_EQ(log.at(LOG__ERROR), "1 [network__send_https_request] Proxy set to localhost:1080\n");
    EXPECT_TRUE(log.contains(4, "[HTTP_proxy_initialize] Proxy initialized to localhost:1080"));
    EXPECT_TRUE(log.contains(4, "[HTTP_proxy_initialize] Proxy type set to SOCKS5"));
}

TEST_F(https, options_that_libcurl_refuses_are_logged)
{
    char address[] = "localhost:1080";
    g_socks_proxy_address = address;
    fake_https.refused = {CURLOPT_PROXY,      CURLOPT_PROXYTYPE,  CURLOPT_URL,
                          CURLOPT_POSTFIELDS, CURLOPT_HTTPHEADER, CURLOPT_WRITEDATA};
    fake_https.script = {{.status = 200}};
    EXPECT_EQ(send("{}"), 0U);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [HTTP_set_target_url] curl_easy_setopt failed, rc 48\n"
                                    "1 [network__send_https_request] Proxy set to localhost:1080\n"
                                    "1 [HTTP_proxy_initialize] curl_easy_setopt failed, rc 48\n"
                                    "1 [HTTP_proxy_initialize] curl_easy_setopt proxy type failed, rc 48\n"
                                    "1 [HTTP_set_body] curl_easy_setopt, rc 48\n"
                                    "1 [HTTP_set_read_callback] curl_easy_setopt failed, rc [0, 48]\n"
                                    "1 [HTTP_close_headers] curl_easy_setopt failed, rc 48\n"
                                    "3 HTTP response status code 200\n");
}

TEST_F(https, a_header_that_cannot_be_added_is_left_out)
{
    fake_https.lost_headers = {"Content-Type: application/json"};
    fake_https.script = {{.status = 200}};
    EXPECT_EQ(send("{}"), 0U);
    EXPECT_THAT(fake_https.requests.at(0).headers,
                ElementsAre("User-Agent: gsma-rsp-lpad", "X-Admin-Protocol: gsma/rsp/2.2.0", "Content-Length: 2"));
    EXPECT_EQ(log.at(LOG__WARN), "2 [HTTP_add_headers] Something went wrong adding a header\n");
}

TEST_F(https, every_failed_allocation_ends_the_request)
{
    struct {
        uint32_t code;
        const char *log;
    } const expected[] = {
        {9, "1 [network__send_https_request] Can't allocate memory to url\n"},
        {9, "1 [network__send_https_request] Can't allocate data to content_length_header\n"},
        {9, "1 [network__send_https_request] Can't allocate data to response_buffer.memory\n"},
        {1, "1 [write_memory_callback] Memory error when realloc ptr\n"
            "1 [HTTP_execute] curl_easy_perform failed: text of the code(23)\n"},
    };
    int n = 0;
    for (const auto &row : expected) {
        fake_https.script = {{.status = 200, .body = "answer"}};
        log.clear();
        failing_memory memory(++n);
        EXPECT_EQ(send("{}"), row.code) << n;
        EXPECT_EQ(response.get(), nullptr);
        EXPECT_EQ(log.at(LOG__ERROR), row.log);
    }
    fake_https.script = {{.status = 200, .body = "answer"}};
    failing_memory memory(n + 1);
    EXPECT_EQ(send("{}"), 0U);
    EXPECT_FALSE(failing_memory::reached());
}

TEST_F(https, a_content_length_that_cannot_be_printed_ends_the_request)
{
    const char *const expected[] = {
        "1 [network__send_https_request] Bad length of the content length header\n",
        "1 [network__send_https_request] Can't add data inside the content_length_header\n",
    };
    for (int nth = 1; nth <= 2; ++nth) {
        const failing_format failing("Content-Length: %u", nth);
        log.clear();
        EXPECT_EQ(send("{}"), 1U);
        EXPECT_EQ(log.up_to(LOG__INFO), expected[nth - 1]);
    }
    EXPECT_TRUE(fake_https.requests.empty());
}

TEST_F(https, an_endless_answer_is_cut_off_like_one_larger_than_memory)
{
    fake_https.piece = 1 << 20;
    fake_https.script = {{.status = 200, .body = std::string(40 << 20, 'x')}};
    EXPECT_EQ(send("{}"), 1U);
    EXPECT_EQ(status, -CURLE_WRITE_ERROR);
    EXPECT_LE(fake_https.delivered, size_t{32} << 20);
    EXPECT_GE(fake_https.delivered, size_t{31} << 20);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [write_memory_callback] Memory error when realloc ptr\n"
                                    "1 [HTTP_execute] curl_easy_perform failed: text of the code(23)\n");
}

TEST_F(https, a_piece_whose_size_overflows_is_not_taken)
{
    HttpBuffer buffer = {nullptr, 0};
    char data[2] = {'a', 'b'};
    EXPECT_EQ(write_memory_callback(data, SIZE_MAX / 2 + 1, 2, &buffer), 0U);
    EXPECT_EQ(write_memory_callback(data, 1, 2, &buffer), 2U);
    EXPECT_EQ(write_memory_callback(data, 1, 0, &buffer), 0U);
    EXPECT_EQ(write_memory_callback(nullptr, 0, 5, &buffer), 0U);
    EXPECT_STREQ(buffer.memory, "ab");
    EXPECT_EQ(buffer.length, 2U);
    M_free(buffer.memory);
}

TEST_F(https, a_header_sink_can_be_set)
{
    HttpBuffer buffer = {nullptr, 0};
    CURL *handle = HTTP_initialize();
    HTTP_set_header_callback(handle, &buffer);
    fake_https.refused = {CURLOPT_HEADERFUNCTION};
    HTTP_set_header_callback(handle, &buffer);
    EXPECT_EQ(log.up_to(LOG__INFO), "1 [HTTP_set_header_callback] curl_easy_setopt failed, rc [48, 0]\n");
    HTTP_set_read_callback(handle, &buffer);
    fake_https.script = {{.status = 201}};
    EXPECT_EQ(HTTP_execute(handle), 201);
    const std::vector<CURLoption> first(fake_https.requests.at(0).order.begin(),
                                        fake_https.requests.at(0).order.begin() + 4);
    EXPECT_THAT(first,
                ElementsAre(CURLOPT_HEADERFUNCTION, CURLOPT_HEADERDATA, CURLOPT_HEADERFUNCTION, CURLOPT_HEADERDATA));
    M_free(buffer.memory);
}

TEST_F(https, tls_needs_no_set_up_of_its_own)
{
    EXPECT_EQ(HTTP_tls_setup(), 0);
    EXPECT_EQ(HTTP_create_headers(), nullptr);
}

struct status_case {
    const char *name;
    const char *json;
    uint8_t success;
    const char *log;
};
class execution_status : public testing::TestWithParam<status_case> {};

TEST_P(execution_status, is_a_success_or_not)
{
    log_capture log;
    EXPECT_EQ(network_utils__function_execution_status_success(GetParam().json), GetParam().success);
    EXPECT_EQ(log.up_to(LOG__INFO), GetParam().log);
}

INSTANTIATE_TEST_SUITE_P(
    table, execution_status,
    testing::ValuesIn(std::to_array<status_case>({
        {"success", R"({"header":{"functionExecutionStatus":{"status":"Executed-Success"}}})", 1, ""},
        {"with_warning", R"({"header":{"functionExecutionStatus":{"status":"Executed-WithWarning"}}})", 0, ""},
        {"a_beginning_is_not_enough", R"({"header":{"functionExecutionStatus":{"status":"Executed"}}})", 0, ""},
        {"keys_are_searched_without_quotes",
         R"({"responseheader":{"functionExecutionStatus":{"status":"Executed-Success"}}})", 1, ""},
        {"null", nullptr, 0, "1 [network_utils__function_execution_status_success] json is null\n"},
        {"no_header", R"({"functionExecutionStatus":{"status":"Executed-Success"}})", 0,
         "1 [network_utils__function_execution_status_success] Can't extract header object in json, rc 1\n"},
        {"no_status_object", R"({"header":{},"functionExecutionStatus":{"status":"Executed-Success"}})", 0,
         "1 [network_utils__function_execution_status_success] Can't extract functionExecutionStatus object in json, rc 1\n"},
        {"no_status", R"({"header":{"functionExecutionStatus":{}},"status":"Executed-Success"})", 0,
         "1 [network_utils__function_execution_status_success] Can't extract functionExecutionStatus object in json, rc 1\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST(execution_status_success, is_no_success_when_memory_runs_out)
{
    const char *json = R"({"header":{"functionExecutionStatus":{"status":"Executed-Success"}}})";
    log_capture log;
    for (int n = 1; n <= 3; ++n) {
        failing_memory memory(n);
        EXPECT_EQ(network_utils__function_execution_status_success(json), 0);
        EXPECT_TRUE(failing_memory::reached());
    }
    EXPECT_TRUE(log.contains(
        1, "[network_utils__function_execution_status_success] Can't extract header object in json, rc 9"));
}

TEST(secure_protocol, is_told_by_the_first_characters)
{
    for (const char *scheme : {"ssl", "ssl://host", "wss", "wss:", "mqtts", "mqtts://"})
        EXPECT_EQ(network_utils__is_secure_protocol(scheme), 1) << scheme;
    for (const char *scheme : {"", "ss", "tcp", "mqtt", "mqtt:", "https", "SSL"})
        EXPECT_EQ(network_utils__is_secure_protocol(scheme), 0) << scheme;
    EXPECT_EQ(network_utils__is_secure_protocol(nullptr), 0);
}
} // namespace
