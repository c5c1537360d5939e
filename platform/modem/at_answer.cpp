#include "platform/modem/at_answer.h"
#include <initializer_list>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

namespace {
constexpr uint32_t first_capacity = 1024;
constexpr char csim_prefix[] = "+CSIM:";
constexpr size_t csim_prefix_length = sizeof csim_prefix - 1;

bool is_line_end(char c) { return c == '\r' || c == '\n'; }
bool is_blank(char c) { return c == ' ' || c == '\t'; }

bool begins_with(const char *line, size_t length, const char *prefix)
{
    return length >= strlen(prefix) && strncasecmp(line, prefix, strlen(prefix)) == 0;
}

bool is_final_result(const char *line, size_t length)
{
    while (length > 0 && is_blank(line[length - 1]))
        --length;
    for (const char *code : {"OK", "ERROR"})
        if (length == strlen(code) && begins_with(line, length, code)) return true;
    return begins_with(line, length, "+CME ERROR:") || begins_with(line, length, "+CMS ERROR:");
}

enum class line_kind { information, echo, final_result };

line_kind kind_of(const at_answer *answer, const char *line, size_t length)
{
    const bool echo_expected = answer->echo_length > 0;
    if (echo_expected && length == answer->echo_length && memcmp(line, answer->echo, length) == 0)
        return line_kind::echo;
    return is_final_result(line, length) ? line_kind::final_result : line_kind::information;
}

bool append(at_answer *answer, char c)
{
    if (answer->length >= at_answer_max_bytes) return false;
    if (answer->length + 1 >= answer->capacity) { // the terminating zero needs room as well
        const uint32_t grown = answer->capacity == 0 ? first_capacity : 2 * answer->capacity;
        auto *text = static_cast<char *>(realloc(answer->text, grown));
        if (!text) return false;
        answer->text = text;
        answer->capacity = grown;
    }
    answer->text[answer->length++] = c;
    return true;
}

// The line before this line end.
line_kind end_line(at_answer *answer)
{
    const line_kind kind = kind_of(answer, answer->text + answer->line_start, answer->length - answer->line_start);
    if (kind == line_kind::final_result) answer->complete = true;
    if (kind == line_kind::echo) {
        answer->length = answer->line_start;
        answer->echo_length = 0; // a modem repeats a command once
    }
    return kind;
}

bool take(at_answer *answer, char c)
{
    if (c == 0) return true; // noise of a starting modem; it would cut the text short
    const bool ends_line = is_line_end(c) && answer->length > answer->line_start;
    if (ends_line && end_line(answer) == line_kind::echo) return true; // its line end goes with it
    if (!append(answer, c)) return false;
    if (is_line_end(c)) answer->line_start = answer->length;
    return true;
}

// The hexadecimal digits of a "+CSIM:" line: what follows the comma, without quotes and blanks.
struct digits {
    const char *begin;
    size_t count;
};

digits csim_digits(const char *line, size_t length)
{
    const auto *comma = static_cast<const char *>(memchr(line, ',', length));
    if (!comma) return {nullptr, 0};
    const char *begin = comma + 1;
    const char *end = line + length;
    while (begin < end && (is_blank(*begin) || *begin == '"'))
        ++begin;
    while (end > begin && (is_blank(end[-1]) || end[-1] == '"'))
        --end;
    const auto count = static_cast<size_t>(end - begin);
    return strspn(begin, "0123456789ABCDEFabcdef") >= count ? digits{begin, count} : digits{nullptr, 0};
}

// Writes the line in its usual form; returns the place behind it.
char *put_csim(char *to, const char *line, digits found)
{
    const char *number = line + csim_prefix_length;
    while (is_blank(*number))
        ++number;
    const auto *comma = static_cast<const char *>(memchr(number, ',', static_cast<size_t>(found.begin - number)));
    to += sprintf(to, "%s %.*s,\"%.*s\"", csim_prefix, static_cast<int>(comma - number), number,
                  static_cast<int>(found.count), found.begin);
    return to;
}

char *put_line(char *to, const char *line, size_t length)
{
    const bool csim = begins_with(line, length, csim_prefix);
    const digits found = csim ? csim_digits(line, length) : digits{nullptr, 0};
    if (found.begin) return put_csim(to, line, found);
    memcpy(to, line, length);
    return to + length;
}

// A line grows by a blank and two quotes at most.
constexpr uint32_t growth_of_a_line = 3;
} // namespace

at_answer::at_answer(const char *command) : echo(command), echo_length(strcspn(command, "\r\n")) {}

at_answer::~at_answer() { free(text); }

bool at_answer__take(at_answer *answer, const char *bytes, size_t count)
{
    for (size_t i = 0; i < count && !answer->complete; ++i)
        if (!take(answer, bytes[i])) return false;
    return true;
}

char *at_answer__hand_over(at_answer *answer)
{
    --answer->length; // Of the last line end only one byte has come for certain: it is written anew.
    answer->text[answer->length] = 0;
    uint32_t lines = 1;
    for (uint32_t i = 0; i < answer->length; ++i)
        lines += is_line_end(answer->text[i]);
    auto *const result = static_cast<char *>(malloc(answer->length + lines * growth_of_a_line + sizeof "\r\n"));
    if (!result) return nullptr;
    char *to = result;
    for (const char *at = answer->text; *at;) {
        const size_t length = strcspn(at, "\r\n");
        to = put_line(to, at, length);
        at += length;
        if (*at) *to++ = *at++;
    }
    memcpy(to, "\r\n", sizeof "\r\n");
    return result;
}
