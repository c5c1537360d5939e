#include "cli/safe_text.h"
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <locale.h>

namespace {

constexpr uint32_t no_character = 0xFFFFFFFF;

struct character {
    uint32_t code = no_character; // no_character: the byte is no UTF-8
    size_t bytes = 1;
};

size_t sequence_length(uint8_t first)
{
    if (first < 0x80) return 1;
    if (first >= 0xC2 && first < 0xE0) return 2;
    if (first >= 0xE0 && first < 0xF0) return 3;
    if (first >= 0xF0 && first < 0xF5) return 4;
    return 0;
}

bool is_shortest_form(uint32_t code, size_t length)
{
    constexpr uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool is_surrogate = code >= 0xD800 && code < 0xE000;
    return code >= smallest[length] && code < 0x110000 && !is_surrogate;
}

character read_character(std::string_view text)
{
    const auto first = static_cast<uint8_t>(text[0]);
    const size_t length = sequence_length(first);
    if (length == 0 || length > text.size()) return {};
    if (length == 1) return {first, 1};
    uint32_t code = first & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i) {
        const auto next = static_cast<uint8_t>(text[i]);
        if ((next & 0xC0) != 0x80) return {};
        code = code << 6 | (next & 0x3Fu);
    }
    if (!is_shortest_form(code, length)) return {};
    return {code, length};
}

// C0 and C1 controls, line and paragraph separators, and what turns the writing direction (Unicode Bidi_Control).
bool acts_on_a_terminal(uint32_t code)
{
    if (code == no_character) return true;
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x61C || code == 0x200E || code == 0x200F ||
           (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

// replace(code, byte) gives the text for each character that is concerned.
template <typename Replace> std::string rewrite(std::string_view text, bool (*concerns)(uint32_t code), Replace replace)
{
    std::string result;
    while (!text.empty()) {
        const character next = read_character(text);
        if (concerns(next.code)) result += replace(next.code, static_cast<uint8_t>(text[0]));
        else result += text.substr(0, next.bytes);
        text.remove_prefix(next.bytes);
    }
    return result;
}

std::string hex(const char *format, uint32_t value)
{
    char digits[16];
    snprintf(digits, sizeof digits, format, value);
    return digits;
}

} // namespace

std::string printable(std::string_view text)
{
    return rewrite(text, acts_on_a_terminal, [](uint32_t code, uint8_t byte) {
        if (code == no_character) return hex("\\x%02X", byte);
        return hex(code < 0x80 ? "\\x%02X" : "\\u%04X", code);
    });
}

std::string escaped_json(std::string_view document)
{
    return rewrite(document, acts_on_a_terminal,
                   [](uint32_t code, uint8_t) { return hex("\\u%04x", code == no_character ? 0xFFFD : code); });
}

std::string valid_utf8(std::string_view text)
{
    return rewrite(
        text, [](uint32_t code) { return code == no_character; },
        [](uint32_t, uint8_t) { return std::string("\xEF\xBF\xBD"); });
}

size_t display_width(std::string_view text)
{
    // wcwidth asks the locale, and the program's own may not know UTF-8.
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const locale_t usual = uselocale(utf8);
    size_t width = 0;
    while (!text.empty()) {
        const character next = read_character(text);
        const int columns = wcwidth(static_cast<wchar_t>(next.code));
        width += columns < 0 ? 1 : static_cast<size_t>(columns);
        text.remove_prefix(next.bytes);
    }
    uselocale(usual);
    return width;
}
