// cli/readable.h: the library's documents for people.
#pragma once
#include "cli/document.h"
#include "cli/page.h"

using document_view = void (*)(const json &document, const page &page);

void show_eid(const json &document, const page &page);
void show_profiles(const json &document, const page &page);
void show_addresses(const json &document, const page &page);
void show_free_memory(const json &document, const page &page);
void show_notifications(const json &document, const page &page);
void show_result(const json &document, const page &page);

// A member as printable text, absent when it is not there.
std::string text_member(const json &object, const char *key, const char *absent = "-");
