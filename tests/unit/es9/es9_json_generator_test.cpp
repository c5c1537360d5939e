#include "es9/es9_json_generator.h"
#include "foundation/log.h"
#include "lpa/memory.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/fakes/failing_format.h"
#include "unit/fakes/failing_memory.h"
#include <array>
#include <gtest/gtest.h>
#include <memory>

namespace {
struct free_text {
    void operator()(char *text) const { M_free(text); }
};
using text_holder = std::unique_ptr<char, free_text>;

const uint8_t challenge[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
const TransactionId transaction = {{0x0A, 0xBC, 0xDE}, 3};
const uint8_t data[] = {0xBF, 0x20, 0x00, 0xFF};

// One generator as the tests see it, with good input or with what is named missing.
struct generator {
    const char *name;
    uint32_t (*run)(char **json);
    const char *document;
    uint32_t (*run_without_input)(char **json);
    const char *refused;
    const char *no_memory;
    const char *format;
    const char *bad_length;
    const char *not_printed;
    std::vector<std::string> no_base64; // messages for its encodings, in order
};

const generator generators[] = {
    {"initiate_authentication",
     [](char **json) {
         return es9_json_generator__initiate_authentication_request("smdp.example", challenge, data, 4, json);
     },
     R"({"euiccChallenge":"AAECAwQFBgcICQoLDA0ODw==","euiccInfo1":"vyAA/w==","smdpAddress":"smdp.example"})",
     [](char **json) {
         return es9_json_generator__initiate_authentication_request("smdp.example", challenge, data, 0, json);
     },
     "[json_generator__initiate_authentication_request] The input is empty/null",
     "[json_generator__initiate_authentication_request] Can't allocate data to json",
     "{\"euiccChallenge\":\"%s\",\"euiccInfo1\":\"%s\",\"smdpAddress\":\"%s\"}",
     "[json_generator__initiate_authentication_request] Bad length of the initiate authentication json",
     "[json_generator__initiate_authentication_request] Can't add data inside the json string",
     {"[json_generator__initiate_authentication_request] Error parsing euicc challenge to base64",
      "[json_generator__initiate_authentication_request] Error parsing euicc info 1 to base64"}},
    {"authenticate_client",
     [](char **json) { return es9_json_generator__authenticate_client_request("0AbC", data, 4, json); },
     R"({"transactionId": "0AbC","authenticateServerResponse":"vyAA/w=="})",
     [](char **json) { return es9_json_generator__authenticate_client_request("0AbC", nullptr, 4, json); },
     "[json_generator__authenticate_client_request] The input is empty/null",
     "[json_generator__authenticate_client_request] Can't allocate data to json",
     "{\"transactionId\": \"%s\",\"authenticateServerResponse\":\"%s\"}",
     "[json_generator__authenticate_client_request] Bad length of the authenticate client json",
     "[json_generator__authenticate_client_request] Can't add data inside the json string",
     {"[json_generator__authenticate_client_request] Error parsing authenticate server response to base64"}},
    {"get_bound_profile_package",
     [](char **json) { return es9_json_generator__get_bound_profile_package_request(&transaction, data, 3, json); },
     R"({"transactionId": "0ABCDE","prepareDownloadResponse":"vyAA"})",
     [](char **json) { return es9_json_generator__get_bound_profile_package_request(&transaction, nullptr, 3, json); },
     "[es9_json_generator__get_bound_profile_package_request] The prepareDownloadResponse is empty/null",
     "[json_generator__get_bound_profile_package_request] Can't allocate data to json",
     "{\"transactionId\": \"%s\",\"prepareDownloadResponse\":\"%s\"}",
     "[json_generator__get_bound_profile_package_request] Bad length of the get bound profile package json",
     "[json_generator__get_bound_profile_package_request] Can't add data inside the json string",
     {"[json_generator__get_bound_profile_package_request] Error parsing prepare download response to base64"}},
    {"handle_notification",
     [](char **json) { return es9_json_generator__handle_notification_request(data, 2, json); },
     R"({"pendingNotification":"vyA="})",
     [](char **json) { return es9_json_generator__handle_notification_request(data, 0, json); },
     "[json_generator__handle_notification_request] The pendingNotification is empty/null",
     "[json_generator__handle_notification_request] Can't allocate data to json",
     "{\"pendingNotification\":\"%s\"}",
     "[json_generator__handle_notification_request] Bad length of the handle notification json",
     "[json_generator__handle_notification_request] Can't add data inside the json string",
     {"[json_generator__handle_notification_request] Error parsing pending notification to base64"}},
    {"cancel_session",
     [](char **json) { return es9_json_generator__cancel_session_request(&transaction, data, 1, json); },
     R"({"transactionId": "0ABCDE","cancelSessionResponse":"vw=="})",
     [](char **json) { return es9_json_generator__cancel_session_request(&transaction, data, 0, json); },
     "[es9_json_generator__cancel_session_request] The cancelSessionResponse is empty/null",
     "[es9_json_generator__cancel_session_request] Error allocating data for the CancelSessionRequestEs9 C JSON String",
     "{\"transactionId\": \"%s\",\"cancelSessionResponse\":\"%s\"}",
     "[es9_json_generator__cancel_session_request] Error calculating the length of the CancelSessionRequestEs9 C JSON String",
     "[es9_json_generator__cancel_session_request] Error adding data to the CancelSessionRequestEs9 C JSON String",
     {"[es9_json_generator__cancel_session_request] Error parsing the cancelSessionResponse to base64"}},
};

class json_generator : public testing::TestWithParam<generator> {
  protected:
    uint32_t run(uint32_t (*generate)(char **json))
    {
        char poison = 0;
        char *text = &poison;
        const uint32_t rc = generate(&text);
        json.reset(text);
        return rc;
    }
    log_capture log;
    text_holder json;
};

TEST_P(json_generator, fills_its_template_exactly)
{
    EXPECT_EQ(run(GetParam().run), 0U);
    EXPECT_STREQ(json.get(), GetParam().document);
    EXPECT_EQ(log.up_to(LOG__INFO), "");
}

TEST_P(json_generator, refuses_missing_input_with_4)
{
    EXPECT_EQ(run(GetParam().run_without_input), 4U);
    EXPECT_EQ(json.get(), nullptr);
    EXPECT_EQ(log.up_to(LOG__INFO), std::string("1 ") + GetParam().refused + "\n");
}

TEST_P(json_generator, tells_which_allocation_failed)
{
    int n = 0;
    for (const std::string &message : GetParam().no_base64) {
        log.clear();
        failing_memory memory(++n);
        EXPECT_EQ(run(GetParam().run), 1U);
        EXPECT_EQ(json.get(), nullptr);
        EXPECT_EQ(log.up_to(LOG__INFO), "1 " + message + "\n");
    }
    log.clear();
    failing_memory memory(++n);
    EXPECT_EQ(run(GetParam().run), 9U);
    EXPECT_EQ(json.get(), nullptr);
    EXPECT_EQ(log.up_to(LOG__INFO), std::string("1 ") + GetParam().no_memory + "\n");
}

TEST_P(json_generator, tells_when_it_cannot_print)
{
    const char *const expected[] = {GetParam().bad_length, GetParam().not_printed};
    for (int nth = 1; nth <= 2; ++nth) {
        log.clear();
        const failing_format failing(GetParam().format, nth);
        EXPECT_EQ(run(GetParam().run), 1U);
        EXPECT_EQ(json.get(), nullptr);
        EXPECT_EQ(log.up_to(LOG__INFO), std::string("1 ") + expected[nth - 1] + "\n");
    }
}

INSTANTIATE_TEST_SUITE_P(table, json_generator, testing::ValuesIn(generators),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(json_generator_input, is_refused_when_any_part_is_missing)
{
    char *json = nullptr;
    log_capture log;
    EXPECT_EQ(es9_json_generator__initiate_authentication_request(nullptr, challenge, data, 4, &json), 4U);
    EXPECT_EQ(es9_json_generator__initiate_authentication_request("a", nullptr, data, 4, &json), 4U);
    EXPECT_EQ(es9_json_generator__initiate_authentication_request("a", challenge, nullptr, 4, &json), 4U);
    EXPECT_EQ(es9_json_generator__authenticate_client_request(nullptr, data, 4, &json), 4U);
    EXPECT_EQ(es9_json_generator__authenticate_client_request("00", data, 0, &json), 4U);
    EXPECT_EQ(es9_json_generator__handle_notification_request(nullptr, 4, &json), 4U);
    EXPECT_EQ(es9_json_generator__get_bound_profile_package_request(&transaction, data, 0, &json), 4U);
    EXPECT_EQ(es9_json_generator__cancel_session_request(&transaction, nullptr, 4, &json), 4U);
    log.clear();
    EXPECT_EQ(es9_json_generator__get_bound_profile_package_request(nullptr, data, 4, &json), 4U);
    EXPECT_EQ(es9_json_generator__cancel_session_request(nullptr, data, 4, &json), 4U);
    EXPECT_EQ(json, nullptr);
    EXPECT_EQ(log.up_to(LOG__INFO),
              "1 [es9_json_generator__get_bound_profile_package_request] The input object is null\n"
              "1 [es9_json_generator__cancel_session_request] The input object is null\n");
}

TEST(json_generator_transaction, takes_sixteen_bytes_and_refuses_more)
{
    TransactionId longest = {};
    longest.length = 16;
    longest.value[15] = 0xFF;
    char *json = nullptr;
    ASSERT_EQ(es9_json_generator__cancel_session_request(&longest, data, 3, &json), 0U);
    EXPECT_STREQ(json, R"({"transactionId": "000000000000000000000000000000FF","cancelSessionResponse":"vyAA"})");
    M_free(json);

    longest.length = 17;
    log_capture log;
    EXPECT_EQ(es9_json_generator__cancel_session_request(&longest, data, 3, &json), 4U);
    EXPECT_EQ(es9_json_generator__get_bound_profile_package_request(&longest, data, 3, &json), 4U);
    EXPECT_EQ(json, nullptr);
    EXPECT_TRUE(log.contains(
        1, "[es9_json_generator__cancel_session_request] Error parsing the TransactionId to Hexadecimal, rc 4"));
    EXPECT_TRUE(log.contains(
        1,
        "[es9_json_generator__get_bound_profile_package_request] Error parsing the TransactionId to Hexadecimal, rc 4"));
}
} // namespace
