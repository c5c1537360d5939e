// What a document for the callers must be.
#pragma once
#include "fuzz/fuzz_input.h"
#include <nlohmann/json.hpp>
#include <string_view>

// A profileState that SGP.22 does not define is shown as the hexadecimal digits that the card sent.
inline bool has_undefined_state(std::string_view document)
{
    constexpr std::string_view key = "\"status\":";
    for (size_t found = document.find(key); found != std::string_view::npos; found = document.find(key, found + 1)) {
        const auto digits = document.substr(found + key.size(), 2);
        if (digits.find_first_of("ABCDEF") != std::string_view::npos) return true;
    }
    return false;
}

// Texts of the card are inserted unescaped, so only a document without any control or non-ASCII character, made from
// an answer without quotes and backslashes, has to be JSON.
inline void require_json(std::string_view document, bool card_sent_quotes)
{
    const bool is_plain = std::ranges::all_of(document, [](char c) { return c >= ' ' && c <= '~'; });
    if (is_plain && !card_sent_quotes && !has_undefined_state(document)) REQUIRE(nlohmann::json::accept(document));
}
