#include "simulator/smdp.h"
#include "simulator/control_command.h"
#include "simulator/es9_service.h"
#include "simulator/faults.h"
#include <algorithm>
#include <httplib.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <set>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>

namespace sim {
namespace {
using nlohmann::json;
using nlohmann::ordered_json;

constexpr const char *path_prefix = "/gsma/rsp2/es9plus/";
constexpr const char *json_type = "application/json;charset=UTF-8";
constexpr const char *large_member_mark = "@large@";
constexpr size_t largest_request = 1U << 20U;
constexpr size_t largest_kept_body = 1U << 16U;
constexpr int no_content = 204;
constexpr int port_attempts = 20; // a port free on one of the two addresses may be taken on the other

// The HTTPS library hides its connections; each of its threads serves one at a time and learns it here.
thread_local int current_connection = -1;

// Connections that are open, so that stopping the server need not wait for idle or silent ones.
class connection_list {
  public:
    void opened(int descriptor)
    {
        const std::lock_guard guard(mutex_);
        open_.insert(descriptor);
        if (stopping_) shutdown(descriptor, SHUT_RDWR);
    }
    void closed(int descriptor)
    {
        const std::lock_guard guard(mutex_);
        open_.erase(descriptor);
    }
    void accept_more()
    {
        const std::lock_guard guard(mutex_);
        stopping_ = false;
    }
    void shut_down_all()
    {
        const std::lock_guard guard(mutex_);
        stopping_ = true;
        for (const int descriptor : open_)
            shutdown(descriptor, SHUT_RDWR);
    }

  private:
    std::mutex mutex_;
    std::set<int> open_;
    bool stopping_ = false;
};

struct connection {
    connection_list *list;
    int descriptor;
};

// OpenSSL calls it when the connection's SSL object goes, which is before its descriptor is closed.
void forget_connection(void *, void *data, CRYPTO_EX_DATA *, int, long, void *)
{
    const std::unique_ptr<connection> gone(static_cast<connection *>(data));
    if (gone) gone->list->closed(gone->descriptor);
}

int list_index()
{
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

int connection_index()
{
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, forget_connection);
    return index;
}

void note_connection(const SSL *ssl, int where, int)
{
    if (!(where & SSL_CB_HANDSHAKE_START) || SSL_get_ex_data(ssl, connection_index())) return;
    auto *list = static_cast<connection_list *>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), list_index()));
    current_connection = SSL_get_fd(ssl);
    SSL_set_ex_data(const_cast<SSL *>(ssl), connection_index(), new connection{list, current_connection});
    list->opened(current_connection);
}

// Ends early when the client leaves or the server stops. Negative: no other end.
bool client_stays_for(int milliseconds)
{
    pollfd watched{current_connection, POLLRDHUP, 0};
    return poll(&watched, 1, milliseconds) == 0;
}

void close_connection() { shutdown(current_connection, SHUT_RDWR); }

// RST instead of FIN.
void reset_connection()
{
    const sockaddr nobody = {AF_UNSPEC, {}};
    static_cast<void>(connect(current_connection, &nobody, sizeof nobody));
}

struct free_port {
    int port;
    bool ipv6; // IPv6 may be missing on this machine
};

// Bound here and let go again: a server of the HTTPS library that was bound but never ran keeps its port for good.
int try_port(const sockaddr *address, socklen_t size)
{
    const int probe = socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (probe < 0) return EAFNOSUPPORT;
    const int yes = 1;
    setsockopt(probe, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const int failed = bind(probe, address, size) == 0 && listen(probe, 1) == 0 ? 0 : errno;
    sockaddr_storage taken{};
    socklen_t taken_size = sizeof taken;
    getsockname(probe, reinterpret_cast<sockaddr *>(&taken), &taken_size);
    close(probe);
    if (failed != 0) return failed;
    return -ntohs(reinterpret_cast<const sockaddr_in *>(&taken)->sin_port); // the same place in both families
}

// One that is free on both loopback addresses. wanted 0: any.
std::optional<free_port> find_port(int wanted)
{
    for (int attempt = 0; attempt < (wanted ? 1 : port_attempts); ++attempt) {
        sockaddr_in v4{};
        v4.sin_family = AF_INET;
        v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        v4.sin_port = htons(static_cast<uint16_t>(wanted));
        const int first = try_port(reinterpret_cast<const sockaddr *>(&v4), sizeof v4);
        if (first >= 0) continue;
        sockaddr_in6 v6{};
        v6.sin6_family = AF_INET6;
        v6.sin6_addr = in6addr_loopback;
        v6.sin6_port = htons(static_cast<uint16_t>(-first));
        const int second = try_port(reinterpret_cast<const sockaddr *>(&v6), sizeof v6);
        if (second != EADDRINUSE) return free_port{-first, second < 0};
    }
    return std::nullopt;
}

void check_headers(const httplib::Request &request)
{
    const auto only = [&](const char *name) {
        if (request.get_header_value_count(name) != 1) throw bad_request{std::string(name) + " is not there once"};
        return request.get_header_value(name);
    };
    if (only("User-Agent") != "gsma-rsp-lpad") throw bad_request{"User-Agent is not gsma-rsp-lpad"};
    if (only("X-Admin-Protocol") != "gsma/rsp/2.2.0") throw bad_request{"X-Admin-Protocol is not gsma/rsp/2.2.0"};
    if (!only("Content-Type").starts_with("application/json"))
        throw bad_request{"Content-Type is not application/json"};
    only("Content-Length");
}

json::json_pointer pointer_to(const std::string &member)
{
    return json::json_pointer(member.starts_with('/') ? member : "/" + member);
}

void remove_member(ordered_json &document, const std::string &member)
{
    const ordered_json::json_pointer where(pointer_to(member).to_string());
    if (document.contains(where)) document[where.parent_pointer()].erase(where.back());
}

// Real servers differ in these; all of them are JSON.
struct writing_style {
    bool escape_base64 = false; // = as \u003d
    bool header_last = false;
    bool pretty = false;
};

void replace_all(std::string &text, const std::string &what, const std::string &by)
{
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
}

std::string written(ordered_json document, const es9_answer &answer, const writing_style &style)
{
    if (style.header_last && document.contains("header")) {
        const ordered_json header = document["header"];
        document.erase("header");
        document["header"] = header;
    }
    std::string text = style.pretty ? document.dump(2) : document.dump();
    std::string large = answer.large_text;
    if (style.escape_base64) {
        replace_all(text, "=", "\\u003d");
        replace_all(large, "=", "\\u003d");
    }
    const size_t mark = text.find(large_member_mark);
    if (mark != std::string::npos) text.replace(mark, std::strlen(large_member_mark), large);
    return text;
}

// What the faults make of the document that was worked out.
void edit(ordered_json &document, const fired_faults &faults)
{
    for (const json &fault : faults.all) {
        const std::string kind = fault.at("kind");
        if (kind == "execution-status") document["header"]["functionExecutionStatus"]["status"] = fault.at("value");
        if (kind == "set-member")
            document[ordered_json::json_pointer(pointer_to(fault.at("member")).to_string())] =
                fault.value("value", json());
        if (kind == "remove-member") remove_member(document, fault.at("member"));
    }
}

refusal ordered_refusal(const json &fault)
{
    return {fault.value("subject", ""), fault.value("reason", ""), fault.value("message", "")};
}

// Whether the function is carried out although the answer will not tell.
bool is_carried_out(const fired_faults &faults)
{
    for (const json &fault : faults.all) {
        const std::string kind = fault.at("kind");
        if (!fault.value("processed", kind != "http-status" && kind != "refuse")) return false;
    }
    return true;
}

void send_slowly(httplib::Response &response, const std::string &body, const json &fault)
{
    const size_t piece = fault.value("piece", size_t{64});
    const int pause = fault.at("milliseconds");
    response.set_content_provider(body.size(), json_type,
                                  [body, piece, pause](size_t offset, size_t length, httplib::DataSink &sink) {
                                      if (!client_stays_for(pause)) return false;
                                      return sink.write(body.data() + offset, std::min(piece, length));
                                  });
}

void send_endlessly(httplib::Response &response, const json &fault)
{
    const std::string piece(fault.value("piece", size_t{1024}), ' ');
    const int pause = fault.value("milliseconds", 10);
    response.set_chunked_content_provider(json_type, [piece, pause](size_t, httplib::DataSink &sink) {
        return client_stays_for(pause) && sink.write(piece.data(), piece.size());
    });
}

void send_beginning(httplib::Response &response, const std::string &body, const json &fault)
{
    const size_t bytes = fault.at("bytes");
    const bool resets = fault.value("reset", false);
    response.set_content_provider(body.size(), json_type,
                                  [body, bytes, resets](size_t, size_t, httplib::DataSink &sink) {
                                      sink.write(body.data(), std::min(bytes, body.size()));
                                      if (resets) reset_connection();
                                      else close_connection();
                                      return false;
                                  });
}

// Inside texts, as \/ or \u0041.
std::string escaped(const std::string &body, const std::string &characters)
{
    std::string result;
    bool inside = false;
    for (size_t at = 0; at < body.size(); ++at) {
        const char c = body[at];
        if (c == '"') inside = !inside;
        if (!inside || characters.find(c) == std::string::npos) {
            result += c;
            if (c == '\\' && at + 1 < body.size()) result += body[++at];
        } else if (c == '/') {
            result += "\\/";
        } else {
            char code[8];
            snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned char>(c));
            result += code;
        }
    }
    return result;
}

// The faults that concern the answer as a text or the connection.
void send(httplib::Response &response, std::string body, const fired_faults &faults)
{
    if (const json *fault = faults.find("body")) body = fault->at("body");
    if (const json *fault = faults.find("escape")) body = escaped(body, fault->at("characters"));
    if (faults.has("empty-body")) body.clear();
    if (const json *fault = faults.find("truncated-body"))
        body.resize(std::min(body.size(), fault->at("bytes").get<size_t>()));
    if (faults.has("silence")) {
        client_stays_for(-1);
        return close_connection();
    }
    if (const json *fault = faults.find("kill")) {
        process_signal_of(*fault).send();
        return close_connection();
    }
    if (faults.has("close")) return close_connection();
    if (const json *fault = faults.find("cut-connection")) return send_beginning(response, body, *fault);
    if (const json *fault = faults.find("slow-body")) return send_slowly(response, body, *fault);
    if (const json *fault = faults.find("endless-body")) return send_endlessly(response, *fault);
    if (response.status != no_content) response.set_content(body, json_type);
}
} // namespace

struct smdp::state {
    explicit state(certificate_authority &world) : authority(world), service(world) {}

    std::unique_ptr<httplib::SSLServer> make_server();
    bool listen_on(int free_port, bool ipv6);
    void serve(const std::string &endpoint, const httplib::Request &request, httplib::Response &response);
    std::string work(const std::string &endpoint, const httplib::Request &request, httplib::Response &response,
                     const fired_faults &faults, json &record);
    std::string finish(const es9_answer &answer, const fired_faults &faults) const;
    json set(const json &command);

    certificate_authority &authority;

    std::mutex life; // of what starts and stops
    std::vector<std::unique_ptr<httplib::SSLServer>> servers;
    std::vector<std::thread> threads;
    int port = 0;

    connection_list connections;

    mutable std::mutex work_mutex; // of what follows
    es9_service service;
    ordered_faults faults;
    writing_style style;
    json requests = json::array();
};

std::unique_ptr<httplib::SSLServer> smdp::state::make_server()
{
    auto server = std::make_unique<httplib::SSLServer>([this](SSL_CTX &context) {
        const identity &tls = authority.dp_tls();
        SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION);
        SSL_CTX_set_ex_data(&context, list_index(), &connections);
        SSL_CTX_set_info_callback(&context, note_connection);
        return SSL_CTX_use_certificate_ASN1(&context, static_cast<int>(tls.cert.der.size()), tls.cert.der.data()) ==
                   1 &&
               SSL_CTX_use_PrivateKey(&context, tls.key.get()) == 1;
    });
    if (!server->is_valid()) throw std::runtime_error("the TLS certificate was not taken");
    // Only the address, not the port, may be shared with connections that are still closing.
    server->set_socket_options([](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server->set_tcp_nodelay(true);
    server->set_payload_max_length(largest_request);
    server->Post(std::string(path_prefix) + "(\\w+)",
                 [this](const httplib::Request &request, httplib::Response &response) {
                     serve(request.matches[1], request, response);
                 });
    return server;
}

bool smdp::state::listen_on(int free_port, bool ipv6)
{
    for (const char *address : {"127.0.0.1", "::1"}) {
        if (address == std::string("::1") && !ipv6) continue;
        servers.push_back(make_server());
        if (!servers.back()->bind_to_port(address, free_port)) return false;
    }
    port = free_port;
    return true;
}

smdp::smdp(certificate_authority &authority) : state_(std::make_unique<state>(authority)) {}

smdp::~smdp() { stop(); }

int smdp::start(int port)
{
    state &server = *state_;
    const std::lock_guard guard(server.life);
    if (!server.threads.empty()) throw std::logic_error("the server is running");
    const auto found = find_port(port);
    if (!found || !server.listen_on(found->port, found->ipv6)) throw std::runtime_error("no port to listen on");
    {
        const std::lock_guard working(server.work_mutex);
        server.service.set_address("localhost:" + std::to_string(server.port));
    }
    server.connections.accept_more();
    for (auto &listener : server.servers) {
        server.threads.emplace_back([&listener] { listener->listen_after_bind(); });
        while (!listener->is_running())
            std::this_thread::yield(); // stopping it earlier would be lost
    }
    return server.port;
}

void smdp::stop()
{
    state &server = *state_;
    const std::lock_guard guard(server.life);
    for (auto &listener : server.servers)
        listener->stop();
    server.connections.shut_down_all();
    for (auto &thread : server.threads)
        thread.join();
    server.threads.clear();
    server.servers.clear();
}

void smdp::state::serve(const std::string &endpoint, const httplib::Request &request, httplib::Response &response)
{
    fired_faults fired;
    std::string body;
    {
        const std::lock_guard guard(work_mutex);
        fired = faults.take(endpoint);
        json record = {{"endpoint", endpoint}, {"body", request.body.substr(0, largest_kept_body)}};
        for (const json &fault : fired.all)
            record["faults"].push_back(fault.at("kind"));
        response.status = 200;
        response.set_header("X-Admin-Protocol", "gsma/rsp/v2.2.0");
        body = work(endpoint, request, response, fired, record);
        record["status"] = response.status;
        requests.push_back(std::move(record));
    }
    send(response, std::move(body), fired); // may take long
}

std::string smdp::state::work(const std::string &endpoint, const httplib::Request &request, httplib::Response &response,
                              const fired_faults &fired, json &record)
{
    es9_answer answer;
    try {
        check_headers(request);
        if (is_carried_out(fired)) {
            const json document = json::parse(request.body, nullptr, false);
            if (!document.is_object()) throw bad_request{"the body is no JSON object"};
            answer = service.answer(endpoint, document, fired);
        }
        if (const json *fault = fired.find("refuse")) throw ordered_refusal(*fault);
    } catch (const refusal &why) {
        record["refused"] = {{"subject", why.subject_code}, {"reason", why.reason_code}};
        answer = {refusal_document(why), {}, {}};
    } catch (const bad_request &why) {
        record["problem"] = why.reason;
        response.status = 400;
        return why.reason;
    }
    if (const json *fault = fired.find("http-status")) {
        response.status = fault->at("status");
        return fault->value("body", "");
    }
    if (answer.document.is_null()) {
        response.status = no_content;
        return {};
    }
    return finish(answer, fired);
}

std::string smdp::state::finish(const es9_answer &answer, const fired_faults &fired) const
{
    ordered_json document = answer.document;
    if (!answer.large_member.empty()) document[answer.large_member] = large_member_mark;
    edit(document, fired);
    return written(std::move(document), answer, style);
}

json smdp::inspect() const
{
    const state &server = *state_;
    const std::lock_guard guard(server.work_mutex);
    return {{"address", server.service.address()},
            {"orders", server.service.orders()},
            {"sessions", server.service.sessions()},
            {"notifications", server.service.notifications()},
            {"cancelled_sessions", server.service.cancelled_sessions()},
            {"requests", server.requests},
            {"faults", server.faults.to_json()}};
}

json smdp::state::set(const json &command)
{
    writing_style changed;
    changed.escape_base64 = command.value("escape_base64", style.escape_base64);
    changed.header_last = command.value("header_last", style.header_last);
    changed.pretty = command.value("pretty", style.pretty);
    if (command.contains("lower_case_ids")) service.set_lower_case_ids(command.at("lower_case_ids"));
    style = changed;
    return json::object();
}

json smdp::control(const json &command)
{
    state &server = *state_;
    try {
        const control_command asked(command, "server");
        if (asked.is("inspect")) return inspect();
        if (asked.is("stop")) return stop(), json::object();
        if (asked.is("start", "port")) return {{"port", start(command.value("port", server.port))}};
        const std::lock_guard guard(server.work_mutex);
        if (asked.is("add-order", order_members)) return server.service.add_order(command);
        if (asked.is("set-order", order_members)) return server.service.set_order(command);
        if (asked.is("remove-order", "matching_id"))
            return server.service.remove_order(command.at("matching_id")), json::object();
        if (asked.is_called("add-fault")) return server.faults.add(command), json::object();
        if (asked.is("clear-faults")) return server.faults.clear(), json::object();
        if (asked.is("set", "escape_base64 header_last pretty lower_case_ids")) return server.set(command);
        if (asked.is("clear-history")) {
            server.service.clear_history();
            server.requests = json::array();
            return json::object();
        }
        throw std::invalid_argument("the server does not know \"" + asked.name() + "\"");
    } catch (const json::exception &error) {
        throw std::invalid_argument(error.what());
    } catch (const std::logic_error &error) {
        throw std::invalid_argument(error.what());
    } catch (const std::runtime_error &error) {
        throw std::invalid_argument(error.what());
    }
}

} // namespace sim
