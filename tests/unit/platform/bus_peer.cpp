#include "unit/platform/bus_peer.h"
#include <atomic>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace bus_peer {
namespace {
constexpr int patience_ms = 60000; // of a busy machine

sockaddr_un address_of(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

bool receive_exactly(int socket, byte_vector *to, size_t count)
{
    while (count > 0) {
        pollfd waited = {.fd = socket, .events = POLLIN, .revents = 0};
        if (poll(&waited, 1, patience_ms) <= 0) return false;
        uint8_t bytes[4096];
        const ssize_t got = recv(socket, bytes, std::min(count, sizeof bytes), 0);
        if (got <= 0) return false;
        to->insert(to->end(), bytes, bytes + got);
        count -= static_cast<size_t>(got);
    }
    return true;
}

uint32_t read_number(const byte_vector &bytes, size_t at)
{
    return *sim::blob_to_uint32(byte_view(bytes).subspan(at, 4));
}
} // namespace

byte_vector encode(const raw_message &message)
{
    byte_vector result = {0, message.type, static_cast<uint8_t>(message.sequence >> 8),
                          static_cast<uint8_t>(message.sequence)};
    for (int shift = 24; shift >= 0; shift -= 8)
        result.push_back(static_cast<uint8_t>(message.peer >> shift));
    byte_vector root = sim::write_blob_attribute(0, message.contents);
    root.resize(4 + message.contents.size()); // the outermost one has no padding
    result.insert(result.end(), root.begin(), root.end());
    return result;
}

std::optional<raw_message> receive(int socket)
{
    byte_vector bytes;
    if (!receive_exactly(socket, &bytes, 12)) return std::nullopt;
    const uint32_t length = read_number(bytes, 8) & sim::blob_max_length;
    if (length < 4 || !receive_exactly(socket, &bytes, length - 4)) return std::nullopt;
    return raw_message{bytes[1], static_cast<uint16_t>(bytes[2] << 8 | bytes[3]), read_number(bytes, 4),
                       byte_vector(bytes.begin() + 12, bytes.end())};
}

void send_all(int socket, byte_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return; // the other side has had enough
        bytes = bytes.subspan(static_cast<size_t>(sent));
    }
}

byte_vector hello(uint32_t client) { return encode({HELLO, 0, client, {}}); }

scripted_broker::scripted_broker(byte_vector greeting, std::vector<answerer> answers, bool closes)
    : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), ends_(eventfd(0, EFD_CLOEXEC))
{
    static std::atomic<int> count = 0;
    path_ = "/tmp/lpa_bus_test_" + std::to_string(getpid()) + "_" + std::to_string(++count);
    const sockaddr_un address = address_of(path_);
    EXPECT_EQ(bind(listener_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener_.get(), 1), 0);
    thread_ = std::thread([this, greeting = std::move(greeting), answers = std::move(answers), closes] {
        serve(greeting, answers, closes);
    });
}

scripted_broker::~scripted_broker()
{
    requests();
    unlink(path_.c_str());
}

const std::vector<raw_message> &scripted_broker::requests()
{
    eventfd_write(ends_.get(), 1);
    if (thread_.joinable()) thread_.join();
    return requests_;
}

void scripted_broker::serve(const byte_vector &greeting, const std::vector<answerer> &answers, bool closes)
{
    const sim::descriptor client(accept(listener_.get(), nullptr, nullptr));
    send_all(client.get(), greeting);
    for (const answerer &answer : answers) {
        const auto request = receive(client.get());
        if (!request) return;
        requests_.push_back(*request);
        send_all(client.get(), answer(*request));
    }
    pollfd waited = {.fd = ends_.get(), .events = POLLIN, .revents = 0};
    if (!closes) poll(&waited, 1, -1);
}

raw_client::raw_client(const std::string &path) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const sockaddr_un address = address_of(path);
    EXPECT_EQ(connect(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    const auto greeting = receive();
    EXPECT_TRUE(greeting && greeting->type == HELLO);
    id_ = greeting ? greeting->peer : 0;
}

void raw_client::send(uint8_t type, uint32_t peer, const byte_vector &contents)
{
    send_bytes(encode({type, ++sequence_, peer, contents}));
}

std::optional<uint32_t> raw_client::ask(uint8_t type, uint32_t peer, const byte_vector &contents,
                                        std::vector<byte_vector> *data)
{
    send(type, peer, contents);
    while (const auto answer = receive()) {
        if (answer->sequence != sequence_) continue;
        if (answer->type == STATUS) return number(answer->contents, A_STATUS);
        if (data) data->push_back(answer->contents);
    }
    return std::nullopt;
}

void raw_client::answer(const raw_message &call, uint8_t type, const byte_vector &contents)
{
    send_bytes(encode({type, call.sequence, 0, contents}));
}

std::optional<byte_vector> attribute(const byte_vector &contents, uint8_t id)
{
    const auto attributes = sim::read_blob_attributes(contents);
    if (!attributes) return std::nullopt;
    for (const auto &one : *attributes)
        if (one.id == id) return byte_vector(one.value.begin(), one.value.end());
    return std::nullopt;
}

std::optional<uint32_t> number(const byte_vector &contents, uint8_t id)
{
    const auto value = attribute(contents, id);
    return value ? sim::blob_to_uint32(*value) : std::nullopt;
}

std::string text(const byte_vector &contents, uint8_t id)
{
    const auto value = attribute(contents, id);
    const auto found = value ? sim::blob_to_text(*value) : std::nullopt;
    return found.value_or("(none)");
}

} // namespace bus_peer
