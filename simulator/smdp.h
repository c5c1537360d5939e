// simulator/smdp.h: an SM-DP+ over HTTPS (ES9+): orders by matching id, mutual authentication, package binding,
// notifications. It checks what it is sent as a real server does and refuses with subject and reason codes.
#pragma once
#include "simulator/certificates.h"
#include <nlohmann/json.hpp>

namespace sim {

class smdp {
  public:
    explicit smdp(certificate_authority &authority);
    ~smdp();
    // Listens on 127.0.0.1 and ::1; port 0 chooses one. Returns the port. The address in activation codes and signed
    // data is "localhost:PORT".
    int start(int port = 0);
    void stop(); // may be started again on the same port
    // Orders, sessions, received notifications, cancelled sessions, requests.
    nlohmann::json inspect() const;
    // Adds an order, sets faults and the like; the commands are listed in docs/simulator.md. Throws
    // std::invalid_argument.
    nlohmann::json control(const nlohmann::json &command);

  private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace sim
