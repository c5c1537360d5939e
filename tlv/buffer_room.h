// tlv/buffer_room.h: whether an element that we write fits. Internal to tlv/.
#pragma once
#include <cstdint>

// Says whether count bytes from offset on end within size; without a buffer, within the offsets a result can hold.
constexpr bool fits(const uint8_t *buffer, uint32_t size, uint32_t offset, uint32_t count)
{
    const uint32_t limit = buffer && size < INT32_MAX ? size : INT32_MAX;
    return offset <= limit && count <= limit - offset;
}
