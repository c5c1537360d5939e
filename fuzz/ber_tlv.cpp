// BER-TLV: the parser and validator on any bytes, the generator's elements read back by the parser.
// Input: tag (2 bytes), offset (1), buffer.
#include "fuzz/fuzz_input.h"
#include "tlv/ber_tlv_parser.h"
#include "tlv/tlv_generator.h"

namespace {
uint32_t size_of(const ber_tlv_record &record) { return record.tag_bytes + record.length_bytes + record.length; }

bool is_encodable(uint16_t tag)
{
    constexpr unsigned more = 0x1F;
    if (tag <= 0xFF) return (tag & more) != more;
    return (tag >> 8 & more) == more && !(tag & 0x80);
}

void check_found(const exact_bytes &buffer, int32_t offset, uint16_t tag)
{
    REQUIRE(offset >= -1);
    if (offset < 0) return;
    ber_tlv_record record = {};
    REQUIRE(ber_tlv_parser__ber_tlv_2(buffer.data(), buffer.size(), static_cast<uint32_t>(offset), &record) == 0);
    REQUIRE(record.tag == tag);
}

// Bytes that the validator accepts are walked without leaving them, by the operations that take no size too.
void walk(const exact_bytes &buffer)
{
    uint32_t offset = 0;
    while (offset < buffer.size()) {
        ber_tlv_record record = {};
        ber_tlv_record same = {};
        uint32_t size = 0;
        uint32_t full = 0;
        REQUIRE(ber_tlv_parser__ber_tlv_2(buffer.data(), buffer.size(), offset, &record) == 0);
        REQUIRE(ber_tlv_parser__ber_tlv(buffer.data(), offset, &same) == 0);
        REQUIRE(same.tag == record.tag && size_of(same) == size_of(record));
        REQUIRE(ber_tlv_parser__get_tlv_bytes_count(buffer.data(), offset, &size) == 0 && size == size_of(record));
        REQUIRE(ber_tlv_parser__get_full_tlv_length(buffer.data(), offset, &full) == 0 && full == size);
        REQUIRE(ber_tlv_parser__get_value_offset(buffer.data(), offset) == offset + size - record.length);
        REQUIRE(ber_tlv_parser__get_length_offset(buffer.data(), offset) == offset + record.tag_bytes);
        REQUIRE(ber_tlv_parser__get_tag_bytes_count(buffer.data(), offset) == record.tag_bytes);
        REQUIRE(ber_tlv_parser__get_length_bytes_count(buffer.data(), offset + record.tag_bytes) ==
                record.length_bytes);
        REQUIRE(ber_tlv_parser__is_constructed_2(buffer.data() + offset) == (buffer.data()[offset] >> 5 & 1));
        const int32_t first = ber_tlv_parser__find_tlv_by_tag_2(buffer.data(), buffer.size(), 0, record.tag);
        REQUIRE(first >= 0 && static_cast<uint32_t>(first) <= offset);
        offset += size;
    }
    REQUIRE(offset == buffer.size());
}

void write_and_read(uint16_t tag, const exact_bytes &value)
{
    const int32_t size = tlv_generator__add_tlv(nullptr, 0, 0, tag, value.data(), value.size());
    REQUIRE(size > 0);
    const exact_bytes element(static_cast<size_t>(size));
    REQUIRE(tlv_generator__add_tlv(element.data(), element.size() - 1, 0, tag, value.data(), value.size()) == -7);
    REQUIRE(tlv_generator__add_tlv(element.data(), element.size(), 0, tag, value.data(), value.size()) == size);
    REQUIRE(ber_tlv_parser__validate_tlv(element.data(), element.size()) == 0);
    ber_tlv_record record = {};
    REQUIRE(ber_tlv_parser__ber_tlv_2(element.data(), element.size(), 0, &record) == 0);
    REQUIRE(record.tag == tag && record.length == value.size() && size_of(record) == element.size());
    REQUIRE(std::ranges::equal(element.all().last(record.length), value.all()));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint16_t tag = input.number();
    const uint32_t offset = input.byte();
    const exact_bytes buffer(input.rest());
    check_found(buffer, ber_tlv_parser__find_tlv_by_tag(buffer.data(), buffer.size(), offset, tag), tag);
    check_found(buffer, ber_tlv_parser__find_tlv_by_tag_2(buffer.data(), buffer.size(), offset, tag), tag);
    ber_tlv_record record = {};
    if (ber_tlv_parser__ber_tlv_2(buffer.data(), buffer.size(), offset, &record) == 0)
        REQUIRE(offset + record.tag_bytes + record.length_bytes <= buffer.size());
    uint16_t found_tag = 0;
    uint8_t tag_bytes = 0;
    if (ber_tlv_parser__get_tag_data(buffer.data(), buffer.size(), offset, &found_tag, &tag_bytes) == 0)
        REQUIRE(tag_bytes >= 1 && offset + tag_bytes <= buffer.size());
    if (ber_tlv_parser__validate_tlv(buffer.data(), buffer.size()) == 0) walk(buffer);
    if (is_encodable(tag)) write_and_read(tag, buffer);
    return 0;
}
