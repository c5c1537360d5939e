#include "cli/commands.h"
#include "lpa/lpa.h"

namespace {

const command_argument iccid = {"ICCID", "the profile's ICCID, 18 to 20 digits"};

const char *text_or_null(const std::string &text) { return text.empty() ? nullptr : text.c_str(); }

} // namespace

const std::vector<command> &commands()
{
    // clang-format off
    static const std::vector<command> all_commands = {
        {.name = "eid", .help = "Show the card's EID", .arguments = {},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__get_eid(in.modem.c_str(), json, length); },
         .show = show_eid},
        {.name = "profiles", .help = "List the profiles on the card", .arguments = {},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__get_profiles(in.modem.c_str(), json, length); },
         .show = show_profiles},
        {.name = "notifications", .help = "List the notifications that wait on the card", .arguments = {},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__get_notifications(in.modem.c_str(), json, length); },
         .show = show_notifications},
        {.name = "addresses", .help = "Show the card's server addresses", .arguments = {},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__get_addresses(in.modem.c_str(), json, length); },
         .show = show_addresses},
        {.name = "memory", .help = "Show the card's free memory", .arguments = {},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__get_free_memory(in.modem.c_str(), json, length); },
         .show = show_free_memory},
        {.name = "download", .help = "Download and install a profile", .arguments = {{"CODE", "activation code: LPA:1$address$token"}},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__start_rsp(in.modem.c_str(), in.arguments[0].c_str(), text_or_null(in.confirmation_code), json, length); },
         .show = show_result, .takes_confirmation_code = true},
        {.name = "enable", .help = "Enable a profile", .arguments = {iccid},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__enable_profile(in.modem.c_str(), in.arguments[0].c_str(), json, length); },
         .show = show_result},
        {.name = "disable", .help = "Disable a profile", .arguments = {iccid},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__disable_profile(in.modem.c_str(), in.arguments[0].c_str(), json, length); },
         .show = show_result},
        {.name = "delete", .help = "Delete a profile", .arguments = {iccid},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__delete_profile(in.modem.c_str(), in.arguments[0].c_str(), json, length); },
         .show = show_result, .question = "Delete this profile from the card?"},
        {.name = "nickname", .help = "Set a profile's nickname, or remove it with \"\"", .arguments = {iccid, {"NICKNAME", "at most 64 bytes"}},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__set_profile_nickname(in.modem.c_str(), in.arguments[0].c_str(), in.arguments[1].c_str(), json, length); },
         .show = show_result},
        {.name = "set-smdp", .help = "Set the default SM-DP+ address, or remove it with \"\"", .arguments = {{"ADDRESS", "host name"}},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__set_smdp_address(in.modem.c_str(), in.arguments[0].c_str(), json, length); },
         .show = show_result},
        {.name = "process-notifications", .help = "Deliver the notifications that wait on the card", .arguments = {},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__process_notifications(in.modem.c_str(), json, length); },
         .show = nullptr, .done = "Notifications processed."},
        {.name = "reset-memory", .help = "Delete every profile and the default SM-DP+ address", .arguments = {},
         .run = [](const command_input &in, char **json, uint32_t *length) { return LPA__reset_memory(in.modem.c_str(), json, length); },
         .show = nullptr, .done = "Memory reset.", .question = "Delete every profile from the card?"},
        {.name = "reset-settings", .help = "Delete every profile but the manufacturing and bootstrap ones", .arguments = {},
         .run = [](const command_input &in, char **, uint32_t *) { return LPA__reset_settings(in.modem.c_str()); },
         .show = nullptr, .done = "Settings reset.", .question = "Delete every profile but the manufacturing and bootstrap ones from the card?"},
    };
    // clang-format on
    return all_commands;
}
