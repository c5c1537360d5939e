// simulator/bus_broker.h: the router's message bus: clients, objects, calls between them, events, and the "file" object
// whose "write" creates or empties files.
#pragma once
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace sim {

constexpr const char *default_bus_path = "/var/run/ubus/ubus.sock";

class bus_broker {
  public:
    // Listens on a socket of its own and serves it in a thread. A socket that nobody serves any more is replaced.
    // Throws std::system_error.
    explicit bus_broker(const std::string &path);
    ~bus_broker();
    // What tests look at and set, as docs/simulator.md tells: {"bus": "events"} and the like. Throws
    // std::invalid_argument.
    nlohmann::json control(const nlohmann::json &command);

  private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace sim
