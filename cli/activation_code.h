// cli/activation_code.h: where an activation code comes from: text, standard input, a picture of a QR code.
#pragma once
#include "cli/outcome.h"
#include <istream>

// Replaces "-" with the first line of in that is not empty. Otherwise how the command ended.
std::optional<outcome> read_code(std::string &code, std::istream &in);

// The one activation code in a picture, found by zbarimg. Otherwise how the command ended.
std::optional<outcome> read_code_from_picture(std::string &code, const std::string &file);

// Whether it begins as one: [LPA:]1$.
bool is_activation_code(const std::string &text);

// Whether the Confirmation Code Required Flag is set: [LPA:]1$address$token$[oid]$1.
bool needs_confirmation_code(const std::string &code);
