// simulator/control_socket.h: commands to the simulated router, one JSON object per line, one line of answer each:
// {"ok": true, ...} or {"error": "..."}.
#pragma once
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace sim {

class control_socket {
  public:
    // What the handler throws becomes the error. It is called in the socket's own thread.
    using handler = std::function<nlohmann::json(const nlohmann::json &command)>;
    // Replaces a socket of that name; the path may be longer than a socket address. Throws std::system_error.
    control_socket(const std::string &path, handler handle);
    ~control_socket();

  private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace sim
