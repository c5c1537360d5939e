#include "unit/simulator/smdp_server.h"
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {
using namespace smdp_test;

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

} // namespace
