#include "cli/commands.h"
#include "cli/status.h"

namespace {

using input = const command_input &;

const command_argument profile = {"PROFILE", "ICCID, the last digits of it (4 or more), or nickname",
                                  argument_kind::profile};
const command_argument code = {"CODE", "activation code, LPA:1$address$token; - reads it from standard input",
                               argument_kind::activation_code};

// Settings are reset without a document.
uint32_t reset_settings(const char *modem, char **, uint32_t *) { return LPA__reset_settings(modem); }

} // namespace

const std::vector<command> &commands()
{
    // clang-format off
    static const std::vector<command> all_commands = {
        {.name = "status", .help = "Show modem and card on one screen", .example = "", .arguments = {},
         .run = [](input in) { return read_status(in.modem); }, .show = show_status},
        {.name = "eid", .help = "Show the card's EID", .example = "--json", .arguments = {},
         .run = [](input in) { return read(LPA__get_eid, in.modem); }, .show = show_eid},
        {.name = "profiles", .help = "List the profiles on the card", .example = "-m modem1", .arguments = {},
         .run = [](input in) { return read(LPA__get_profiles, in.modem); }, .show = show_profiles},
        {.name = "notifications", .help = "List the notifications that wait on the card", .example = "", .arguments = {},
         .run = [](input in) { return read(LPA__get_notifications, in.modem); }, .show = show_notifications},
        {.name = "addresses", .help = "Show the card's server addresses", .example = "", .arguments = {},
         .run = [](input in) { return read(LPA__get_addresses, in.modem); }, .show = show_addresses},
        {.name = "memory", .help = "Show the card's free memory", .example = "", .arguments = {},
         .run = [](input in) { return read(LPA__get_free_memory, in.modem); }, .show = show_free_memory},
        {.name = "download", .help = "Download and install a profile", .example = "'LPA:1$smdp.example$TOKEN'", .arguments = {code},
         .run = [](input in) { return call(LPA__start_rsp, in.modem, in.arguments[0], in.confirmation_code); }, .show = show_result},
        {.name = "enable", .help = "Enable a profile", .example = "8901234567890123456", .arguments = {profile},
         .run = [](input in) { return call(LPA__enable_profile, in.modem, in.arguments[0]); }, .show = show_result},
        {.name = "disable", .help = "Disable a profile", .example = "3456", .arguments = {profile},
         .run = [](input in) { return call(LPA__disable_profile, in.modem, in.arguments[0]); }, .show = show_result},
        {.name = "delete", .help = "Delete a profile", .example = "office --yes", .arguments = {profile},
         .run = [](input in) { return call(LPA__delete_profile, in.modem, in.arguments[0]); }, .show = show_result,
         .question = "Delete profile {} from the card?"},
        {.name = "nickname", .help = "Set a profile's nickname, or remove it with \"\"", .example = "3456 office",
         .arguments = {profile, {"NICKNAME", "at most 64 bytes"}},
         .run = [](input in) { return call(LPA__set_profile_nickname, in.modem, in.arguments[0], in.arguments[1]); }, .show = show_result},
        {.name = "set-smdp", .help = "Set the default SM-DP+ address, or remove it with \"\"", .example = "smdp.example",
         .arguments = {{"ADDRESS", "host name"}},
         .run = [](input in) { return call(LPA__set_smdp_address, in.modem, in.arguments[0]); }, .show = show_result},
        {.name = "process-notifications", .help = "Deliver the notifications that wait on the card", .example = "", .arguments = {},
         .run = [](input in) { return call(LPA__process_notifications, in.modem); }, .done = "Notifications processed."},
        {.name = "reset-memory", .help = "Delete every profile and the default SM-DP+ address", .example = "--yes", .arguments = {},
         .run = [](input in) { return call(LPA__reset_memory, in.modem); }, .done = "Memory reset.",
         .question = "Delete every profile and the default SM-DP+ address from the card?"},
        {.name = "reset-settings", .help = "Delete every profile but the manufacturing and bootstrap ones", .example = "--yes", .arguments = {},
         .run = [](input in) { return call(reset_settings, in.modem); }, .done = "Settings reset.",
         .question = "Delete every profile but the manufacturing and bootstrap ones from the card?"},
        {.name = "watch", .help = "Print update events as they happen, of all modems unless -m names one", .example = "--count 1", .arguments = {},
         .run = nullptr},
    };
    // clang-format on
    return all_commands;
}
