#include "rsp/activation_code.h"
#include "foundation/log.h"
#include "foundation/result.h"
#include <string.h>
#include <strings.h>

namespace {
constexpr const char *prefix = "LPA:";
constexpr char ac_format = '1';
constexpr char delimiter = '$';

// The pieces are searched in a terminated copy and recorded where they lie in the caller's code.
struct reader {
    char copy[ACTIVATION_CODE_MAX_BYTES + 1] = {};
    const char *next = copy;
    const uint8_t *code;
    const uint8_t *in_code(const char *position) const { return code + (position - copy); }
};

struct piece {
    const uint8_t *start;
    uint8_t length;
    const char *end; // the delimiter, or null when the piece is the rest of the code
};

// The piece at the reader's position; the reader then stands behind its delimiter, or at the end.
piece read_piece(reader &reader)
{
    const char *start = reader.next;
    const char *end = strchr(start, delimiter);
    const size_t length = end ? static_cast<size_t>(end - start) : strlen(start);
    reader.next = end ? end + 1 : start + length;
    return {reader.in_code(start), static_cast<uint8_t>(length), end};
}

void skip_prefix(reader &reader)
{
    if (strncasecmp(reader.next, prefix, strlen(prefix)) == 0) reader.next += strlen(prefix);
    log__string(LOG__TRACE, "[rsp__parse_activation_code] Activation code after skip '%s' prefix: '%s'", prefix,
                reader.next);
}

uint32_t read_format(reader &reader)
{
    const char format = *reader.next;
    if (format == 0) {
        log__string(LOG__ERROR, "[rsp__parse_activation_code] AC_Format '%c' not found, activation code is too short",
                    ac_format);
        return RESULT__FATAL_ERROR;
    }
    if (format != ac_format) {
        log__string(
            LOG__ERROR,
            "[rsp__parse_activation_code] the AC_Format of the activation code is invalid, current '%c', expected '%c'",
            format, ac_format);
        return RESULT__FATAL_ERROR;
    }
    const char found = reader.next[1];
    if (found == 0) {
        log__string(
            LOG__ERROR,
            "[rsp__parse_activation_code] delimiter '%c' after AC_Format not found, activation code is too short",
            delimiter);
        return RESULT__FATAL_ERROR;
    }
    if (found != delimiter) {
        log__string(LOG__ERROR,
                    "[rsp__parse_activation_code] AC_Format is not followed by a delimiter '%c', delimiter found '%c'",
                    delimiter, found);
        return RESULT__FATAL_ERROR;
    }
    reader.next += 2;
    return RESULT__OK;
}

uint32_t read_address(reader &reader, ActivationCodeInfo *info)
{
    const piece address = read_piece(reader);
    info->smdp_address = address.start;
    if (!address.end) {
        log__string(LOG__ERROR, "[rsp__parse_activation_code] Delimiter '%c' followed by the SMDP+ address not found",
                    delimiter);
        return RESULT__FATAL_ERROR;
    }
    info->smdp_address_length = address.length;
    if (address.length == 0) {
        log__string(LOG__ERROR, "[rsp__parse_activation_code] SMDP+ address length is 0");
        return RESULT__FATAL_ERROR;
    }
    log__data(LOG__DEBUG, "[rsp__parse_activation_code] SMDP+ address: ", address.start, address.length);
    return RESULT__OK;
}

// An empty token is an error only when more follows: "1$host$" is a code for an SM-DP+ that chooses by EID.
uint32_t read_token(reader &reader, ActivationCodeInfo *info, bool *is_last)
{
    const piece token = read_piece(reader);
    info->ac_token = token.start;
    info->ac_token_length = token.length;
    *is_last = !token.end;
    if (*is_last)
        log__string(LOG__TRACE, "[rsp__parse_activation_code] Delimiter '%c' followed by the AC_Token not found",
                    delimiter);
    else
        log__string(LOG__TRACE, "[rsp__parse_activation_code] Delimiter '%c' followed by the AC_Token found",
                    delimiter);
    if (token.length == 0) {
        log__string(*is_last ? LOG__WARN : LOG__ERROR, "[rsp__parse_activation_code] AC_Token length is 0");
        if (!*is_last) return RESULT__FATAL_ERROR;
    }
    log__data(LOG__DEBUG, "[rsp__parse_activation_code] AC_Token: ", token.start, token.length);
    return RESULT__OK;
}

void read_flag(const reader &reader, ActivationCodeInfo *info)
{
    if (strcmp(reader.next, "1") == 0) {
        info->cc_required = 1;
        log__string(LOG__TRACE, "[rsp__parse_activation_code] Confirmation Code Required Flag is present");
    } else {
        log__string(LOG__TRACE, "[rsp__parse_activation_code] Confirmation Code Required Flag is not present");
    }
}

void read_oid_and_flag(reader &reader, ActivationCodeInfo *info)
{
    const piece oid = read_piece(reader);
    if (oid.end) // worded as for the token
        log__string(LOG__TRACE, "[rsp__parse_activation_code] Delimiter '%c' followed by the AC_Token found",
                    delimiter);
    else
        log__string(LOG__TRACE, "[rsp__parse_activation_code] Delimiter '%c' followed by the SM-DP+ OID not found",
                    delimiter);
    if (oid.length > 0) {
        info->smdp_oid = oid.start;
        info->smdp_oid_length = oid.length;
        log__data(LOG__DEBUG, "[rsp__parse_activation_code] SM-DP+ OID: ", oid.start, oid.length);
    } else {
        log__string(LOG__TRACE, "[rsp__parse_activation_code] SM-DP+ OID length is 0");
    }
    if (oid.end) read_flag(reader, info);
}
} // namespace

uint32_t rsp__parse_activation_code(const uint8_t *activation_code, uint32_t length, ActivationCodeInfo *info)
{
    if (!activation_code || length == 0) {
        log__string(LOG__ERROR, "[rsp__parse_activation_code] The activation code is empty or null");
        return RESULT__BAD_ARGUMENT;
    }
    if (length > ACTIVATION_CODE_MAX_BYTES) {
        log__string(LOG__ERROR, "[rsp__parse_activation_code] The activation code is too long: size %lu, max size %u",
                    static_cast<unsigned long>(length), ACTIVATION_CODE_MAX_BYTES);
        return RESULT__BAD_ARGUMENT;
    }
    reader reader{.code = activation_code};
    memcpy(reader.copy, activation_code, length);
    log__string(LOG__DEBUG, "[rsp__parse_activation_code] Activation code: '%s'", reader.copy);
    info->smdp_oid = nullptr;
    info->smdp_oid_length = 0;
    info->cc_required = 0;

    skip_prefix(reader);
    uint32_t rc = read_format(reader);
    if (rc != RESULT__OK) return rc;
    rc = read_address(reader, info);
    if (rc != RESULT__OK) return rc;
    bool is_last = false;
    rc = read_token(reader, info, &is_last);
    if (rc != RESULT__OK) return rc;
    if (!is_last) read_oid_and_flag(reader, info);
    return RESULT__OK;
}
