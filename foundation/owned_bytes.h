/* foundation/owned_bytes.h: a heap buffer released by scope unless handed over. Never in a public header. */
#pragma once
#include "lpa/memory.h"
#include <stdint.h>
#include <utility>

template <typename Element> struct owned {
    Element *data = nullptr;
    owned() = default;
    explicit owned(Element *buffer) : data(buffer) {}
    owned(const owned &) = delete;
    owned &operator=(const owned &) = delete;
    ~owned() { M_free(data); }
    Element *hand_over() { return std::exchange(data, nullptr); } // from here on the caller frees
    void reset(Element *buffer = nullptr) { M_free(std::exchange(data, buffer)); }
};

using owned_bytes = owned<uint8_t>;
using owned_text = owned<char>;
