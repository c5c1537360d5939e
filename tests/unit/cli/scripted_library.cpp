#include "unit/cli/scripted_library.h"
#include "lpa/lpa.h"
#include <cstdlib>
#include <cstring>

scripted_library library;
char *g_socks_proxy_address = nullptr;

namespace {
uint32_t called(const char *name, std::initializer_list<const char *> arguments, char **json, uint32_t *length)
{
    std::string call = name;
    for (const char *argument : arguments)
        call += std::string(" ") + (argument ? argument : "null");
    library.calls.push_back(call);
    library.proxy = g_socks_proxy_address ? g_socks_proxy_address : "none";
    if (json) *json = library.document ? strdup(library.document->c_str()) : nullptr;
    if (length) *length = library.document ? static_cast<uint32_t>(library.document->size() + 1) : 0;
    return library.code;
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
