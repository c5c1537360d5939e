// cli/document.h: documents, read and written.
//
// The library puts texts into its documents as the card has them: nothing is escaped, a backslash is a backslash, and a
// quote is there to mean itself as well as the text's end. So a text is taken to end at the first quote behind which
// the document goes on: with the end of the object, or with one of the library's members that this object does not have
// yet. Only a text that imitates such a continuation is still read wrongly, as ending there; nothing can tell it from a
// shorter text.
#pragma once
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

using json = nlohmann::ordered_json;

// A document of the library's: an object with texts and whole numbers, or a list of such objects. Discarded when it is
// none. What is no UTF-8 has become U+FFFD.
json read_document(std::string_view text);

// One line of valid JSON that is harmless for a terminal.
std::string json_text(const json &document);
