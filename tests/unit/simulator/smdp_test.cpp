#include "simulator/euicc.h"
#include "simulator/smdp.h"
#include "unit/simulator/test_card.h"
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {
using nlohmann::json;
using sim::byte_vector;
using sim::byte_view;

const std::string eid = "89049032123451234512345678901235";
const std::string other_eid = "89049032123451234512345678901236";
const std::string profile_iccid = "89999000000000000001"; // digits

struct reply {
    int status = -1; // -1: no HTTP answer
    std::string body;
    json document;
    byte_vector bytes(const char *member) const { return sim::from_base64(document.at(member)); }
    std::string execution_status() const { return document.at("header").at("functionExecutionStatus").at("status"); }
    std::string codes() const // "8.1 6.1", or the status when it is not a refusal
    {
        const json &status = document.at("header").at("functionExecutionStatus");
        if (!status.contains("statusCodeData")) return status.at("status");
        const json &data = status.at("statusCodeData");
        return data.at("subjectCode").get<std::string>() + " " + data.at("reasonCode").get<std::string>();
    }
};

class server : public testing::Test {
  protected:
    // Certificates are made once; every test has a server of its own.
    static void SetUpTestSuite()
    {
        std::string name = testing::TempDir() + "/smdp-XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        directory = name;
        world = new sim::certificate_authority(directory);
    }
    static void TearDownTestSuite()
    {
        delete world;
        std::filesystem::remove_all(directory);
    }
    void SetUp() override
    {
        port = smdp.start();
        address = "localhost:" + std::to_string(port);
        card.matching_id = "FIRST";
    }

    httplib::Headers headers() const
    {
        return {{"User-Agent", "gsma-rsp-lpad"},
                {"X-Admin-Protocol", "gsma/rsp/2.2.0"},
                {"Content-Type", "application/json"},
                {"Accept-Encoding", "identity"}};
    }
    reply post_text(const std::string &endpoint, const std::string &body, const httplib::Headers &with,
                    const char *host = "localhost")
    {
        httplib::SSLClient client(host, port);
        client.enable_server_certificate_verification(false);
        client.set_tcp_nodelay(true);
        const auto result = client.Post("/gsma/rsp2/es9plus/" + endpoint, with, body, "");
        if (!result) return {};
        return {result->status, result->body, json::parse(result->body, nullptr, false)};
    }
    reply post(const std::string &endpoint, const json &body) { return post_text(endpoint, body.dump(), headers()); }

    void order(json command = json::object())
    {
        json complete = {{"do", "add-order"}, {"matching_id", "FIRST"}, {"iccid", profile_iccid}, {"size", 3000}};
        complete.update(command);
        smdp.control(complete);
    }
    void fault(const std::string &endpoint, const std::string &kind, json parameters = json::object())
    {
        parameters.update({{"do", "add-fault"}, {"endpoint", endpoint}, {"kind", kind}});
        smdp.control(parameters);
    }
    json order_now(size_t index = 0) { return smdp.inspect().at("orders").at(index); }

    json initiation() const
    {
        return {{"euiccChallenge", sim::to_base64(card.challenge)},
                {"euiccInfo1", sim::to_base64(card.info1())},
                {"smdpAddress", address}};
    }
    reply initiate() { return post("initiateAuthentication", initiation()); }
    reply send_server_response(const std::string &transaction_id, byte_view response)
    {
        return post("authenticateClient",
                    {{"transactionId", transaction_id}, {"authenticateServerResponse", sim::to_base64(response)}});
    }
    reply authenticate(const reply &initiated)
    {
        return send_server_response(initiated.document.at("transactionId"),
                                    card.server_response(initiated.bytes("serverSigned1")));
    }
    reply authenticate() { return authenticate(initiate()); }
    reply send_download_response(const std::string &transaction_id, byte_view response)
    {
        return post("getBoundProfilePackage",
                    {{"transactionId", transaction_id}, {"prepareDownloadResponse", sim::to_base64(response)}});
    }
    reply prepare(const reply &authenticated, const std::string &code = {})
    {
        return send_download_response(
            authenticated.document.at("transactionId"),
            card.download_response(authenticated.bytes("smdpSigned2"), authenticated.bytes("smdpSignature2"), code));
    }
    reply download(const std::string &code = {}) { return prepare(authenticate(), code); }
    test_card::unpacked unpack(const reply &downloaded) const
    {
        return card.unpack(downloaded.bytes("boundProfilePackage"),
                           sim::from_hex(downloaded.document.at("transactionId")), world->dp_pb().cert.public_point);
    }
    reply notify(byte_view pending)
    {
        return post("handleNotification", {{"pendingNotification", sim::to_base64(pending)}});
    }
    reply cancel(const std::string &transaction_id, byte_view response)
    {
        return post("cancelSession",
                    {{"transactionId", transaction_id}, {"cancelSessionResponse", sim::to_base64(response)}});
    }
    static byte_vector oid() { return world->dp_auth().cert.registered_id; }

    static inline std::filesystem::path directory;
    static inline sim::certificate_authority *world = nullptr;
    test_card card{*world, eid};
    sim::smdp smdp{*world};
    int port = 0;
    std::string address;
};

byte_vector flipped(byte_vector bytes, size_t from_end = 1)
{
    bytes[bytes.size() - from_end] ^= 1U;
    return bytes;
}

// ---- the way everything is well

TEST_F(server, delivers_a_profile_that_the_card_can_open)
{
    order({{"name", "Name"}, {"provider", "Provider"}, {"size", 100000}, {"seed", 5}});
    const reply downloaded = download();
    ASSERT_EQ(downloaded.execution_status(), "Executed-Success");
    const auto unpacked = unpack(downloaded);
    EXPECT_EQ(unpacked.failed_at, "");
    EXPECT_TRUE(unpacked.keys_replaced);
    EXPECT_EQ(unpacked.size, 100000U);
    EXPECT_EQ(unpacked.sha256, order_now().at("sha256"));
    EXPECT_EQ(unpacked.segments.at(0x87), 2);
    EXPECT_EQ(unpacked.segments.at(0x86), (100000 + 1006) / 1007);
    EXPECT_EQ(order_now().at("state"), "downloaded");

    const byte_vector transaction = sim::from_hex(downloaded.document.at("transactionId"));
    const reply notified = notify(card.installation_result(transaction, address, card.success(), oid()));
    EXPECT_EQ(notified.status, 204);
    EXPECT_EQ(notified.body, "");
    EXPECT_EQ(order_now().at("state"), "installed");
    const json received = smdp.inspect().at("notifications").at(0);
    EXPECT_TRUE(received.at("verified"));
    EXPECT_TRUE(received.at("problems").empty()) << received;
    EXPECT_EQ(received.at("eid"), eid);
    EXPECT_EQ(received.at("event"), "install");
    EXPECT_EQ(received.at("iccid"), "89999900000000000001");
    EXPECT_EQ(received.at("result").at("aid"), "A0000005591010FFFFFFFF8900001000");
    EXPECT_EQ(authenticate().codes(), "8.2.6 3.8"); // an order is delivered once
}

TEST_F(server, signs_what_it_says)
{
    order();
    const reply initiated = initiate();
    const byte_vector signed1 = initiated.bytes("serverSigned1");
    const auto fields = *sim::read_elements(sim::read_element(signed1)->value);
    ASSERT_EQ(fields.size(), 4U);
    EXPECT_EQ(sim::to_hex(fields[0].value), initiated.document.at("transactionId"));
    EXPECT_TRUE(std::ranges::equal(fields[1].value, card.challenge));
    EXPECT_EQ(std::string(fields[2].value.begin(), fields[2].value.end()), address);
    EXPECT_EQ(fields[3].value.size(), 16U);
    const auto auth = sim::read_certificate(initiated.bytes("serverCertificate"));
    ASSERT_TRUE(auth);
    EXPECT_TRUE(sim::is_signed_by(*auth, world->ci().cert));
    EXPECT_TRUE(sim::carries_policy(*auth, sim::policy_dp_auth));
    EXPECT_TRUE(sim::verify_signature(auth->public_point, signed1,
                                      sim::read_element(initiated.bytes("serverSignature1"))->value));
    EXPECT_EQ(initiated.bytes("euiccCiPKIdToBeUsed"), sim::tlv(0x04, world->ci().cert.subject_key_id));

    const byte_vector response = card.server_response(signed1);
    const reply authenticated = send_server_response(initiated.document.at("transactionId"), response);
    const auto pb = sim::read_certificate(authenticated.bytes("smdpCertificate"));
    ASSERT_TRUE(pb);
    EXPECT_TRUE(sim::carries_policy(*pb, sim::policy_dp_pb));
    const auto ok = sim::read_element(sim::read_element(response)->value)->value;
    const byte_vector tbs = sim::join({authenticated.bytes("smdpSigned2"), sim::find_child(ok, 0x5F37)->whole});
    EXPECT_TRUE(
        sim::verify_signature(pb->public_point, tbs, sim::read_element(authenticated.bytes("smdpSignature2"))->value));
    EXPECT_EQ(sim::to_hex(authenticated.bytes("smdpSigned2")),
              "3015"
              "8010" +
                  authenticated.document.at("transactionId").get<std::string>() + "010100");
}

TEST_F(server, tells_the_card_the_metadata_of_the_order)
{
    order({{"name", "N"},
           {"provider", "P"},
           {"class", 1},
           {"policy", 3},
           {"owner", "800309F107"},
           {"icon_type", 1},
           {"icon", "AABB"},
           {"notifications",
            json::array({{{"events", {"install", "delete"}}, {"address", "a.example"}}, {{"events", {"enable"}}}})}});
    const auto unpacked = unpack(download());
    byte_vector own(address.begin(), address.end());
    const std::string tail = sim::to_hex(
        sim::tlv(0xB6, sim::join({sim::from_hex("300F"
                                                "80020490"
                                                "8109"
                                                "612E6578616D706C65"),
                                  sim::tlv(0x30, sim::join({sim::from_hex("80020640"), sim::tlv(0x81, own)}))})));
    EXPECT_NE(sim::to_hex(unpacked.metadata)
                  .find("5A0A98990900000000000010"
                        "910150"
                        "92014E"
                        "930101"
                        "9402AABB"
                        "950101" +
                        tail +
                        "B705800309F107"
                        "99020560"),
              std::string::npos)
        << sim::to_hex(unpacked.metadata);
}

TEST_F(server, packs_profiles_of_any_size)
{
    for (const size_t size : {64U, 1024U, 1007U, 1008U, 2014U, 70000U}) {
        order({{"size", size}, {"replace_session_keys", size % 2 == 0}});
        const auto unpacked = unpack(download());
        EXPECT_EQ(unpacked.failed_at, "") << size;
        EXPECT_EQ(unpacked.size, size);
        EXPECT_EQ(unpacked.keys_replaced, size % 2 == 0);
        EXPECT_EQ(unpacked.sha256, order_now().at("sha256"));
    }
}

TEST_F(server, packs_eight_megabytes)
{
    card.free_memory = 1U << 25U;
    order({{"size", 8U << 20U}});
    const auto unpacked = unpack(download());
    EXPECT_EQ(unpacked.failed_at, "");
    EXPECT_EQ(unpacked.sha256, order_now().at("sha256"));
}

// ---- requests that are none

struct header_case {
    const char *name, *header, *value; // null: left out
};
class server_headers : public server, public testing::WithParamInterface<header_case> {};

TEST_P(server_headers, are_required)
{
    httplib::Headers with = headers();
    with.erase(GetParam().header);
    if (GetParam().value) with.emplace(GetParam().header, GetParam().value);
    EXPECT_EQ(post_text("initiateAuthentication", initiation().dump(), with).status, 400);
    const json request = smdp.inspect().at("requests").at(0);
    EXPECT_EQ(request.at("status"), 400);
    EXPECT_NE(request.at("problem").get<std::string>().find(GetParam().header), std::string::npos) << request;
    EXPECT_TRUE(smdp.inspect().at("sessions").empty());
}

INSTANTIATE_TEST_SUITE_P(table, server_headers,
                         testing::ValuesIn(std::to_array<header_case>({
                             {"another_agent", "User-Agent", "curl"},
                             {"no_protocol", "X-Admin-Protocol", nullptr},
                             {"another_protocol", "X-Admin-Protocol", "gsma/rsp/2.1.0"},
                             {"no_type", "Content-Type", nullptr},
                             {"another_type", "Content-Type", "text/plain"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(server, a_header_sent_twice_is_refused)
{
    httplib::Headers with = headers();
    with.emplace("X-Admin-Protocol", "gsma/rsp/2.2.0");
    EXPECT_EQ(post_text("initiateAuthentication", initiation().dump(), with).status, 400);
}

struct body_case {
    const char *name, *endpoint, *body;
};
class server_bodies : public server, public testing::WithParamInterface<body_case> {};

TEST_P(server_bodies, malformed)
{
    EXPECT_EQ(post_text(GetParam().endpoint, GetParam().body, headers()).status, 400);
    EXPECT_TRUE(smdp.inspect().at("notifications").empty());
    EXPECT_TRUE(smdp.inspect().at("requests").at(0).contains("problem"));
}

INSTANTIATE_TEST_SUITE_P(
    table, server_bodies,
    testing::ValuesIn(std::to_array<body_case>({
        {"nothing", "initiateAuthentication", ""},
        {"no_json", "initiateAuthentication", "{\"euiccChallenge\":"},
        {"no_object", "initiateAuthentication", "[]"},
        {"no_challenge", "initiateAuthentication", "{}"},
        {"a_number_for_a_text", "initiateAuthentication", "{\"euiccChallenge\":1}"},
        {"no_base64", "initiateAuthentication", "{\"euiccChallenge\":\"AA\"}"},
        {"a_short_challenge", "initiateAuthentication", "{\"euiccChallenge\":\"AAAA\"}"},
        {"another_info", "initiateAuthentication",
         "{\"euiccChallenge\":\"AAAAAAAAAAAAAAAAAAAAAA==\",\"euiccInfo1\":\"vyIA\",\"smdpAddress\":\"\"}"},
        {"no_hexadecimal_id", "authenticateClient",
         "{\"transactionId\":\"XY\",\"authenticateServerResponse\":\"AAAA\"}"},
        {"two_elements", "handleNotification", "{\"pendingNotification\":\"MAAwAA==\"}"},
        {"an_unknown_notification", "handleNotification", "{\"pendingNotification\":\"MQA=\"}"},
        {"an_empty_result", "handleNotification", "{\"pendingNotification\":\"vzcA\"}"},
        {"an_empty_event", "handleNotification", "{\"pendingNotification\":\"MAA=\"}"},
        {"another_cancellation", "cancelSession", "{\"transactionId\":\"00\",\"cancelSessionResponse\":\"MAA=\"}"},
        {"an_unknown_function", "somethingElse", "{}"},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(server, only_posts_are_taken)
{
    httplib::SSLClient client("localhost", port);
    client.enable_server_certificate_verification(false);
    EXPECT_EQ(client.Get("/gsma/rsp2/es9plus/initiateAuthentication")->status, 404);
    EXPECT_EQ(client.Post("/gsma/rsp2/es8plus/initiateAuthentication")->status, 404);
}

// ---- refusals, each for its own reason

TEST_F(server, initiation_is_refused_with_the_reason)
{
    json request = initiation();
    request["smdpAddress"] = "LOCALHOST:" + std::to_string(port);
    EXPECT_EQ(post("initiateAuthentication", request).codes(), "8.8.1 3.8");

    card.ci_key_id = byte_vector(20, 7);
    EXPECT_EQ(initiate().codes(), "8.8.2 3.1");

    const byte_vector key = sim::tlv(0x04, world->ci().cert.subject_key_id);
    for (const uint16_t only : {0xA9, 0xAA}) { // for verifying or for signing, where both are needed
        request = initiation();
        request["euiccInfo1"] =
            sim::to_base64(sim::tlv(0xBF20, sim::join({sim::from_hex("8203020200"), sim::tlv(only, key)})));
        EXPECT_EQ(post("initiateAuthentication", request).codes(), "8.8.2 3.1");
    }

    byte_vector info = sim::from_hex("BF20098203010100A900AA00");
    request = initiation();
    request["euiccInfo1"] = sim::to_base64(info);
    EXPECT_EQ(post("initiateAuthentication", request).codes(), "8.8.3 3.1");
    EXPECT_TRUE(smdp.inspect().at("sessions").empty());
}

struct order_case {
    const char *name;
    json order;
    const char *codes;
};
class server_orders : public server, public testing::WithParamInterface<order_case> {};

TEST_P(server_orders, decide_about_the_client)
{
    order(GetParam().order);
    const reply answer = authenticate();
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.codes(), GetParam().codes);
    const json session = smdp.inspect().at("sessions").at(0);
    const bool refused = std::string(GetParam().codes) != "Executed-Success";
    EXPECT_EQ(session.at("state"), refused ? "refused" : "authenticated");
    EXPECT_EQ(session.contains("refused"), refused);
}

INSTANTIATE_TEST_SUITE_P(table, server_orders,
                         testing::ValuesIn(std::vector<order_case>{
                             {"released", {{"state", "released"}}, "Executed-Success"},
                             {"unreleased", {{"state", "unreleased"}}, "8.2 1.2"},
                             {"installed", {{"state", "installed"}}, "8.2.6 3.8"},
                             {"failed", {{"state", "failed"}}, "8.2.6 3.8"},
                             {"expired", {{"state", "expired"}}, "8.8.5 4.10"},
                             {"downloaded_by_another", {{"state", "downloaded"}}, "8.2.6 3.8"},
                             {"for_this_euicc", {{"eid", eid}}, "Executed-Success"},
                             {"for_another_euicc", {{"eid", other_eid}}, "8.1.1 3.8"},
                             {"for_no_such_device", {{"eligible", false}}, "8.2.5 4.3"},
                             {"tried_too_often", {{"attempts", 2}, {"max_attempts", 2}}, "8.8.5 6.4"},
                             {"tried_nearly_too_often", {{"attempts", 1}, {"max_attempts", 2}}, "Executed-Success"},
                             {"larger_than_the_memory", {{"size", (1U << 24U) + 1}}, "8.1 4.8"},
                             {"of_another_matching_id", {{"matching_id", "OTHER"}}, "8.2.6 3.8"},
                         }),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(server, an_empty_matching_id_finds_the_order_of_this_euicc)
{
    order({{"matching_id", "A"}, {"eid", other_eid}});
    card.matching_id = "";
    EXPECT_EQ(authenticate().codes(), "8.2.6 3.8");
    order({{"matching_id", "B"}, {"eid", eid}});
    EXPECT_EQ(authenticate().codes(), "Executed-Success");
    EXPECT_EQ(smdp.inspect().at("sessions").at(1).at("matching_id"), "B");
}

TEST_F(server, the_chain_of_the_euicc_is_checked)
{
    order();
    const auto &eum = world->eum();
    const auto &ci = world->ci();
    const auto euicc_from = [](const sim::identity &maker, const char *not_after = "20491231235959Z",
                               const char *policy = sim::policy_euicc, const std::string &id = eid) {
        return sim::issue_certificate(
            {.common_name = "x", .serial_number = id, .policy = policy, .not_after = not_after}, &maker);
    };
    const auto eum_from = [](const sim::identity &maker, const char *not_after = "20491231235959Z",
                             const char *policy = sim::policy_eum) {
        return sim::issue_certificate({.common_name = "e", .policy = policy, .issues = true, .not_after = not_after},
                                      &maker);
    };
    const auto codes_with = [&](const sim::identity &maker, const sim::identity &euicc) {
        card.eum = maker.cert;
        card.euicc = euicc;
        return authenticate().codes();
    };
    const auto past = "20210101000000Z";
    const auto foreign_ci = sim::issue_certificate({.common_name = "f", .policy = sim::policy_ci, .issues = true});
    auto damaged_eum = eum;
    damaged_eum.cert.der = flipped(eum.cert.der);
    auto damaged_euicc = world->euicc(eid);
    damaged_euicc.cert.der = flipped(damaged_euicc.cert.der);
    const auto good_eum = eum_from(ci);
    const auto foreign_eum = eum_from(foreign_ci);
    const auto expired_eum = eum_from(ci, past);
    const auto eum_as_other = eum_from(ci, "20491231235959Z", sim::policy_dp_pb);

    EXPECT_EQ(codes_with(good_eum, euicc_from(good_eum)), "Executed-Success");
    EXPECT_EQ(codes_with(foreign_eum, euicc_from(foreign_eum)), "8.11.1 3.9");
    EXPECT_EQ(codes_with(damaged_eum, world->euicc(eid)), "8.1.2 6.1");
    EXPECT_EQ(codes_with(expired_eum, euicc_from(expired_eum)), "8.1.2 6.3");
    EXPECT_EQ(codes_with(eum_as_other, euicc_from(eum_as_other)), "8.1.2 6.1");
    EXPECT_EQ(codes_with(eum, damaged_euicc), "8.1.3 6.1");
    EXPECT_EQ(codes_with(eum, euicc_from(good_eum)), "8.1.3 6.1");
    EXPECT_EQ(codes_with(eum, euicc_from(eum, past)), "8.1.3 6.3");
    EXPECT_EQ(codes_with(eum, euicc_from(eum, "20491231235959Z", sim::policy_dp_tls)), "8.1.3 6.1");
    EXPECT_EQ(codes_with(eum, euicc_from(eum, "20491231235959Z", sim::policy_euicc, "89")), "8.1.3 6.1");
}

TEST_F(server, an_unreadable_certificate_is_an_invalid_one)
{
    order();
    card.euicc.cert.der = sim::from_hex("3000");
    EXPECT_EQ(authenticate().codes(), "8.1.3 6.1");
    card.eum.der = sim::from_hex("3000");
    EXPECT_EQ(authenticate().codes(), "8.1.2 6.1");
}

TEST_F(server, what_the_euicc_signed_is_checked)
{
    order();
    // Positions counted from the end of the field that is changed before the card signs.
    const auto codes_with_changed = [&](uint16_t field) {
        const reply initiated = initiate();
        byte_vector signed1 = initiated.bytes("serverSigned1");
        const auto found = *sim::find_child(sim::read_element(signed1)->value, field);
        signed1[static_cast<size_t>(found.whole.data() + found.whole.size() - signed1.data()) - 1] ^= 1;
        return send_server_response(initiated.document.at("transactionId"), card.server_response(signed1)).codes();
    };
    EXPECT_EQ(codes_with_changed(0x80), "8.10.1 3.9");
    EXPECT_EQ(codes_with_changed(0x83), "8.1 6.1");
    EXPECT_EQ(codes_with_changed(0x84), "8.1 6.1");
    EXPECT_EQ(codes_with_changed(0x81), "Executed-Success"); // the card's own challenge is not sent back

    card.euicc.key = sim::key_pair::generate();
    EXPECT_EQ(authenticate().codes(), "8.1 6.1");
}

TEST_F(server, what_the_euicc_trusts_is_checked)
{
    order();
    const reply initiated = initiate();
    card.ci_key_id = byte_vector(20, 7);
    EXPECT_EQ(authenticate(initiated).codes(), "8.11.1 3.9");
}

// What a card may do to the fields of euiccSigned1 before it signs them.
using field_list = std::vector<byte_vector>;
struct signed1_case {
    const char *name;
    void (*spoil)(field_list &fields);
};
class server_signed1 : public server, public testing::WithParamInterface<signed1_case> {};

TEST_P(server_signed1, malformed)
{
    order();
    const reply initiated = initiate();
    const byte_vector whole = card.server_response(initiated.bytes("serverSigned1"));
    const auto signed1 = *sim::read_element(sim::read_element(sim::read_element(whole)->value)->value);
    field_list fields;
    const auto good = *sim::read_elements(signed1.value);
    for (const auto &field : good)
        fields.emplace_back(field.whole.begin(), field.whole.end());
    GetParam().spoil(fields);
    byte_vector spoilt;
    for (const byte_vector &field : fields)
        spoilt = sim::join({spoilt, field});
    const reply answer =
        send_server_response(initiated.document.at("transactionId"), card.authenticated(sim::tlv(0x30, spoilt)));
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(smdp.inspect().at("sessions").at(0).at("state"), "initiated");
}

INSTANTIATE_TEST_SUITE_P(
    table, server_signed1,
    testing::ValuesIn(std::to_array<signed1_case>({
        {"fields_exchanged", [](field_list &fields) { std::swap(fields[3], fields[4]); }},
        {"a_field_missing", [](field_list &fields) { fields.erase(fields.begin() + 1); }},
        {"a_field_too_many", [](field_list &fields) { fields.push_back(sim::from_hex("8000")); }},
        {"no_device_info", [](field_list &fields) { fields[4] = sim::from_hex("A00780054649525354"); }},
        {"no_tac", [](field_list &fields) { fields[4] = sim::from_hex("A0048000A100"); }},
        {"a_short_tac", [](field_list &fields) { fields[4] = sim::from_hex("A00B8000A1078003000000A100"); }},
        {"no_capabilities", [](field_list &fields) { fields[4] = sim::from_hex("A00A8000A106800400000000"); }},
        {"a_cut_context", [](field_list &fields) { fields[4] = sim::from_hex("A0038005AA"); }},
        {"no_free_memory",
         [](field_list &fields) {
             const auto info = *sim::read_element(fields[3]);
             fields[3] = sim::tlv(0xBF22, sim::join({sim::find_child(info.value, 0xA9)->whole, sim::find_child(info.value, 0xAA)->whole}));
         }},
    })),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(server, a_malformed_server_response_is_no_request)
{
    order();
    const reply initiated = initiate();
    const std::string id = initiated.document.at("transactionId");
    const byte_vector whole = card.server_response(initiated.bytes("serverSigned1"));
    EXPECT_EQ(send_server_response(id, sim::from_hex("BF3800")).status, 400);
    EXPECT_EQ(send_server_response(id, sim::from_hex("BF3802A000")).status, 400);
    EXPECT_EQ(send_server_response(id, sim::from_hex("BF3802A100")).status, 400);
    EXPECT_EQ(send_server_response(id, byte_view(whole).first(whole.size() - 1)).status, 400);
    EXPECT_EQ(send_server_response(id, sim::join({whole, sim::from_hex("3000")})).status, 400);
    EXPECT_EQ(send_server_response(id, whole).codes(), "Executed-Success");
}

TEST_F(server, an_error_of_the_euicc_ends_the_session)
{
    order();
    const reply initiated = initiate();
    const std::string id = initiated.document.at("transactionId");
    const byte_vector error = sim::tlv(0xA1, sim::join({sim::tlv(0x80, sim::from_hex(id)), sim::from_hex("020106")}));
    EXPECT_EQ(send_server_response(id, sim::tlv(0xBF38, error)).codes(), "8.1 4.2");
    EXPECT_EQ(smdp.inspect().at("sessions").at(0).at("euicc_error"), 6);
    EXPECT_EQ(authenticate(initiated).codes(), "8.10.1 3.9");

    const reply authenticated = authenticate();
    const std::string second = authenticated.document.at("transactionId");
    const byte_vector second_error =
        sim::tlv(0xA1, sim::join({sim::tlv(0x80, sim::from_hex(second)), sim::from_hex("020102")}));
    EXPECT_EQ(send_download_response(second, sim::tlv(0xBF21, second_error)).codes(), "8.1 4.2");
    EXPECT_EQ(smdp.inspect().at("sessions").at(1).at("euicc_error"), 2);
    EXPECT_EQ(order_now().at("state"), "released");
}

TEST_F(server, a_session_is_known_by_its_transaction_id_and_its_step)
{
    order();
    EXPECT_EQ(send_server_response("00", card.server_response(initiate().bytes("serverSigned1"))).codes(),
              "8.10.1 3.9");
    const reply initiated = initiate();
    EXPECT_EQ(send_download_response(initiated.document.at("transactionId"), sim::from_hex("BF2100")).codes(),
              "8.10.1 3.9");
    const reply authenticated = authenticate(initiated);
    EXPECT_EQ(authenticate(initiated).codes(), "8.10.1 3.9");
    EXPECT_EQ(prepare(authenticated).codes(), "Executed-Success");
    EXPECT_EQ(prepare(authenticated).codes(), "8.10.1 3.9");
}

TEST_F(server, the_download_response_is_checked)
{
    order();
    reply authenticated = authenticate();
    std::string id = authenticated.document.at("transactionId");
    byte_vector signed2 = authenticated.bytes("smdpSigned2");
    byte_vector signature2 = authenticated.bytes("smdpSignature2");
    EXPECT_EQ(send_download_response(id, card.download_response(signed2, flipped(signature2))).codes(), "8.1 6.1");
    const reply other = authenticate();
    EXPECT_EQ(send_download_response(other.document.at("transactionId"),
                                     card.download_response(signed2, other.bytes("smdpSignature2")))
                  .codes(),
              "8.10.1 3.9");
    authenticated = authenticate();
    id = authenticated.document.at("transactionId");
    EXPECT_EQ(send_download_response(id, sim::from_hex("BF2104A0023000")).status, 400);
    EXPECT_EQ(send_download_response(id, sim::from_hex("BF2102A200")).status, 400);
    EXPECT_EQ(prepare(authenticated).codes(), "Executed-Success"); // a malformed request ends no session
}

TEST_F(server, a_hash_has_32_bytes)
{
    order({{"confirmation_code", "1"}});
    const reply authenticated = authenticate();
    const byte_vector transaction = sim::from_hex(authenticated.document.at("transactionId"));
    const byte_vector signed2 =
        sim::tlv(0x30, sim::join({sim::tlv(0x80, transaction), sim::tlv(0x5F49, card.one_time_key.public_point()),
                                  sim::tlv(0x04, byte_vector(31))}));
    const byte_vector signature = card.signature(sim::join({signed2, authenticated.bytes("smdpSignature2")}));
    const byte_vector response = sim::tlv(0xBF21, sim::tlv(0xA0, sim::join({signed2, signature})));
    EXPECT_EQ(send_download_response(sim::to_hex(transaction), response).status, 400);
    EXPECT_EQ(order_now().at("wrong_codes"), 0);
}

TEST_F(server, a_one_time_key_off_the_curve_is_refused)
{
    order();
    const reply authenticated = authenticate();
    const byte_vector transaction = sim::from_hex(authenticated.document.at("transactionId"));
    byte_vector point = card.one_time_key.public_point();
    const byte_vector signed2 =
        sim::tlv(0x30, sim::join({sim::tlv(0x80, transaction), sim::tlv(0x5F49, flipped(point))}));
    const byte_vector signature = card.signature(sim::join({signed2, authenticated.bytes("smdpSignature2")}));
    EXPECT_EQ(send_download_response(sim::to_hex(transaction),
                                     sim::tlv(0xBF21, sim::tlv(0xA0, sim::join({signed2, signature}))))
                  .codes(),
              "8.1 6.1");
}

TEST_F(server, an_order_removed_meanwhile_is_refused)
{
    order();
    const reply authenticated = authenticate();
    smdp.control({{"do", "remove-order"}, {"matching_id", "FIRST"}});
    EXPECT_EQ(prepare(authenticated).codes(), "8.2.6 3.8");
}

// ---- confirmation codes

TEST_F(server, asks_for_the_confirmation_code_and_checks_its_hash)
{
    order({{"confirmation_code", "1234"}, {"max_wrong_codes", 3}});
    const reply authenticated = authenticate();
    EXPECT_EQ(sim::to_hex(authenticated.bytes("smdpSigned2")).substr(40), "0101FF");
    EXPECT_TRUE(smdp.inspect().at("sessions").at(0).at("code_required"));
    EXPECT_EQ(prepare(authenticated).codes(), "8.2.7 2.2");
    EXPECT_EQ(download("1235").codes(), "8.2.7 3.8");
    EXPECT_EQ(order_now().at("wrong_codes"), 1);
    EXPECT_EQ(download("1234").codes(), "Executed-Success");
}

TEST_F(server, too_many_wrong_codes_end_the_order)
{
    order({{"confirmation_code", "1234"}, {"max_wrong_codes", 2}});
    EXPECT_EQ(download("1").codes(), "8.2.7 3.8");
    EXPECT_EQ(download("2").codes(), "8.2.7 6.4");
    EXPECT_EQ(authenticate().codes(), "8.2.6 3.8");
}

TEST_F(server, an_unasked_hash_does_no_harm)
{
    order();
    EXPECT_EQ(download("1234").codes(), "Executed-Success");
}

TEST_F(server, the_flag_may_say_something_else)
{
    order({{"code_flag", true}});
    EXPECT_EQ(sim::to_hex(authenticate().bytes("smdpSigned2")).substr(40), "0101FF");
    fault("authenticateClient", "code-flag", {{"value", false}});
    EXPECT_EQ(sim::to_hex(authenticate().bytes("smdpSigned2")).substr(40), "010100");
}

// ---- repetition

TEST_F(server, the_same_euicc_may_fetch_again_until_it_has_installed)
{
    order({{"offers_one_time_key", true}});
    EXPECT_EQ(download().codes(), "Executed-Success");
    const reply again = authenticate();
    const byte_vector signed2 = again.bytes("smdpSigned2");
    const auto offered = sim::find_child(sim::read_element(signed2)->value, 0x5F49);
    ASSERT_TRUE(offered);
    EXPECT_TRUE(std::ranges::equal(offered->value, card.one_time_key.public_point()));
    EXPECT_EQ(unpack(prepare(again)).failed_at, "");
    EXPECT_EQ(order_now().at("attempts"), 2);
    test_card stranger(*world, other_eid);
    stranger.matching_id = "FIRST";
    std::swap(card, stranger);
    EXPECT_EQ(authenticate().codes(), "8.2.6 3.8");
}

struct outcome_case {
    const char *name;
    int command, reason; // negative: success
    const char *state;
};
class server_outcomes : public server, public testing::WithParamInterface<outcome_case> {};

TEST_P(server_outcomes, settle_the_order)
{
    order();
    const byte_vector transaction = sim::from_hex(download().document.at("transactionId"));
    const auto &[name, command, reason, state] = GetParam();
    const byte_vector result =
        command < 0 ? card.success() : card.error(static_cast<uint8_t>(command), static_cast<uint8_t>(reason));
    EXPECT_EQ(notify(card.installation_result(transaction, address, result, oid())).status, 204);
    EXPECT_EQ(order_now().at("state"), state);
    const json received = smdp.inspect().at("notifications").at(0).at("result");
    EXPECT_EQ(received.at("success"), command < 0);
    EXPECT_EQ(received.value("command", -1), command);
    EXPECT_EQ(received.value("reason", 0), reason);
}

INSTANTIATE_TEST_SUITE_P(table, server_outcomes,
                         testing::ValuesIn(std::to_array<outcome_case>({
                             {"success", -1, 0, "installed"},
                             {"too_little_memory", 5, 10, "released"},
                             {"interruption", 5, 11, "released"},
                             {"a_bad_element", 5, 12, "failed"},
                             {"a_bad_signature", 0, 2, "failed"},
                         })),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(server, a_second_result_changes_a_settled_order_no_more)
{
    order();
    const byte_vector transaction = sim::from_hex(download().document.at("transactionId"));
    notify(card.installation_result(transaction, address, card.success(), oid()));
    notify(card.installation_result(transaction, address, card.error(5, 12), oid(), 2));
    EXPECT_EQ(order_now().at("state"), "installed");
}

// ---- notifications

TEST_F(server, a_result_that_does_not_verify_is_kept_and_changes_nothing)
{
    order();
    const byte_vector transaction = sim::from_hex(download().document.at("transactionId"));
    EXPECT_EQ(notify(flipped(card.installation_result(transaction, address, card.success(), oid()))).status, 204);
    const json received = smdp.inspect().at("notifications").at(0);
    EXPECT_FALSE(received.at("verified"));
    EXPECT_EQ(received.at("problems"), json::array({"no known eUICC signed it"}));
    EXPECT_EQ(order_now().at("state"), "downloaded");
}

TEST_F(server, oddities_of_a_result_are_told)
{
    order();
    download();
    const byte_vector odd =
        card.installation_result(byte_vector{1}, "other.example", card.success(), byte_vector{0x2A});
    EXPECT_EQ(notify(odd).status, 204);
    EXPECT_EQ(notify(odd).status, 204);
    const json received = smdp.inspect().at("notifications");
    EXPECT_EQ(received.at(0).at("problems"),
              json::array({"meant for another server", "not the SM-DP+'s OID", "unknown transaction"}));
    EXPECT_TRUE(received.at(0).at("verified"));
    EXPECT_FALSE(received.at(0).at("duplicate"));
    EXPECT_TRUE(received.at(1).at("duplicate"));
    EXPECT_EQ(received.at(0).at("raw"), sim::to_hex(odd));
    EXPECT_EQ(order_now().at("state"), "downloaded");
}

TEST_F(server, a_result_counts_only_from_the_euicc_of_the_session)
{
    order();
    const byte_vector transaction = sim::from_hex(download().document.at("transactionId"));
    test_card stranger(*world, other_eid);
    std::swap(card, stranger);
    authenticate(); // so that the server knows it
    EXPECT_EQ(notify(card.installation_result(transaction, address, card.success(), oid())).status, 204);
    EXPECT_EQ(smdp.inspect().at("notifications").at(0).at("eid"), other_eid);
    EXPECT_EQ(order_now().at("state"), "downloaded");
}

TEST_F(server, a_result_without_outcome_is_no_notification)
{
    EXPECT_EQ(notify(card.installation_result(byte_vector{1}, address, {}, oid())).status, 400);
    EXPECT_EQ(notify(card.installation_result(byte_vector{1}, address, sim::from_hex("A103800105"), oid())).status,
              400);
}

TEST_F(server, other_notifications_bring_their_certificates)
{
    const std::pair<const char *, const char *> events[] = {
        {"0780", "install"}, {"0640", "enable"}, {"0520", "disable"}, {"0410", "delete"}};
    uint32_t number = 300;
    for (const auto &[bits, name] : events) {
        EXPECT_EQ(notify(card.event(++number, bits, address)).status, 204);
        const json received = smdp.inspect().at("notifications").back();
        EXPECT_EQ(received.at("kind"), "event");
        EXPECT_EQ(received.at("event"), name);
        EXPECT_EQ(received.at("sequence_number"), number);
        EXPECT_EQ(received.at("eid"), eid);
        EXPECT_TRUE(received.at("verified"));
        EXPECT_TRUE(received.at("problems").empty());
    }
}

TEST_F(server, other_notifications_that_do_not_verify_are_kept)
{
    card.euicc.key = sim::key_pair::generate();
    EXPECT_EQ(notify(card.event(1, "0640", address)).status, 204);
    card.eum = world->dp_pb().cert;
    EXPECT_EQ(notify(card.event(2, "0100", address)).status, 204);
    const json received = smdp.inspect().at("notifications");
    EXPECT_FALSE(received.at(0).at("verified"));
    EXPECT_EQ(received.at(0).at("problems"),
              json::array({"eUICC signature is invalid or serverChallenge is invalid."}));
    EXPECT_FALSE(received.at(1).at("verified"));
    EXPECT_EQ(received.at(1).at("problems"), json::array({"no event", "EUM Certificate is invalid."}));
}

// ---- cancelling

TEST_F(server, a_session_is_cancelled_once)
{
    order();
    const std::string id = authenticate().document.at("transactionId");
    const byte_vector response = card.cancellation(sim::from_hex(id), 0, oid());
    EXPECT_EQ(cancel(id, response).codes(), "Executed-Success");
    const json cancelled = smdp.inspect().at("cancelled_sessions");
    ASSERT_EQ(cancelled.size(), 1U);
    EXPECT_EQ(cancelled.at(0), (json{{"transaction_id", id}, {"matching_id", "FIRST"}, {"eid", eid}, {"reason", 0}}));
    EXPECT_EQ(order_now().at("state"), "failed");
    EXPECT_EQ(smdp.inspect().at("sessions").at(0).at("state"), "cancelled");
    EXPECT_EQ(cancel(id, response).codes(), "8.10.1 3.9");
}

TEST_F(server, a_postponed_download_may_be_made_up_for)
{
    order();
    for (const uint8_t reason : {1, 2}) {
        const std::string id = authenticate().document.at("transactionId");
        EXPECT_EQ(cancel(id, card.cancellation(sim::from_hex(id), reason, oid())).codes(), "Executed-Success");
        EXPECT_EQ(order_now().at("state"), "released");
    }
}

TEST_F(server, a_cancellation_is_checked)
{
    order();
    const std::string id = authenticate().document.at("transactionId");
    const byte_vector transaction = sim::from_hex(id);
    EXPECT_EQ(cancel("00", card.cancellation(transaction, 0, oid())).codes(), "8.10.1 3.9");
    EXPECT_EQ(cancel(id, flipped(card.cancellation(transaction, 0, oid()))).codes(), "8.1 6.1");
    EXPECT_EQ(cancel(id, card.cancellation(flipped(transaction), 0, oid())).codes(), "8.10.1 3.9");
    EXPECT_EQ(cancel(id, card.cancellation(transaction, 0, byte_vector{0x2A})).codes(), "8.8 3.10");
    EXPECT_EQ(cancel(id, sim::from_hex("BF4103810105")).codes(), "8.1 4.2");
    EXPECT_EQ(cancel(id, sim::from_hex("BF4102A000")).status, 400);
    EXPECT_TRUE(smdp.inspect().at("cancelled_sessions").empty());
    EXPECT_EQ(smdp.inspect().at("sessions").at(0).at("euicc_error"), 5);
    EXPECT_EQ(cancel(id, card.cancellation(transaction, 0, oid())).codes(), "Executed-Success");
}

TEST_F(server, without_an_authenticated_euicc_nothing_is_cancelled)
{
    const std::string id = initiate().document.at("transactionId");
    EXPECT_EQ(cancel(id, card.cancellation(sim::from_hex(id), 0, oid())).codes(), "8.10.1 3.9");
}

// ---- ways of writing

TEST_F(server, writes_json_as_other_servers_do)
{
    EXPECT_TRUE(
        initiate().body.starts_with("{\"header\":{\"functionExecutionStatus\":{\"status\":\"Executed-Success\"}},"));
    EXPECT_NE(initiate().body.find("==\""), std::string::npos);
    smdp.control(
        {{"do", "set"}, {"escape_base64", true}, {"header_last", true}, {"pretty", true}, {"lower_case_ids", true}});
    const reply initiated = initiate();
    EXPECT_EQ(initiated.body.find('='), std::string::npos);
    EXPECT_NE(initiated.body.find("\\u003d"), std::string::npos);
    EXPECT_TRUE(initiated.body.starts_with("{\n  \"transactionId\": \""));
    EXPECT_GT(initiated.body.find("\"header\""), initiated.body.find("\"serverCertificate\""));
    const std::string id = initiated.document.at("transactionId");
    EXPECT_EQ(id.find_first_of("ABCDEF"), std::string::npos);
    order({{"size", 3001}});
    EXPECT_EQ(unpack(prepare(authenticate(initiated))).failed_at, ""); // and all of it still reads the same
}

// ---- faults

TEST_F(server, a_fault_waits_for_its_request_and_then_goes)
{
    fault("initiateAuthentication", "http-status", {{"status", 503}, {"at", 2}, {"times", 2}, {"body", "later"}});
    fault("cancelSession", "http-status", {{"status", 404}});
    EXPECT_EQ(initiate().status, 200);
    EXPECT_EQ(smdp.inspect().at("faults").at(0).at("at"), 1);
    const reply failed = initiate();
    EXPECT_EQ(failed.status, 503);
    EXPECT_EQ(failed.body, "later");
    EXPECT_EQ(initiate().status, 503);
    EXPECT_EQ(initiate().status, 200);
    EXPECT_EQ(smdp.inspect().at("faults").size(), 1U);
    EXPECT_EQ(smdp.inspect().at("sessions").size(), 2U); // what failed was not carried out
    EXPECT_EQ(smdp.inspect().at("requests").at(1).at("faults"), json::array({"http-status"}));
    smdp.control({{"do", "clear-faults"}});
    EXPECT_TRUE(smdp.inspect().at("faults").empty());
}

TEST_F(server, a_request_may_be_carried_out_although_the_answer_fails)
{
    fault("handleNotification", "http-status", {{"status", 500}, {"processed", true}});
    EXPECT_EQ(notify(card.event(1, "0640", address)).status, 500);
    EXPECT_EQ(smdp.inspect().at("notifications").size(), 1U);
    fault("handleNotification", "close", {{"processed", false}});
    EXPECT_EQ(notify(card.event(2, "0640", address)).status, -1);
    EXPECT_EQ(smdp.inspect().at("notifications").size(), 1U);
    fault("handleNotification", "http-status", {{"status", 200}, {"processed", true}});
    EXPECT_EQ(notify(card.event(3, "0640", address)).status, 200);
}

TEST_F(server, any_refusal_can_be_ordered)
{
    fault("authenticateClient", "refuse", {{"subject", "8.1.2"}, {"reason", "6.3"}, {"message", "m"}});
    fault("authenticateClient", "refuse", {{"at", 2}});
    const reply refused = post("authenticateClient", json::object());
    EXPECT_EQ(refused.codes(), "8.1.2 6.3");
    EXPECT_EQ(refused.execution_status(), "Failed");
    EXPECT_EQ(refused.document.at("/header/functionExecutionStatus/statusCodeData/message"_json_pointer), "m");
    EXPECT_EQ(post("authenticateClient", json::object()).document,
              json::parse(R"({"header":{"functionExecutionStatus":{"status":"Failed"}}})"));
}

TEST_F(server, members_can_be_changed)
{
    fault("initiateAuthentication", "execution-status", {{"value", "Executed-WithWarning"}});
    EXPECT_EQ(initiate().execution_status(), "Executed-WithWarning");
    fault("initiateAuthentication", "remove-member", {{"member", "serverSigned1"}});
    fault("initiateAuthentication", "remove-member", {{"member", "not there"}});
    fault("initiateAuthentication", "set-member", {{"member", "transactionId"}, {"value", 5}});
    fault("initiateAuthentication", "set-member", {{"member", "/header/extra"}, {"value", nullptr}});
    const reply changed = initiate();
    EXPECT_FALSE(changed.document.contains("serverSigned1"));
    EXPECT_EQ(changed.document.at("transactionId"), 5);
    EXPECT_TRUE(changed.document.at("header").at("extra").is_null());
    order();
    const reply authenticated = authenticate();
    fault("getBoundProfilePackage", "remove-member", {{"member", "boundProfilePackage"}});
    EXPECT_FALSE(prepare(authenticated).document.contains("boundProfilePackage"));
}

TEST_F(server, bodies_can_be_changed)
{
    fault("initiateAuthentication", "empty-body");
    reply answer = initiate();
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, "");
    fault("initiateAuthentication", "truncated-body", {{"bytes", 20}});
    EXPECT_EQ(initiate().body, "{\"header\":{\"function");
    fault("initiateAuthentication", "body", {{"body", "<html>"}});
    EXPECT_EQ(initiate().body, "<html>");
    const json body = {{"body", R"({"a/A":["A/b","\"A",1]})"}};
    for (const auto &[characters, expected] : {std::pair{"/", R"({"a\/A":["A\/b","\"A",1]})"},
                                               std::pair{"A", R"({"a/\u0041":["\u0041/b","\"\u0041",1]})"}}) {
        fault("initiateAuthentication", "body", body);
        fault("initiateAuthentication", "escape", {{"characters", characters}});
        EXPECT_EQ(initiate().body, expected);
    }
}

TEST_F(server, connections_can_fail)
{
    fault("initiateAuthentication", "close");
    EXPECT_EQ(initiate().status, -1);
    fault("initiateAuthentication", "cut-connection", {{"bytes", 20}});
    EXPECT_EQ(initiate().status, -1);
    fault("initiateAuthentication", "cut-connection", {{"bytes", 20}, {"reset", true}});
    EXPECT_EQ(initiate().status, -1);
    fault("initiateAuthentication", "slow-body", {{"milliseconds", 0}, {"piece", 7}});
    EXPECT_EQ(initiate().codes(), "Executed-Success");
    EXPECT_EQ(smdp.inspect().at("sessions").size(), 4U);
}

TEST_F(server, an_endless_body_lasts_until_the_client_leaves)
{
    fault("initiateAuthentication", "endless-body", {{"milliseconds", 0}});
    httplib::SSLClient client("localhost", port);
    client.enable_server_certificate_verification(false);
    size_t received = 0;
    httplib::Request request;
    request.method = "POST";
    request.path = "/gsma/rsp2/es9plus/initiateAuthentication";
    request.headers = headers();
    request.body = initiation().dump();
    request.content_receiver = [&](const char *, size_t length, uint64_t, uint64_t) {
        return (received += length) < 100000;
    };
    EXPECT_FALSE(client.send(request));
    EXPECT_GE(received, 100000U);
    EXPECT_EQ(initiate().status, 200); // and the server goes on
}

TEST_F(server, sends_a_signal_to_a_process_instead_of_an_answer)
{
    const pid_t process = fork();
    if (process == 0)
        for (;;)
            pause();
    fault("initiateAuthentication", "kill", {{"pid", process}, {"signal", SIGTERM}});
    EXPECT_EQ(initiate().status, -1);
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, 0), process);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    EXPECT_EQ(smdp.inspect().at("sessions").size(), 1U);
    EXPECT_THROW(fault("initiateAuthentication", "kill", {{"pid", -1}}), std::invalid_argument);
}

TEST_F(server, stopping_ends_silence_and_slow_bodies)
{
    fault("initiateAuthentication", "silence");
    fault("initiateAuthentication", "slow-body", {{"milliseconds", 1000000}, {"at", 2}});
    std::vector<std::thread> clients;
    std::vector<int> results(2);
    for (int &result : results)
        clients.emplace_back([&] { result = initiate().status; });
    while (smdp.inspect().at("requests").size() < 2)
        std::this_thread::yield();
    smdp.stop();
    for (auto &client : clients)
        client.join();
    EXPECT_EQ(results, (std::vector<int>{-1, -1}));
}

TEST_F(server, stopping_does_not_wait_for_connections_that_say_nothing)
{
    httplib::SSLClient idle("localhost", port);
    idle.enable_server_certificate_verification(false);
    idle.set_keep_alive(true);
    EXPECT_EQ(idle.Get("/")->status, 404);
    const auto before = std::chrono::steady_clock::now();
    smdp.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2)); // kept alive it were 5
}

struct wrong_case {
    const char *name, *endpoint, *kind;
    json parameters;
};
class server_works_wrongly : public server, public testing::WithParamInterface<wrong_case> {};

// What a card would find wrong in an answer of the server: the names of all of it.
std::vector<std::string> faults_found(const sim::certificate_authority &world, const reply &answer,
                                      const char *signed_name, const char *signature_name, const char *certificate_name,
                                      byte_view signed_tail, const char *policy, byte_view challenge,
                                      const std::string &address)
{
    std::vector<std::string> result;
    const auto found = [&](bool wrong, const char *what) {
        if (wrong) result.emplace_back(what);
    };
    const byte_vector data = answer.bytes(signed_name);
    const auto cert = sim::read_certificate(answer.bytes(certificate_name));
    const auto value = sim::read_element(data)->value;
    const auto transaction = sim::find_child(value, 0x80);
    found(!cert || !sim::is_signed_by(*cert, world.ci().cert), "certificate");
    found(cert && !sim::carries_policy(*cert, policy), "policy");
    found(cert && !sim::verify_signature(cert->public_point, sim::join({data, signed_tail}),
                                         sim::read_element(answer.bytes(signature_name))->value),
          "signature");
    found(sim::to_hex(transaction->value) != answer.document.at("transactionId"), "transaction id");
    if (const auto sent = sim::find_child(value, 0x81)) found(!std::ranges::equal(sent->value, challenge), "challenge");
    if (const auto sent = sim::find_child(value, 0x83))
        found(std::string(sent->value.begin(), sent->value.end()) != address, "address");
    if (answer.document.contains("euiccCiPKIdToBeUsed"))
        found(answer.bytes("euiccCiPKIdToBeUsed") != sim::tlv(0x04, world.ci().cert.subject_key_id), "ci");
    return result;
}

TEST_P(server_works_wrongly, in_one_thing_only)
{
    order();
    const auto &[name, endpoint, kind, parameters] = GetParam();
    fault(endpoint, kind, parameters);
    const std::string expected = std::string(name).substr(0, std::string(name).find("__"));
    std::vector<std::string> found;
    const reply initiated = initiate();
    if (std::string(endpoint) == "initiateAuthentication") {
        found = faults_found(*world, initiated, "serverSigned1", "serverSignature1", "serverCertificate", {},
                             sim::policy_dp_auth, card.challenge, address);
    } else {
        const byte_vector response = card.server_response(initiated.bytes("serverSigned1"));
        const auto ok = sim::read_element(sim::read_element(response)->value)->value;
        const reply authenticated = send_server_response(initiated.document.at("transactionId"), response);
        found = faults_found(*world, authenticated, "smdpSigned2", "smdpSignature2", "smdpCertificate",
                             sim::find_child(ok, 0x5F37)->whole, sim::policy_dp_pb, {}, "");
    }
    std::string text = testing::PrintToString(found);
    EXPECT_EQ(found.size(), 1U) << text;
    std::string told = found.empty() ? "" : found[0];
    std::ranges::replace(told, ' ', '_');
    EXPECT_EQ(told, expected);
}

INSTANTIATE_TEST_SUITE_P(
    table, server_works_wrongly,
    testing::ValuesIn(std::vector<wrong_case>{
        {"signature__1", "initiateAuthentication", "wrong-signature", json::object()},
        {"challenge__1", "initiateAuthentication", "wrong-challenge", json::object()},
        {"address__1", "initiateAuthentication", "wrong-address", json::object()},
        {"transaction_id__1", "initiateAuthentication", "wrong-transaction-id", json::object()},
        {"ci__1", "initiateAuthentication", "unknown-ci", json::object()},
        {"certificate__1_expired", "initiateAuthentication", "wrong-certificate", {{"which", "expired"}}},
        {"certificate__1_foreign", "initiateAuthentication", "wrong-certificate", {{"which", "foreign-ci"}}},
        {"certificate__1_damaged", "initiateAuthentication", "wrong-certificate", {{"which", "damaged"}}},
        {"policy__1_other_role", "initiateAuthentication", "wrong-certificate", {{"which", "other-role"}}},
        {"signature__2", "authenticateClient", "wrong-signature", json::object()},
        {"transaction_id__2", "authenticateClient", "wrong-transaction-id", json::object()},
        {"certificate__2_expired", "authenticateClient", "wrong-certificate", {{"which", "expired"}}},
        {"certificate__2_foreign", "authenticateClient", "wrong-certificate", {{"which", "foreign-ci"}}},
        {"certificate__2_damaged", "authenticateClient", "wrong-certificate", {{"which", "damaged"}}},
        {"policy__2_other_role", "authenticateClient", "wrong-certificate", {{"which", "other-role"}}},
    }),
    [](const auto &info) { return std::string(info.param.name); });

struct defect_case {
    const char *name, *failed_at;
    json parameters;
};
class server_packages : public server, public testing::WithParamInterface<defect_case> {};

TEST_P(server_packages, fail_where_they_are_bad)
{
    order({{"size", 20000}});
    const reply authenticated = authenticate();
    json parameters = GetParam().parameters;
    if (!parameters.contains("defect")) parameters["defect"] = GetParam().name;
    fault("getBoundProfilePackage", "package", parameters);
    EXPECT_EQ(unpack(prepare(authenticated)).failed_at, GetParam().failed_at);
}

INSTANTIATE_TEST_SUITE_P(table, server_packages,
                         testing::ValuesIn(std::vector<defect_case>{
                             {"none", "", json::object()},
                             {"first-tag", "package", json::object()},
                             {"remote-operation", "remote operation", json::object()},
                             {"transaction-id", "transaction id", json::object()},
                             {"key-type", "control reference template", json::object()},
                             {"one-time-key", "one-time key", json::object()},
                             {"signature", "signature", json::object()},
                             {"configure-isdp", "configure", json::object()},
                             {"store-metadata", "metadata", json::object()},
                             {"metadata-iccid", "iccid", json::object()},
                             {"replace-session-keys", "session keys", json::object()},
                             {"profile-element", "profile element", json::object()},
                             {"cut", "package", {{"place", 9}}},
                             {"first segment", "configure", {{"defect", "segment-mac"}}},
                             {"second segment", "metadata", {{"defect", "segment-mac"}, {"place", 2}}},
                             {"third segment", "session keys", {{"defect", "segment-mac"}, {"place", 3}}},
                             {"a late segment", "segment", {{"defect", "segment-mac"}, {"place", 12}}},
                             {"the fifth 86", "segment", {{"defect", "segment-mac"}, {"place", 5}, {"tag", "86"}}},
                             {"beyond the last", "", {{"defect", "segment-mac"}, {"place", 500}}},
                         }),
                         [](const auto &info) {
                             std::string name = info.param.name;
                             std::ranges::replace_if(
                                 name, [](char c) { return !isalnum(c); }, '_');
                             return name;
                         });

// ---- control

TEST_F(server, orders_tell_their_activation_code_and_can_be_changed)
{
    const json added = smdp.control({{"do", "add-order"}, {"matching_id", "A-1"}, {"confirmation_code", "9"}});
    EXPECT_EQ(added.at("activation_code"), "1$" + address + "$A-1$$1");
    EXPECT_EQ(added.at("iccid"), "8999900000000000001");
    EXPECT_EQ(added.at("size"), 4096);
    const json changed =
        smdp.control({{"do", "set-order"}, {"matching_id", "A-1"}, {"confirmation_code", ""}, {"state", "expired"}});
    EXPECT_EQ(changed.at("activation_code"), "1$" + address + "$A-1");
    EXPECT_EQ(changed.at("state"), "expired");
    EXPECT_EQ(changed.at("iccid"), added.at("iccid"));
    EXPECT_EQ(smdp.control({{"do", "add-order"}, {"matching_id", "A-1"}}).at("state"), "released");
    EXPECT_EQ(smdp.control({{"do", "add-order"}, {"matching_id", "A-2"}}).at("iccid"), "8999900000000000003");
    EXPECT_EQ(smdp.inspect().at("orders").size(), 2U);
}

TEST_F(server, refuses_commands_it_does_not_understand)
{
    const json bad[] = {
        json::array(),
        {{"do", 5}},
        {{"do", "dance"}},
        {{"do", "add-order"}},
        {{"do", "add-order"}, {"matching_id", "A"}, {"size", 10}},
        {{"do", "add-order"}, {"matching_id", "A"}, {"iccid", "89A"}},
        {{"do", "add-order"}, {"matching_id", "A"}, {"state", "lost"}},
        {{"do", "add-order"}, {"matching_id", "A"}, {"owner", "0"}},
        {{"do", "add-order"}, {"matching_id", "A"}, {"notifications", json::array({{{"events", {"sleep"}}}})}},
        {{"do", "set-order"}, {"matching_id", "A"}},
        {{"do", "remove-order"}, {"matching_id", "A"}},
        {{"do", "start"}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "nonsense"}},
        {{"do", "add-fault"}, {"endpoint", "nonsense"}, {"kind", "close"}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "http-status"}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "close"}, {"at", 0}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "close"}, {"times", 0}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "package"}, {"defect", "nonsense"}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "wrong-certificate"}, {"which", "nonsense"}},
    };
    for (const json &command : bad)
        EXPECT_THROW(smdp.control(command), std::invalid_argument) << command;
    EXPECT_TRUE(smdp.inspect().at("orders").empty());
    EXPECT_TRUE(smdp.inspect().at("faults").empty());
}

TEST_F(server, forgets_its_history_on_demand)
{
    order();
    notify(card.event(1, "0640", address));
    initiate();
    smdp.control({{"do", "clear-history"}});
    const json now = smdp.inspect();
    for (const char *list : {"sessions", "notifications", "cancelled_sessions", "requests"})
        EXPECT_TRUE(now.at(list).empty()) << list;
    EXPECT_EQ(now.at("orders").size(), 1U);
}

TEST_F(server, goes_down_and_comes_back_on_its_port)
{
    order();
    const reply initiated = initiate();
    smdp.control({{"do", "stop"}});
    smdp.stop(); // once more does nothing
    EXPECT_EQ(initiate().status, -1);
    EXPECT_EQ(smdp.control({{"do", "start"}}).at("port"), port);
    EXPECT_EQ(authenticate(initiated).codes(), "Executed-Success"); // sessions outlive it
    EXPECT_EQ(smdp.inspect().at("address"), address);
    sim::smdp second(*world);
    EXPECT_THROW(second.start(port), std::runtime_error);
    EXPECT_NE(second.start(), port);
}

TEST_F(server, is_reached_by_name_and_by_both_addresses)
{
    for (const char *host : {"localhost", "127.0.0.1", "::1"}) {
        httplib::SSLClient client(host, port);
        client.set_ca_cert_path((directory / "ci.pem").c_str());
        // The client library compares addresses beyond their end; certificates_test looks at those in the certificate.
        client.enable_server_certificate_verification(host == std::string("localhost"));
        const auto result = client.Get("/");
        const bool no_ipv6 = !result && host == std::string("::1") && result.error() == httplib::Error::Connection;
        EXPECT_TRUE(no_ipv6 || (result && result->status == 404)) << host << " " << to_string(result.error());
    }
}
} // namespace
