// es10/request_writer.h: size, check the room, write. The same for every constructed element of a request; what differs
// stands in a record. Internal to es10/.
#pragma once
#include "foundation/log.h"
#include "foundation/result.h"
#include "tlv/tlv_generator.h"
#include <stdint.h>

// The record holds the logging calls, not the texts: conversions differ from text to text, and so the compiler checks
// each against its arguments on 32-bit and 64-bit machines alike.
template <typename Request> struct request_shape {
    uint16_t tag;
    // Writes the contents. Failures are negative here, without exception.
    int32_t (*write_value)(uint8_t *buffer, uint32_t size, uint32_t offset, const Request *request);
    void (*log_value_size_failed)(int32_t rc);
    void (*trace_value_size)(int32_t size) = [](int32_t) {};
    void (*log_tlv_size_failed)(int32_t rc);
    void (*trace_tlv_size)(int32_t size) = [](int32_t) {};
    void (*log_no_room)(uint32_t size, uint32_t needed);
    void (*log_header_failed)(int32_t rc);
    const char *header_title;
    void (*log_value_failed)(int32_t rc);
    const char *element_title = nullptr; // null: the finished element is not dumped
    bool dump_after_failure = false;
};

// Dumps show the buffer from its first byte, whatever the offset of the element.
inline void request_writer__dump(const char *title, const uint8_t *buffer, int32_t end)
{
    if (title) log__data(LOG__TRACE, title, buffer, end);
}

// Null buffer: returns the end offset and writes nothing. Negative: a negated result code, already logged.
template <typename Request>
int32_t request_writer__write(const request_shape<Request> &shape, uint8_t *buffer, uint32_t size, uint32_t offset,
                              const Request *request)
{
    const int32_t value_size = shape.write_value(nullptr, 0, 0, request);
    if (value_size < 0) {
        shape.log_value_size_failed(value_size);
        return value_size;
    }
    shape.trace_value_size(value_size);
    const int32_t tlv_size = tlv_generator__add_tlv(nullptr, 0, 0, shape.tag, nullptr, value_size);
    if (tlv_size < 0) {
        shape.log_tlv_size_failed(tlv_size);
        return tlv_size;
    }
    shape.trace_tlv_size(tlv_size);
    const uint32_t needed = offset + tlv_size;
    if (!buffer) return static_cast<int32_t>(needed);
    // Checked for the whole element before its first byte: too small a buffer comes back untouched.
    if (offset > size || static_cast<uint32_t>(tlv_size) > size - offset) {
        shape.log_no_room(size, needed);
        return -RESULT__NOT_ENOUGH_BUFFER;
    }
    const int32_t header_end = tlv_generator__add_tag_and_length(buffer, size, offset, shape.tag, value_size);
    if (header_end < 0) {
        shape.log_header_failed(header_end);
        return header_end;
    }
    request_writer__dump(shape.header_title, buffer, header_end);
    int32_t end = shape.write_value(buffer, size, header_end, request);
    // A record that promises bytes which it does not have (a null address with a length) is sized but not written.
    if (end >= 0 && static_cast<uint32_t>(end) != needed) end = -RESULT__BAD_ARGUMENT;
    if (end >= 0) {
        request_writer__dump(shape.element_title, buffer, end);
        return end;
    }
    shape.log_value_failed(end);
    // How much of the contents was written is not known: the dump ends with the header.
    if (shape.dump_after_failure) request_writer__dump(shape.element_title, buffer, header_end);
    return end;
}
