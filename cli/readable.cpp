#include "cli/readable.h"
#include "cli/safe_text.h"
#include <algorithm>
#include <string>
#include <vector>

namespace {

using nlohmann::json;
using row = std::vector<std::string>;

void show_table(const std::vector<row> &rows, std::ostream &out)
{
    std::vector<size_t> widths(rows.front().size());
    for (const row &row : rows)
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], display_width(row[i]));
    for (const row &row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i)
            line.append(row[i]).append(widths[i] - display_width(row[i]) + 2, ' ');
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

std::string name_of(const json &object, const char *key, const std::vector<std::string> &names)
{
    const auto member = object.find(key);
    if (member == object.end()) return "-";
    if (member->is_number_unsigned() && member->get<size_t>() < names.size()) return names[member->get<size_t>()];
    return printable(member->dump());
}

bool is_bootstrap(const json &profile)
{
    const auto member = profile.find("bootstrap");
    return member != profile.end() && *member == 1;
}

} // namespace

std::string text_member(const json &object, const char *key, const char *absent)
{
    const auto member = object.find(key);
    if (member == object.end()) return absent;
    return printable(member->is_string() ? member->get<std::string>() : member->dump());
}

void show_eid(const json &document, std::ostream &out) { out << "EID: " << text_member(document, "eid") << '\n'; }

void show_profiles(const json &document, std::ostream &out)
{
    if (document.empty()) {
        out << "No profiles.\n";
        return;
    }
    std::vector<row> rows = {{"ICCID", "STATE", "NAME", "PROVIDER", "NICKNAME", ""}};
    for (const json &profile : document)
        rows.push_back({text_member(profile, "iccid"), name_of(profile, "status", {"disabled", "enabled"}),
                        text_member(profile, "name"), text_member(profile, "provider"),
                        text_member(profile, "nickname"), is_bootstrap(profile) ? "bootstrap" : ""});
    show_table(rows, out);
}

void show_addresses(const json &document, std::ostream &out)
{
    out << "Root SM-DS:      " << text_member(document, "smds") << '\n';
    out << "Default SM-DP+:  " << text_member(document, "smdp") << '\n';
}

void show_free_memory(const json &document, std::ostream &out)
{
    out << "Free memory: " << text_member(document, "free_memory") << " bytes\n";
}

void show_notifications(const json &document, std::ostream &out)
{
    if (document.empty()) {
        out << "No notifications.\n";
        return;
    }
    std::vector<row> rows = {{"NUMBER", "EVENT", "ICCID", "ADDRESS"}};
    for (const json &notification : document)
        rows.push_back({text_member(notification, "sequence_number"),
                        name_of(notification, "event", {"install", "enable", "disable", "delete"}),
                        text_member(notification, "iccid"), text_member(notification, "address")});
    show_table(rows, out);
}

void show_result(const json &document, std::ostream &out)
{
    out << text_member(document, "description");
    if (document.contains("iccid")) out << ": ICCID " << text_member(document, "iccid");
    out << '\n';
}
