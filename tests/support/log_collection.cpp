#include "support/log_collection.h"
#include <cstdlib>
#include <fstream>
#include <unordered_set>

namespace {
// "0A 1B ...": contents of a dump, never a text.
bool is_dump(const std::string &text)
{
    return text.size() >= 3 && text.find_first_not_of("0123456789ABCDEF ") == std::string::npos && text[2] == ' ';
}

std::string escaped(const std::string &text)
{
    std::string result;
    for (const char character : text) {
        if (character == '\n') result += "\\n";
        else if (character == '\r') result += "\\r";
        else if (character == '\t') result += "\\t";
        else if (character == '\\') result += "\\\\";
        else result += character;
    }
    return result;
}

std::ofstream open_collection(std::ios::openmode mode)
{
    const char *file = getenv("LPA_LOG_COLLECTION");
    return file ? std::ofstream(file, mode) : std::ofstream();
}
} // namespace

void log_collection__begin() { open_collection(std::ios::trunc); }

void log_collection__add(int level, const std::string &text)
{
    static std::unordered_set<std::string> known;
    static std::ofstream collection = open_collection(std::ios::app);
    if (!collection.is_open() || level == 0 || is_dump(text)) return;
    const auto [entry, is_new] = known.insert(std::to_string(level) + " " + text);
    if (is_new) collection << escaped(*entry) << std::endl; // at once: a death test ends without a word
}
