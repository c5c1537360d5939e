#include "unit/lpa/operation_table.h"
#include "foundation/owned_bytes.h"
#include "lpa/lpa.h"
#include "support/log_capture.h"
#include "unit/lpa/scripted_card.h"

namespace {
constexpr const char *modem = "modem0";
constexpr const char *swapped_iccid = "981032547698103254F6";

std::string installation_result(const std::string &final_result)
{
    const std::string metadata =
        tlv("BF2F", tlv("80", "05") + tlv("81", "0780") + tlv("0C", text_hex("a.example")) + tlv("5A", swapped_iccid));
    const std::string data = tlv("80", "0102030405060708") + metadata + tlv("06", "8837") + tlv("A2", final_result);
    return tlv("BF37", tlv("BF27", data) + tlv("5F37", "00112233"));
}

// clang-format off
const std::vector<operation_row> rows = {
    {.name = "LPA__get_eid",
     .run = [](char **json, uint32_t *length) { return LPA__get_eid(modem, json, length); },
     .request = "BF3E035C015A", .good_answer = "BF3E125A1089049032123451234512345678901235",
     .document = R"({"eid":"89049032123451234512345678901235"})", .answer_title = "GetEuiccDataResponse"},
    {.name = "LPA__get_profiles",
     .run = [](char **json, uint32_t *length) { return LPA__get_profiles(modem, json, length); },
     .request = "BF2D085C065A9F70909192",
     .good_answer = tlv("BF2D", tlv("A0", tlv("E3", tlv("5A", swapped_iccid) + tlv("9F70", "01")))),
     .document = R"([{"iccid":"8901234567890123456","status":1,"bootstrap":0}])", .answer_title = "ProfileInfoListResponse"},
    {.name = "LPA__get_addresses",
     .run = [](char **json, uint32_t *length) { return LPA__get_addresses(modem, json, length); },
     .request = "BF3C00", .good_answer = tlv("BF3C", tlv("81", text_hex("ds.example"))),
     .document = R"({"smds":"ds.example"})", .answer_title = "EuiccConfiguredAddressesResponse",
     .step_name = "LPA__get_addreses_", .inner_name = "LPA__get_addreses_unlocked"},
    {.name = "LPA__get_notifications",
     .run = [](char **json, uint32_t *length) { return LPA__get_notifications(modem, json, length); },
     .request = "BF2800", .good_answer = "BF2802A000", .document = "[]", .answer_title = "ListNotificationResponse"},
    {.name = "LPA__set_smdp_address",
     .run = [](char **json, uint32_t *length) { return LPA__set_smdp_address(modem, "dp.example", json, length); },
     .request = "BF3F0C800A64702E6578616D706C65", .good_answer = "BF3F03800100",
     .document = R"({"result":0,"description":"Default SM-DP+ address changed"})", .refused_answer = "BF3F0380017F",
     .refused_document = R"({"result":127,"description":"Default SM-DP+ address not changed. Undefined error"})",
     .answer_title = "SetDefaultDpAddressResponse"},
    {.name = "LPA__set_profile_nickname",
     .run = [](char **json, uint32_t *length) { return LPA__set_profile_nickname(modem, test_iccid_text, "nick", json, length); },
     .request = "BF29125A0A981032547698103254F690046E69636B", .good_answer = "BF2903800100",
     .document = R"({"result":0,"description":"Nickname has been set"})", .refused_answer = "BF2903800101",
     .refused_document = R"({"result":1,"description":"Nickname not set. Profile ICCID not found"})",
     .answer_title = "SetNicknameResponse", .event = 5, .has_iccid = true},
    {.name = "LPA__enable_profile",
     .run = [](char **json, uint32_t *length) { return LPA__enable_profile(modem, test_iccid_text, json, length); },
     .request = "BF3111A00C5A0A981032547698103254F6810100", .good_answer = "BF3103800100",
     .document = R"({"result":0,"description":"Profile enabled"})", .refused_answer = "BF3103800102",
     .refused_document = R"({"result":2,"description":"Profile not enabled. The profile was not in disabled state"})",
     .answer_title = "EnableProfileResponse", .after = follow_up::reload_and_notify, .event = 1, .has_iccid = true},
    {.name = "LPA__disable_profile",
     .run = [](char **json, uint32_t *length) { return LPA__disable_profile(modem, test_iccid_text, json, length); },
     .request = "BF3211A00C5A0A981032547698103254F6810100", .good_answer = "BF3203800100",
     .document = R"({"result":0,"description":"Profile disabled"})", .refused_answer = "BF3203800103",
     .refused_document = R"({"result":3,"description":"Profile not disabled. Disallowed by policy"})",
     .answer_title = "DisableProfileResponse", .after = follow_up::reload_and_notify, .event = 2, .has_iccid = true},
    {.name = "LPA__delete_profile",
     .run = [](char **json, uint32_t *length) { return LPA__delete_profile(modem, test_iccid_text, json, length); },
     .request = "BF330C5A0A981032547698103254F6", .good_answer = "BF3303800100",
     .document = R"({"result":0,"description":"Profile deleted"})", .refused_answer = "BF330380017F",
     .refused_document = R"({"result":127,"description":"Profile not deleted. Undefined error"})",
     .answer_title = "DeleteProfileResponse", .after = follow_up::reload_and_notify, .event = 3, .has_iccid = true},
    {.name = "LPA__reset_memory",
     .run = [](char **json, uint32_t *length) { return LPA__reset_memory(modem, json, length); },
     .request = "BF3404820205E0", .good_answer = "BF3403800100", .after = follow_up::notify_and_reload, .event = 6},
    {.name = "LPA__start_rsp",
     .run = [](char **json, uint32_t *length) { return LPA__start_rsp(modem, "LPA:1$dp.example$TOKEN", "1234", json, length); },
     .codes = source::download, .good_answer = installation_result(tlv("A0", tlv("4F", "A0000005591010FFFFFFFF8900001100") + tlv("04", "3000"))),
     .document = R"({"result":0,"description":"Profile installed","iccid":"8901234567890123456"})",
     .refused_answer = installation_result(tlv("A1", tlv("80", "03") + tlv("81", "0A"))),
     .refused_document = R"({"result":10,"description":"Profile not installed. Install failed due to insufficient memory for profile"})",
     .after = follow_up::notify, .event = 0},
    {.name = "LPA__process_notifications",
     .run = [](char **json, uint32_t *length) { return LPA__process_notifications(modem, json, length); },
     .codes = source::notifications, .event = 4},
};
// clang-format on

std::string event(int number, uint32_t state, const char *iccid)
{
    return "gsm.modem0 event " + std::to_string(number) + " state " + std::to_string(state) +
           (iccid ? std::string(" iccid ") + iccid : "");
}
} // namespace

const std::vector<operation_row> &operation_table() { return rows; }

void script_codes(const operation_row &row, const std::vector<uint32_t> &codes)
{
    if (row.codes == source::download) rsp.download_codes.assign(codes.begin(), codes.end());
    if (row.codes == source::notifications) rsp.notification_codes.assign(codes.begin(), codes.end());
    if (!row.is_card_operation()) return;
    for (const uint32_t code : codes)
        if (code != 0) card.first.push_back({"", code == 6 ? "6A80" : "6985"});
}

void script_answer(const operation_row &row, const std::string &answer_hex)
{
    if (row.is_card_operation()) card.answers[row.tag()] = {{answer_hex}};
    if (row.codes == source::download) rsp.download_results = {answer_hex};
}

operation_outcome run(uint32_t (*call)(char **json, uint32_t *length))
{
    static char unwritten[] = "unwritten";
    char *document = unwritten;
    uint32_t length = 99;
    const uint32_t code = call(&document, &length);
    const owned_text json(document == unwritten ? nullptr : document);
    return {code, document ? document : "(null)", length};
}

std::string operation_lines(const log_capture &log)
{
    std::string result;
    for (const auto &line : log.lines()) {
        const bool is_own = line.text.find("LPA__") != std::string::npos || line.text.starts_with("Notifications") ||
                            line.text.starts_with("GET FREE MEMORY");
        if (is_own && line.level <= 3) result += std::to_string(line.level) + " " + line.text + "\n";
    }
    return result;
}

std::string attempt_lines(const operation_row &row, uint32_t code)
{
    if (row.codes == source::download) return "3 [LPA__start_rsp] confirmation code 1234\n";
    if (row.after == follow_up::notify_and_reload && code != 0)
        return "2 [LPA__reset_memory_] es10__euicc_memory_reset failed, rc " + std::to_string(code) + "\n";
    return "";
}

std::string success_lines(const operation_row &row, const std::string &document)
{
    const std::string name = std::string("[") + row.name + "] ";
    const std::string reload = "3 " + name + "reloading modem\n3 " + name + "modem reloaded\n";
    const std::string notify = "3 Notifications processed successfully\n";
    std::string lines;
    if (row.after == follow_up::reload_and_notify) lines = reload + notify;
    if (row.after == follow_up::notify_and_reload) lines = notify + reload;
    if (row.after == follow_up::notify) lines = notify;
    if (!document.empty()) lines += "3 " + name + "JSON result: " + document + "\n";
    return lines;
}

std::vector<std::string> failure_events(const operation_row &row, uint32_t state)
{
    if (row.event < 0) return {};
    return {event(row.event, state, row.has_iccid ? test_iccid_text : nullptr)};
}

std::vector<std::string> success_events(const operation_row &row, uint32_t state)
{
    std::vector<std::string> events = failure_events(row, state);
    if (row.after != follow_up::nothing) events.insert(events.begin(), event(4, 0, nullptr));
    return events;
}

std::vector<unsigned> success_pauses(const operation_row &row)
{
    if (row.after == follow_up::reload_and_notify) return {1};
    if (row.after == follow_up::notify_and_reload) return {5, 1};
    return {};
}
