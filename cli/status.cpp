#include "cli/status.h"
#include "cli/readable.h"
#include "lpa/lpa.h"

namespace {

struct status_part {
    const char *name;
    const char *title;
    outcome (*read)(const std::string &modem);
    document_view show;
};

// clang-format off
constexpr status_part parts[] = {
    {"addresses", "Addresses:       ", [](const std::string &modem) { return read(LPA__get_addresses, modem); }, show_addresses},
    {"free_memory", "Free memory:     ", [](const std::string &modem) { return read(LPA__get_free_memory, modem); }, show_free_memory},
    {"profiles", "Profiles: ", [](const std::string &modem) { return read(LPA__get_profiles, modem); }, show_profiles},
    {"notifications", "Notifications: ", [](const std::string &modem) { return read(LPA__get_notifications, modem); }, show_notifications},
};
// clang-format on

bool is_failure(const json &part) { return part.is_object() && part.contains("result"); }

json value_of(const status_part &part, const outcome &outcome)
{
    if (outcome.code != 0) return *ended(outcome.code, code_description(outcome.code)).document;
    return outcome.document->is_object() ? outcome.document->value(part.name, *outcome.document) : *outcome.document;
}

// The document that the value was taken from.
json document_of(const status_part &part, const json &value)
{
    return value.is_structured() ? value : json{{part.name, value}};
}

} // namespace

outcome read_status(const std::string &modem)
{
    outcome status = read(LPA__get_eid, modem);
    if (status.code != 0) return status;
    json screen = {{"modem", modem}};
    screen.update(*status.document);
    for (const status_part &part : parts) {
        const outcome read = part.read(modem);
        if (status.code == 0) status.code = read.code;
        screen[part.name] = value_of(part, read);
    }
    status.document = screen;
    return status;
}

void show_status(const json &document, const page &page)
{
    page.out << "Modem:           " << text_member(document, "modem") << '\n';
    page.out << "EID:             " << text_member(document, "eid") << '\n';
    for (const status_part &part : parts) {
        const json &shown = document.at(part.name);
        if (shown.is_array()) page.out << '\n';
        if (is_failure(shown)) page.out << part.title << "not read, " << text_member(shown, "description") << '\n';
        else part.show(document_of(part, shown), page);
    }
}

bool is_screen(const outcome &outcome)
{
    return outcome.document && outcome.document->is_object() && outcome.document->contains("modem");
}
