// cli/update_listener.h: the "vorn.updates" events of the bus.
#pragma once
#include <cstdint>
#include <functional>
#include <string>

struct update_event {
    std::string modem; // "gsm.modem0"
    uint32_t event = 0;
    uint32_t state = 0; // the operation's result code
    std::string iccid;  // empty when the operation has none
};

// Calls ready once it listens, then hands over each event until take returns false. False: the bus cannot be reached
// (any more).
bool listen_to_updates(const std::function<void()> &ready, const std::function<bool(const update_event &)> &take);
