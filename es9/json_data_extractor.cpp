#include "es9/json_data_extractor.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "lpa/memory.h"
#include <stdlib.h>
#include <string.h>

namespace {
struct start_texts {
    const char *no_key;   // %s key
    const char *no_colon; // %s key
};

// First character after the colon that follows the key; null when there is none, logged.
const char *find_value_start(const char *document, const char *key, const start_texts &texts)
{
    const char *match = document ? strstr(document, key) : nullptr;
    if (!match) {
        log__string(LOG__DEBUG, texts.no_key, key);
        return nullptr;
    }
    const char *colon = *match ? strchr(match + 1, ':') : nullptr; // an empty key matches the end of an empty document
    if (!colon) {
        log__string(LOG__DEBUG, texts.no_colon, key);
        return nullptr;
    }
    return colon + 1;
}

// Where a number or a boolean ends. A comma wins however far away it is. The brace is looked for from the second
// character on: a value has at least one.
const char *find_value_end(const char *start)
{
    const char *comma = strchr(start, ',');
    if (comma || !*start) return comma;
    return strchr(start + 1, '}');
}

// Closing quote of the string at start; a quote after a backslash is never it, an escaped backslash included.
const char *find_end_quote(const char *start)
{
    const char *str_end = start + strlen(start);
    const char *cursor = start;
    do {
        cursor = strchr(cursor, '"');
        if (!cursor) {
            log__string(LOG__DEBUG,
                        "[json_data_extractor__string_value_find_end_quote] char '\"' not found, cursor is null");
            return nullptr;
        }
        if (cursor[-1] != '\\') return cursor;
        ++cursor;
    } while (cursor < str_end);
    log__string(LOG__DEBUG, "[json_data_extractor__string_value_find_end_quote] char '\"' not found, cursor > str_end");
    return nullptr;
}

// Closing brace of the object whose content begins at start; braces in strings count as any other.
const char *find_end_brace(const char *start)
{
    uint32_t depth = 1;
    for (const char *cursor = start; *cursor; ++cursor) {
        if (*cursor == '{') ++depth;
        if (*cursor == '}' && --depth == 0) return cursor;
    }
    return nullptr;
}

bool boolean_text_found(const char *start, const char *end, const char *text, const char *key)
{
    const char *match = strstr(start, text);
    if (match && match <= end) return true;
    log__string(LOG__TRACE, "[json_data_extractor__get_boolean_value] boolean %s not found after key '%s'", text, key);
    return false;
}

using find_span = uint32_t (*)(const char *document, const char *key, const char **span, uint32_t *length);

uint32_t copy_span(find_span find, const char *not_found, const char *no_memory, const char *document, const char *key,
                   char **copy)
{
    *copy = nullptr;
    const char *span = nullptr;
    uint32_t length = 0;
    const uint32_t rc = find(document, key, &span, &length);
    if (rc != RESULT__OK) {
        log__string(LOG__DEBUG, not_found, rc);
        return rc;
    }
    owned_text text(static_cast<char *>(M_malloc(static_cast<size_t>(length) + 1)));
    if (!text.data) {
        log__string(LOG__DEBUG, "%s", no_memory);
        return RESULT__NO_MEMORY;
    }
    memcpy(text.data, span, length);
    text.data[length] = '\0';
    *copy = text.hand_over();
    return RESULT__OK;
}

constexpr start_texts string_texts = {
    "json_data_extractor__get_string_value : key '%s' not found",
    "json_data_extractor__get_string_value: character ':' not found after the key='%s'",
};
constexpr start_texts int_texts = {
    "json_data_extractor__get_int_value : key '%s' not found",
    "json_data_extractor__get_int_value: character ':' not found after the key='%s'",
};
constexpr start_texts boolean_texts = {
    "[json_data_extractor__get_boolean_value] key '%s' not found",
    "[json_data_extractor__get_boolean_value] character ':' not found after the key='%s'",
};
constexpr start_texts object_texts = {
    "json_data_extractor__get_object_value : key '%s' not found",
    "json_data_extractor__get_object_value: character ':' not found after the key='%s'",
};
} // namespace

uint32_t json_data_extractor__get_string_value(const char *document, const char *key, const char **value,
                                               uint32_t *length)
{
    const char *start = find_value_start(document, key, string_texts);
    if (!start) return RESULT__FATAL_ERROR;
    const char *open_quote = strchr(start, '"');
    if (!open_quote) {
        log__string(
            LOG__DEBUG,
            "json_data_extractor__get_string_value: character '\"' not found after the key='%s' and the character ':",
            key);
        return RESULT__FATAL_ERROR;
    }
    const char *end_quote = find_end_quote(open_quote + 1);
    if (!end_quote) {
        log__string(LOG__DEBUG, "json_data_extractor__get_string_value: End quote not found");
        return RESULT__FATAL_ERROR;
    }
    *value = open_quote + 1;
    *length = static_cast<uint32_t>(end_quote - *value);
    return RESULT__OK;
}

uint32_t json_data_extractor__get_string_value_copy(const char *document, const char *key, char **value)
{
    return copy_span(json_data_extractor__get_string_value,
                     "json_data_extractor__get_string_value_copy error finding the value, retrun code %d",
                     "json_data_extractor__get_string_value_copy error allocating memory", document, key, value);
}

uint32_t json_data_extractor__get_int_value(const char *document, const char *key, int32_t *value)
{
    const char *start = find_value_start(document, key, int_texts);
    if (!start) return RESULT__FATAL_ERROR;
    const char *end = find_value_end(start);
    if (!end) {
        log__string(LOG__DEBUG, "json_data_extractor__get_int_value: character ',' or '}' not found after the key='%s'",
                    key);
        return RESULT__FATAL_ERROR;
    }
    char number[20] = {};
    const auto length = static_cast<uint8_t>(end - start); // counted in one byte: a span of 259 characters is one of 3
    const uint32_t needed = length + 1U;
    if (needed > sizeof number) {
        log__string(
            LOG__DEBUG,
            "json_data_extractor__get_int_value:Not enough space to add number to the buffer. Buffer size %u, buffer size needed %u",
            static_cast<uint32_t>(sizeof number), needed);
        return RESULT__NO_MEMORY;
    }
    memcpy(number, start, length);
    *value = static_cast<int32_t>(strtol(number, nullptr, 10)); // what atoi does, defined for large numbers too
    return RESULT__OK;
}

uint32_t json_data_extractor__get_boolean_value(const char *document, const char *key, uint8_t *value)
{
    const char *start = find_value_start(document, key, boolean_texts);
    if (!start) return RESULT__FATAL_ERROR;
    const char *end = find_value_end(start);
    if (!end) {
        log__string(LOG__DEBUG,
                    "[json_data_extractor__get_boolean_value] character ',' or '}' not found after the key='%s'", key);
        return RESULT__FATAL_ERROR;
    }
    const bool is_true = boolean_text_found(start, end, "true", key);
    if (!is_true && !boolean_text_found(start, end, "false", key)) {
        log__string(LOG__WARN,
                    "[json_data_extractor__get_boolean_value] No boolean value found after find the key '%s'", key);
        return RESULT__FATAL_ERROR;
    }
    *value = is_true ? 1 : 0;
    return RESULT__OK;
}

uint32_t json_data_extractor__get_object_value(const char *document, const char *key, const char **object,
                                               uint32_t *length)
{
    const char *start = find_value_start(document, key, object_texts);
    if (!start) return RESULT__FATAL_ERROR;
    const char *open_brace = strchr(start, '{');
    if (!open_brace) {
        log__string(
            LOG__DEBUG,
            "json_data_extractor__get_object_value: character '{' not found after the key='%s' and the character ':",
            key);
        return RESULT__FATAL_ERROR;
    }
    const char *end_brace = find_end_brace(open_brace + 1);
    if (!end_brace) {
        log__string(
            LOG__DEBUG,
            "json_data_extractor__get_object_value: character '}' corrsponding at the first '}' character not found");
        return RESULT__FATAL_ERROR;
    }
    *object = open_brace;
    *length = static_cast<uint32_t>(end_brace - open_brace + 1);
    return RESULT__OK;
}

uint32_t json_data_extractor__get_object_value_copy(const char *document, const char *key, char **object)
{
    return copy_span(json_data_extractor__get_object_value,
                     "json_data_extractor__get_object_value_copy error finding the value, retrun code %d",
                     "json_data_extractor__get_object_value_copy error allocating memory", document, key, object);
}
