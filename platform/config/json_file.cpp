#include "platform/config/json_file.h"
#include <errno.h>
#include <fcntl.h>
#include <initializer_list>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace {
constexpr uint32_t max_file_bytes = 64 * 1024;
constexpr int max_depth = 16;

// Each reader is given the place where something should begin and returns the place behind it, null when it does not
// begin there. The text ends with a zero byte, which none of them passes.
const char *pass_value(const char *at, int depth);

const char *pass_blanks(const char *at)
{
    // A value handed out was passed over before, so its parts are passed again.
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
    while (*at == ' ' || *at == '\t' || *at == '\n' || *at == '\r')
        ++at;
    return at;
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

int hex_value(char c)
{
    if (is_digit(c)) return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The four digits of \uXXXX, or -1.
int32_t code_unit(const char *digits)
{
    int32_t unit = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = hex_value(digits[i]);
        if (digit < 0) return -1;
        unit = unit * 16 + digit;
    }
    return unit;
}

const char *pass_escape(const char *at)
{
    if (*at == 'u') return code_unit(at + 1) < 0 ? nullptr : at + 5;
    return *at && strchr("\"\\/bfnrt", *at) ? at + 1 : nullptr;
}

const char *pass_string(const char *at)
{
    if (*at != '"') return nullptr;
    ++at;
    while (*at != '"') {
        if (static_cast<unsigned char>(*at) < 0x20) return nullptr; // the end of the text, too
        at = *at == '\\' ? pass_escape(at + 1) : at + 1;
        if (!at) return nullptr;
    }
    return at + 1;
}

const char *pass_digits(const char *at)
{
    const char *const start = at;
    while (is_digit(*at))
        ++at;
    return at == start ? nullptr : at;
}

const char *pass_number(const char *at)
{
    if (*at == '-') ++at;
    at = pass_digits(at);
    if (at && *at == '.') at = pass_digits(at + 1);
    if (at && (*at == 'e' || *at == 'E')) {
        ++at;
        if (*at == '+' || *at == '-') ++at;
        at = pass_digits(at);
    }
    return at;
}

const char *pass_word(const char *at)
{
    for (const char *word : {"true", "false", "null"})
        if (strncmp(at, word, strlen(word)) == 0) return at + strlen(word);
    return nullptr;
}

const char *pass_member(const char *at, int depth)
{
    at = pass_string(at);
    if (!at) return nullptr;
    at = pass_blanks(at);
    return *at == ':' ? pass_value(pass_blanks(at + 1), depth) : nullptr;
}

const char *pass_list(const char *at, char close, int depth)
{
    if (depth == 0) return nullptr;
    at = pass_blanks(at + 1);
    if (*at == close) return at + 1;
    for (;;) {
        at = close == '}' ? pass_member(at, depth - 1) : pass_value(at, depth - 1);
        if (!at) return nullptr;
        at = pass_blanks(at);
        if (*at == close) return at + 1;
        if (*at != ',') return nullptr;
        at = pass_blanks(at + 1);
    }
}

const char *pass_value(const char *at, int depth) // NOLINT(misc-no-recursion): bounded by depth
{
    if (*at == '{') return pass_list(at, '}', depth);
    if (*at == '[') return pass_list(at, ']', depth);
    if (*at == '"') return pass_string(at);
    if (*at == '-' || is_digit(*at)) return pass_number(at);
    return pass_word(at);
}

char *put_utf8(char *to, uint32_t point)
{
    if (point < 0x80) {
        *to++ = static_cast<char>(point);
        return to;
    }
    const int followers = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    constexpr uint8_t lead[] = {0, 0xC0, 0xE0, 0xF0};
    *to++ = static_cast<char>(lead[followers] | point >> (6 * followers));
    for (int i = followers - 1; i >= 0; --i)
        *to++ = static_cast<char>(0x80 | (point >> (6 * i) & 0x3F));
    return to;
}

bool is_high_surrogate(int32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool is_low_surrogate(int32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// from stands on the four digits; half a pair becomes the replacement character.
const char *put_code_point(const char *from, char **to)
{
    const int32_t unit = code_unit(from);
    from += 4;
    const int32_t next = from[0] == '\\' && from[1] == 'u' ? code_unit(from + 2) : -1;
    if (is_high_surrogate(unit) && is_low_surrogate(next)) {
        *to = put_utf8(*to, static_cast<uint32_t>(0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00)));
        return from + 6;
    }
    const bool half = is_high_surrogate(unit) || is_low_surrogate(unit);
    *to = put_utf8(*to, half ? 0xFFFD : static_cast<uint32_t>(unit));
    return from;
}

char plain_escape(char c)
{
    constexpr char names[] = "bfnrt";
    constexpr char meant[] = "\b\f\n\r\t";
    const char *found = strchr(names, c);
    return found ? meant[found - names] : c;
}

// value is a well-formed string; an escape is never shorter than what it stands for.
void resolve_escapes(json_value value, char *to)
{
    const char *from = value.begin + 1;
    while (from < value.end - 1) {
        if (*from != '\\') {
            *to++ = *from++;
        } else if (from[1] == 'u') {
            from = put_code_point(from + 2, &to);
        } else {
            *to++ = plain_escape(from[1]);
            from += 2;
        }
    }
    *to = 0;
}

bool same_text(json_value name, const char *wanted)
{
    char *text = json_file__copy_text(name);
    const bool same = text && strcmp(text, wanted) == 0;
    free(text);
    return same;
}

// The whole file, or null with errno set.
char *read_file(int descriptor)
{
    auto *text = static_cast<char *>(malloc(max_file_bytes + 1));
    uint32_t size = 0;
    while (text && size <= max_file_bytes) {
        const ssize_t count = read(descriptor, text + size, max_file_bytes + 1 - size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) break;
        size += static_cast<uint32_t>(count);
        if (count > 0) continue;
        text[size] = 0; // the end came within the limit, so there is room
        return text;
    }
    if (size > max_file_bytes) errno = EFBIG;
    free(text);
    return nullptr;
}
} // namespace

json_file::~json_file() { free(text); }

json_value json_file__read(json_file *file, const char *path, const char **problem)
{
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0) {
        file->text = read_file(descriptor);
        const int error = errno;
        close(descriptor);
        errno = error;
    }
    if (!file->text) {
        *problem = strerror(errno);
        return json_absent;
    }
    const char *const begin = pass_blanks(file->text);
    const char *const end = pass_value(begin, max_depth);
    if (end && *pass_blanks(end) == 0) return {begin, end};
    errno = EBADMSG;
    *problem = "it is not well-formed JSON";
    return json_absent;
}

json_value json_file__member(json_value object, const char *name)
{
    if (!object.begin || *object.begin != '{') return json_absent;
    const char *at = pass_blanks(object.begin + 1);
    while (*at == '"') {
        const json_value found_name = {at, pass_string(at)};
        const char *const begin = pass_blanks(pass_blanks(found_name.end) + 1);
        const json_value value = {begin, pass_value(begin, max_depth)};
        if (same_text(found_name, name)) return value;
        at = pass_blanks(value.end);
        if (*at == ',') at = pass_blanks(at + 1);
    }
    return json_absent;
}

json_value json_file__element(json_value array, uint32_t index)
{
    if (!array.begin || *array.begin != '[') return json_absent;
    const char *at = pass_blanks(array.begin + 1);
    for (uint32_t i = 0; *at != ']'; ++i) {
        const json_value value = {at, pass_value(at, max_depth)};
        if (i == index) return value;
        at = pass_blanks(value.end);
        if (*at == ',') at = pass_blanks(at + 1);
    }
    return json_absent;
}

char *json_file__copy_text(json_value value)
{
    if (!value.begin || *value.begin != '"') return nullptr;
    auto *text = static_cast<char *>(malloc(static_cast<size_t>(value.end - value.begin)));
    if (text) resolve_escapes(value, text);
    return text;
}

bool json_file__thousandths(json_value value, int64_t *result)
{
    if (!value.begin || !is_digit(*value.begin)) return false;
    int64_t number = 0;
    int decimals = -1; // counted from the point on
    for (const char *at = value.begin; at < value.end; ++at) {
        if (*at == '.') decimals = 0;
        else if (!is_digit(*at)) return false;
        else if (decimals < 3) {
            number = number * 10 + (*at - '0');
            decimals += decimals >= 0;
        }
        if (number > 1000000000000) return false;
    }
    for (int i = decimals < 0 ? 0 : decimals; i < 3; ++i)
        number *= 10;
    if (number > 1000000000000) return false;
    *result = number;
    return true;
}
