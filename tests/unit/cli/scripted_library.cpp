#include "unit/cli/scripted_library.h"
#include "foundation/log.h"
#include "lpa/lpa.h"
#include <cstdlib>
#include <cstring>
#include <sstream>

scripted_library library;
char *g_socks_proxy_address = nullptr;
uint8_t g_log_to_console = 0;

namespace {
uint32_t called(const char *name, std::initializer_list<const char *> arguments, char **json, uint32_t *length)
{
    std::string call = name;
    for (const char *argument : arguments)
        call += std::string(" ") + (argument ? argument : "null");
    library.calls.push_back(call);
    library.proxy = g_socks_proxy_address ? g_socks_proxy_address : "none";
    library.logs_to_console = g_log_to_console != 0;
    for (const lpa_progress &progress : library.progress)
        if (library.progress_callback) library.progress_callback(&progress, library.progress_context);
    const auto other = library.outcomes.find(name);
    const scripted_outcome &outcome = other == library.outcomes.end() ? library : other->second;
    if (json) *json = outcome.document ? strdup(outcome.document->c_str()) : nullptr;
    if (length) *length = outcome.document ? static_cast<uint32_t>(outcome.document->size() + 1) : 0;
    return outcome.code;
}
} // namespace

// clang-format off
uint32_t LPA__get_eid(const char *modem, char **json, uint32_t *length) { return called("get_eid", {modem}, json, length); }
uint32_t LPA__get_profiles(const char *modem, char **json, uint32_t *length) { return called("get_profiles", {modem}, json, length); }
uint32_t LPA__get_addresses(const char *modem, char **json, uint32_t *length) { return called("get_addresses", {modem}, json, length); }
uint32_t LPA__get_free_memory(const char *modem, char **json, uint32_t *length) { return called("get_free_memory", {modem}, json, length); }
uint32_t LPA__get_notifications(const char *modem, char **json, uint32_t *length) { return called("get_notifications", {modem}, json, length); }
uint32_t LPA__set_smdp_address(const char *modem, const char *address, char **json, uint32_t *length) { return called("set_smdp_address", {modem, address}, json, length); }
uint32_t LPA__set_profile_nickname(const char *modem, const char *iccid, const char *nickname, char **json, uint32_t *length) { return called("set_profile_nickname", {modem, iccid, nickname}, json, length); }
uint32_t LPA__enable_profile(const char *modem, const char *iccid, char **json, uint32_t *length) { return called("enable_profile", {modem, iccid}, json, length); }
uint32_t LPA__disable_profile(const char *modem, const char *iccid, char **json, uint32_t *length) { return called("disable_profile", {modem, iccid}, json, length); }
uint32_t LPA__delete_profile(const char *modem, const char *iccid, char **json, uint32_t *length) { return called("delete_profile", {modem, iccid}, json, length); }
uint32_t LPA__reset_memory(const char *modem, char **json, uint32_t *length) { return called("reset_memory", {modem}, json, length); }
uint32_t LPA__reset_settings(const char *modem) { return called("reset_settings", {modem}, nullptr, nullptr); }
uint32_t LPA__process_notifications(const char *modem, char **json, uint32_t *length) { return called("process_notifications", {modem}, json, length); }
uint32_t LPA__start_rsp(const char *modem, const char *activation_code, const char *confirmation_code, char **json, uint32_t *length) { return called("start_rsp", {modem, activation_code, confirmation_code}, json, length); }
// clang-format on

uint32_t LPA__set_reload_disabled(uint8_t disabled)
{
    library.reload_disabled = disabled;
    return 0;
}

void LPA__set_progress_callback(void (*callback)(const lpa_progress *progress, void *context), void *context)
{
    library.progress_callback = callback;
    library.progress_context = context;
}

uint32_t json_generator__process_error(uint32_t code, char **json)
{
    *json = nullptr;
    if (!library.describes_codes) return 9;
    const std::string text =
        "{\"result\":" + std::to_string(code) + ",\"description\":\"code " + std::to_string(code) + "\"}";
    *json = strdup(text.c_str());
    return 0;
}

void M_free(void *pointer) { free(pointer); }

void log__set_log_level(int32_t level)
{
    library.log_level = level;
    g_log_to_console = 1;
}

bool listen_to_updates(const std::function<void()> &ready, const std::function<bool(const update_event &)> &take)
{
    if (!library.has_bus) return false;
    ready();
    for (const update_event &event : library.events)
        if (!take(event)) return true;
    return false;
}

run_outcome run(std::vector<const char *> arguments, const std::string &input, terminal_use terminals)
{
    arguments.insert(arguments.begin(), "lpa");
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    const int status = run_program(static_cast<int>(arguments.size()), arguments.data(), in, out, err, terminals);
    return {status, out.str(), err.str()};
}
