// simulator/socks_proxy.h: a SOCKS5 proxy (RFC 1928) without authentication that resolves host names itself.
#pragma once
#include "simulator/descriptor.h"
#include <atomic>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

namespace sim {

class socks_proxy {
  public:
    socks_proxy(); // listens on a port of 127.0.0.1
    ~socks_proxy();
    int port() const { return port_; }
    // {"do": "inspect"}: the targets asked for ("localhost:8443") and how they were named; {"do": "refuse", "reply":
    // n}: the next connections are refused with this reply code (0: served). Throws std::invalid_argument.
    nlohmann::json control(const nlohmann::json &command);

  private:
    void serve();
    void connect_and_relay(int client);

    descriptor listener_;
    descriptor wake_;
    int port_ = 0;
    std::atomic<uint8_t> reply_ = 0;
    std::mutex mutex_;
    nlohmann::json targets_ = nlohmann::json::array();
    std::vector<std::thread> relays_;
    std::thread thread_;
};

} // namespace sim
