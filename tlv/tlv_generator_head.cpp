// Tag and length, which every element begins with.
#include "foundation/log.h"
#include "foundation/result.h"
#include "tlv/buffer_room.h"
#include "tlv/length_field.h"
#include "tlv/tlv_generator.h"

int32_t tlv_generator__add_tag(uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag)
{
    const uint32_t count = ((tag >> 8) & 0x1F) == 0x1F ? 2 : 1;
    log__string(LOG__TRACE, "[tlv_generator__add_tag] TAG 0x%04X, num bytes %u", tag, count);
    if (!fits(buffer, size, offset, count)) {
        log__string(
            LOG__ERROR,
            "[tlv_generator__add_tag] Not enough space to add the %04X to the buffer. Buffer size %u, buffer size needed %u",
            tag, size, offset + count);
        return -RESULT__NOT_ENOUGH_BUFFER;
    }
    const uint32_t end = offset + count;
    if (!buffer) return (int32_t)end;
    if (count == 2) buffer[offset] = (uint8_t)(tag >> 8);
    buffer[end - 1] = (uint8_t)tag;
    log__data(LOG__TRACE, "[tlv_generator__add_tag] TAG", buffer + offset, count);
    return (int32_t)end;
}

int32_t tlv_generator__add_length(uint8_t *buffer, uint32_t size, uint32_t offset, uint32_t length)
{
    const uint32_t count = length_field_size(length);
    if (count == 0) {
        log__string(LOG__ERROR, "[tlv_generator__add_length] Error calculating the number of bytes of the LENGTH");
        return -RESULT__FATAL_ERROR;
    }
    log__string(LOG__TRACE, "[tlv_generator__add_tag] LENGTH %u, num bytes %u", length, count);
    if (!fits(buffer, size, offset, count)) {
        log__string(
            LOG__ERROR,
            "[tlv_generator__add_length] Not enough space to add the LENGTH to the buffer. Buffer size %u, buffer size needed %u",
            size, offset + count);
        return -RESULT__NOT_ENOUGH_BUFFER;
    }
    if (!buffer) return (int32_t)(offset + count);
    write_length_field(buffer + offset, count, length);
    log__data(LOG__TRACE, "[tlv_generator__add_tag] LENGTH", buffer + offset, count);
    return (int32_t)(offset + count);
}
