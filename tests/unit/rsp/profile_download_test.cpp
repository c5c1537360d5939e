#include "es9/es9.h"
#include "foundation/base64.h"
#include "foundation/log.h"
#include "foundation/sha256.h"
#include "lpa/memory.h"
#include "rsp/download_preparation.h"
#include "rsp/profile_download.h"
#include "rsp/progress.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "support/progress_capture.h"
#include "unit/fakes/failing_memory.h"
#include "unit/fakes/fake_bus.h"
#include "unit/fakes/fake_https.h"
#include "unit/fakes/fake_modem.h"
#include "unit/rsp/card_answers.h"
#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>

namespace {
using testing::ElementsAre;
using bytes_type = std::vector<uint8_t>;

std::string base64(const bytes_type &data)
{
    char *text = base64_encode(data.data(), static_cast<uint32_t>(data.size()), nullptr);
    const std::string result = text;
    M_free(text);
    return result;
}

const bytes_type euicc_info_1 = tlv(0xBF20, {0x82, 0x03, 2, 2, 0});
const bytes_type challenge = filler(16, 9);
const bytes_type smdp_signed_2 = tlv(0x30, join({tlv(0x80, {0x0A, 0xBC}), tlv(0x01, {0x00})}));
const bytes_type smdp_signed_2_with_code = tlv(0x30, join({tlv(0x80, {0x0A, 0xBC}), tlv(0x01, {0xFF})}));
const bytes_type smdp_signature_2 = tlv(0x5F37, filler(64, 1));
const bytes_type smdp_certificate = tlv(0x30, filler(300, 2));
const bytes_type authenticate_server_response = tlv(0xBF38, filler(400, 3));
const bytes_type prepare_download_response = tlv(0xBF21, filler(50, 4));
const bytes_type cancel_session_response = tlv(0xBF41, filler(20, 5));
const bytes_type install_result = profile_installation_result(7, "notify.example");

const std::string good_header = R"("header":{"functionExecutionStatus":{"status":"Executed-Success"}})";
const std::string failed_header =
    R"("header":{"functionExecutionStatus":{"status":"Failed","statusCodeData":{"subjectCode":"8.10.1","reasonCode":"3.9"}}})";

bytes_type package()
{
    return tlv(0xBF36,
               join({tlv(0xBF23, filler(90)), tlv(0xA0, tlv(0x87, filler(20))), tlv(0xA1, tlv(0x88, filler(40))),
                     tlv(0xA3, join({tlv(0x86, filler(300)), tlv(0x86, filler(10))}))}));
}

// The last series of the package.
const bytes_type last_item = tlv(0x86, filler(10));

std::string http(const std::string &fields) { return "{" + good_header + "," + fields + "}"; }

std::string initiated()
{
    return http(R"("transactionId":"0ABC","serverSigned1":")" + base64(tlv(0x30, filler(60, 6))) +
                R"(","serverSignature1":")" + base64(tlv(0x5F37, filler(64, 7))) + R"(","euiccCiPKIdToBeUsed":")" +
                base64(tlv(0x04, filler(20))) + R"(","serverCertificate":")" + base64(tlv(0x30, filler(200, 8))) +
                "\"");
}

const bytes_type profile_metadata =
    tlv(0xBF25, join({tlv(0x5A, filler(10)), tlv(0x91, text_bytes("Operator")), tlv(0x92, text_bytes("Travel"))}));

std::string authenticated(const bytes_type &signed_2)
{
    return http(R"("transactionId":"0ABC","profileMetadata":")" + base64(profile_metadata) + R"(","smdpSigned2":")" +
                base64(signed_2) + R"(","smdpSignature2":")" + base64(smdp_signature_2) + R"(","smdpCertificate":")" +
                base64(smdp_certificate) + "\"");
}

std::string between(const std::string &text, const char *first, const char *behind)
{
    return text.substr(text.find(first), text.find(behind) - text.find(first));
}

// A whole world in which a download succeeds; the tests break one thing each.
class profile_download : public testing::Test {
  protected:
    profile_download()
    {
        progress__forget_profile();
        fake_https.reset();
        fake_https.otherwise = [this](const auto &request) { return serve(request); };
        card.respond = [this](const bytes_type &command) { return respond(command); };
        server = {{"initiateAuthentication", initiated()},
                  {"authenticateClient", authenticated(smdp_signed_2)},
                  {"getBoundProfilePackage", http(R"("boundProfilePackage":")" + base64(package()) + "\"")},
                  {"handleNotification", ""},
                  {"cancelSession", http("")}};
        answers = {{0xBF20, {euicc_info_1}},
                   {0xBF2E, {tlv(0xBF2E, tlv(0x80, challenge))}},
                   {0xBF38, {authenticate_server_response}},
                   {0xBF21, {prepare_download_response}},
                   {0xBF41, {cancel_session_response}},
                   {0xBF30, {notification_sent_response(0)}}};
        use_code("1$SMDP.Example$TOKEN");
    }
    ~profile_download() override { EXPECT_EQ(fake_https.open_handles, 0); }

    void use_code(const std::string &text)
    {
        code = text_bytes(text);
        ASSERT_EQ(rsp__parse_activation_code(code.data(), static_cast<uint32_t>(code.size()), &info), 0U);
    }

    fake_https_type::answer serve(const fake_https_type::request &request)
    {
        const std::string path = request.url.substr(request.url.rfind('/') + 1);
        if (unresolved.contains(path)) return {.result = CURLE_COULDNT_RESOLVE_HOST};
        if (statuses.contains(path)) return {.status = statuses[path]};
        return {.status = 200, .body = server.at(path)};
    }

    scripted_card::answer respond(const bytes_type &command)
    {
        for (const auto &[tag, answer] : answers)
            if (is_request(command, tag)) return answer;
        if (command == last_item) return {loaded};
        return {};
    }

    uint32_t run(const char *confirmation_code = nullptr)
    {
        uint8_t *data = nullptr;
        uint32_t length = 77;
        const uint32_t rc = rsp__start_with_activation_code("modem1", &info, confirmation_code, &data, &length);
        EXPECT_EQ(data != nullptr, length > 0);
        result.assign(data, data + length);
        M_free(data);
        EXPECT_EQ(card.opened, card.closed);
        EXPECT_EQ(fake_bus.open_connections, 0);
        return rc;
    }

    static std::vector<std::string> calls()
    {
        std::vector<std::string> seen;
        for (const auto &request : fake_https.requests)
            seen.push_back(request.url.substr(8));
        return seen;
    }
    bytes_type request_to_card(unsigned tag) const
    {
        for (const auto &command : card.series)
            if (is_request(command, tag)) return command;
        return {};
    }
    // The lines at level 1 of the modules under test.
    std::string errors() const
    {
        std::string seen;
        for (const auto &line : log.lines())
            if (line.level == LOG__ERROR &&
                (line.text.starts_with("[rsp__") || line.text.starts_with("[mutual_") ||
                 line.text.starts_with("[initiate_auth") || line.text.starts_with("[authenticate_client]") ||
                 line.text.starts_with("[process_profile") || line.text.starts_with("[delete_install")))
                seen += line.text + "\n";
        return seen;
    }

    scripted_card card;
    std::map<std::string, std::string> server;         // answers by the last part of the path
    std::map<std::string, long> statuses;              // HTTP statuses instead
    std::set<std::string> unresolved;                  // hosts that are not found
    std::map<unsigned, scripted_card::answer> answers; // of the card, by request tag
    bytes_type loaded = install_result;                // of the card, to the last series of the package
    bytes_type code;
    ActivationCodeInfo info = {};
    bytes_type result;
    log_capture log;
};

const std::string start = "[rsp__start_with_activation_code] ";
const std::string on_mutual = start + "Error on mutual authentication, rc ";

TEST_F(profile_download, runs_every_step_and_hands_out_the_cards_result)
{
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(result, install_result);
    EXPECT_EQ(errors(), "");
    EXPECT_THAT(calls(), ElementsAre("smdp.example/gsma/rsp2/es9plus/initiateAuthentication",
                                     "smdp.example/gsma/rsp2/es9plus/authenticateClient",
                                     "smdp.example/gsma/rsp2/es9plus/getBoundProfilePackage",
                                     "notify.example/gsma/rsp2/es9plus/handleNotification"));
    EXPECT_EQ(fake_https.requests[0].body, R"({"euiccChallenge":")" + base64(challenge) + R"(","euiccInfo1":")" +
                                               base64(euicc_info_1) + R"(","smdpAddress":"smdp.example"})");
    EXPECT_EQ(fake_https.requests[1].body, R"({"transactionId": "0ABC","authenticateServerResponse":")" +
                                               base64(authenticate_server_response) + "\"}");
    EXPECT_EQ(fake_https.requests[2].body,
              R"({"transactionId": "0ABC","prepareDownloadResponse":")" + base64(prepare_download_response) + "\"}");
    EXPECT_EQ(fake_https.requests[3].body, R"({"pendingNotification":")" + base64(install_result) + "\"}");
    EXPECT_EQ(request_to_card(0xBF30), bytes("BF30 03 80 01 07"));
    EXPECT_EQ(request_to_card(0xBF21), tlv(0xBF21, join({smdp_signed_2, smdp_signature_2, smdp_certificate})));
    EXPECT_THAT(request_to_card(0xBF38), testing::IsSupersetOf(text_bytes("TOKEN")));
    EXPECT_EQ(fake_modem.modems.at(0), 1);
    EXPECT_EQ(card.opened, 1);
    EXPECT_EQ(between(log.at(LOG__INFO), "3 ES10.GetEUICCInfo1", "3 ES10.LoadBoundProfilePackage (0/5)"),
              "3 ES10.GetEUICCInfo1\n"
              "3 ES10.GetEUICCChallenge\n"
              "3 ES9.InitiateAuthentication to the SMDP+ 'smdp.example'\n"
              "3 HTTP response status code 200\n"
              "3 ES10.AuthenticateServer\n"
              "3 ES9.AuthenticateClient to the SMDP+ 'smdp.example'\n"
              "3 HTTP response status code 200\n"
              "3 ES10.PrepareDownload\n"
              "3 ES9.GetBoundProfilePackage to the SMDP+ 'smdp.example'\n"
              "3 HTTP response status code 200\n");
    const std::string all = "\n" + log.up_to(LOG__DEBUG);
    for (const char *line : {"4 [rsp__start_with_activation_code] RSP SMDP+ address lowercase: 'smdp.example'",
                             "4 [initiate_authentication] euicc info 1", "4 [initiate_authentication] euicc challenge",
                             "4 Sending a AuthenticateServerRequest", "4 ProfileInstallationResult",
                             "3 [delete_install_notification] Notification with SequenceNumber 7 removed successfully"})
        EXPECT_THAT(all, testing::HasSubstr(std::string("\n") + line + "\n"));
}

TEST_F(profile_download, an_upper_case_address_is_sent_in_lower_case_in_the_url_and_in_the_body)
{
    use_code("1$SMDP-1.EXAMPLE:8443$TOKEN");
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(calls().at(0), testing::StartsWith("smdp-1.example:8443/"));
    EXPECT_THAT(*fake_https.requests.at(0).body, testing::EndsWith(R"("smdpAddress":"smdp-1.example:8443"})"));
}

TEST_F(profile_download, a_flag_in_the_activation_code_without_a_confirmation_code_gives_4_before_any_access)
{
    use_code("1$smdp.example$TOKEN$$1");
    for (const char *confirmation_code : {static_cast<const char *>(nullptr), ""}) {
        log.clear();
        EXPECT_EQ(run(confirmation_code), 4U);
        EXPECT_EQ(
            log.up_to(LOG__TRACE),
            "1 " + start +
                "No Confirmation Code has been provided for a Profile that has the Confirmation Code Required Flag enabled (in the Activation Code). Please enter a Confirmation Code when starting the Remote Provisioning for this Profile.\n");
    }
    EXPECT_TRUE(fake_modem.commands.empty());
}

TEST_F(profile_download, a_flag_in_the_activation_code_with_a_confirmation_code_goes_on)
{
    use_code("1$smdp.example$TOKEN$$1");
    EXPECT_EQ(run("1234"), 0U);
    // The server did not ask for it, so the card is not told.
    EXPECT_EQ(request_to_card(0xBF21), tlv(0xBF21, join({smdp_signed_2, smdp_signature_2, smdp_certificate})));
}

bytes_type sha256(const bytes_type &data)
{
    sha256_context context;
    sha256_init(&context);
    sha256_update(&context, data.data(), static_cast<uint32_t>(data.size()));
    bytes_type digest(SHA256_BYTES);
    sha256_final(&context, digest.data());
    return digest;
}

TEST_F(profile_download, a_server_that_asks_for_the_confirmation_code_is_given_its_hash)
{
    server["authenticateClient"] = authenticated(smdp_signed_2_with_code);
    EXPECT_EQ(run("1234"), 0U);
    const bytes_type inner = sha256(text_bytes("1234"));
    const bytes_type input = join({inner, {0x0A, 0xBC}});
    EXPECT_EQ(request_to_card(0xBF21), tlv(0xBF21, join({smdp_signed_2_with_code, smdp_signature_2,
                                                         tlv(0x04, sha256(input)), smdp_certificate})));
    std::string seen;
    for (const auto &line : log.lines())
        if (line.text.find("Confirmation Code") != std::string::npos)
            seen += std::to_string(line.level) + " " + line.text + "\n";
    EXPECT_EQ(seen, "4 [calculate_hash_confirmation_code] Confirmation Code: '1234'\n"
                    "4 [calculate_hash_confirmation_code] SHA256 (Confirmation Code)\n"
                    "3 SHA256 (Confirmation Code) | TransactionID\n"
                    "3 SHA256 (SHA256 (Confirmation Code) | TransactionID)\n");
}

const std::string no_code =
    "[rsp__prepare_download] No Confirmation Code has been provided for a Profile that has the Confirmation Code Required Flag enabled (in the smdpSigned2). Please enter a Confirmation Code when starting the Remote Provisioning for this Profile.\n";
const std::string on_prepare = start + "Error on Prepare Download, rc ";

TEST_F(profile_download, a_server_that_asks_for_a_missing_confirmation_code_receives_a_cancel_session)
{
    server["authenticateClient"] = authenticated(smdp_signed_2_with_code);
    EXPECT_EQ(run(""), 1U);
    EXPECT_EQ(request_to_card(0xBF41), bytes("BF41 07 80 02 0ABC 81 01 00"));
    EXPECT_EQ(calls().back(), "smdp.example/gsma/rsp2/es9plus/cancelSession");
    EXPECT_EQ(fake_https.requests.back().body,
              R"({"transactionId": "0ABC","cancelSessionResponse":")" + base64(cancel_session_response) + "\"}");
    EXPECT_EQ(errors(), no_code + on_prepare + "1\n");
    EXPECT_THAT(
        log.at(LOG__INFO),
        testing::HasSubstr("3 Starting the Sub-procedure Profile Download and Installation - Download Rejection\n"));
    EXPECT_THAT(log.at(LOG__INFO),
                testing::HasSubstr("3 [rsp__download_rejection] CancelSessionResponseEs9 is cancelSessionOk\n"));
}

struct rejection_case {
    const char *name;
    std::string server_answer;
    unsigned card_sw;
    std::string errors;
};
class failed_rejection : public profile_download, public testing::WithParamInterface<rejection_case> {};

TEST_P(failed_rejection, still_gives_1)
{
    server["authenticateClient"] = authenticated(smdp_signed_2_with_code);
    server["cancelSession"] = GetParam().server_answer;
    answers[0xBF41].sw = GetParam().card_sw;
    EXPECT_EQ(run(), 1U);
    EXPECT_EQ(errors(), no_code + GetParam().errors + on_prepare + "1\n");
}

std::string refusal(const std::string &subject, const std::string &reason)
{
    return R"({"header":{"functionExecutionStatus":{"status":"Failed","statusCodeData":{"subjectCode":")" + subject +
           R"(","reasonCode":")" + reason + "\"}}}}";
}

const std::string rejection = "[rsp__download_rejection] ";
const std::string subprocedure = "[rsp__prepare_download] Download Rejection subprocedure failed, rc ";
INSTANTIATE_TEST_SUITE_P(
    table, failed_rejection,
    testing::ValuesIn(std::to_array<rejection_case>({
        {"transaction_unknown", refusal("8.10.1", "3.9"), 0x9000,
         rejection + "CancelSessionResponseEs9 is cancelSessionError(invalidTransactionId)\n" + subprocedure + "1\n"},
        {"signature_invalid", refusal("8.1", "6.1"), 0x9000,
         rejection + "CancelSessionResponseEs9 is cancelSessionError(euiccSignatureInvalid)\n" + subprocedure + "1\n"},
        {"undefined", refusal("8.8", "3.10"), 0x9000,
         rejection + "CancelSessionResponseEs9 is cancelSessionError(undefinedError)\n" + subprocedure + "1\n"},
        {"unreadable_answer", "{}", 0x9000, rejection + "ES9.CancelSession failed, rc 1\n" + subprocedure + "1\n"},
        {"card_refuses", "{}", 0x6A88, rejection + "ES10.CancelSession failed, rc 6\n" + subprocedure + "6\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

// The one answer that is not as it should be.
struct changed_answer {
    std::string path; // of the server, or the card's:
    std::string body = {};
    unsigned tag = 0;
    scripted_card::answer answer = {};
};

changed_answer server_says(const char *path, const std::string &body) { return {.path = path, .body = body}; }

changed_answer card_says(unsigned tag, const bytes_type &data) { return {.path = "", .tag = tag, .answer = {data}}; }

changed_answer card_refuses(unsigned tag, unsigned sw = 0x6A88) { return {.path = "", .tag = tag, .answer = {{}, sw}}; }

changed_answer card_is_not_reached(unsigned tag)
{
    changed_answer changed = card_says(tag, {});
    changed.answer.not_sent = true;
    return changed;
}

struct failure_case {
    const char *name;
    changed_answer changed;
    uint32_t code;
    std::string errors;
};
class failed_download : public profile_download, public testing::WithParamInterface<failure_case> {};

TEST_P(failed_download, gives_its_code_and_ends_the_session)
{
    const changed_answer &changed = GetParam().changed;
    if (changed.path.empty()) answers[changed.tag] = changed.answer;
    else server[changed.path] = changed.body;
    EXPECT_EQ(run(), GetParam().code);
    EXPECT_TRUE(result.empty());
    EXPECT_EQ(errors(), GetParam().errors);
    EXPECT_EQ(card.closed, 1);
}

const std::string on_initiate = "[mutual_authentication] Error on initiate authentication, rc ";
const std::string on_server = "[mutual_authentication] Error on authenticate server, rc ";
const std::string on_client = "[mutual_authentication] Error on authenticate client, rc ";
INSTANTIATE_TEST_SUITE_P(
    table, failed_download,
    testing::ValuesIn(std::to_array<failure_case>({
        {"info_refused_quietly", card_refuses(0xBF20), 6, ""},
        {"info_while_refresh_is_pending_quietly", card_refuses(0xBF20, 0x6985), 18, ""},
        {"info_not_sent", card_is_not_reached(0xBF20), 14,
         "[initiate_authentication] Error on ES10.GetEUICCInfo, rc 14\n" + on_initiate + "14\n" + on_mutual + "14\n"},
        {"challenge_refused", card_refuses(0xBF2E), 6,
         "[initiate_authentication] Error on ES10.GetEUICCChallenge, rc 6\n"},
        {"challenge_not_sent", card_is_not_reached(0xBF2E), 14,
         "[initiate_authentication] Error on ES10.GetEUICCChallenge, rc 14\n" + on_initiate + "14\n" + on_mutual +
             "14\n"},
        {"challenge_of_15_bytes", card_says(0xBF2E, tlv(0xBF2E, tlv(0x80, filler(15)))), 1,
         "[initiate_authentication] tlv_data_extractor__euicc_challenge failed, rc 1\n" + on_initiate + "1\n" +
             on_mutual + "1\n"},
        {"server_does_not_initiate", server_says("initiateAuthentication", "{" + failed_header + "}"), 1,
         on_initiate + "1\n" + on_mutual + "1\n"},
        {"no_transaction_id", server_says("initiateAuthentication", http("\"x\":1")), 1,
         "[authenticate_client] 'transactionId' not found in initate authentication HTTP response\n" + on_server +
             "1\n" + on_mutual + "1\n"},
        {"transaction_id_in_a_text_only",
         server_says("initiateAuthentication", http(R"("x":"what a transactionId is","y":"0ABC")")), 1,
         "[authenticate_client] 'transactionId' not found in initate authentication HTTP response\n" + on_server +
             "1\n" + on_mutual + "1\n"},
        {"no_server_signed_1", server_says("initiateAuthentication", http(R"("transactionId":"0ABC")")), 1,
         "[authenticate_client] tlv_generator__authenticate_server_request failed, rc 1\n" + on_server + "1\n" +
             on_mutual + "1\n"},
        {"authenticate_server_refused", card_refuses(0xBF38), 6, on_server + "6\n"},
        {"authenticate_server_not_sent", card_is_not_reached(0xBF38), 14,
         "[authenticate_client] eUICC__store_data failed, rc 14\n" + on_server + "14\n" + on_mutual + "14\n"},
        {"authenticate_client_unreadable", server_says("authenticateClient", "{}"), 1,
         on_client + "1\n" + on_mutual + "1\n"},
        {"authenticate_client_failed", server_says("authenticateClient", "{" + failed_header + "}"), 13,
         "[rsp__prepare_download] The AuthenticateClientResponseEs9 has an authenticateClientError(10). Aborting the Remote Sim Provisioning procedure\n"},
        {"smdp_signed_2_unreadable", server_says("authenticateClient", authenticated(tlv(0x30, tlv(0x01, {0})))), 1,
         "[rsp__prepare_download] Error extracting data from the smdpSigned2 of the AuthenticateClientResponseEs9, rc 1\n" +
             on_prepare + "1\n"},
        {"prepare_download_refused", card_refuses(0xBF21), 6,
         "[rsp__prepare_download] ES10.PrepareDownload failed, rc 6\n" + on_prepare + "6\n"},
        {"no_consent_to_the_package", server_says("getBoundProfilePackage", "{" + failed_header + "}"), 1,
         start + "Error on Get Bound Profile Package from the SMDP+ server, rc 1\n"},
        {"no_package", server_says("getBoundProfilePackage", http("\"x\":1")), 1,
         start +
             "boundProfilePackage field not found in the get bound profile package response from the SMDP+ server\n"},
        {"unreadable_package", server_says("getBoundProfilePackage", http(R"("boundProfilePackage":"AAAA")")), 1,
         start + "Error on loading the bound profile package to the eUICC, rc 1\n"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(profile_download, an_unknown_host_gives_11)
{
    unresolved = {"initiateAuthentication"};
    EXPECT_EQ(run(), 11U);
    EXPECT_EQ(errors(), on_initiate + "11\n" + on_mutual + "11\n");
}

TEST_F(profile_download, a_session_that_cannot_be_opened_gives_its_code)
{
    card.opens = false;
    EXPECT_EQ(run(), 18U);
    EXPECT_EQ(errors(), start + "eUICC__initialize failed, rc 18\n");
    EXPECT_TRUE(fake_https.requests.empty());
}

const std::string report = "[process_profile_installation_result_notification] ";
const std::string on_report = start + "Error processing the ProfileInstallationResult notification, rc ";

TEST_F(profile_download, a_card_without_a_result_is_a_success_without_one)
{
    loaded.clear();
    EXPECT_EQ(run(), 0U);
    EXPECT_TRUE(result.empty());
    EXPECT_EQ(errors(), report + "ProfileInstallationResult is empty/null\n" + on_report + "4\n");
}

TEST_F(profile_download, a_result_that_cannot_be_decoded_is_handed_out_and_not_reported)
{
    loaded = {0xBF, 0x37, 0x00};
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(result, loaded);
    EXPECT_EQ(calls().back(), "smdp.example/gsma/rsp2/es9plus/getBoundProfilePackage");
    EXPECT_THAT(errors(),
                testing::StartsWith(report + "Error extracting data from the ProfileInstallationResult, rc "));
    EXPECT_THAT(errors(), testing::HasSubstr(on_report));
}

TEST_F(profile_download, a_result_that_cannot_be_sent_stays_on_the_card_and_does_not_fail_the_download)
{
    unresolved = {"handleNotification"};
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(result, install_result);
    EXPECT_TRUE(request_to_card(0xBF30).empty());
    EXPECT_EQ(errors(),
              report + "Error on send the ProfileInstallationResult to the SMDP+ as a pendingNotification, rc 11\n" +
                  on_report + "11\n");
}

TEST_F(profile_download, a_server_that_refuses_the_result_does_not_fail_the_download)
{
    statuses = {{"handleNotification", 500}};
    EXPECT_EQ(run(), 0U);
    EXPECT_TRUE(request_to_card(0xBF30).empty());
    EXPECT_EQ(errors(),
              report + "Error on send the ProfileInstallationResult to the SMDP+ as a pendingNotification, rc 1\n" +
                  on_report + "1\n");
}

struct removal_case {
    const char *name;
    const char *answer;
    unsigned sw;
    uint32_t code;
    std::string error;
};
class failed_removal : public profile_download, public testing::WithParamInterface<removal_case> {};

TEST_P(failed_removal, does_not_fail_the_download)
{
    answers[0xBF30] = {bytes(GetParam().answer), GetParam().sw};
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(result, install_result);
    const std::string rc = std::to_string(GetParam().code) + "\n";
    EXPECT_EQ(errors(), "[delete_install_notification] " + GetParam().error + "\n" + report +
                            "Error on delete the ProfileInstallationResult notification from the UICC, rc " + rc +
                            on_report + rc);
}

INSTANTIATE_TEST_SUITE_P(table, failed_removal,
                         testing::ValuesIn(std::to_array<removal_case>({
                             {"refused", "", 0x6A88, 6, "Error removing the install notification failed rc 6"},
                             {"unreadable", "BF31 00", 0x9000, 1,
                              "could not extract result from delete notification, rc 1"},
                             {"nothing_to_delete", "BF30 03 80 01 01", 0x9000, 1,
                              "Failed to remove the notification with SequenceNumber 7, deleteNotificationStatus 1"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(profile_download, an_error_result_of_the_card_is_handed_out_with_0)
{
    loaded = install_result;
    card.respond = [this](const bytes_type &command) {
        return command[0] == 0xA0 ? scripted_card::answer{install_result}
                                  : respond(command); // already after ConfigureISDP
    };
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(result, install_result);
    EXPECT_EQ(calls().back(), "notify.example/gsma/rsp2/es9plus/handleNotification");
}

TEST_F(profile_download, every_failed_allocation_is_survived_without_a_leak)
{
    int n = 1;
    for (;; ++n) {
        log.clear();
        uint8_t *data = nullptr;
        uint32_t length = 0;
        failing_memory memory(n);
        const uint32_t rc = rsp__start_with_activation_code("modem1", &info, nullptr, &data, &length);
        EXPECT_EQ(data != nullptr, rc == 0) << n;
        M_free(data);
        if (n == 1) { EXPECT_EQ(errors(), start + "Can not allocate memory to smdp_address\n"); }
        if (!failing_memory::reached()) break;
    }
    EXPECT_GT(n, 60);
}

TEST_F(profile_download, a_session_that_ends_badly_does_not_change_the_result)
{
    scripted_card::terminates = false;
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(result, install_result);
    EXPECT_EQ(errors(), start + "eUICC__terminate failed, rc 1\n");
    answers[0xBF20] = {{}, 0x6A88};
    EXPECT_EQ(run(), 6U);
}

struct outcome_case {
    CancelSessionResponseEs9 response;
    uint32_t code;
    const char *log;
};

TEST(cancel_session_outcome, is_told_by_name)
{
    for (const outcome_case &row : {
             outcome_case{{0, 127}, 0, "3 [rsp__download_rejection] CancelSessionResponseEs9 is cancelSessionOk\n"},
             outcome_case{
                 {1, 2},
                 1,
                 "1 [rsp__download_rejection] CancelSessionResponseEs9 is cancelSessionError(euiccSignatureInvalid)\n"},
             outcome_case{
                 {1, 3}, 1, "1 [rsp__download_rejection] CancelSessionResponseEs9 is cancelSessionError(Unknown)\n"},
             outcome_case{{2, 127}, 1, "1 [rsp__download_rejection] Unknown CancelSessionResponseEs9 choice 2\n"},
         }) {
        log_capture log;
        EXPECT_EQ(rsp__cancel_session_outcome(&row.response), row.code);
        EXPECT_EQ(log.up_to(LOG__TRACE), row.log);
    }
}
// ---- Progress ------------------------------------------------------------------------------------------------------

TEST_F(profile_download, tells_every_step_and_the_profiles_names_once_they_are_known)
{
    progress_capture progress;
    EXPECT_EQ(run(), 0U);
    const std::string names = " 'Operator' 'Travel'";
    const std::string size = std::to_string(package().size());
    EXPECT_THAT(progress.steps(), ElementsAre("opening", "authenticating", "preparing" + names, "fetching" + names,
                                              "installing " + size + "/" + size + names, "reporting" + names));
}

TEST_F(profile_download, does_the_same_whether_somebody_listens_or_not)
{
    const auto what_was_done = [this] {
        log.clear();
        card.blocks.clear();
        fake_https.requests.clear();
        fake_modem.commands.clear();
        EXPECT_EQ(run(), 0U);
        std::string all = log.up_to(LOG__TRACE);
        for (const auto &command : fake_modem.commands)
            all += testing::PrintToString(command) + "\n";
        for (const auto &request : fake_https.requests)
            all += request.url + " " + request.body.value_or("none") + "\n";
        return all + hex(result);
    };
    const std::string alone = what_was_done();
    const progress_capture progress;
    EXPECT_EQ(what_was_done(), alone);
    EXPECT_FALSE(progress.lines.empty());
}

bytes_type cut_package()
{
    bytes_type beginning = package();
    beginning.resize(180);
    return beginning;
}

struct last_step_case {
    const char *name;
    changed_answer changed;
    std::string last_step;
};
class progress_of_a_failed_download : public profile_download, public testing::WithParamInterface<last_step_case> {};

TEST_P(progress_of_a_failed_download, ends_with_the_step_that_failed)
{
    const changed_answer &changed = GetParam().changed;
    if (changed.path.empty()) answers[changed.tag] = changed.answer;
    else server[changed.path] = changed.body;
    progress_capture progress;
    EXPECT_NE(run(), 0U);
    EXPECT_THAT(progress.lines.back(), testing::StartsWith(GetParam().last_step));
}

INSTANTIATE_TEST_SUITE_P(
    table, progress_of_a_failed_download,
    testing::ValuesIn(std::to_array<last_step_case>({
        {"card_refuses", card_refuses(0xBF20), "authenticating"},
        {"server_refuses", server_says("authenticateClient", "{" + failed_header + "}"), "authenticating"},
        {"card_does_not_prepare", card_refuses(0xBF21), "preparing 'Operator' 'Travel'"},
        {"no_answer", server_says("getBoundProfilePackage", ""), "fetching 'Operator' 'Travel'"},
        {"no_package", server_says("getBoundProfilePackage", http(R"("boundProfilePackage":"AAAA")")),
         "fetching 'Operator' 'Travel'"},
        {"cut_package",
         server_says("getBoundProfilePackage", http(R"("boundProfilePackage":")" + base64(cut_package()) + "\"")),
         "installing 170/486"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(profile_download, that_cannot_open_the_card_tells_so)
{
    card.opens = false;
    progress_capture progress;
    EXPECT_NE(run(), 0U);
    EXPECT_THAT(progress.lines, ElementsAre("opening"));
}
} // namespace
