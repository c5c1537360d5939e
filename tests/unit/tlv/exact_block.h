// A heap block of exactly the bytes given, so that the address sanitizer sees the first byte read beyond them.
#pragma once
#include "support/bytes.h"
#include <algorithm>
#include <memory>
#include <span>

class exact_block {
  public:
    explicit exact_block(std::span<const uint8_t> content)
        : size_(static_cast<uint32_t>(content.size())), bytes_(new uint8_t[content.size()])
    {
        std::ranges::copy(content, bytes_.get());
    }
    explicit exact_block(std::string_view hex_digits) : exact_block(std::span<const uint8_t>(bytes(hex_digits))) {}
    uint8_t *data() const { return bytes_.get(); }
    uint32_t size() const { return size_; }

  private:
    uint32_t size_;
    std::unique_ptr<uint8_t[]> bytes_;
};

// Calls read(block) with every beginning of content that is shorter than it, the empty one included.
template <typename Read> void for_each_cut(const std::vector<uint8_t> &content, Read read)
{
    for (size_t length = 0; length < content.size(); ++length)
        read(exact_block(std::span(content).first(length)));
}

// Calls read(block) with many short blocks of pseudo-random bytes that often look like elements.
template <typename Read> void for_random_blocks(unsigned count, Read read)
{
    static constexpr uint8_t likely[] = {0x30, 0x5A, 0x80, 0x81, 0x82, 0x83, 0x84, 0xA0, 0xBF, 0x2D, 0x9F, 0x70, 0xE3,
                                         0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x08, 0x0A, 0x10, 0x1F, 0x7F, 0xFF};
    uint32_t state = 2463534242u; // xorshift, the same blocks every time
    const auto next = [&state] {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    };
    for (unsigned i = 0; i < count; ++i) {
        std::vector<uint8_t> content(next() % 40);
        for (uint8_t &byte : content)
            byte = next() % 5 ? likely[next() % sizeof likely] : static_cast<uint8_t>(next());
        read(exact_block(std::span<const uint8_t>(content)));
    }
}
