// cli/readable.h: the library's documents for people.
#pragma once
#include <nlohmann/json.hpp>
#include <ostream>

using document_view = void (*)(const nlohmann::json &document, std::ostream &out);

void show_eid(const nlohmann::json &document, std::ostream &out);
void show_profiles(const nlohmann::json &document, std::ostream &out);
void show_addresses(const nlohmann::json &document, std::ostream &out);
void show_free_memory(const nlohmann::json &document, std::ostream &out);
void show_notifications(const nlohmann::json &document, std::ostream &out);
void show_result(const nlohmann::json &document, std::ostream &out);

// A member as printable text, absent when it is not there.
std::string text_member(const nlohmann::json &object, const char *key, const char *absent = "-");
