#include "cli/watch.h"
#include "cli/safe_text.h"
#include "cli/update_listener.h"
#include "foundation/result.h"
#include "lpa/update_event.h"
#include <iterator>

namespace {

constexpr const char *meanings[] = {
    "profile download", // UPDATE_EVENT__DOWNLOAD and so on
    "profile enabling",         "profile disabling", "profile deletion",
    "notification delivery",    "nickname change",   "reset",
    "primary profile download",
};
static_assert(std::size(meanings) == UPDATE_EVENT__DOWNLOAD_PRIMARY + 1);

std::string meaning_of(const update_event &event)
{
    return event.event < std::size(meanings) ? meanings[event.event] : "event " + std::to_string(event.event);
}

std::string modem_of(const update_event &event)
{
    constexpr std::string_view prefix = "gsm.";
    return event.modem.substr(event.modem.starts_with(prefix) ? prefix.size() : 0);
}

// Another name of the first modem.
std::string modem_named(const std::string &name) { return name == "modem" ? "modem0" : name; }

void show_event(const update_event &event, const page &page)
{
    page.out << printable(modem_of(event)) << ": " << meaning_of(event);
    if (!event.iccid.empty()) page.out << " of " << printable(event.iccid);
    if (event.state == RESULT__OK) page.out << ": done";
    else page.out << ": " << printable(code_description(event.state)) << " (result code " << event.state << ")";
    page.out << std::endl;
}

void print_event(const update_event &event, const page &page)
{
    json document = {
        {"modem", modem_of(event)}, {"event", event.event}, {"meaning", meaning_of(event)}, {"state", event.state}};
    if (!event.iccid.empty()) document["iccid"] = event.iccid;
    page.out << json_text(document) << std::endl;
}

} // namespace

outcome watch_updates(const watched_updates &watched, const page &out, const page &err)
{
    int seen = 0;
    const auto tell = [&] {
        if (!watched.quiet) err.out << "lpa: watch: waiting for update events, Ctrl-C ends" << std::endl;
    };
    const bool listened = listen_to_updates(tell, [&](const update_event &event) {
        if (!watched.modem.empty() && modem_named(watched.modem) != modem_named(modem_of(event))) return true;
        watched.as_json ? print_event(event, out) : show_event(event, out);
        return out.out && ++seen != watched.count;
    });
    if (listened) return {RESULT__OK, std::nullopt};
    return ended(EXIT__NO_BUS, "the bus cannot be reached, or is gone: is the router's bus daemon running?");
}
