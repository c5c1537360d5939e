#include "cli/document.h"
#include "cli/safe_text.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace {

constexpr std::array members = {"iccid",       "status", "nickname", "provider",    "name",
                                "bootstrap",   "eid",    "smds",     "smdp",        "result",
                                "description", "event",  "address",  "free_memory", "sequence_number"};

bool take(std::string_view &from, std::string_view expected)
{
    if (!from.starts_with(expected)) return false;
    from.remove_prefix(expected.size());
    return true;
}

// "name":
std::optional<std::string> take_member_name(std::string_view &from)
{
    std::string_view rest = from;
    if (!take(rest, "\"")) return {};
    for (const std::string_view name : members)
        if (rest.starts_with(name) && rest.substr(name.size()).starts_with("\":")) {
            from = rest.substr(name.size() + 2);
            return std::string(name);
        }
    return {};
}

bool ends_object(std::string_view rest)
{
    return take(rest, "}") && (rest.empty() || rest == "]" || rest.starts_with(",{\""));
}

bool continues_object(std::string_view rest, const json &object)
{
    if (!take(rest, ",")) return false;
    const auto name = take_member_name(rest);
    return name && !object.contains(*name);
}

// Behind the opening quote.
std::optional<json> take_text(std::string_view &from, const json &object)
{
    for (size_t end = from.find('"'); end != std::string_view::npos; end = from.find('"', end + 1)) {
        const std::string_view rest = from.substr(end + 1);
        if (!ends_object(rest) && !continues_object(rest, object)) continue;
        json text = std::string(from.substr(0, end));
        from = rest;
        return text;
    }
    return {};
}

std::optional<json> take_number(std::string_view &from)
{
    int64_t number = 0;
    const auto [end, error] = std::from_chars(from.data(), from.data() + from.size(), number);
    if (error != std::errc()) return {};
    from.remove_prefix(static_cast<size_t>(end - from.data()));
    return json(number);
}

std::optional<json> take_object(std::string_view &from)
{
    json object = json::object();
    if (!take(from, "{")) return {};
    if (take(from, "}")) return object;
    do {
        const auto name = take_member_name(from);
        if (!name) return {};
        object[*name] = nullptr; // its own text does not end in front of it either
        const auto value = take(from, "\"") ? take_text(from, object) : take_number(from);
        if (!value) return {};
        object[*name] = *value;
    } while (take(from, ","));
    if (!take(from, "}")) return {};
    return object;
}

std::optional<json> take_list(std::string_view &from)
{
    json list = json::array();
    if (!take(from, "[")) return {};
    if (take(from, "]")) return list;
    do {
        const auto object = take_object(from);
        if (!object) return {};
        list.push_back(*object);
    } while (take(from, ","));
    if (!take(from, "]")) return {};
    return list;
}

} // namespace

json read_document(std::string_view text)
{
    const std::string utf8 = valid_utf8(text);
    std::string_view rest = utf8;
    const auto document = rest.starts_with("[") ? take_list(rest) : take_object(rest);
    return document && rest.empty() ? *document : json(json::value_t::discarded);
}

std::string json_text(const json &document)
{
    return escaped_json(document.dump(-1, ' ', false, json::error_handler_t::replace));
}
