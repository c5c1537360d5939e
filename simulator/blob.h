// simulator/blob.h: bus messages as the broker reads and writes them (blob attributes and blobmsg fields). Independent
// of the bus client's own code, so that an error there shows here.
#pragma once
#include "simulator/tlv.h"
#include <nlohmann/json.hpp>
#include <string>

namespace sim {

constexpr uint32_t blob_max_length = 0x00FFFFFF; // an attribute's length is a number of 24 bits

struct blob_attribute {
    uint8_t id;
    bool extended; // a blobmsg field; its id is the field's type
    byte_view value;
};

// All attributes of data; nothing when one runs over the end or its padding to four bytes is missing.
std::optional<std::vector<blob_attribute>> read_blob_attributes(byte_view data);

byte_vector write_blob_attribute(uint8_t id, byte_view value, bool extended = false); // with its padding
byte_vector write_blob_uint32(uint8_t id, uint32_t value);
byte_vector write_blob_text(uint8_t id, const std::string &text); // with its terminating zero

std::optional<uint32_t> blob_to_uint32(byte_view value);
// Nothing unless the one zero byte is the last.
std::optional<std::string> blob_to_text(byte_view value);

enum class field_type : uint8_t { array = 1, table, string, int64, int32, int16, int8, real };

struct blob_field {
    std::string name;
    field_type type;
    byte_view value;
};

std::optional<std::vector<blob_field>> read_blob_fields(byte_view data);
byte_vector write_blob_field(field_type type, const std::string &name, byte_view value);

// The first field with this name and type.
std::optional<byte_view> find_blob_field(const std::vector<blob_field> &fields, const std::string &name,
                                         field_type type);

// A table's fields as a JSON object, nested ones included; 8-bit values are truth values. Nothing when malformed.
std::optional<nlohmann::json> blob_fields_to_json(byte_view data);
// The same as a list, in the order sent: [{"name": ..., "type": "string", "value": ...}, ...].
std::optional<nlohmann::json> blob_fields_to_list(byte_view data);

} // namespace sim
