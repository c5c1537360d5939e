// simulator/modem.h: a modem on a pseudo-terminal, with its own thread.
//
// Its terminal is reached by a link that stays the same when the modem vanishes and comes back under another name. Who
// opens and closes the terminal does not matter to it: it holds the other side open, as a device does.
#pragma once
#include "simulator/at_interpreter.h"
#include <filesystem>
#include <memory>

namespace sim {

class modem {
  public:
    // link is made, or replaced. Throws std::system_error.
    modem(int number, std::filesystem::path link, card_slot card);
    ~modem();
    const std::filesystem::path &terminal() const;
    // {"modem": N, "do": ...} as docs/simulator.md lists. Throws std::invalid_argument.
    nlohmann::json control(const nlohmann::json &command);

  private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace sim
