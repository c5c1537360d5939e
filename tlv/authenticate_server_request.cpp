// AuthenticateServerRequest (SGP.22 section 5.7.13): the SM-DP+ answer to InitiateAuthentication, on its way into the
// eUICC.
#include "es9/json_data_extractor.h"
#include "foundation/base64.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "tlv/length_field.h"
#include "tlv/tlv_generator.h"
#include <string.h>

namespace {

constexpr uint8_t request_tag[] = {0xBF, 0x38};

// A field of the server's answer: base64 of a whole DER element.
struct server_field {
    const char *key;
    const char *not_found;
    const char *undecodable;
    const char *title;
    const char *no_memory;
};

constexpr server_field server_fields[] = {
    {"\"serverSigned1\"",
     "[tlv_generator__authenticate_server_request] 'serverSigned1' not found in initate authentication HTTP response",
     "[tlv_generator__authenticate_server_request] Error decoding the 'serverSigned1' base64 field",
     "[tlv_generator__authenticate_server_request] tlv_server_signed",
     "[tlv_generator__authenticate_server_request] can't reallocate data to tlv to copy the tlv_server_signed"},
    {"\"serverSignature1\"",
     "[tlv_generator__authenticate_server_request] 'serverSignature1' not found in initate authentication HTTP response",
     "[tlv_generator__authenticate_server_request] Error decoding the 'serverSignature1' base64 field",
     "[tlv_generator__authenticate_server_request] tlv_server_signature",
     "[tlv_generator__authenticate_server_request] can't reallocate data to tlv to copy the tlv_server_signature"},
    {"\"euiccCiPKIdToBeUsed\"",
     "[tlv_generator__authenticate_server_request] 'euiccCiPKIdToBeUsed' not found in initate authentication HTTP response",
     "[tlv_generator__authenticate_server_request] Error decoding the 'euiccCiPKIdToBeUsed' base64 field",
     "[tlv_generator__authenticate_server_request] tlv_euicc_ci_pk",
     "[tlv_generator__authenticate_server_request] can't reallocate data to tlv to copy the tlv_euicc_ci_pk"},
    {"\"serverCertificate\"",
     "[tlv_generator__authenticate_server_request] 'serverCertificate' not found in initate authentication HTTP response",
     "[tlv_generator__authenticate_server_request] Error decoding the 'serverCertificate' base64 field",
     "[tlv_generator__authenticate_server_request] tlv_server_certificate",
     "[tlv_generator__authenticate_server_request] can't reallocate data to tlv to copy the tlv_server_certificate"},
};
constexpr const char *no_memory_for_ctx_params =
    "[tlv_generator__authenticate_server_request] can't reallocate data to tlv to copy the tlv_ctx_params";

constexpr uint32_t field_count = sizeof server_fields / sizeof server_fields[0];

struct text_span {
    const char *text;
    uint32_t length;
};

struct element {
    owned_bytes bytes;
    uint32_t length = 0;
};

// The request's contents, in order.
struct request_parts {
    element fields[field_count];
    element ctx_params1;
};

uint32_t find_fields(const char *json, text_span *values)
{
    for (uint32_t i = 0; i < field_count; ++i) {
        const uint32_t rc =
            json_data_extractor__get_string_value(json, server_fields[i].key, &values[i].text, &values[i].length);
        if (rc != RESULT__OK) {
            log__string(LOG__ERROR, "%s", server_fields[i].not_found);
            return rc;
        }
    }
    return RESULT__OK;
}

uint32_t decode_field(const server_field &field, const text_span &value, element *decoded)
{
    // A copy, for the decoder rewrites escaped padding in place and the answer is the caller's.
    const owned_text copy((char *)M_malloc((size_t)value.length + 1));
    if (copy.data) {
        memcpy(copy.data, value.text, value.length);
        copy.data[value.length] = '\0';
        decoded->bytes.reset(base64_decode(copy.data, value.length, &decoded->length));
    }
    if (!decoded->bytes.data) {
        log__string(LOG__ERROR, "%s", field.undecodable);
        return RESULT__FATAL_ERROR;
    }
    log__data(LOG__DEBUG, field.title, decoded->bytes.data, decoded->length);
    return RESULT__OK;
}

uint32_t build_ctx_params1(const uint8_t *matching_id, uint32_t matching_id_length, element *built)
{
    const int32_t needed = tlv_generator__add_ctx_params1_value(nullptr, 0, matching_id, matching_id_length);
    if (needed < 0) {
        log__string(
            LOG__ERROR,
            "[tlv_generator__authenticate_server_request] Error calculating the size of the CtxParams1 TLV, rc %ld",
            (long)needed);
        return RESULT__FATAL_ERROR;
    }
    built->bytes.reset((uint8_t *)M_malloc(needed));
    if (!built->bytes.data) {
        log__string(LOG__ERROR,
                    "[tlv_generator__authenticate_server_request] Can not allocate data to the tlv_ctx_params");
        return RESULT__NO_MEMORY;
    }
    const int32_t end =
        tlv_generator__add_ctx_params1_value(built->bytes.data, needed, matching_id, matching_id_length);
    if (end < 0) {
        log__string(LOG__ERROR, "[tlv_generator__authenticate_server_request] Adding the CtxParams1 TLV, rc %ld",
                    (long)end);
        return RESULT__FATAL_ERROR;
    }
    built->length = end;
    log__data(LOG__DEBUG, "[tlv_generator__authenticate_server_request] tlv_ctx_params", built->bytes.data,
              built->length);
    return RESULT__OK;
}

uint32_t gather_parts(const char *json, const uint8_t *matching_id, uint32_t matching_id_length, request_parts *parts)
{
    text_span values[field_count] = {};
    uint32_t rc = find_fields(json, values);
    for (uint32_t i = 0; i < field_count && rc == RESULT__OK; ++i)
        rc = decode_field(server_fields[i], values[i], &parts->fields[i]);
    return rc == RESULT__OK ? build_ctx_params1(matching_id, matching_id_length, &parts->ctx_params1) : rc;
}

// Tag and length, for the contents that parts hold.
uint32_t start_request(const request_parts &parts, element *request)
{
    uint64_t contents = parts.ctx_params1.length;
    for (const element &field : parts.fields)
        contents += field.length;
    const uint32_t field_size = contents <= UINT32_MAX ? length_field_size((uint32_t)contents) : 0;
    if (field_size == 0) {
        log__string(
            LOG__ERROR,
            "[tlv_generator__authenticate_server_request] Error calculating the length of the AuthenticateServerRequest TLV");
        return RESULT__FATAL_ERROR;
    }
    request->bytes.reset((uint8_t *)M_malloc(sizeof request_tag + field_size));
    if (!request->bytes.data) {
        log__string(LOG__ERROR, "[tlv_generator__authenticate_server_request] can't allocate data to tlv");
        return RESULT__NO_MEMORY;
    }
    memcpy(request->bytes.data, request_tag, sizeof request_tag);
    write_length_field(request->bytes.data + sizeof request_tag, field_size, (uint32_t)contents);
    request->length = (uint32_t)sizeof request_tag + field_size;
    return RESULT__OK;
}

// Moves part to the end of request.
uint32_t append(element *part, const char *no_memory, element *request)
{
    auto *grown = (uint8_t *)M_realloc(request->bytes.data, (size_t)request->length + part->length);
    if (!grown) {
        log__string(LOG__ERROR, "%s", no_memory);
        return RESULT__NO_MEMORY;
    }
    request->bytes.hand_over();
    request->bytes.reset(grown);
    memcpy(grown + request->length, part->bytes.data, part->length);
    request->length += part->length;
    part->bytes.reset();
    return RESULT__OK;
}

} // namespace

uint32_t tlv_generator__authenticate_server_request(const char *json, const uint8_t *matching_id,
                                                    uint32_t matching_id_length, uint8_t **data, uint32_t *length)
{
    *data = nullptr;
    request_parts parts;
    uint32_t rc = gather_parts(json ? json : "", matching_id, matching_id_length, &parts);
    if (rc != RESULT__OK) return rc;
    element request;
    rc = start_request(parts, &request);
    for (uint32_t i = 0; i < field_count && rc == RESULT__OK; ++i)
        rc = append(&parts.fields[i], server_fields[i].no_memory, &request);
    if (rc == RESULT__OK) rc = append(&parts.ctx_params1, no_memory_for_ctx_params, &request);
    if (rc != RESULT__OK) return rc;
    log__data(LOG__DEBUG, "[tlv_generator__authenticate_server_request] Authenticate server request",
              request.bytes.data, request.length);
    *length = request.length;
    *data = request.bytes.hand_over();
    return RESULT__OK;
}
