// platform/config/config_file.h: small configuration files in JSON.
#pragma once
#include <nlohmann/json.hpp>
#include <string>

struct config_file {
    nlohmann::json root;  // discarded when the file cannot be used
    std::string problem;  // why, then
    bool missing = false; // there is no such file
};

// Reads a file of at most 64 KiB that holds one JSON value. Throws std::bad_alloc only.
config_file config_file__read(const char *path);

// A member of an object, or null: of what is no object, too.
const nlohmann::json *config_file__member(const nlohmann::json *object, const char *name);
