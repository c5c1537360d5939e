#include "cli/readable.h"
#include "cli/safe_text.h"
#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char *bold = "\x1B[1m";
constexpr const char *green = "\x1B[32m";
constexpr const char *plain = "\x1B[0m";

struct cell {
    std::string text;
    const char *colour = nullptr;
};
using row = std::vector<cell>;

size_t width_of(const cell &cell) { return display_width(cell.text); }

std::string coloured(const cell &cell, const page &page)
{
    return page.colours && cell.colour ? cell.colour + cell.text + plain : cell.text;
}

void show_row(const row &cells, const std::vector<size_t> &widths, const page &page)
{
    std::string line;
    size_t blanks = 0; // written only in front of something
    for (size_t i = 0; i < cells.size(); ++i) {
        if (!cells[i].text.empty()) line.append(std::exchange(blanks, 0), ' ').append(coloured(cells[i], page));
        blanks += widths[i] + 2 - width_of(cells[i]);
    }
    page.out << line << '\n';
}

void show_table(const std::vector<std::string> &titles, std::vector<row> rows, const page &page)
{
    row head;
    for (const std::string &title : titles)
        head.push_back({title, bold});
    rows.insert(rows.begin(), head);
    std::vector<size_t> widths(titles.size());
    for (const row &cells : rows)
        for (size_t i = 0; i < cells.size(); ++i)
            widths[i] = std::max(widths[i], width_of(cells[i]));
    for (const row &cells : rows)
        show_row(cells, widths, page);
}

std::string name_of(const json &object, const char *key, const std::vector<std::string> &names)
{
    const auto member = object.find(key);
    if (member == object.end()) return "-";
    const auto number = member->is_number() ? member->get<int64_t>() : -1;
    if (number >= 0 && number < std::ssize(names)) return names[static_cast<size_t>(number)];
    return printable(member->dump());
}

bool has_number(const json &object, const char *key, int number)
{
    const auto member = object.find(key);
    return member != object.end() && *member == number;
}

} // namespace

std::string text_member(const json &object, const char *key, const char *absent)
{
    const auto member = object.find(key);
    if (member == object.end()) return absent;
    return printable(member->is_string() ? member->get<std::string>() : member->dump());
}

void show_eid(const json &document, const page &page) { page.out << "EID: " << text_member(document, "eid") << '\n'; }

void show_profiles(const json &document, const page &page)
{
    if (document.empty()) {
        page.out << "No profiles.\n";
        return;
    }
    std::vector<row> rows;
    for (const json &profile : document)
        rows.push_back(
            {{text_member(profile, "iccid")},
             {name_of(profile, "status", {"disabled", "enabled"}), has_number(profile, "status", 1) ? green : nullptr},
             {text_member(profile, "name")},
             {text_member(profile, "provider")},
             {text_member(profile, "nickname")},
             {has_number(profile, "bootstrap", 1) ? "bootstrap" : ""}});
    show_table({"ICCID", "STATE", "NAME", "PROVIDER", "NICKNAME", ""}, rows, page);
}

void show_addresses(const json &document, const page &page)
{
    page.out << "Root SM-DS:      " << text_member(document, "smds") << '\n';
    page.out << "Default SM-DP+:  " << text_member(document, "smdp") << '\n';
}

void show_free_memory(const json &document, const page &page)
{
    page.out << "Free memory:     " << text_member(document, "free_memory") << " bytes\n";
}

void show_notifications(const json &document, const page &page)
{
    if (document.empty()) {
        page.out << "No notifications.\n";
        return;
    }
    std::vector<row> rows;
    for (const json &notification : document)
        rows.push_back({{text_member(notification, "sequence_number")},
                        {name_of(notification, "event", {"install", "enable", "disable", "delete"})},
                        {text_member(notification, "iccid")},
                        {text_member(notification, "address")}});
    show_table({"NUMBER", "EVENT", "ICCID", "ADDRESS"}, rows, page);
}

void show_result(const json &document, const page &page)
{
    page.out << text_member(document, "description");
    if (document.contains("iccid")) page.out << ": ICCID " << text_member(document, "iccid");
    page.out << '\n';
}
