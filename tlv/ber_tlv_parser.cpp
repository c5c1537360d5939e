#include "tlv/ber_tlv_parser.h"
#include "foundation/log.h"
#include "foundation/result.h"

namespace {

// Ten bytes with more to come, and the last one: no tag is counted longer than that.
constexpr uint32_t longest_tag = 11;

// Elements inside elements that the deep search enters. A card answer nests about ten deep (certificates); whatever
// goes further only wants the stack of a small router's thread.
constexpr uint32_t deepest_level = 64;

// Tag bytes of the element at tag, or 0 when the tag goes on beyond room.
uint8_t count_tag_bytes(const uint8_t *tag, uint32_t room)
{
    if (room == 0) return 0;
    if ((tag[0] & 0x1F) != 0x1F) return 1;
    uint8_t count = 2;
    while (count < longest_tag && count <= room && (tag[count - 1] & 0x80))
        ++count;
    return count <= room ? count : 0;
}

// Four and more length bytes are refused by their first byte, so that one is enough to have.
bool length_is_whole(const uint8_t *field, uint32_t room)
{
    if (room == 0) return false;
    if (field[0] < 0x80 || (field[0] & 0x7C)) return true;
    return room > (field[0] & 0x7Fu);
}

uint32_t length_unreadable(uint32_t length_offset)
{
    log__string(LOG__ERROR, "could not get the data length of the TLV, offset=%zu", (size_t)length_offset);
    return RESULT__FATAL_ERROR;
}

// Returns 0 when tag and length of the element at offset (below size) end within size: then the operations that know
// no size may read them.
uint32_t check_head(const uint8_t *buffer, uint32_t size, uint32_t offset)
{
    const uint8_t tag_bytes = count_tag_bytes(buffer + offset, size - offset);
    if (tag_bytes == 0) return length_unreadable(size);
    const uint32_t length_offset = offset + tag_bytes;
    if (!length_is_whole(buffer + length_offset, size - length_offset)) return length_unreadable(length_offset);
    return RESULT__OK;
}

uint32_t measure(const uint8_t *buffer, uint32_t size, uint32_t offset, uint32_t *tlv_size)
{
    const uint32_t rc = check_head(buffer, size, offset);
    return rc == RESULT__OK ? ber_tlv_parser__get_tlv_bytes_count(buffer, offset, tlv_size) : rc;
}

// An offset beyond INT32_MAX could not be returned.
bool can_search(const uint8_t *buffer, uint32_t size, uint32_t offset)
{
    return buffer && size > 0 && size <= INT32_MAX && offset <= size;
}

struct whole_buffer {
    const uint8_t *data;
    uint32_t size;
};

// bound ends the walk; it may cut an element in two, whose head is still read from the whole buffer.
int32_t search_deep(const whole_buffer &buffer, uint32_t bound, uint32_t offset, uint16_t tag, uint32_t level);

int32_t search_inside(const whole_buffer &buffer, uint32_t bound, uint32_t offset, uint16_t tag, uint32_t level)
{
    log__string(LOG__TRACE, "the tag at %u is constructed", offset);
    ber_tlv_record record = {};
    if (level == deepest_level || ber_tlv_parser__ber_tlv(buffer.data, offset, &record) != RESULT__OK) return -1;
    const uint32_t value_offset = offset + record.tag_bytes + record.length_bytes;
    const uint32_t room = value_offset < bound ? bound - value_offset : 0;
    // The child's length bounds absolute positions, so of a value that begins late only a part is searched.
    return search_deep(buffer, record.length < room ? record.length : room, value_offset, tag, level + 1);
}

int32_t search_deep(const whole_buffer &buffer, uint32_t bound, uint32_t offset, uint16_t tag, uint32_t level)
{
    log__string(LOG__TRACE, "ber_tlv_parser__find_tlv_by_tag [%x] offset=%u bufferSize=%u", tag, offset, bound);
    if (!can_search(buffer.data, bound, offset)) return -1;
    while (offset < bound) {
        uint32_t tlv_size = 0;
        if (measure(buffer.data, buffer.size, offset, &tlv_size) != RESULT__OK) {
            log__string(LOG__ERROR, "could not parse TLV, offset=%d", (int)offset);
            return -1;
        }
        log__string(LOG__TRACE, "tlvSize=%u", tlv_size);
        const uint16_t found_tag = ber_tlv_parser__get_tlv_tag(buffer.data, offset);
        log__string(LOG__TRACE, "_getTLVTAg= %u, tag=%u", found_tag, tag);
        if (found_tag == tag) return (int32_t)offset;
        if (ber_tlv_parser__is_constructed_2(buffer.data + offset)) {
            const int32_t inside = search_inside(buffer, bound, offset, tag, level);
            if (inside >= 0) return inside;
        }
        if (tlv_size > bound - offset) return -1;
        offset += tlv_size;
    }
    return -1;
}

} // namespace

uint8_t ber_tlv_parser__get_tag_bytes_count(const uint8_t *buffer, uint32_t offset)
{
    return count_tag_bytes(buffer + offset, longest_tag);
}

uint8_t ber_tlv_parser__get_length_bytes_count(const uint8_t *buffer, uint32_t length_offset)
{
    const uint8_t first = buffer[length_offset];
    return first < 0x80 ? 1 : (uint8_t)(1 + (first & 0x7F));
}

uint16_t ber_tlv_parser__get_tlv_tag(const uint8_t *buffer, uint32_t offset)
{
    const uint8_t tag_bytes = ber_tlv_parser__get_tag_bytes_count(buffer, offset);
    log__string(LOG__TRACE, "tag.len=%u", tag_bytes);
    if (tag_bytes == 2) return (uint16_t)(buffer[offset] << 8 | buffer[offset + 1]);
    return buffer[offset];
}

uint32_t ber_tlv_parser__get_length_offset(const uint8_t *buffer, uint32_t offset)
{
    return offset + ber_tlv_parser__get_tag_bytes_count(buffer, offset);
}

uint32_t ber_tlv_parser__get_value_offset(const uint8_t *buffer, uint32_t offset)
{
    const uint8_t tag_bytes = ber_tlv_parser__get_tag_bytes_count(buffer, offset);
    const uint8_t length_bytes = ber_tlv_parser__get_length_bytes_count(buffer, offset + tag_bytes);
    log__string(LOG__TRACE, "nTag=%u", tag_bytes);
    log__string(LOG__TRACE, "nLen=%u", length_bytes);
    return offset + tag_bytes + length_bytes;
}

uint32_t ber_tlv_parser__get_tag_data(const uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t *tag,
                                      uint8_t *tag_bytes)
{
    if (!buffer || offset >= size) return RESULT__BAD_ARGUMENT;
    const uint8_t count = count_tag_bytes(buffer + offset, size - offset);
    if (count == 0) return RESULT__BAD_ARGUMENT;
    *tag = ber_tlv_parser__get_tlv_tag(buffer, offset);
    *tag_bytes = count;
    return RESULT__OK;
}

uint32_t ber_tlv_parser__get_data_length(const uint8_t *buffer, uint32_t length_offset, uint32_t *length)
{
    const uint8_t *field = buffer + length_offset;
    if (field[0] < 0x80) {
        *length = field[0];
        return RESULT__OK;
    }
    const uint32_t count = field[0] & 0x7F;
    if (count & 0x7C) {
        log__string(LOG__ERROR, "At position %u the len is more then 3 [%u]", length_offset, count);
        return RESULT__FATAL_ERROR;
    }
    uint32_t value = 0; // the byte 80 alone is length 0: the indefinite form does not occur in DER
    for (uint32_t i = 1; i <= count; ++i)
        value = value << 8 | field[i];
    *length = value;
    return RESULT__OK;
}

uint32_t ber_tlv_parser__get_tlv_bytes_count(const uint8_t *buffer, uint32_t offset, uint32_t *tlv_size)
{
    ber_tlv_record head = {};
    head.tag_bytes = ber_tlv_parser__get_tag_bytes_count(buffer, offset);
    const uint32_t length_offset = offset + head.tag_bytes;
    if (ber_tlv_parser__get_data_length(buffer, length_offset, &head.length) != RESULT__OK)
        return length_unreadable(length_offset);
    head.length_bytes = ber_tlv_parser__get_length_bytes_count(buffer, length_offset);
    *tlv_size = head.tag_bytes + head.length_bytes + head.length;
    return RESULT__OK;
}

uint32_t ber_tlv_parser__get_full_tlv_length(const uint8_t *buffer, uint32_t offset, uint32_t *tlv_size)
{
    return ber_tlv_parser__get_tlv_bytes_count(buffer, offset, tlv_size);
}

uint32_t ber_tlv_parser__validate_tlv(const uint8_t *buffer, uint32_t size)
{
    if (!buffer || size == 0) {
        log__string(LOG__INFO, "[ber_tlv_parser__validate_tlv] nothing to validate");
        return RESULT__FATAL_ERROR;
    }
    for (uint32_t offset = 0, tlv_size = 0; offset < size; offset += tlv_size) {
        if (measure(buffer, size, offset, &tlv_size) != RESULT__OK) {
            log__string(LOG__INFO, "[ber_tlv_parser__validate_tlv] could not parse TLV, offset=%zu", (size_t)offset);
            return RESULT__FATAL_ERROR;
        }
        const size_t end = (size_t)offset + tlv_size;
        log__string(LOG__DEBUG, "[ber_tlv_parser__validate_tlv] processed %zu of %zu bytes", end, (size_t)size);
        if (tlv_size > size - offset) {
            log__string(LOG__INFO, "[ber_tlv_parser__validate_tlv] offset %zu > data size %zu", end, (size_t)size);
            return RESULT__FATAL_ERROR;
        }
    }
    return RESULT__OK;
}

int32_t ber_tlv_parser__find_tlv_by_tag_2(const uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag)
{
    log__string(LOG__TRACE, "ber_tlv_parser__find_tlv_by_tag_2 [%02X] offset=%zu bufferSize=%zu", tag, (size_t)offset,
                (size_t)size);
    if (!can_search(buffer, size, offset)) return -1;
    while (offset < size) {
        uint32_t tlv_size = 0;
        if (measure(buffer, size, offset, &tlv_size) != RESULT__OK) {
            log__string(LOG__ERROR, "could not parse TLV, offset=%zu", (size_t)offset);
            return -1;
        }
        if (ber_tlv_parser__get_tlv_tag(buffer, offset) == tag) return (int32_t)offset;
        if (tlv_size > size - offset) return -1;
        offset += tlv_size;
    }
    return -1;
}

int32_t ber_tlv_parser__find_tlv_by_tag(const uint8_t *buffer, uint32_t size, uint32_t offset, uint16_t tag)
{
    return search_deep({buffer, size}, size, offset, tag, 0);
}

uint8_t ber_tlv_parser__is_constructed_2(const uint8_t *tag) { return tag && (*tag & 0x20) ? 1 : 0; }

uint32_t ber_tlv_parser__ber_tlv(const uint8_t *buffer, uint32_t offset, ber_tlv_record *record)
{
    if (!record) return RESULT__FATAL_ERROR;
    record->tag = ber_tlv_parser__get_tlv_tag(buffer, offset);
    record->tag_bytes = ber_tlv_parser__get_tag_bytes_count(buffer, offset);
    const uint32_t length_offset = offset + record->tag_bytes;
    if (ber_tlv_parser__get_data_length(buffer, length_offset, &record->length) != RESULT__OK)
        return length_unreadable(length_offset);
    record->length_bytes = ber_tlv_parser__get_length_bytes_count(buffer, length_offset);
    return RESULT__OK;
}

uint32_t ber_tlv_parser__ber_tlv_2(const uint8_t *buffer, uint32_t size, uint32_t offset, ber_tlv_record *record)
{
    log__string(LOG__TRACE, "ber_tlv_parser__ber_tlv_2 bufferSize=%u, offset=%u", size, offset);
    if (!buffer || !record || offset >= size) return RESULT__FATAL_ERROR;
    const uint32_t rc = check_head(buffer, size, offset);
    return rc == RESULT__OK ? ber_tlv_parser__ber_tlv(buffer, offset, record) : rc;
}
