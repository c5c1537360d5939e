/* es9/json_data_extractor.h: finds one value by its key in a JSON text, without parsing the rest.
 *
 * Keys       are searched as they are given, so callers include the quotes: "\"status\"".
 * Looseness  is part of the contract: no nesting, no escapes but \", no check between key, colon and value.
 * Errors     0; 1 not found or malformed; 9 for no memory or a number of 20 characters and more. */
#pragma once
#include "foundation/export.h"
#include <stdint.h>

LPA_API_BEGIN

/* value: first character after the opening quote, length up to the closing one; not unescaped, not copied. */
uint32_t json_data_extractor__get_string_value(const char *document, const char *key, const char **value,
                                               uint32_t *length);

/* *value: terminated copy, released with M_free; null on failure. */
uint32_t json_data_extractor__get_string_value_copy(const char *document, const char *key, char **value);
uint32_t json_data_extractor__get_int_value(const char *document, const char *key, int32_t *value);
uint32_t json_data_extractor__get_boolean_value(const char *document, const char *key, uint8_t *value);

/* object: from its opening brace; length through the matching one. Braces in strings count. */
uint32_t json_data_extractor__get_object_value(const char *document, const char *key, const char **object,
                                               uint32_t *length);
uint32_t json_data_extractor__get_object_value_copy(const char *document, const char *key, char **object);

LPA_API_END
