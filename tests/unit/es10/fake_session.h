// Replaces eUICC__store_data: records what would go to the card and answers as told.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

struct ModemHandle;

struct fake_session_type {
    uint32_t result = 0;
    std::string answer; // hex; none: a null response
    std::vector<std::string> sent;
    ModemHandle *handle = nullptr; // of the last call
    uint8_t channel = 0;
    void reset() { *this = {}; }
};
extern fake_session_type fake_session;
