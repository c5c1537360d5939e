#include "tlv/tlv_generator.h"
#include "foundation/base64.h"
#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/result.h"
#include "tlv/buffer_room.h"
#include <string.h>

namespace {

// Elements of CtxParams1 (SGP.22 section 5.7.13).
constexpr uint16_t ctx_params1_tag = 0xA0;
constexpr uint16_t matching_id_tag = 0x80;
constexpr uint16_t device_info_tag = 0xA1;
constexpr uint16_t tac_tag = 0x80;
constexpr uint16_t device_capabilities_tag = 0xA1;

// Logs the code of a step that failed with text, whose one conversion is %ld. Returns the step's result.
int32_t checked(int32_t result, const char *text)
{
    if (result < 0) log__string(LOG__ERROR, text, (long)result);
    return result;
}

int32_t no_room(const char *text, uint32_t size, uint32_t needed)
{
    log__string(LOG__ERROR, text, (unsigned long)size, (unsigned long)needed);
    return -RESULT__NOT_ENOUGH_BUFFER;
}

struct encoded_value_texts {
    const char *value_size_failed; // %ld code, as in all but no_room
    const char *tlv_size_failed;
    const char *no_room; // %lu size, %lu needed size
    const char *header_failed;
    const char *value_failed;
};

// Appends an element whose value encode(out, size) writes in place.
template <typename Encode>
int32_t add_encoded_value(const encoded_value_texts &texts, uint8_t *buffer, uint32_t size, uint32_t offset,
                          uint16_t tag, Encode encode)
{
    const int32_t value_size = checked(encode(nullptr, 0), texts.value_size_failed);
    if (value_size < 0) return value_size;
    const int32_t end =
        checked(tlv_generator__add_tlv(nullptr, 0, offset, tag, nullptr, value_size), texts.tlv_size_failed);
    if (end < 0 || !buffer) return end;
    if (!fits(buffer, size, end, 0)) return no_room(texts.no_room, size, end);

    const int32_t value_offset =
        checked(tlv_generator__add_tag_and_length(buffer, size, offset, tag, value_size), texts.header_failed);
    if (value_offset < 0) return value_offset;
    const int32_t written = encode(buffer + value_offset, size - value_offset);
    if (written == value_size) return end;
    // Base64 with characters to skip decodes to less than its length promised: the header above would be wrong.
    return checked(written < 0 ? written : -RESULT__BAD_ARGUMENT, texts.value_failed);
}

constexpr encoded_value_texts base64_texts = {
    .value_size_failed =
        "[tlv_generator__add_tlv_base64_value] Error calculating the size of the base 64 value, rc %ld",
    .tlv_size_failed = "[tlv_generator__add_tlv_base64_value] Error calculating the size of the base64 TLV, rc %ld",
    .no_room =
        "[tlv_generator__add_tlv_base64_value] Not enough space to add the TLV to the buffer. Buffer size %lu, buffer size needed %lu",
    .header_failed = "[tlv_generator__add_tlv_base64_value] Error adding the base64 TAG LENGTH, rc %ld",
    .value_failed = "[tlv_generator__add_tlv_base64_value] Error adding the base64 VALUE, rc %ld",
};

constexpr encoded_value_texts bit_string_texts = {
    .value_size_failed =
        "[tlv_generator__add_tlv_bit_string_value] Error calculating the size of the bit string value, rc %ld",
    .tlv_size_failed =
        "[tlv_generator__add_tlv_bit_string_value] Error calculating the size of the bit string TLV, rc %ld",
    .no_room =
        "[tlv_generator__add_tlv_bit_string_value] Not enough space to add the TLV to the buffer. Buffer size %lu, buffer size needed %lu",
    .header_failed = "[tlv_generator__add_tlv_bit_string_value] Error adding the bit string TAG LENGTH, rc %ld",
    .value_failed = "[tlv_generator__add_tlv_bit_string_value] Error adding the bit string VALUE, rc %ld",
};

constexpr encoded_value_texts oid_texts = {
    .value_size_failed = "[tlv_generator__add_tlv_oid_value] Error calculating the size of the OID value, rc %ld",
    .tlv_size_failed = "[tlv_generator__add_tlv_oid_value] Error calculating the size of the OID TLV, rc %ld",
    .no_room =
        "[tlv_generator__add_tlv_oid_value] Not enough space to add the TLV to the buffer. Buffer size %lu, buffer size needed %lu",
    .header_failed = "[tlv_generator__add_tlv_oid_value] Error adding the OID TAG LENGTH, rc %ld",
    .value_failed = "[tlv_generator__add_tlv_oid_value] Error adding the OID VALUE, rc %ld",
};

// CtxParams1 and deviceInfo share it, prefix included.
constexpr const char *device_info_no_room =
    "[tlv_generator__add_device_info_value] Not enough space to add the TLV to the buffer. Buffer size %lu, buffer size needed %lu";

struct ctx_params1_sizes {
    int32_t device_info_value;
    int32_t value;
    int32_t tlv;
};

// Returns the size of the whole element, or a negative code.
int32_t measure_ctx_params1(const uint8_t *matching_id, uint32_t matching_id_length, ctx_params1_sizes *sizes)
{
    const int32_t matching_id_size =
        checked(tlv_generator__add_tlv(nullptr, 0, 0, matching_id_tag, matching_id, matching_id_length),
                "[tlv_generator__add_device_info_value] Error calculating the size of the matchingId TLV, rc %ld");
    if (matching_id_size < 0) return matching_id_size;
    sizes->device_info_value =
        checked(tlv_generator__add_device_info_value(nullptr, 0, 0),
                "[tlv_generator__add_device_info_value] Error calculating the size of the deviceInfo VALUE, rc %ld");
    if (sizes->device_info_value < 0) return sizes->device_info_value;
    sizes->value = checked(
        tlv_generator__add_tlv(nullptr, 0, matching_id_size, device_info_tag, nullptr, sizes->device_info_value),
        "[tlv_generator__add_device_info_value] Error calculating the size of the deviceCapabilities TLV, rc %ld");
    if (sizes->value < 0) return sizes->value;
    sizes->tlv = checked(
        tlv_generator__add_tlv(nullptr, 0, 0, ctx_params1_tag, nullptr, sizes->value),
        "[tlv_generator__add_device_info_value] Error calculating the size of the deviceCapabilities TLV, rc %ld");
    return sizes->tlv;
}

} // namespace

int32_t tlv_generator__add_tag_and_length(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                          uint32_t length)
{
    int32_t end =
        checked(tlv_generator__add_tag(nullptr, 0, offset, tag),
                "[tlv_generator__add_tag_and_length] Error calculating the number of bytes of the TAG, rc %ld");
    if (end < 0) return end;
    end = checked(tlv_generator__add_length(nullptr, 0, end, length),
                  "[tlv_generator__add_tag_and_length] Error calculating the number of bytes of the LENGTH, rc %ld");
    if (end < 0 || !buffer) return end;
    if (!fits(buffer, size, end, 0))
        return no_room(
            "[tlv_generator__add_tag_and_length] Not enough space to add the TLV to the buffer. Buffer size %lu, buffer size needed %lu",
            size, end);
    end = checked(tlv_generator__add_tag(buffer, size, offset, tag),
                  "[tlv_generator__add_tag_and_length] Error adding the TAG to the buffer, rc %ld");
    if (end < 0) return end;
    return checked(tlv_generator__add_length(buffer, size, end, length),
                   "[tlv_generator__add_tag_and_length] Error adding the LENGTH to the buffer, rc %ld");
}

int32_t tlv_generator__add_tlv(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag, const uint8_t *value,
                               uint32_t length)
{
    int32_t end =
        checked(tlv_generator__add_tag_and_length(nullptr, 0, offset, tag, length),
                "[tlv_generator__add_tlv] Error calculating the number of bytes of the TAG and LENGTH, rc %ld");
    if (end < 0) return end;
    log__string(LOG__TRACE, "[tlv_generator__add_tag] VALUE num bytes %u", length);
    if (!fits(buffer, size, end, length))
        return no_room(
            "[tlv_generator__add_tlv] Not enough space to add the TLV to the buffer. Buffer size %lu, buffer size needed %lu",
            size, end + length);
    if (!buffer) return (int32_t)(end + length);
    end = checked(tlv_generator__add_tag_and_length(buffer, size, offset, tag, length),
                  "[tlv_generator__add_tlv] Error adding the TAG and LENGTH to the buffer, rc %ld");
    if (end < 0) return end;
    if (value && length > 0) {
        memcpy(buffer + end, value, length);
        end += (int32_t)length;
    }
    log__data(LOG__TRACE, "[tlv_generator__add_tlv] TLV", buffer + offset, end - offset);
    return end;
}

int32_t tlv_generator__add_tlv_full_bytes(uint8_t *buffer, uint32_t size, uint32_t offset, const uint8_t *tlv,
                                          uint32_t length)
{
    if (!tlv || length == 0) {
        log__string(LOG__WARN, "[tlv_generator__add_tlv_full_bytes] TLV is empty/null");
        return (int32_t)offset;
    }
    if (!fits(buffer, size, offset, length))
        return no_room(
            "[tlv_generator__add_tlv_full_bytes] Not enough space to add the TLV to the buffer. Buffer size %lu, buffer size needed %lu",
            size, offset + length);
    if (buffer) memcpy(buffer + offset, tlv, length);
    return (int32_t)(offset + length);
}

int32_t tlv_generator__add_tlv_integer_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                             uint32_t value)
{
    uint8_t contents[5] = {}; // a zero before the top bit of the four
    const int32_t count = byte_utils__uint_to_byte_array(contents, sizeof contents, value);
    if (count < 0) {
        log__string(LOG__ERROR,
                    "[tlv_generator__add_tlv_integer_value] Error parsing the integer to byte array, err %d", count);
        return count;
    }
    log__data(LOG__TRACE, "[tlv_generator__add_tlv_integer_value] Integer byte array", contents, count);
    return tlv_generator__add_tlv(buffer, size, offset, tag, contents, count);
}

int32_t tlv_generator__add_tlv_boolean_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                             uint8_t flag)
{
    const uint8_t contents = flag ? 0xFF : 0x00;
    return tlv_generator__add_tlv(buffer, size, offset, tag, &contents, sizeof contents);
}

int32_t tlv_generator__add_tlv_null_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag)
{
    return tlv_generator__add_tag_and_length(buffer, size, offset, tag, 0);
}

int32_t tlv_generator__add_tlv_base64_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                            const char *text, uint32_t text_length)
{
    return add_encoded_value(base64_texts, buffer, size, offset, tag, [=](uint8_t *out, uint32_t room) {
        return b64_decode_static(out, room, text, text_length);
    });
}

int32_t tlv_generator__add_tlv_octet_array_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                                 const OctetArray *octets)
{
    switch (octets->format) {
    case OCTET_ARRAY_RAW:
        return tlv_generator__add_tlv(buffer, size, offset, tag, octets->data, octets->length);
    case OCTET_ARRAY_BASE64:
        return tlv_generator__add_tlv_base64_value(buffer, size, offset, tag, (const char *)octets->data,
                                                   octets->length);
    default:
        log__string(LOG__ERROR, "[tlv_generator__add_tlv_octet_array_value] Invalid octet array format %d",
                    octets->format);
        return -RESULT__BAD_ARGUMENT;
    }
}

int32_t tlv_generator__add_tlv_bit_string_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                                const uint8_t *bits, uint32_t bit_count)
{
    return add_encoded_value(bit_string_texts, buffer, size, offset, tag, [=](uint8_t *out, uint32_t room) {
        return byte_utils__bit_string_encode(out, room, bits, bit_count);
    });
}

int32_t tlv_generator__add_tlv_oid_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                         const char *text, uint32_t text_length)
{
    if (!text) { // a positive code, that must not be taken for a size
        const int32_t rc = byte_utils__oid_encode(nullptr, 0, nullptr, 0);
        log__string(LOG__ERROR, oid_texts.value_size_failed, (long)rc);
        return rc;
    }
    return add_encoded_value(oid_texts, buffer, size, offset, tag, [=](uint8_t *out, uint32_t room) {
        return byte_utils__oid_encode(out, room, text, text_length);
    });
}

int32_t tlv_generator__add_tlv_transaction_id_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                                    const TransactionId *transaction_id)
{
    if (!transaction_id) {
        log__string(LOG__ERROR, "[tlv_generator__add_tlv_transaction_id_value] TransactionId is null");
        return RESULT__BAD_ARGUMENT;
    }
    const uint32_t length = transaction_id->length;
    if (length < 1 || length > TRANSACTION_ID_MAX_BYTES) {
        log__string(
            LOG__ERROR,
            "[tlv_generator__add_tlv_transaction_id_value] Invalid TransactionId size: %u, minimum size: 1, maximum size %u.",
            length, (uint32_t)TRANSACTION_ID_MAX_BYTES);
        return RESULT__BAD_ARGUMENT;
    }
    return tlv_generator__add_tlv(buffer, size, offset, tag, transaction_id->value, length);
}

int32_t tlv_generator__add_tlv_iccid_nibble_swap_value(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag,
                                                       const uint8_t *iccid)
{
    uint8_t card_order[ICCID_BYTES] = {};
    if (buffer) {
        if (iccid) memcpy(card_order, iccid, sizeof card_order);
        const uint32_t rc = byte_utils__iccid_parse_format(card_order, ICCID_ORDER_SWAPPED);
        if (rc != RESULT__OK) {
            log__string(LOG__ERROR,
                        "[tlv_generator__add_tlv_iccid_nibble_swap_value] Error nibble swaping the ICCID, rc %d",
                        (int)rc);
            return (int32_t)rc;
        }
    }
    return tlv_generator__add_tlv(buffer, size, offset, tag, card_order, sizeof card_order);
}

int32_t tlv_generator__add_device_info_value(uint8_t *buffer, uint32_t size, uint32_t offset)
{
    static constexpr uint8_t no_tac[4] = {};
    int32_t end = checked(tlv_generator__add_tlv(nullptr, 0, offset, tac_tag, no_tac, sizeof no_tac),
                          "[tlv_generator__add_device_info_value] Error calculating the size of the tac TLV, rc %ld");
    if (end < 0) return end;
    end = checked(
        tlv_generator__add_tlv(nullptr, 0, end, device_capabilities_tag, nullptr, 0),
        "[tlv_generator__add_device_info_value] Error calculating the size of the deviceCapabilities TLV, rc %ld");
    if (end < 0 || !buffer) return end;
    if (!fits(buffer, size, end, 0)) return no_room(device_info_no_room, size, end);
    end = checked(tlv_generator__add_tlv(buffer, size, offset, tac_tag, no_tac, sizeof no_tac),
                  "[tlv_generator__add_device_info_value] Error adding the tac TLV, rc %ld");
    if (end < 0) return end;
    return checked(
        tlv_generator__add_tlv(buffer, size, end, device_capabilities_tag, nullptr, 0),
        "[tlv_generator__add_device_info_value] Error adding the size of the deviceCapabilities TLV, rc %ld");
}

int32_t tlv_generator__add_ctx_params1_value(uint8_t *buffer, uint32_t size, const uint8_t *matching_id,
                                             uint32_t matching_id_length)
{
    if (!matching_id) matching_id_length = 0;
    ctx_params1_sizes sizes = {};
    int32_t end = measure_ctx_params1(matching_id, matching_id_length, &sizes);
    if (end < 0 || !buffer) return end;
    if (!fits(buffer, size, end, 0)) return no_room(device_info_no_room, size, end);
    end = checked(tlv_generator__add_tag(buffer, size, 0, ctx_params1_tag),
                  "[tlv_generator__add_device_info_value] Error adding the CtxParams1 TAG, rc %ld");
    if (end < 0) return end;
    end = checked(tlv_generator__add_length(buffer, size, end, sizes.value),
                  "[tlv_generator__add_device_info_value] Error adding the CtxParams1 LENGTH, rc %ld");
    if (end < 0) return end;
    end = checked(tlv_generator__add_tlv(buffer, size, end, matching_id_tag, matching_id, matching_id_length),
                  "[tlv_generator__add_device_info_value] Error adding the matchingId TLV, rc %ld");
    if (end < 0) return end;
    end = checked(tlv_generator__add_tag(buffer, size, end, device_info_tag),
                  "[tlv_generator__add_device_info_value] Error adding the deviceInfo TAG, rc %ld");
    if (end < 0) return end;
    end = checked(tlv_generator__add_length(buffer, size, end, sizes.device_info_value),
                  "[tlv_generator__add_device_info_value] Error adding the deviceInfo LENGTH, rc %ld");
    if (end < 0) return end;
    return checked(tlv_generator__add_device_info_value(buffer, size, end),
                   "[tlv_generator__add_device_info_value] Error adding the deviceInfo VALUE, rc %ld");
}
