// cli/safe_text.h: texts from a card, made harmless for a terminal.
//
// A card's texts may hold escape sequences, line ends, characters that turn the writing direction, and bytes that are
// no UTF-8 at all.
#pragma once
#include <string>
#include <string_view>

// For people: what a terminal would act on is shown as \x1B, \u202E; a byte that is no UTF-8 as \xFF.
std::string printable(std::string_view text);

// For programs: the same document with such characters as JSON escapes. The documents are compact, so every such
// character stands inside a text.
std::string escaped_json(std::string_view document);

// The same text with U+FFFD for each byte that is no UTF-8.
std::string valid_utf8(std::string_view text);

// Columns that a printable text takes: two for many East Asian characters, none for those that combine.
size_t display_width(std::string_view text);
