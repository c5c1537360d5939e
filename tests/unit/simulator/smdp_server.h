// One SM-DP+ on a port of its own, and a client that speaks ES9+ for a card.
#pragma once
#include "simulator/euicc.h"
#include "simulator/smdp.h"
#include "unit/simulator/test_card.h"
#include <gtest/gtest.h>
#include <httplib.h>

namespace smdp_test {
using nlohmann::json;
using sim::byte_vector;
using sim::byte_view;

inline const std::string eid = "89049032123451234512345678901235";
inline const std::string other_eid = "89049032123451234512345678901236";
inline const std::string profile_iccid = "89999000000000000001"; // digits

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

inline byte_vector flipped(byte_vector bytes, size_t from_end = 1)
{
    bytes[bytes.size() - from_end] ^= 1U;
    return bytes;
}

} // namespace smdp_test
