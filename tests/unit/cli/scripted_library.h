// Stands in for liblpa: records what is called and answers with one scripted outcome.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct scripted_library {
    uint32_t code = 0;
    std::optional<std::string> document;
    std::vector<std::string> calls; // "enable_profile modem0 8901.."
    std::string proxy;              // as it was during the call
    int reload_disabled = -1;
    bool describes_codes = true; // false: json_generator__process_error finds no memory
};
extern scripted_library library;
