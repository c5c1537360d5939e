#include "simulator/euicc.h"
#include "simulator/smdp.h"
#include "unit/simulator/test_card.h"
#include <gtest/gtest.h>
#include <httplib.h>
#include <thread>

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

[[maybe_unused]] byte_vector flipped(byte_vector bytes, size_t from_end = 1)
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
} // namespace
