// simulator/control.h: the socket on which tests and people order faults and look at what happened: one JSON command a
// line, one line of JSON as answer. The commands are listed in docs/simulator.md.
#pragma once
#include "simulator/descriptor.h"
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <thread>

namespace sim {

class control_socket {
  public:
    using handler = std::function<nlohmann::json(const nlohmann::json &command)>;
    // Serves path in a thread of its own, one client after the other. What the handler throws becomes
    // {"error": "..."}; what it returns is sent with "ok": true.
    control_socket(const std::filesystem::path &path, handler handle);
    ~control_socket();

  private:
    void serve();
    void serve_client(int client);
    std::string answer(const std::string &line) const;

    const std::filesystem::path path_;
    const handler handle_;
    descriptor listener_;
    descriptor wake_;
    std::thread thread_;
};

} // namespace sim
