// Every operation that talks to a server, with every fault of network and server at each of its requests in turn.
#include "system/changed_request.h"
#include "system/matrix.h"
#include <memory>

namespace {
using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;

struct request {
    size_t nth; // of the run
    std::string endpoint;
    size_t at; // of those to this endpoint
};

struct http_fault {
    std::string name;
    json order; // as the server takes it
};

bool has_body(const std::string &endpoint) { return endpoint != "handleNotification"; }

std::vector<http_fault> broken_answers(const std::string &endpoint)
{
    std::vector<http_fault> faults = {
        {"no answer", {{"kind", "close"}}},
        {"end within the body", {{"kind", "cut-connection"}, {"bytes", 20}}},
        {"end before the body", {{"kind", "cut-connection"}, {"bytes", 0}}},
        {"reset within the body", {{"kind", "cut-connection"}, {"bytes", 20}, {"reset", true}}},
        {"500", {{"kind", "http-status"}, {"status", 500}}},
        {"500 once it is carried out", {{"kind", "http-status"}, {"status", 500}, {"processed", true}}},
        {"404 with a body", {{"kind", "http-status"}, {"status", 404}, {"body", "<html>"}}},
        {"204", {{"kind", "http-status"}, {"status", 204}, {"processed", true}}},
        {"empty body", {{"kind", "empty-body"}}},
        {"one byte", {{"kind", "truncated-body"}, {"bytes", 1}}},
        {"300 bytes", {{"kind", "truncated-body"}, {"bytes", 300}}},
        {"slow body", {{"kind", "slow-body"}, {"milliseconds", 1}, {"piece", 500}}}};
    if (!has_body(endpoint)) return faults; // whatever a body says with 200, the notification has arrived
    faults.push_back({"refusal", {{"kind", "refuse"}, {"subject", "8.1"}, {"reason", "6.1"}}});
    faults.push_back({"refusal without a reason", {{"kind", "refuse"}}});
    for (const char *characters : {"/", "A", "=", "aeiou"})
        faults.push_back({"escaped " + std::string(characters), {{"kind", "escape"}, {"characters", characters}}});
    return faults;
}

std::vector<http_fault> other_bodies(const std::string &endpoint)
{
    constexpr size_t many = 1024 * 1024;
    std::string objects;
    for (size_t depth = 0; depth < 100000; ++depth)
        objects += R"({"header":)";
    const std::pair<const char *, std::string> bodies[] = {
        {"null", "null"},
        {"an empty object", "{}"},
        {"a list", R"([{"header":{}}])"},
        {"a key without value", R"({"header")"},
        {"a key without value, and a colon", R"({"header":)"},
        {"a text without end",
         R"({"header":{"functionExecutionStatus":{"status":"Executed-Success"}},"transactionId":"A)"},
        {"an object without end", R"({"header":{"functionExecutionStatus":{"status":"Executed-Success")"},
        {"a null character", std::string("{\"header\":\0{}}", 14)},
        {"brackets", std::string(many, '[')},
        {"braces", std::string(many, '{')},
        {"braces behind the header", R"({"header":)" + std::string(many, '{')},
        {"quotes", std::string(many, '"')},
        {"backslashes", R"({"header":{"functionExecutionStatus":{"status":")" + std::string(many, '\\')},
        {"objects in objects", objects},
    };
    std::vector<http_fault> faults;
    for (const auto &[name, body] : bodies) {
        faults.push_back({name, {{"kind", "body"}, {"body", body}}});
        if (!has_body(endpoint))
            faults.back().order = {{"kind", "http-status"}, {"status", 200}, {"body", body}, {"processed", true}};
    }
    return faults;
}

std::vector<http_fault> wrong_members(const std::string &endpoint)
{
    std::vector<const char *> members = {"header", "/header/functionExecutionStatus",
                                         "/header/functionExecutionStatus/status", "transactionId"};
    if (endpoint == "initiateAuthentication")
        members.insert(members.end(),
                       {"serverSigned1", "serverSignature1", "euiccCiPKIdToBeUsed", "serverCertificate"});
    else if (endpoint == "authenticateClient")
        members.insert(members.end(), {"profileMetadata", "smdpSigned2", "smdpSignature2", "smdpCertificate"});
    else if (endpoint == "getBoundProfilePackage") members.push_back("boundProfilePackage");
    else return {};
    const std::pair<const char *, json> values[] = {
        {"null", nullptr},
        {"7", 7},
        {"true", true},
        {"a list", json::array({"AA=="})},
        {"an object", {{"status", "Executed-Success"}}},
        {"an empty text", ""},
        {"a text of one letter", "A"},
        {"zeros", std::string(40, 'A')},
        {"3 MB", std::string(size_t{3} * 1024 * 1024, 'A')},
    };
    std::vector<http_fault> faults;
    for (const char *member : members) {
        faults.push_back({"no " + std::string(member), {{"kind", "remove-member"}, {"member", member}}});
        for (const auto &[name, value] : values)
            faults.push_back(
                {std::string(member) + " is " + name, {{"kind", "set-member"}, {"member", member}, {"value", value}}});
    }
    return faults;
}

class http_fault_matrix : public matrix {
  protected:
    std::vector<request> undisturbed_requests()
    {
        undisturbed_traffic();
        std::vector<request> requests;
        std::map<std::string, size_t> count;
        const json server = desk.sm_dp();
        for (const json &one : server.at("requests")) {
            const std::string endpoint = one.at("endpoint");
            requests.push_back({requests.size() + 1, endpoint, ++count[endpoint]});
        }
        EXPECT_THAT(requests, testing::Not(IsEmpty()));
        return requests;
    }

    void meet_each(std::vector<http_fault> faults(const std::string &endpoint))
    {
        for (const request &one : undisturbed_requests())
            for (const http_fault &fault : faults(one.endpoint)) {
                const testing::ScopedTrace trace = told(fault.name, one);
                prepare();
                expect_whole(perform_with(fault.order, one));
                if (HasFailure()) return;
                ++runs;
            }
        expect_runs();
    }
    // At each request, which change(handle) prepares; with a fault of the server too unless order is null.
    void meet_each(const char *name, const std::function<void(CURL *)> &change, const json &order = nullptr)
    {
        for (const request &one : undisturbed_requests()) {
            const testing::ScopedTrace trace = told(name, one);
            prepare();
            outcome result;
            {
                const changed_request changed(one.nth, change);
                result = order.is_null() ? perform() : perform_with(order, one);
                EXPECT_TRUE(changed.reached());
            }
            expect_whole(result);
            if (HasFailure()) return;
            ++runs;
        }
        expect_runs();
    }
    // At each request: connected to another place, "host:port".
    void meet_each_at(const std::string &place, const char *name)
    {
        const std::unique_ptr<curl_slist, void (*)(curl_slist *)> places(
            curl_slist_append(nullptr, ("::" + place).c_str()), curl_slist_free_all);
        meet_each(name, [&](CURL *handle) { curl_easy_setopt(handle, CURLOPT_CONNECT_TO, places.get()); });
    }

    void order_fault(json order, const request &one)
    {
        order.update({{"do", "add-fault"}, {"endpoint", one.endpoint}, {"at", one.at}});
        desk.server_does(order);
    }
    outcome perform_with(const json &order, const request &one)
    {
        order_fault(order, one);
        const outcome result = perform();
        EXPECT_THAT(desk.sm_dp().at("faults"), IsEmpty());
        return result;
    }
    testing::ScopedTrace told(const std::string &fault, const request &one) const
    {
        return {__FILE__, __LINE__,
                std::string(operation.name) + ", " + fault + ", n " + std::to_string(one.at) + " of " + one.endpoint};
    }
    void expect_runs()
    {
        RecordProperty("runs", std::to_string(runs));
        EXPECT_GT(runs, 0U);
    }

    size_t runs = 0;
};

TEST_P(http_fault_matrix, is_whole_after_a_broken_answer) { meet_each(broken_answers); }

TEST_P(http_fault_matrix, is_whole_after_another_body) { meet_each(other_bodies); }

TEST_P(http_fault_matrix, is_whole_after_a_connection_was_refused) { meet_each_at("127.0.0.1:1", "refused"); }

TEST_P(http_fault_matrix, is_whole_after_a_host_was_not_found) { meet_each_at("nowhere.invalid:443", "not found"); }

TEST_P(http_fault_matrix, is_whole_after_tls_failed) { meet_each_at(desk.proxy(), "a server without TLS"); }

// The library's limit is 20 s. The shorter one leaves a busy machine time for the handshake.
TEST_P(http_fault_matrix, is_whole_after_the_time_limit)
{
    const auto limit = [](CURL *handle) { curl_easy_setopt(handle, CURLOPT_TIMEOUT, 3L); };
    meet_each("silence", limit, {{"kind", "silence"}});
}

// Cut off at 32 MiB. The address sanitizer makes growing the buffer so slow that a time limit may come first.
TEST_P(http_fault_matrix, is_whole_after_an_endless_body)
{
    for (const request &one : undisturbed_requests()) {
        const testing::ScopedTrace trace = told("endless body", one);
        prepare();
        if (!has_body(one.endpoint)) order_fault({{"kind", "http-status"}, {"status", 200}}, one);
        const changed_request hurried(one.nth, [](CURL *handle) { curl_easy_setopt(handle, CURLOPT_TIMEOUT, 2L); });
        const outcome result =
            perform_with({{"kind", "endless-body"}, {"milliseconds", 0}, {"piece", 1024 * 1024}}, one);
        const uint32_t undelivered = operation.downloads ? 0 : 11; // the download itself has succeeded
        EXPECT_EQ(result.code, has_body(one.endpoint) ? 1U : undelivered);
        EXPECT_THAT(log.at(1), AnyOf(HasSubstr("[write_memory_callback] Memory error when realloc ptr"),
                                     HasSubstr("Operation timed out")));
        expect_whole(result);
        if (HasFailure()) return;
        ++runs;
    }
    expect_runs();
}

INSTANTIATE_TEST_SUITE_P(every, http_fault_matrix,
                         testing::ValuesIn(matrix_operations_named({"process_notifications", "start_rsp"})),
                         matrix_operation_name);

class member_matrix : public http_fault_matrix {};

TEST_P(member_matrix, is_whole_after_a_wrong_member) { meet_each(wrong_members); }

INSTANTIATE_TEST_SUITE_P(every, member_matrix, testing::ValuesIn(matrix_operations_named({"start_rsp"})),
                         matrix_operation_name);
} // namespace
