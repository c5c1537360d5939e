#include "unit/simulator/smdp_server.h"

namespace {
using namespace smdp_test;

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
        {{"do", "inspect"}, {"x", 1}},
        {{"do", "stop"}, {"x", 1}},
        {{"do", "add-order"}, {"matching_id", "A"}, {"foo", 1}},
        {{"do", "add-order"}, {"matching_id", "A"}, {"notifications", {{{"events", json::array()}, {"adress", "a"}}}}},
        {{"do", "set-order"}, {"matching_id", "FIRST"}, {"stat", "expired"}},
        {{"do", "remove-order"}, {"matching_id", "FIRST"}, {"x", 1}},
        {{"do", "clear-faults"}, {"x", 1}},
        {{"do", "clear-history"}, {"x", 1}},
        {{"do", "set"}, {"foo", true}},
        {{"do", "set"}, {"pretty", true}, {"lower_case_ids", 1}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "close"}, {"time", 2}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "close"}, {"bytes", 2}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "nonsense"}},
        {{"do", "add-fault"}, {"endpoint", "nonsense"}, {"kind", "close"}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "http-status"}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "close"}, {"at", 0}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "close"}, {"times", 0}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "package"}, {"defect", "nonsense"}},
        {{"do", "add-fault"}, {"endpoint", "cancelSession"}, {"kind", "wrong-certificate"}, {"which", "nonsense"}},
    };
    order();
    fault("cancelSession", "close");
    initiate();
    const json before = smdp.inspect();
    for (const json &command : bad)
        EXPECT_THROW(smdp.control(command), std::invalid_argument) << command;
    EXPECT_EQ(smdp.inspect(), before);
    EXPECT_TRUE(initiate().body.starts_with("{\"header\"")); // neither down nor pretty
    EXPECT_EQ(smdp.control({{"do", "add-order"}, {"matching_id", "B"}}).at("iccid"), "8999900000000000002");
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
    EXPECT_EQ(smdp.control({{"do", "inspect"}}), smdp.inspect());
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
