#include "simulator/control.h"
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>

namespace sim {
using nlohmann::json;

control_socket::control_socket(const std::filesystem::path &path, handler handle)
    : path_(path), handle_(std::move(handle)), listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      wake_(eventfd(0, EFD_CLOEXEC))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string name = path_.string();
    if (name.size() >= sizeof address.sun_path) throw std::invalid_argument("the state directory's path is too long");
    memcpy(address.sun_path, name.c_str(), name.size() + 1);
    std::filesystem::remove(path_);
    if (!listener_ || !wake_ || bind(listener_.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener_.get(), 8) != 0)
        throw std::system_error(errno, std::generic_category(), name);
    thread_ = std::thread([this] { serve(); });
}

control_socket::~control_socket()
{
    eventfd_write(wake_.get(), 1);
    thread_.join();
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

void control_socket::serve()
{
    for (;;) {
        pollfd waited[] = {{listener_.get(), POLLIN, 0}, {wake_.get(), POLLIN, 0}};
        if (poll(waited, 2, -1) < 0 && errno != EINTR) return;
        if (waited[1].revents != 0) return;
        const descriptor client(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (client) serve_client(client.get());
    }
}

void control_socket::serve_client(int client)
{
    std::string received;
    for (;;) {
        pollfd waited[] = {{client, POLLIN, 0}, {wake_.get(), POLLIN, 0}};
        if ((poll(waited, 2, -1) < 0 && errno != EINTR) || waited[1].revents != 0) return;
        char bytes[65536];
        const ssize_t count = recv(client, bytes, sizeof bytes, 0);
        if (count <= 0) return;
        received.append(bytes, static_cast<size_t>(count));
        for (size_t end = received.find('\n'); end != std::string::npos; end = received.find('\n')) {
            const std::string reply = answer(received.substr(0, end)) + "\n";
            received.erase(0, end + 1);
            for (size_t sent = 0; sent < reply.size();) {
                const ssize_t step = send(client, reply.data() + sent, reply.size() - sent, MSG_NOSIGNAL);
                if (step <= 0) return;
                sent += static_cast<size_t>(step);
            }
        }
    }
}

std::string control_socket::answer(const std::string &line) const
{
    json reply;
    try {
        reply = handle_(json::parse(line));
        reply["ok"] = true;
    } catch (const std::exception &problem) {
        reply = {{"error", problem.what()}};
    }
    return reply.dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace sim
