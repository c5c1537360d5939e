#include "simulator/socks_proxy.h"
#include "simulator/control_command.h"
#include <algorithm>
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

// RFC 1928.
constexpr uint8_t version = 5;
constexpr uint8_t no_authentication = 0;
constexpr uint8_t no_acceptable_method = 0xFF;
constexpr uint8_t command_connect = 1;
constexpr uint8_t address_ipv4 = 1;
constexpr uint8_t address_name = 3;
constexpr uint8_t address_ipv6 = 4;
constexpr uint8_t reply_succeeded = 0;
constexpr uint8_t reply_host_unreachable = 4;
constexpr uint8_t reply_command_not_supported = 7;
constexpr uint8_t reply_address_not_supported = 8;

// A peer that says or takes nothing must not hold up the proxy's end.
bool wait_for(int peer, int wake, short event)
{
    pollfd waited[] = {{peer, event, 0}, {wake, POLLIN, 0}};
    return poll(waited, 2, -1) > 0 && waited[1].revents == 0;
}

bool receive_all(int from, int wake, uint8_t *to, size_t count)
{
    while (count > 0) {
        const ssize_t received = wait_for(from, wake, POLLIN) ? recv(from, to, count, 0) : 0;
        if (received <= 0) return false;
        to += received;
        count -= static_cast<size_t>(received);
    }
    return true;
}

bool send_all(int to, int wake, const uint8_t *from, size_t count)
{
    while (count > 0) {
        const ssize_t sent = wait_for(to, wake, POLLOUT) ? send(to, from, count, MSG_NOSIGNAL | MSG_DONTWAIT) : 0;
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
            if (count <= 0 || !send_all(waited[1 - side].fd, wake, bytes, static_cast<size_t>(count))) return;
        }
    }
}

struct target {
    uint8_t address_type = 0;
    std::string host;
    uint16_t port = 0;
};

// What follows the address type of a request; false when it cannot be read.
bool receive_target(int from, int wake, target *to)
{
    uint8_t bytes[256];
    size_t size = to->address_type == address_ipv4 ? 4 : 16;
    if (to->address_type == address_name) {
        if (!receive_all(from, wake, bytes, 1)) return false;
        size = bytes[0];
    }
    uint8_t port[2];
    if (!receive_all(from, wake, bytes, size) || !receive_all(from, wake, port, 2)) return false;
    to->port = static_cast<uint16_t>(port[0] << 8 | port[1]);
    if (to->address_type == address_name) {
        to->host.assign(bytes, bytes + size);
        return true;
    }
    char text[INET6_ADDRSTRLEN];
    to->host = inet_ntop(to->address_type == address_ipv4 ? AF_INET : AF_INET6, bytes, text, sizeof text);
    return true;
}

bool agree_on_method(int client, int wake)
{
    uint8_t greeting[2];
    uint8_t methods[255];
    if (!receive_all(client, wake, greeting, 2) || greeting[0] != version ||
        !receive_all(client, wake, methods, greeting[1]))
        return false;
    const bool agreed = std::find(methods, methods + greeting[1], no_authentication) != methods + greeting[1];
    const uint8_t chosen[] = {version, agreed ? no_authentication : no_acceptable_method};
    return send_all(client, wake, chosen, sizeof chosen) && agreed;
}

bool send_reply(int client, int wake, uint8_t reply)
{
    const uint8_t answer[] = {version, reply, 0, address_ipv4, 0, 0, 0, 0, 0, 0};
    return send_all(client, wake, answer, sizeof answer);
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
        if (poll(waited, 2, -1) < 0 || waited[1].revents != 0) return;
        const int client = accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (client >= 0) relays_.emplace_back([this, client] { connect_and_relay(client); });
    }
}

void socks_proxy::connect_and_relay(int number)
{
    const descriptor client(number);
    uint8_t request[4];
    if (!agree_on_method(client.get(), wake_.get()) || !receive_all(client.get(), wake_.get(), request, sizeof request))
        return;
    target wanted;
    wanted.address_type = request[3];
    if (wanted.address_type != address_ipv4 && wanted.address_type != address_name &&
        wanted.address_type != address_ipv6) {
        send_reply(client.get(), wake_.get(), reply_address_not_supported);
        return;
    }
    if (!receive_target(client.get(), wake_.get(), &wanted)) return;
    if (request[1] != command_connect) {
        send_reply(client.get(), wake_.get(), reply_command_not_supported);
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        targets_.push_back(
            {{"host", wanted.host}, {"port", wanted.port}, {"by_name", wanted.address_type == address_name}});
    }
    uint8_t reply = reply_;
    descriptor server;
    if (reply == reply_succeeded) server = connect_to(wanted.host, wanted.port);
    if (reply == reply_succeeded && !server) reply = reply_host_unreachable;
    if (send_reply(client.get(), wake_.get(), reply) && reply == reply_succeeded)
        relay(client.get(), server.get(), wake_.get());
}

json socks_proxy::control(const json &command)
{
    const control_command asked(command, "proxy");
    if (asked.is("refuse", "reply")) {
        reply_ = command.at("reply").get<uint8_t>();
        return json::object();
    }
    if (!asked.is("inspect")) throw std::invalid_argument("the proxy does not know \"" + asked.name() + "\"");
    const std::lock_guard lock(mutex_);
    return {{"targets", targets_}};
}

} // namespace sim
