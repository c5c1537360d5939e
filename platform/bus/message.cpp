#include "platform/bus/message.h"
#include <stdlib.h>
#include <string.h>

namespace {
constexpr uint32_t length_mask = 0x00FFFFFF;
constexpr uint32_t extended_flag = 0x80000000;
constexpr uint32_t id_mask = 0x7F;
constexpr uint32_t smallest_buffer = 256;

uint32_t padded(uint32_t size) { return (size + 3) & ~uint32_t{3}; }

// Room for size more bytes behind the root, which keeps its contents. Sizes stay below 2^25, so sums cannot wrap.
bool make_room(blob_buf *buf, uint32_t used, uint32_t size)
{
    const uint32_t needed = used + size;
    const uint32_t present = buf->buflen > 0 ? static_cast<uint32_t>(buf->buflen) : 0;
    if (needed <= present) return true;
    const uint32_t grown = needed > 2 * present ? needed : 2 * present;
    auto *head = static_cast<blob_attr *>(realloc(buf->head, grown));
    if (!head) return false;
    buf->head = head;
    buf->buflen = static_cast<int>(grown);
    return true;
}

// Appends an empty attribute of size bytes, padding zeroed; the place of its value, or null.
uint8_t *append(blob_buf *buf, uint32_t flags_and_id, uint32_t value_size)
{
    if (!buf || !buf->head || value_size > length_mask - attribute_header_bytes) return nullptr;
    const uint32_t used = message__attribute_bytes(buf->head);
    const uint32_t size = attribute_header_bytes + value_size;
    if (padded(size) > length_mask - used || !make_room(buf, used, padded(size))) return nullptr;
    uint8_t *const start = reinterpret_cast<uint8_t *>(buf->head) + used;
    memset(start, 0, padded(size));
    message__write_uint32(start, flags_and_id | size);
    const uint32_t root_word = message__read_uint32(buf->head);
    message__write_uint32(buf->head, (root_word & ~length_mask) | (used + padded(size)));
    return start + attribute_header_bytes;
}
} // namespace

message::~message() { free(root); }

uint32_t message__read_uint32(const void *bytes)
{
    const auto *b = static_cast<const uint8_t *>(bytes);
    return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | b[3];
}

void message__write_uint32(void *bytes, uint32_t value)
{
    auto *b = static_cast<uint8_t *>(bytes);
    for (int i = 0; i < 4; ++i)
        b[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

uint32_t message__attribute_bytes(const blob_attr *attribute) { return message__read_uint32(attribute) & length_mask; }

uint32_t message__value_bytes(const blob_attr *attribute)
{
    return message__attribute_bytes(attribute) - attribute_header_bytes;
}

blob_attr *message__find(blob_attr *root, uint8_t id)
{
    uint32_t left = message__value_bytes(root);
    blob_attr *attribute = root + 1;
    while (left >= attribute_header_bytes) {
        const uint32_t size = message__attribute_bytes(attribute);
        if (size < attribute_header_bytes || size > left) return nullptr;
        if ((message__read_uint32(attribute) >> 24 & id_mask) == id) return attribute;
        if (padded(size) >= left) return nullptr; // the last one may lack its padding
        attribute += padded(size) / sizeof *attribute;
        left -= padded(size);
    }
    return nullptr;
}

bool message__find_uint32(blob_attr *root, uint8_t id, uint32_t *value)
{
    const blob_attr *attribute = message__find(root, id);
    if (!attribute || message__value_bytes(attribute) != 4) return false;
    *value = message__read_uint32(attribute->data);
    return true;
}

int message__add(blob_buf *buf, uint8_t id, const void *value, uint32_t size)
{
    uint8_t *place = append(buf, uint32_t{id} << 24, size);
    if (!place) return -1;
    if (size > 0) memcpy(place, value, size);
    return 0;
}

int message__add_uint32(blob_buf *buf, uint8_t id, uint32_t value)
{
    uint8_t bytes[4];
    message__write_uint32(bytes, value);
    return message__add(buf, id, bytes, sizeof bytes);
}

int message__add_text(blob_buf *buf, uint8_t id, const char *text)
{
    const size_t size = strlen(text) + 1;
    return size > length_mask ? -1 : message__add(buf, id, text, static_cast<uint32_t>(size));
}

int blob_buf_init(struct blob_buf *buf, int id)
{
    if (!make_room(buf, 0, smallest_buffer)) return -1;
    message__write_uint32(buf->head, (static_cast<uint32_t>(id) & id_mask) << 24 | attribute_header_bytes);
    return 0;
}

void blob_buf_free(struct blob_buf *buf)
{
    free(buf->head);
    *buf = {};
}

// The value of a field: name length (16 bits), name, a zero byte, padding, data.
int blobmsg_add_field(struct blob_buf *buf, int type, const char *name, const void *data, unsigned int len)
{
    const size_t name_length = name ? strlen(name) : 0; // elements of an array have no name
    if (name_length > UINT16_MAX || len > length_mask || type < 0 || static_cast<uint32_t>(type) > id_mask) return -1;
    const uint32_t head_size = padded(static_cast<uint32_t>(2 + name_length + 1));
    uint8_t *place = append(buf, extended_flag | static_cast<uint32_t>(type) << 24, head_size + len);
    if (!place) return -1;
    place[0] = static_cast<uint8_t>(name_length >> 8);
    place[1] = static_cast<uint8_t>(name_length);
    // The zero byte behind it is there already. NOLINTNEXTLINE(bugprone-not-null-terminated-result)
    if (name_length > 0) memcpy(place + 2, name, name_length);
    if (len > 0) memcpy(place + head_size, data, len);
    return 0;
}
