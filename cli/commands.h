// cli/commands.h: what the program can do, one row a command.
#pragma once
#include "cli/readable.h"
#include <cstdint>
#include <string>
#include <vector>

struct command_input {
    std::string modem;
    std::vector<std::string> arguments; // one for each of the command's
    std::string confirmation_code;      // of download
};

struct command_argument {
    const char *name; // "ICCID"
    const char *help;
};

struct command {
    const char *name;
    const char *help;
    std::vector<command_argument> arguments;
    uint32_t (*run)(const command_input &input, char **json, uint32_t *length);
    document_view show;             // null: no document
    const char *done = nullptr;     // what to say when there is no document
    const char *question = nullptr; // what destroys asks first
    bool takes_confirmation_code = false;
};

const std::vector<command> &commands();
