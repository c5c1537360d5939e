/* platform/config/json_file.h: small configuration files in JSON, read where they lie.
 *
 * A value is a stretch of the file's text, already known to be well-formed JSON; an absent value has a null begin, and
 * asking it for more gives absent values again. Nothing is allocated but the file's text and the texts copied out. */
#pragma once
#include <stdint.h>

/* The text of one file, zero-terminated, and its outermost value. */
struct json_file {
    char *text = nullptr;
    json_file() = default;
    json_file(const json_file &) = delete;
    json_file &operator=(const json_file &) = delete;
    ~json_file();
};

struct json_value {
    const char *begin;
    const char *end;
};

constexpr json_value json_absent = {nullptr, nullptr};

/* Reads a file of at most 64 KiB that holds one JSON value. The value is absent when that fails: *problem then tells
 * why, as a text that lives for ever, and errno as a number (EBADMSG for malformed JSON). */
json_value json_file__read(json_file *file, const char *path, const char **problem);

/* The member of an object (the first with this name), the element of an array. */
json_value json_file__member(json_value object, const char *name);
json_value json_file__element(json_value array, uint32_t index);

/* A string's text, its escapes resolved, allocated with malloc. Null when value is no string or memory runs out. */
char *json_file__copy_text(json_value value);

/* A number in thousandths, what follows the third decimal cut off. False when value is no number, is negative, has an
 * exponent or passes 10^9. */
bool json_file__thousandths(json_value value, int64_t *result);
