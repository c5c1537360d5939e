// Named fields of a message that another client sent.
#include "platform/bus/message.h"
#include <string.h>

namespace {
constexpr uint32_t name_length_bytes = 2;

uint32_t padded(uint32_t size) { return (size + 3) & ~uint32_t{3}; }

uint32_t name_length(const blob_attr *field)
{
    const auto *bytes = reinterpret_cast<const uint8_t *>(field->data);
    return uint32_t{bytes[0]} << 8 | bytes[1];
}

const char *name_of(const blob_attr *field) { return field->data + name_length_bytes; }

// Of the field's own head: name length, name, zero byte, padding.
uint32_t head_bytes(const blob_attr *field) { return padded(name_length_bytes + name_length(field) + 1); }

char *value_of(blob_attr *field) { return field->data + head_bytes(field); }

bool is_named(const blob_attr *field)
{
    const uint32_t size = message__value_bytes(field);
    return size > name_length_bytes && head_bytes(field) <= size && name_of(field)[name_length(field)] == 0;
}

bool is_of_type(blob_attr *field, blobmsg_type type)
{
    const uint32_t size = message__value_bytes(field) - head_bytes(field);
    if ((message__read_uint32(field) >> 24 & 0x7F) != static_cast<uint32_t>(type)) return false;
    if (type == BLOBMSG_TYPE_STRING) return size > 0 && value_of(field)[size - 1] == 0;
    return type != BLOBMSG_TYPE_INT32 || size == 4;
}

void keep(const blobmsg_policy *policy, int policy_len, blob_attr **tb, blob_attr *field)
{
    for (int i = 0; i < policy_len; ++i)
        if (strcmp(policy[i].name, name_of(field)) == 0 && is_of_type(field, policy[i].type)) tb[i] = field;
}
} // namespace

void *blob_data(const struct blob_attr *attr) { return const_cast<char *>(attr->data); }

size_t blob_len(const struct blob_attr *attr) { return message__value_bytes(attr); }

int blobmsg_parse(const struct blobmsg_policy *policy, int policy_len, struct blob_attr **tb, void *data,
                  unsigned int len)
{
    for (int i = 0; i < policy_len; ++i)
        tb[i] = nullptr;
    auto *field = static_cast<blob_attr *>(data);
    while (len >= attribute_header_bytes) {
        const uint32_t size = message__attribute_bytes(field);
        if (size < attribute_header_bytes || size > len || !is_named(field)) return -1;
        keep(policy, policy_len, tb, field);
        if (padded(size) >= len) break; // the last one may lack its padding
        field += padded(size) / sizeof *field;
        len -= padded(size);
    }
    return 0;
}

char *blobmsg_get_string(struct blob_attr *attr) { return attr ? value_of(attr) : nullptr; }

uint32_t blobmsg_get_u32(struct blob_attr *attr) { return message__read_uint32(value_of(attr)); }
