#pragma GCC visibility push(default)
#include "platform/factory/lmnfinfo.h"
#pragma GCC visibility pop
#include "platform/config/config_file.h"
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <set>

namespace {
using nlohmann::json;

constexpr const char *default_path = "/etc/lpa/factory.json";
constexpr size_t profile_count = 6;

// What the file says, as of its last reading.
struct factory_data {
    std::array<const char *, profile_count> profiles = {};
    const char *boot_profile = nullptr;
};

// A text that was handed out stays for the life of the process, even when the file changes. Each one is kept once, so
// that a caller who asks for ever costs nothing.
const char *keep_text(const json *value)
{
    static auto *const kept = new std::set<std::string>; // never freed: callers may hold its texts to the very end
    return value && value->is_string() ? kept->insert(value->get<std::string>()).first->c_str() : nullptr;
}

// No file is the same as an empty one: no profile is protected. A damaged one protects nothing either, so it is told.
factory_data read_data(const char *path)
{
    const config_file file = config_file__read(path);
    if (file.root.is_discarded() && !file.missing)
        fprintf(stderr, "lmnfinfo: cannot use %s: %s\n", path, file.problem.c_str());
    factory_data result;
    const json *const profiles = config_file__member(&file.root, "profiles");
    const size_t listed = profiles && profiles->is_array() ? profiles->size() : 0;
    for (size_t i = 0; i < std::min(listed, profile_count); ++i)
        result.profiles[i] = keep_text(&(*profiles)[i]);
    result.boot_profile = keep_text(config_file__member(&file.root, "boot_profile"));
    return result;
}

factory_data current_data(bool read_again)
{
    static std::mutex mutex;
    static std::optional<factory_data> data;
    const std::lock_guard lock(mutex);
    const char *configured = getenv("LPA_FACTORY");
    const char *path = configured && *configured ? configured : default_path;
    try {
        if (read_again || !data) data = read_data(path);
        return *data;
    } catch (const std::bad_alloc &) { // callers are C programs
        fprintf(stderr, "lmnfinfo: cannot use %s: out of memory\n", path);
        return {};
    }
}
} // namespace

const char *lmnfinfo_get_profile(int index)
{
    if (index < 0 || static_cast<uint32_t>(index) >= profile_count) return nullptr;
    // Callers walk through the profiles from 0 on: what they see comes from one reading.
    return current_data(index == 0).profiles[static_cast<size_t>(index)];
}

const char *lmnfinfo_get_boot_profile(void) { return current_data(true).boot_profile; }
