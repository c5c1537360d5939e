// router-sim: the router on the desk. Prints one line of JSON when everything is up, and runs until SIGTERM.
#include "simulator/bus_broker.h"
#include "simulator/control.h"
#include "simulator/modem.h"
#include "simulator/smdp.h"
#include "simulator/socks_proxy.h"
#include <CLI/CLI.hpp>
#include <csignal>
#include <fstream>
#include <iostream>

namespace {
using nlohmann::json;
namespace fs = std::filesystem;

constexpr uint32_t most_modems = 5;

struct options {
    fs::path directory;
    uint32_t modems = 1;
    std::string bus = sim::default_bus_path;
    int port = 0;
};

struct slot {
    std::unique_ptr<sim::euicc> card;
    std::unique_ptr<sim::modem> modem;
};

class router {
  public:
    explicit router(const options &chosen)
        : directory_(fs::absolute(chosen.directory)), authority_(directory_ / "certificates"), bus_(chosen.bus),
          server_(authority_), port_(server_.start(chosen.port))
    {
        for (uint32_t i = 0; i < chosen.modems; ++i) {
            const std::string name = "modem" + std::to_string(i);
            auto card = std::make_unique<sim::euicc>(directory_ / (name + ".card.json"),
                                                     "8904903212345123451234567890123" + std::to_string(i), authority_);
            auto modem = std::make_unique<sim::modem>(i, directory_ / (name + ".tty"), *card);
            slots_.push_back({std::move(card), std::move(modem)});
        }
        write_modem_configuration();
        control_ = std::make_unique<sim::control_socket>(directory_ / "control.sock",
                                                         [this](const json &command) { return control(command); });
        description_ = {{"bus", chosen.bus},
                        {"modems", terminals()},
                        {"modem_configuration", configuration().string()},
                        {"server", "localhost:" + std::to_string(port_)},
                        {"proxy", "localhost:" + std::to_string(proxy_.port())},
                        {"control", (directory_ / "control.sock").string()}};
    }
    const json &description() const { return description_; }

  private:
    fs::path configuration() const { return directory_ / "modems.json"; }

    json terminals() const
    {
        json paths = json::array();
        for (const slot &entry : slots_)
            paths.push_back(entry.modem->terminal().string());
        return paths;
    }

    void write_modem_configuration() const
    {
        json modems = json::object();
        for (size_t i = 0; i < slots_.size(); ++i)
            modems[std::to_string(i)] = {{"terminal", slots_[i].modem->terminal().string()}};
        std::ofstream(configuration()) << json{{"modems", modems}}.dump(2) << "\n";
    }

    json control(const json &command)
    {
        if (command.contains("modem")) return slots_.at(command.at("modem").get<size_t>()).modem->control(command);
        if (command.contains("card")) {
            sim::euicc &card = *slots_.at(command.at("card").get<size_t>()).card;
            return command.at("do") == "inspect" ? card.inspect() : card.control(command);
        }
        if (command.contains("bus")) return bus_.control(command);
        if (command.contains("proxy")) return proxy_.control(command);
        if (command.contains("server")) return control_server(command);
        throw std::invalid_argument("a command names modem, card, bus, proxy or server");
    }

    json control_server(const json &command)
    {
        const std::string what = command.at("do");
        if (what == "inspect") return server_.inspect();
        if (what == "stop") server_.stop();
        else if (what == "start") server_.start(port_);
        else return server_.control(command);
        return json::object();
    }

    fs::path directory_;
    sim::certificate_authority authority_;
    sim::bus_broker bus_;
    sim::smdp server_;
    int port_;
    sim::socks_proxy proxy_;
    std::vector<slot> slots_;
    json description_;
    std::unique_ptr<sim::control_socket> control_; // last: its commands reach everything above
};

int run(const options &chosen)
{
    // Blocked before any thread starts, so that every thread inherits it and the signals are ours to wait for.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    fs::create_directories(chosen.directory);
    const router running(chosen);
    std::cout << running.description().dump() << std::endl;
    int received = 0;
    sigwait(&ending, &received);
    return 0;
}
} // namespace

int main(int argc, char **argv)
{
    options chosen;
    CLI::App app{"Simulates a router: message bus, modems with eUICCs, and an SM-DP+."};
    app.add_option("STATE_DIR", chosen.directory, "Where certificates and the cards' memories are kept")->required();
    app.add_option("--modems", chosen.modems, "How many modems (1 to 5)")->check(CLI::Range(1U, most_modems));
    app.add_option("--bus", chosen.bus, "The bus's socket")->capture_default_str();
    app.add_option("--port", chosen.port, "The SM-DP+'s port; 0 chooses one")->check(CLI::Range(0, 65535));
    CLI11_PARSE(app, argc, argv);
    try {
        return run(chosen);
    } catch (const std::exception &problem) {
        std::cerr << "router-sim: " << problem.what() << "\n";
        return 1;
    }
}
