// The simulated card and the simulated server with each other: what one of them sends, the other has to take.
#include "simulator/bound_package.h"
#include "simulator/euicc.h"
#include "simulator/smdp.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <httplib.h>

namespace {
using nlohmann::json;
using sim::byte_vector;
using sim::byte_view;

constexpr size_t block_bytes = 240;

class download : public testing::Test {
  protected:
    void SetUp() override
    {
        transmit("0070000001");
        transmit("81AA000005A903830107");
        transmit("01A4040010A0000005591010FFFFFFFF890000010000");
    }
    void TearDown() override { std::filesystem::remove_all(directory); }

    byte_vector transmit(const std::string &apdu) { return card.transmit(sim::from_hex(apdu)); }

    // One STORE DATA series with its GET RESPONSEs.
    byte_vector ask(byte_view data)
    {
        byte_vector answer;
        byte_vector whole;
        uint8_t block = 0;
        do {
            const byte_view piece = data.first(std::min(block_bytes, data.size()));
            data = data.subspan(piece.size());
            const uint8_t more = data.empty() ? 0x91 : 0x11;
            const byte_vector head{0x81, 0xE2, more, block++, static_cast<uint8_t>(piece.size())};
            answer = card.transmit(sim::join({head, piece, byte_vector{0}}));
        } while (!data.empty() && sim::to_hex(answer) == "9000");
        while (answer.size() >= 2) {
            whole.insert(whole.end(), answer.begin(), answer.end() - 2);
            if (answer[answer.size() - 2] != 0x61) break;
            answer = card.transmit(byte_vector{0x81, 0xC0, 0, 0, answer.back()});
        }
        EXPECT_EQ(sim::to_hex(byte_view(answer).last(2)), "9000");
        return whole;
    }

    json post(const std::string &endpoint, const json &body, int expected = 200)
    {
        httplib::SSLClient client("localhost", port);
        client.enable_server_certificate_verification(false);
        client.set_tcp_nodelay(true);
        const httplib::Headers headers = {{"User-Agent", "gsma-rsp-lpad"},
                                          {"X-Admin-Protocol", "gsma/rsp/2.2.0"},
                                          {"Content-Type", "application/json"},
                                          {"Accept-Encoding", "identity"}};
        const auto result = client.Post("/gsma/rsp2/es9plus/" + endpoint, headers, body.dump(), "");
        EXPECT_TRUE(result && result->status == expected) << endpoint;
        return result ? json::parse(result->body, nullptr, false) : json();
    }
    static byte_vector member(const json &document, const char *name) { return sim::from_base64(document.at(name)); }

    // Up to AuthenticateClient.
    json authenticate()
    {
        const byte_vector challenge = ask(sim::from_hex("BF2E00"));
        const byte_vector info = ask(sim::from_hex("BF2000"));
        const json initiated =
            post("initiateAuthentication",
                 {{"euiccChallenge", sim::to_base64(sim::find_child(sim::read_element(challenge)->value, 0x80)->value)},
                  {"euiccInfo1", sim::to_base64(info)},
                  {"smdpAddress", "localhost:" + std::to_string(port)}});
        const byte_vector context = sim::from_hex("A01380074F524445522D31A108800400000000A100"); // ORDER-1
        const byte_vector response =
            ask(sim::tlv(0xBF38, sim::join({member(initiated, "serverSigned1"), member(initiated, "serverSignature1"),
                                            member(initiated, "euiccCiPKIdToBeUsed"),
                                            member(initiated, "serverCertificate"), context})));
        return post("authenticateClient", {{"transactionId", initiated.at("transactionId")},
                                           {"authenticateServerResponse", sim::to_base64(response)}});
    }
    byte_vector fetch(const json &authenticated)
    {
        const byte_vector response = ask(
            sim::tlv(0xBF21, sim::join({member(authenticated, "smdpSigned2"), member(authenticated, "smdpSignature2"),
                                        member(authenticated, "smdpCertificate")})));
        return member(post("getBoundProfilePackage", {{"transactionId", authenticated.at("transactionId")},
                                                      {"prepareDownloadResponse", sim::to_base64(response)}}),
                      "boundProfilePackage");
    }
    // The commands that a package is loaded with, in their order.
    static std::vector<byte_vector> pieces_of(byte_view package)
    {
        std::vector<byte_vector> result;
        const auto outer = *sim::read_element(package);
        const auto head = [](const sim::element &of) { return of.whole.first(of.whole.size() - of.value.size()); };
        const auto copy = [](byte_view bytes) { return byte_vector(bytes.begin(), bytes.end()); };
        const auto parts = *sim::read_elements(outer.value);
        result.push_back(sim::join({head(outer), parts[0].whole}));
        for (size_t i = 1; i < parts.size(); ++i) {
            const bool by_segment = parts[i].tag == 0xA1 || parts[i].tag == 0xA3;
            result.push_back(copy(by_segment ? head(parts[i]) : parts[i].whole));
            const auto segments = *sim::read_elements(parts[i].value);
            for (size_t j = 0; by_segment && j < segments.size(); ++j)
                result.push_back(copy(segments[j].whole));
        }
        return result;
    }
    // The ProfileInstallationResult, and how many commands it took.
    std::pair<byte_vector, size_t> load(byte_view package)
    {
        size_t count = 0;
        for (const byte_vector &piece : pieces_of(package)) {
            ++count;
            const byte_vector answer = ask(piece);
            if (!answer.empty()) return {answer, count};
        }
        return {{}, count};
    }
    void order(json parameters = json::object())
    {
        parameters.update({{"do", "add-order"}, {"matching_id", "ORDER-1"}});
        server.control(parameters);
    }

    std::filesystem::path directory = [] {
        std::string name = testing::TempDir() + "/download-XXXXXX";
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        return std::filesystem::path(name);
    }();
    sim::certificate_authority authority{directory / "certificates"};
    sim::euicc card{directory / "card.json", "89049032123451234512345678901235", authority};
    sim::smdp server{authority};
    int port = server.start();
};

TEST_F(download, what_the_server_packed_is_what_the_card_installed)
{
    for (const bool replaced : {true, false}) {
        order({{"size", 30000},
               {"seed", replaced ? 1 : 2},
               {"replace_session_keys", replaced},
               {"name", "Name"},
               {"policy", 2}});
        const auto [result, commands] = load(fetch(authenticate()));
        post("handleNotification", {{"pendingNotification", sim::to_base64(result)}}, 204);
        const json installed = card.inspect().at("profiles").back();
        const json ordered = server.inspect().at("orders").at(0);
        EXPECT_EQ(ordered.at("state"), "installed");
        EXPECT_EQ(installed.at("iccid"), ordered.at("iccid"));
        EXPECT_EQ(installed.at("name"), "Name");
        EXPECT_NE(installed.dump().find(ordered.at("sha256").get<std::string>()), std::string::npos) << installed;
        const json notification = server.inspect().at("notifications").back();
        EXPECT_TRUE(notification.at("verified"));
        EXPECT_TRUE(notification.at("problems").empty()) << notification;
        EXPECT_EQ(notification.at("iccid"), ordered.at("iccid"));
    }
}

struct outcome {
    const char *defect;
    json parameters;
    int command;
};
class download_of_a_bad_package : public download, public testing::WithParamInterface<outcome> {};

TEST_P(download_of_a_bad_package, fails_at_its_command_and_is_reported)
{
    order({{"size", 20000}});
    const json authenticated = authenticate();
    json fault = GetParam().parameters;
    fault.update({{"do", "add-fault"},
                  {"endpoint", "getBoundProfilePackage"},
                  {"kind", "package"},
                  {"defect", GetParam().defect}});
    server.control(fault);
    const byte_vector result = load(fetch(authenticated)).first;
    post("handleNotification", {{"pendingNotification", sim::to_base64(result)}}, 204);
    const json received = server.inspect().at("notifications").at(0);
    EXPECT_TRUE(received.at("verified"));
    EXPECT_EQ(received.at("result").at("success"), false);
    EXPECT_EQ(received.at("result").at("command"), GetParam().command);
    EXPECT_EQ(server.inspect().at("orders").at(0).at("state"), "failed");
    EXPECT_TRUE(card.inspect().at("profiles").empty());
}

INSTANTIATE_TEST_SUITE_P(table, download_of_a_bad_package,
                         testing::ValuesIn(std::vector<outcome>{
                             {"remote-operation", json::object(), 0},
                             {"transaction-id", json::object(), 0},
                             {"key-type", json::object(), 0},
                             {"one-time-key", json::object(), 0},
                             {"signature", json::object(), 0},
                             {"configure-isdp", json::object(), 1},
                             {"segment-mac", {{"place", 1}}, 1},
                             {"store-metadata", json::object(), 2},
                             {"segment-mac", {{"place", 2}}, 2},
                             {"replace-session-keys", json::object(), 4},
                             {"segment-mac", {{"place", 3}}, 4},
                             {"metadata-iccid", json::object(), 5},
                             {"profile-element", json::object(), 5},
                             {"segment-mac", {{"place", 2}, {"tag", "86"}}, 5},
                         }),
                         [](const auto &info) {
                             std::string name = info.param.defect + std::to_string(info.index);
                             std::ranges::replace(name, '-', '_');
                             return name;
                         });

TEST_F(download, a_session_cancelled_by_the_card_is_cancelled_on_the_server)
{
    order();
    const std::string id = authenticate().at("transactionId");
    const byte_vector response =
        ask(sim::tlv(0xBF41, sim::join({sim::tlv(0x80, sim::from_hex(id)), sim::from_hex("810100")})));
    const json answer =
        post("cancelSession", {{"transactionId", id}, {"cancelSessionResponse", sim::to_base64(response)}});
    EXPECT_EQ(answer.at("/header/functionExecutionStatus/status"_json_pointer), "Executed-Success");
    EXPECT_EQ(server.inspect().at("cancelled_sessions").at(0).at("reason"), 0);
}

TEST_F(download, events_of_an_installed_profile_reach_the_server)
{
    order();
    load(fetch(authenticate()));
    const byte_vector profile = sim::tlv(0xA0, sim::tlv(0x5A, sim::iccid_to_card("8999900000000000001")));
    ask(sim::tlv(0xBF31, sim::join({profile, sim::from_hex("810100")})));
    const byte_vector pending = ask(sim::from_hex("BF2B00"));
    const auto list = sim::find_child(sim::read_element(pending)->value, 0xA0);
    ASSERT_TRUE(list);
    const auto notifications = *sim::read_elements(list->value);
    ASSERT_EQ(notifications.size(), 2U); // installed, enabled
    for (const auto &notification : notifications)
        post("handleNotification", {{"pendingNotification", sim::to_base64(notification.whole)}}, 204);
    const json received = server.inspect().at("notifications");
    EXPECT_EQ(received.at(0).at("event"), "install");
    EXPECT_EQ(received.at(1).at("event"), "enable");
    for (const json &one : received) {
        EXPECT_TRUE(one.at("verified"));
        EXPECT_TRUE(one.at("problems").empty()) << one;
    }
}
} // namespace
