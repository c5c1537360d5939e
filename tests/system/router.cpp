#include "system/router.h"
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using nlohmann::json;

namespace {
constexpr const char *state_directory = "/tmp/mobile/router";

std::string read_line(int from, std::string &received)
{
    for (;;) {
        const size_t end = received.find('\n');
        if (end != std::string::npos) {
            std::string line = received.substr(0, end);
            received.erase(0, end + 1);
            return line;
        }
        char bytes[65536];
        const ssize_t count = read(from, bytes, sizeof bytes);
        if (count <= 0) throw std::runtime_error("router-sim is gone");
        received.append(bytes, static_cast<size_t>(count));
    }
}

int connect_to(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int control = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (control < 0 || connect(control, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        throw std::runtime_error("cannot reach " + path);
    return control;
}
} // namespace

router::router(int modems)
{
    std::filesystem::remove_all(state_directory);
    int ready[2];
    if (pipe(ready) != 0) throw std::runtime_error("pipe");
    const std::string count = std::to_string(modems);
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM); // a test that crashed leaves no router behind
        dup2(ready[1], STDOUT_FILENO);
        close(ready[0]);
        close(ready[1]);
        execl(ROUTER_SIM, ROUTER_SIM, state_directory, "--modems", count.c_str(), nullptr);
        _exit(127);
    }
    close(ready[1]);
    std::string received;
    const json description = json::parse(read_line(ready[0], received));
    close(ready[0]);
    server_ = description.at("server");
    proxy_ = description.at("proxy");
    setenv("LPA_MODEMS", description.at("modem_configuration").get<std::string>().c_str(), 1);
    control_ = connect_to(description.at("control"));
}

router::~router()
{
    if (control_ >= 0) close(control_);
    if (process_ <= 0) return;
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
}

json router::command(const json &request)
{
    const std::string line = request.dump() + "\n";
    if (send(control_, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size()))
        throw std::runtime_error("router-sim does not listen");
    json answer = json::parse(read_line(control_, received_));
    if (answer.contains("error")) throw std::runtime_error(answer.at("error").get<std::string>() + " in " + line);
    return answer;
}

json router::events()
{
    json data = json::array();
    const json answer = command({{"bus", "events"}});
    for (const json &event : answer.at("events"))
        if (event.at("name") == "vorn.updates") data.push_back(event.at("data"));
    return data;
}

json router::add_order(json details)
{
    details["server"] = true;
    details["do"] = "add-order";
    return command(details);
}

void router::tell(const char *whom, int number, json details)
{
    details[whom] = number;
    command(details);
}

std::vector<std::string> router::traffic(int modem)
{
    std::vector<std::string> commands;
    const json answer = command({{"modem", modem}, {"do", "log"}});
    for (const json &entry : answer.at("log")) {
        const std::string text = entry.at("command");
        const size_t quote = text.find('"');
        commands.push_back(quote == std::string::npos ? text : text.substr(quote + 1, text.rfind('"') - quote - 1));
    }
    return commands;
}

short_timeout::short_timeout(double seconds) : usual_(getenv("LPA_MODEMS"))
{
    constexpr const char *path = "/tmp/mobile/short.json";
    json configuration = json::parse(std::ifstream(usual_));
    for (json &modem : configuration.at("modems"))
        modem["timeout"] = seconds;
    std::ofstream(path) << configuration;
    setenv("LPA_MODEMS", path, 1);
}

short_timeout::~short_timeout() { setenv("LPA_MODEMS", usual_.c_str(), 1); }
