#include "simulator/blob.h"
#include <bit>
#include <stdexcept>

namespace sim {
namespace {
using nlohmann::json;
constexpr size_t head_size = 4;
constexpr uint32_t extended_flag = 0x80000000;
constexpr int max_depth = 16;
constexpr const char *type_names[] = {"", "array", "table", "string", "int64", "int32", "int16", "int8", "double"};

size_t padded(size_t size) { return (size + 3) & ~size_t{3}; }

uint64_t big_endian(byte_view value)
{
    uint64_t number = 0;
    for (const uint8_t byte : value)
        number = number << 8 | byte;
    return number;
}

size_t number_size(field_type type)
{
    switch (type) {
    case field_type::int64:
    case field_type::real:
        return 8;
    case field_type::int32:
        return 4;
    case field_type::int16:
        return 2;
    default:
        return 1;
    }
}

std::optional<json> number_to_json(field_type type, byte_view value)
{
    if (value.size() != number_size(type)) return std::nullopt;
    const uint64_t number = big_endian(value);
    switch (type) {
    case field_type::int64:
        return static_cast<int64_t>(number);
    case field_type::int32:
        return static_cast<int32_t>(number);
    case field_type::int16:
        return static_cast<int16_t>(number);
    case field_type::int8:
        return number != 0;
    default:
        return std::bit_cast<double>(number);
    }
}

std::optional<json> list_to_json(field_type type, byte_view data, int depth);

std::optional<json> value_to_json(const blob_field &field, int depth)
{
    if (field.type == field_type::array || field.type == field_type::table)
        return list_to_json(field.type, field.value, depth);
    if (field.type != field_type::string) return number_to_json(field.type, field.value);
    const auto text = blob_to_text(field.value);
    return text ? std::optional<json>(*text) : std::nullopt;
}

std::optional<json> list_to_json(field_type type, byte_view data, int depth) // NOLINT(misc-no-recursion): bounded
{
    const auto fields = depth > 0 ? read_blob_fields(data) : std::nullopt;
    if (!fields) return std::nullopt;
    json result = type == field_type::array ? json::array() : json::object();
    for (const blob_field &field : *fields) {
        auto value = value_to_json(field, depth - 1);
        if (!value) return std::nullopt;
        if (type == field_type::array) result.push_back(std::move(*value));
        else result[field.name] = std::move(*value);
    }
    return result;
}

std::optional<blob_field> to_field(const blob_attribute &attribute)
{
    if (!attribute.extended || attribute.id < 1 || attribute.id > 8 || attribute.value.size() < 3) return std::nullopt;
    const size_t name_length = static_cast<size_t>(attribute.value[0]) << 8 | attribute.value[1];
    const size_t data_start = padded(2 + name_length + 1);
    if (data_start > attribute.value.size() || attribute.value[2 + name_length] != 0) return std::nullopt;
    const auto name = attribute.value.subspan(2, name_length);
    return blob_field{std::string(name.begin(), name.end()), static_cast<field_type>(attribute.id),
                      attribute.value.subspan(data_start)};
}
} // namespace

std::optional<std::vector<blob_attribute>> read_blob_attributes(byte_view data)
{
    std::vector<blob_attribute> result;
    while (!data.empty()) {
        if (data.size() < head_size) return std::nullopt;
        const auto word = static_cast<uint32_t>(big_endian(data.first(head_size)));
        const size_t length = word & blob_max_length;
        if (length < head_size || padded(length) > data.size()) return std::nullopt;
        result.push_back({static_cast<uint8_t>(word >> 24 & 0x7F), (word & extended_flag) != 0,
                          data.subspan(head_size, length - head_size)});
        data = data.subspan(padded(length));
    }
    return result;
}

byte_vector write_blob_attribute(uint8_t id, byte_view value, bool extended)
{
    const size_t length = head_size + value.size();
    if (length > blob_max_length) throw std::length_error("a blob holds less than 16 MiB");
    const uint32_t word = (extended ? extended_flag : 0) | uint32_t{id} << 24 | static_cast<uint32_t>(length);
    byte_vector result;
    for (int shift = 24; shift >= 0; shift -= 8)
        result.push_back(static_cast<uint8_t>(word >> shift));
    result.insert(result.end(), value.begin(), value.end());
    result.resize(padded(length));
    return result;
}

byte_vector write_blob_uint32(uint8_t id, uint32_t value)
{
    const uint8_t bytes[] = {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
                             static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
    return write_blob_attribute(id, bytes);
}

byte_vector write_blob_text(uint8_t id, const std::string &text)
{
    return write_blob_attribute(id, {reinterpret_cast<const uint8_t *>(text.c_str()), text.size() + 1});
}

std::optional<uint32_t> blob_to_uint32(byte_view value)
{
    if (value.size() != 4) return std::nullopt;
    return static_cast<uint32_t>(big_endian(value));
}

std::optional<std::string> blob_to_text(byte_view value)
{
    const std::string text(value.begin(), value.end());
    if (text.empty() || text.find('\0') != text.size() - 1) return std::nullopt;
    return text.substr(0, text.size() - 1);
}

std::optional<std::vector<blob_field>> read_blob_fields(byte_view data)
{
    const auto attributes = read_blob_attributes(data);
    if (!attributes) return std::nullopt;
    std::vector<blob_field> fields;
    for (const blob_attribute &attribute : *attributes) {
        auto field = to_field(attribute);
        if (!field) return std::nullopt;
        fields.push_back(std::move(*field));
    }
    return fields;
}

byte_vector write_blob_field(field_type type, const std::string &name, byte_view value)
{
    byte_vector contents = {static_cast<uint8_t>(name.size() >> 8), static_cast<uint8_t>(name.size())};
    contents.insert(contents.end(), name.begin(), name.end());
    contents.resize(padded(contents.size() + 1)); // the zero byte, too
    contents.insert(contents.end(), value.begin(), value.end());
    return write_blob_attribute(static_cast<uint8_t>(type), contents, true);
}

std::optional<byte_view> find_blob_field(const std::vector<blob_field> &fields, const std::string &name,
                                         field_type type)
{
    for (const blob_field &field : fields)
        if (field.name == name && field.type == type) return field.value;
    return std::nullopt;
}

std::optional<json> blob_fields_to_json(byte_view data) { return list_to_json(field_type::table, data, max_depth); }

std::optional<json> blob_fields_to_list(byte_view data)
{
    const auto fields = read_blob_fields(data);
    if (!fields) return std::nullopt;
    json result = json::array();
    for (const blob_field &field : *fields) {
        auto value = value_to_json(field, max_depth);
        if (!value) return std::nullopt;
        result.push_back({{"name", field.name},
                          {"type", type_names[static_cast<size_t>(field.type)]},
                          {"value", std::move(*value)}});
    }
    return result;
}

} // namespace sim
