/* platform/bus/message.h: bus messages as they travel. Internal to this folder.
 *
 * A message is an 8-byte header (version, type, sequence, peer) and one root blob that holds attributes. Whatever
 * comes from the broker is measured before it is looked at; an attribute handed out lies wholly inside its root. */
#pragma once
#include <stdint.h>
#pragma GCC visibility push(default)
extern "C" {
#include <libubus.h>
}
#pragma GCC visibility pop

enum message_type : uint8_t {
    MESSAGE_HELLO,
    MESSAGE_STATUS,
    MESSAGE_DATA,
    MESSAGE_PING,
    MESSAGE_LOOKUP,
    MESSAGE_INVOKE,
    MESSAGE_ADD_OBJECT,
};

enum message_attribute : uint8_t {
    ATTRIBUTE_STATUS = 1,
    ATTRIBUTE_OBJPATH = 2,
    ATTRIBUTE_OBJID = 3,
    ATTRIBUTE_METHOD = 4,
    ATTRIBUTE_DATA = 7,
};

constexpr uint32_t message_header_bytes = 8;
constexpr uint32_t message_max_root_bytes = 1024 * 1024;
constexpr uint32_t attribute_header_bytes = 4;

/* Owns its root (malloc). */
struct message {
    uint8_t type = 0;
    uint16_t sequence = 0;
    uint32_t peer = 0;
    blob_attr *root = nullptr;

    message() = default;
    message(const message &) = delete;
    message &operator=(const message &) = delete;
    ~message();
};

uint32_t message__read_uint32(const void *bytes);
void message__write_uint32(void *bytes, uint32_t value);

/* Bytes of the attribute, its head included; of its value alone. */
uint32_t message__attribute_bytes(const blob_attr *attribute);
uint32_t message__value_bytes(const blob_attr *attribute);

/* The first attribute with this id inside root, or null when there is none or root is malformed before it. */
blob_attr *message__find(blob_attr *root, uint8_t id);
/* The same for a 32-bit value. False when absent or of another size. */
bool message__find_uint32(blob_attr *root, uint8_t id, uint32_t *value);

/* Appends an attribute to a message under construction. 0, or -1 when memory or the 24-bit length runs out. */
int message__add(blob_buf *buf, uint8_t id, const void *value, uint32_t size);
int message__add_uint32(blob_buf *buf, uint8_t id, uint32_t value);
int message__add_text(blob_buf *buf, uint8_t id, const char *text);
