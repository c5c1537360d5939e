// Stands in for liblpa: records what is called and answers with scripted outcomes.
#pragma once
#include "cli/program.h"
#include "cli/update_listener.h"
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct scripted_outcome {
    uint32_t code = 0;
    std::optional<std::string> document;
};

struct scripted_library : scripted_outcome {
    std::map<std::string, scripted_outcome> outcomes; // of operations that end otherwise: "get_profiles"
    std::vector<std::string> calls;                   // "enable_profile modem0 8901.."
    std::string proxy;                                // as it was during the call
    std::vector<lpa_progress> progress;               // told during the call
    void (*progress_callback)(const lpa_progress *progress, void *context) = nullptr;
    void *progress_context = nullptr;
    int reload_disabled = -1;
    int32_t log_level = -1;           // as it was set, -1: not at all
    bool logs_to_console = false;     // as it was during the call
    std::vector<update_event> events; // come to a listener, then the bus is gone
    bool has_bus = true;
    bool describes_codes = true; // false: json_generator__process_error finds no memory
};
extern scripted_library library;

// One run of the program.
struct run_outcome {
    int status;
    std::string out, err;
};
run_outcome run(std::vector<const char *> arguments, const std::string &input = "", terminal_use terminals = {});
