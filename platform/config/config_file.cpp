#include "platform/config/config_file.h"
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {
constexpr size_t max_file_bytes = size_t{64} * 1024;

// The file's text, or false with errno set.
bool read_text(const char *path, std::string *text)
{
    const std::unique_ptr<FILE, int (*)(FILE *)> file(fopen(path, "re"), fclose);
    if (!file) return false;
    char bytes[1024]; // a terminal's file is read for every command: usually in one piece
    while (text->size() <= max_file_bytes) {
        const size_t count = fread(bytes, 1, sizeof bytes, file.get());
        if (count == 0) break;
        text->append(bytes, count);
    }
    if (ferror(file.get())) return false;
    if (text->size() <= max_file_bytes) return true;
    errno = EFBIG;
    return false;
}
} // namespace

config_file config_file__read(const char *path)
{
    config_file result{.root = nlohmann::json::value_t::discarded, .problem = {}};
    std::string text;
    if (!read_text(path, &text)) {
        result.missing = errno == ENOENT;
        result.problem = strerror(errno);
        return result;
    }
    constexpr bool throws = false;
    result.root = nlohmann::json::parse(text, nullptr, throws);
    if (result.root.is_discarded()) result.problem = "it is not well-formed JSON";
    return result;
}

const nlohmann::json *config_file__member(const nlohmann::json *object, const char *name)
{
    if (!object || !object->is_object()) return nullptr;
    const auto found = object->find(name);
    return found == object->end() ? nullptr : &*found;
}
