// simulator/euicc.h: an eUICC behind its APDU interface (ISO 7816-4, ETSI TS 102 221, SGP.22 v2.2).
//
// It checks what it is sent as a real card does: class bytes, channels, block numbers, signatures, session keys, the
// MAC and the encryption of every package segment. Its non-volatile state is a file that survives a power cut at any
// byte; channels, the RSP session and a package being loaded are volatile.
#pragma once
#include "simulator/certificates.h"
#include <functional>
#include <nlohmann/json.hpp>

namespace sim {

class euicc {
  public:
    // nv_file is made on first use, with this EID and no profiles.
    euicc(const std::filesystem::path &nv_file, const std::string &eid, certificate_authority &authority);
    ~euicc();
    // One command APDU; the answer is data followed by SW1 SW2. Thread: the modem's.
    byte_vector transmit(byte_view command);
    // Restart of the card: volatile state is lost, a pending REFRESH is carried out.
    void reset();
    // What tests look at: eid, profiles (with state, names, package as hex hash and size), notifications, addresses,
    // free memory, open channels, refresh pending.
    nlohmann::json inspect() const;
    // Adds a profile, sets memory, policy rules and the like; the commands are listed in docs/simulator.md. Throws
    // std::invalid_argument.
    nlohmann::json control(const nlohmann::json &command);

  private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace sim
