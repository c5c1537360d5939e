// simulator/router.h: the whole router on the desk, put together below one directory for its state:
//   certificates/     the certificates of its world
//   modemN.tty        link to modem N's terminal
//   modemN.card.json  the non-volatile state of its card
//   modems.json       for LPA_MODEMS
//   control.sock      the control socket
//   lock              held while a router uses the directory
#pragma once
#include "simulator/bus_broker.h"
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

namespace sim {

constexpr int max_modems = 5;

struct router_options {
    std::filesystem::path directory;
    std::string bus_path = default_bus_path;
    int modems = 1;
    int server_port = 0; // 0: any free one
};

class router {
  public:
    // Everything runs when this returns. Throws std::exception.
    explicit router(const router_options &options);
    ~router();
    // The line that is printed when ready: bus, modems, modem_configuration, server, proxy, control.
    const nlohmann::json &description() const;

  private:
    struct state;
    std::unique_ptr<state> state_;
};

// The EID of modem N's card: 32 digits, the last two check the others (ISO/IEC 7064, MOD 97-10).
std::string router_eid(int modem);

} // namespace sim
