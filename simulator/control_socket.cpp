#include "simulator/control_socket.h"
#include "simulator/descriptor.h"
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <vector>

namespace sim {
namespace {
using nlohmann::json;

constexpr size_t max_line = 64 * 1024 * 1024; // a profile package fits

struct client {
    descriptor socket;
    std::string received;
    std::string unsent;
    bool gone = false;
};

std::system_error failure(const std::string &what) { return {errno, std::generic_category(), what}; }

// A socket address holds 107 characters only: the folder is named by its descriptor.
descriptor listen_on(const std::filesystem::path &path)
{
    const auto folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    const descriptor opened(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!opened) throw failure(folder);
    const auto name = "/proc/self/fd/" + std::to_string(opened.get()) + "/" + path.filename().string();
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (name.size() >= sizeof address.sun_path) throw std::system_error(ENAMETOOLONG, std::generic_category(), path);
    name.copy(address.sun_path, sizeof address.sun_path - 1);
    std::filesystem::remove(path);
    descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!listener || bind(listener.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener.get(), SOMAXCONN) != 0)
        throw failure(path);
    return listener;
}
} // namespace

struct control_socket::state {
    state(std::string made_path, handler made_handle);
    ~state();
    state(const state &) = delete;
    state &operator=(const state &) = delete;

    void run();
    void receive(client &from);
    std::string answer(const std::string &line) const;
    static void flush(client &to);

    std::string path;
    handler handle;
    descriptor listener;
    descriptor wake;
    std::vector<client> clients;
    std::atomic<bool> ends = false;
    std::thread thread;
};

control_socket::state::state(std::string made_path, handler made_handle)
    : path(std::move(made_path)), handle(std::move(made_handle)), listener(listen_on(path)),
      wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!wake) throw failure("eventfd");
    thread = std::thread([this] { run(); });
}

control_socket::state::~state()
{
    ends = true;
    eventfd_write(wake.get(), 1);
    thread.join();
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

void control_socket::state::run()
{
    while (!ends) {
        std::vector<pollfd> watched = {{wake.get(), POLLIN, 0}, {listener.get(), POLLIN, 0}};
        for (const client &one : clients)
            watched.push_back({one.socket.get(), static_cast<short>(one.unsent.empty() ? POLLIN : POLLOUT), 0});
        poll(watched.data(), watched.size(), -1);
        for (size_t i = 0; i < clients.size(); ++i) {
            if (watched[i + 2].revents & POLLOUT) flush(clients[i]);
            else if (watched[i + 2].revents) receive(clients[i]);
        }
        std::erase_if(clients, [](const client &one) { return one.gone; });
        descriptor accepted(watched[1].revents ? accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)
                                               : -1);
        if (accepted) clients.push_back({std::move(accepted), "", ""});
    }
}

void control_socket::state::receive(client &from)
{
    char bytes[65536];
    const ssize_t count = recv(from.socket.get(), bytes, sizeof bytes, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    from.gone = count <= 0 || from.received.size() > max_line;
    if (from.gone) return;
    from.received.append(bytes, static_cast<size_t>(count));
    for (size_t end = 0; (end = from.received.find('\n')) != std::string::npos;) {
        const std::string line = from.received.substr(0, end);
        from.received.erase(0, end + 1);
        from.unsent += answer(line) + "\n";
    }
    flush(from);
}

std::string control_socket::state::answer(const std::string &line) const
{
    json result;
    try {
        const json command = json::parse(line);
        if (!command.is_object()) throw std::invalid_argument("a command is a JSON object");
        result = handle(command);
        if (!result.is_object()) result = {{"result", result}};
        result["ok"] = true;
    } catch (const std::exception &problem) {
        result = {{"error", problem.what()}};
    }
    return result.dump(-1, ' ', false, json::error_handler_t::replace);
}

void control_socket::state::flush(client &to)
{
    while (!to.unsent.empty() && !to.gone) {
        const ssize_t count = send(to.socket.get(), to.unsent.data(), to.unsent.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EAGAIN) return;
        to.gone = count < 0 && errno != EINTR;
        if (count > 0) to.unsent.erase(0, static_cast<size_t>(count));
    }
}

control_socket::control_socket(const std::string &path, handler handle)
    : state_(std::make_unique<state>(path, std::move(handle)))
{
}

control_socket::~control_socket() = default;

} // namespace sim
