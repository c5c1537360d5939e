// A simulated router for one test: starts router-sim in the sandbox, tells the library's terminal driver where its
// modems are, and speaks its control socket.
#pragma once
#include <nlohmann/json.hpp>
#include <string>

class router {
  public:
    explicit router(int modems = 1); // with an empty state directory
    ~router();
    router(const router &) = delete;
    router &operator=(const router &) = delete;

    nlohmann::json command(const nlohmann::json &request); // throws std::runtime_error on {"error": ...}
    const std::string &server() const { return server_; }  // "localhost:PORT"
    const std::string &proxy() const { return proxy_; }

    // Shorthands.
    nlohmann::json card(int number = 0) { return command({{"card", number}, {"do", "inspect"}}); }
    nlohmann::json sm_dp() { return command({{"server", true}, {"do", "inspect"}}); }
    nlohmann::json events();                          // data of each "vorn.updates" so far
    nlohmann::json add_order(nlohmann::json details); // the order, its "activation_code" included
    void card_does(nlohmann::json details, int number = 0) { tell("card", number, std::move(details)); }
    void modem_does(nlohmann::json details, int number = 0) { tell("modem", number, std::move(details)); }
    void server_does(nlohmann::json details) { tell("server", 1, std::move(details)); }
    // AT commands that modem got, APDUs without their wrapping: {"AT+CMEE=?", ..., "0070000001", ...}.
    std::vector<std::string> traffic(int modem = 0);
    void forget_traffic(int modem = 0) { modem_does({{"do", "clear-log"}}, modem); }

  private:
    void tell(const char *whom, int number, nlohmann::json details);

    int process_ = -1;
    int control_ = -1;
    std::string received_;
    std::string server_;
    std::string proxy_;
};

// The terminal driver gives up after so many seconds instead of a minute while the object lives.
class short_timeout {
  public:
    explicit short_timeout(double seconds);
    ~short_timeout();

  private:
    std::string usual_;
};
