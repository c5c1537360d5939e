// What every fuzz target needs: the input read from its front, handed on in heap blocks of exactly the right size so
// that the address sanitizer sees the first byte read beyond them, and a check that ends the program.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

// A property that must hold for every input.
#define REQUIRE(condition)                                                                                             \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            fprintf(stderr, "%s:%d: required: %s\n", __FILE__, __LINE__, #condition);                                  \
            abort();                                                                                                   \
        }                                                                                                              \
    } while (false)

using input_bytes = std::span<const uint8_t>;

class exact_bytes {
  public:
    explicit exact_bytes(input_bytes content)
        : size_(static_cast<uint32_t>(content.size())), bytes_(new uint8_t[content.size()])
    {
        std::ranges::copy(content, bytes_.get());
    }
    explicit exact_bytes(size_t size) : size_(static_cast<uint32_t>(size)), bytes_(new uint8_t[size]()) {}
    uint8_t *data() const { return bytes_.get(); }
    uint32_t size() const { return size_; }
    input_bytes all() const { return {bytes_.get(), size_}; }
    // Whether count bytes at pointer lie in here.
    bool holds(const void *pointer, size_t count) const
    {
        const auto *first = static_cast<const uint8_t *>(pointer);
        return first >= data() && first <= data() + size_ && count <= static_cast<size_t>(data() + size_ - first);
    }

  private:
    uint32_t size_;
    std::unique_ptr<uint8_t[]> bytes_;
};

// A terminated text; it ends at the input's first zero, if there is one.
class exact_text {
  public:
    explicit exact_text(input_bytes content)
        : length_(static_cast<uint32_t>(std::ranges::find(content, 0) - content.begin())), text_(new char[length_ + 1])
    {
        std::copy_n(content.begin(), length_, text_.get());
        text_[length_] = '\0';
    }
    char *data() const { return text_.get(); }
    uint32_t length() const { return length_; }
    std::string_view view() const { return {text_.get(), length_}; }
    bool holds(const char *pointer, size_t count) const
    {
        return pointer >= data() && pointer <= data() + length_ &&
               count <= static_cast<size_t>(data() + length_ - pointer);
    }

  private:
    uint32_t length_;
    std::unique_ptr<char[]> text_;
};

class fuzz_input {
  public:
    fuzz_input(const uint8_t *data, size_t size) : rest_(data, size) {}
    uint8_t byte()
    {
        const auto one = bytes(1);
        return one.empty() ? uint8_t{0} : one[0];
    }
    uint16_t number()
    {
        const unsigned high = byte();
        return static_cast<uint16_t>(high << 8 | byte());
    }
    uint32_t long_number()
    {
        const uint32_t high = number();
        return high << 16 | number();
    }
    input_bytes bytes(size_t count)
    {
        const auto taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }
    // What stands before separator, which is taken too; without one everything that is left.
    input_bytes until(std::string_view separator)
    {
        const auto found = std::search(rest_.begin(), rest_.end(), separator.begin(), separator.end());
        const auto taken = bytes(static_cast<size_t>(found - rest_.begin()));
        bytes(separator.size());
        return taken;
    }
    input_bytes rest() { return bytes(rest_.size()); }
    bool empty() const { return rest_.empty(); }

  private:
    input_bytes rest_;
};

inline bool is_result_code(uint32_t code) { return code <= 18; }
