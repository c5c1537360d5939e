// cli/commands.h: what the program can do, one row a command.
#pragma once
#include "cli/outcome.h"
#include "cli/readable.h"
#include <cstdint>
#include <string>
#include <vector>

struct command_input {
    std::string modem;                  // of watch also empty: all
    std::vector<std::string> arguments; // one for each of the command's
    std::string confirmation_code;      // of download
    std::string picture;                // of download
    int event_count = 0;                // of watch; 0: without end
};

enum class argument_kind {
    text,
    profile,         // an ICCID once the command runs
    activation_code, // also from standard input or a picture
};

struct command_argument {
    const char *name; // "PROFILE"
    const char *help;
    argument_kind kind = argument_kind::text;
};

struct command {
    const char *name;
    const char *help;
    const char *example; // arguments only
    std::vector<command_argument> arguments;
    outcome (*run)(const command_input &input); // null: watch, which prints as it goes
    document_view show = nullptr;               // null: no document
    const char *done = nullptr;                 // what to say when there is no document
    const char *question = nullptr;             // what destroys asks first
};

const std::vector<command> &commands();
