#include "simulator/socks_proxy.h"
#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>

namespace sim {
namespace {
using nlohmann::json;

constexpr uint8_t version = 5;
constexpr uint8_t address_ipv4 = 1;
constexpr uint8_t address_name = 3;
constexpr uint8_t reply_host_unreachable = 4;

bool receive_all(int from, uint8_t *to, size_t count)
{
    while (count > 0) {
        const ssize_t received = recv(from, to, count, 0);
        if (received <= 0) return false;
        to += received;
        count -= static_cast<size_t>(received);
    }
    return true;
}

bool send_all(int to, const uint8_t *from, size_t count)
{
    while (count > 0) {
        const ssize_t sent = send(to, from, count, MSG_NOSIGNAL);
        if (sent <= 0) return false;
        from += sent;
        count -= static_cast<size_t>(sent);
    }
    return true;
}

descriptor connect_to(const std::string &host, uint16_t port)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return {};
    descriptor result;
    for (const addrinfo *entry = found; entry && !result; entry = entry->ai_next) {
        descriptor candidate(socket(entry->ai_family, entry->ai_socktype | SOCK_CLOEXEC, 0));
        if (candidate && connect(candidate.get(), entry->ai_addr, entry->ai_addrlen) == 0)
            result = std::move(candidate);
    }
    freeaddrinfo(found);
    return result;
}

void relay(int client, int server, int wake)
{
    uint8_t bytes[16384];
    for (;;) {
        pollfd waited[] = {{client, POLLIN, 0}, {server, POLLIN, 0}, {wake, POLLIN, 0}};
        if (poll(waited, 3, -1) < 0 || waited[2].revents != 0) return;
        for (int side = 0; side < 2; ++side) {
            if (waited[side].revents == 0) continue;
            const ssize_t count = recv(waited[side].fd, bytes, sizeof bytes, 0);
            if (count <= 0 || !send_all(waited[1 - side].fd, bytes, static_cast<size_t>(count))) return;
        }
    }
}
} // namespace

socks_proxy::socks_proxy() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), wake_(eventfd(0, EFD_CLOEXEC))
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (!listener_ || !wake_ || bind(listener_.get(), reinterpret_cast<sockaddr *>(&address), size) != 0 ||
        listen(listener_.get(), 8) != 0 ||
        getsockname(listener_.get(), reinterpret_cast<sockaddr *>(&address), &size) != 0)
        throw std::system_error(errno, std::generic_category(), "proxy");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

socks_proxy::~socks_proxy()
{
    eventfd_write(wake_.get(), 1);
    thread_.join();
    for (std::thread &entry : relays_)
        entry.join();
}

void socks_proxy::serve()
{
    for (;;) {
        pollfd waited[] = {{listener_.get(), POLLIN, 0}, {wake_.get(), POLLIN, 0}};
        if (poll(waited, 2, -1) < 0 && errno != EINTR) return;
        if (waited[1].revents != 0) return;
        const int client = accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (client >= 0) relays_.emplace_back([this, client] { connect_and_relay(client); });
    }
}

void socks_proxy::connect_and_relay(int number)
{
    const descriptor client(number);
    uint8_t greeting[2];
    uint8_t methods[255];
    if (!receive_all(client.get(), greeting, 2) || greeting[0] != version ||
        !receive_all(client.get(), methods, greeting[1]))
        return;
    const uint8_t no_authentication[] = {version, 0};
    uint8_t request[4];
    if (!send_all(client.get(), no_authentication, 2) || !receive_all(client.get(), request, 4)) return;
    std::string host;
    if (request[3] == address_name) {
        uint8_t length = 0;
        uint8_t name[255];
        if (!receive_all(client.get(), &length, 1) || !receive_all(client.get(), name, length)) return;
        host.assign(name, name + length);
    } else if (request[3] == address_ipv4) {
        uint8_t bytes[4];
        char text[INET_ADDRSTRLEN];
        if (!receive_all(client.get(), bytes, 4)) return;
        host = inet_ntop(AF_INET, bytes, text, sizeof text);
    } else {
        return;
    }
    uint8_t port_bytes[2];
    if (!receive_all(client.get(), port_bytes, 2)) return;
    const auto port = static_cast<uint16_t>(port_bytes[0] << 8 | port_bytes[1]);
    {
        const std::lock_guard lock(mutex_);
        targets_.push_back({{"host", host}, {"port", port}, {"by_name", request[3] == address_name}});
    }
    uint8_t reply = reply_;
    descriptor server;
    if (reply == 0) server = connect_to(host, port);
    if (reply == 0 && !server) reply = reply_host_unreachable;
    const uint8_t answer[] = {version, reply, 0, address_ipv4, 0, 0, 0, 0, 0, 0};
    if (send_all(client.get(), answer, sizeof answer) && reply == 0) relay(client.get(), server.get(), wake_.get());
}

json socks_proxy::control(const json &command)
{
    const std::string what = command.at("do");
    if (what == "refuse") {
        reply_ = command.at("reply").get<uint8_t>();
        return json::object();
    }
    if (what != "inspect") throw std::invalid_argument("the proxy does not know \"" + what + "\"");
    const std::lock_guard lock(mutex_);
    return {{"targets", targets_}};
}

} // namespace sim
