#include "simulator/tlv.h"
#include <algorithm>

namespace sim {
namespace {
void append_length(byte_vector &out, size_t length)
{
    if (length < 0x80) {
        out.push_back(static_cast<uint8_t>(length));
        return;
    }
    uint8_t count = 1;
    while (length >> (8U * count))
        ++count;
    out.push_back(static_cast<uint8_t>(0x80U | count));
    while (count-- > 0)
        out.push_back(static_cast<uint8_t>(length >> (8U * count)));
}

constexpr bool announces_second_tag_byte(uint8_t first) { return (first & 0x1FU) == 0x1FU; }

struct head {
    uint16_t tag;
    size_t size; // bytes of tag and length
    size_t length;
};

std::optional<head> read_head(byte_view data)
{
    if (data.empty()) return std::nullopt;
    head result{data[0], 1, 0};
    if (announces_second_tag_byte(data[0])) {
        // None of the structures in use has a tag of three bytes.
        if (data.size() < 2 || (data[1] & 0x80U)) return std::nullopt;
        result.tag = static_cast<uint16_t>(data[0] << 8U | data[1]);
        result.size = 2;
    }
    if (data.size() == result.size) return std::nullopt;
    const uint8_t first = data[result.size++];
    if (first < 0x80) {
        result.length = first;
        return result;
    }
    const size_t count = first & 0x7FU;
    if (count == 0 || count > 4 || data.size() - result.size < count) return std::nullopt; // 80 is the indefinite form
    for (size_t i = 0; i < count; ++i)
        result.length = result.length << 8U | data[result.size + i];
    result.size += count;
    return result;
}
} // namespace

byte_vector tlv(uint16_t tag, byte_view value)
{
    byte_vector result;
    result.reserve(value.size() + 7);
    if (tag > 0xFF) result.push_back(static_cast<uint8_t>(tag >> 8U));
    result.push_back(static_cast<uint8_t>(tag));
    append_length(result, value.size());
    result.insert(result.end(), value.begin(), value.end());
    return result;
}

byte_vector join(std::initializer_list<byte_view> pieces)
{
    size_t size = 0;
    for (const byte_view piece : pieces)
        size += piece.size();
    byte_vector result;
    result.reserve(size);
    for (const byte_view piece : pieces)
        result.insert(result.end(), piece.begin(), piece.end());
    return result;
}

byte_vector integer_value(uint32_t value)
{
    byte_vector result;
    do {
        result.insert(result.begin(), static_cast<uint8_t>(value));
        value >>= 8U;
    } while (value);
    if (result[0] & 0x80U) result.insert(result.begin(), 0); // or it would read as negative
    return result;
}

std::optional<element> read_element(byte_view data)
{
    const auto found = read_head(data);
    if (!found || data.size() - found->size < found->length) return std::nullopt;
    return element{found->tag, data.subspan(found->size, found->length), data.first(found->size + found->length)};
}

std::optional<std::vector<element>> read_elements(byte_view data)
{
    std::vector<element> result;
    while (!data.empty()) {
        const auto next = read_element(data);
        if (!next) return std::nullopt;
        result.push_back(*next);
        data = data.subspan(next->whole.size());
    }
    return result;
}

std::optional<element> find_child(byte_view data, uint16_t tag)
{
    while (!data.empty()) {
        const auto next = read_element(data);
        if (!next || next->tag == tag) return next;
        data = data.subspan(next->whole.size());
    }
    return std::nullopt;
}

uint32_t to_uint(byte_view value)
{
    uint32_t result = 0;
    for (const uint8_t byte : value)
        result = result << 8U | byte;
    return result;
}

} // namespace sim
