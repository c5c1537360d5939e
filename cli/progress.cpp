#include "cli/progress.h"
#include "cli/safe_text.h"
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char *erase_line = "\r\x1B[K";
constexpr double redraw_seconds = 0.1;
constexpr double first_rate_seconds = 1; // an earlier one would jump
constexpr size_t shortest_bar = 10;
constexpr size_t longest_bar = 30;

constexpr const char *titles[] = {
    "Opening the card", "Authenticating",       "Preparing the download",   "Fetching the profile",
    "Installing",       "Reporting the result", "Delivering notifications", "Done"};

template <typename... Values> std::string format(const char *pattern, Values... values)
{
    char text[64];
    snprintf(text, sizeof text, pattern, values...);
    return text;
}

std::string bytes_text(double bytes)
{
    if (bytes < 1000) return format("%.0f B", bytes);
    return bytes < 1e6 ? format("%.1f kB", bytes / 1e3) : format("%.1f MB", bytes / 1e6);
}

std::string time_text(double seconds)
{
    const auto whole = static_cast<unsigned>(std::min(std::ceil(seconds), 359999.0));
    if (whole < 3600) return format("%u:%02u", whole / 60, whole % 60);
    return format("%u:%02u:%02u", whole / 3600, whole / 60 % 60, whole % 60);
}

uint32_t share(const lpa_progress &progress, uint32_t whole)
{
    return progress.total == 0 ? 0 : static_cast<uint32_t>(uint64_t{progress.done} * whole / progress.total);
}

bool is_complete(const lpa_progress &progress) { return progress.total > 0 && progress.done == progress.total; }

// What is known without a clock: the title, then from the important to what can be left out.
std::vector<std::string> parts_of(const lpa_progress &progress)
{
    std::vector<std::string> parts = {titles[progress.step]};
    if (progress.step == LPA_PROGRESS__DELIVERING) parts.push_back(format("%u of %u", progress.done, progress.total));
    if (progress.step != LPA_PROGRESS__INSTALLING) return parts;
    parts.push_back(format("%3u%%", share(progress, 100)));
    parts.push_back(bytes_text(progress.done) + " of " + bytes_text(progress.total));
    return parts;
}

std::string joined(const std::vector<std::string> &parts)
{
    std::string text;
    for (const std::string &part : parts)
        text += (text.empty() ? "" : "  ") + part;
    return text;
}

std::string bar(const lpa_progress &progress, size_t length)
{
    const uint32_t filled = share(progress, static_cast<uint32_t>(length));
    return std::string("[").append(filled, '#').append(length - filled, '.').append("]");
}

// All parts with a bar behind the title, or as many as there is room for.
std::string fitted(std::vector<std::string> parts, const lpa_progress &progress, size_t room)
{
    while (parts.size() > 1 && joined(parts).size() > room)
        parts.pop_back();
    const size_t used = joined(parts).size() + 2 + 2; // brackets and the blanks before them
    if (progress.total > 0 && room >= used + shortest_bar)
        parts.insert(parts.begin() + 1, bar(progress, std::min(room - used, longest_bar)));
    return joined(parts).substr(0, room);
}

uint32_t terminal_columns()
{
    winsize size = {};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}

double steady_seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

progress_place standard_error()
{
    const char *type = getenv("TERM");
    const bool can_erase = type && std::string(type) != "dumb";
    if (!can_erase || !isatty(STDERR_FILENO)) return {};
    return {.columns = terminal_columns, .seconds = steady_seconds};
}

progress_display::progress_display(std::ostream &err, progress_place place) : err_(err), place_(place)
{
    LPA__set_progress_callback(note, this);
}

progress_display::~progress_display()
{
    LPA__set_progress_callback(nullptr, nullptr);
    end_live_line(!is_complete(last_));
}

void progress_display::note(const lpa_progress *progress, void *context)
{
    if (progress->step < std::size(titles)) static_cast<progress_display *>(context)->show(*progress);
}

void progress_display::show(const lpa_progress &progress)
{
    show_profile(progress);
    if (place_.columns) redraw(progress);
    else write_line(progress);
    last_ = {progress.step, progress.done, progress.total, nullptr, nullptr};
}

// A line of its own, once.
void progress_display::show_profile(const lpa_progress &progress)
{
    std::string profile;
    for (const char *text : {progress.provider, progress.name})
        if (text && *text) profile += (profile.empty() ? "" : ", ") + printable(text);
    if (profile.empty() || profile == profile_) return;
    end_live_line(false);
    err_ << "Profile: " << profile << '\n';
    profile_ = profile;
}

void progress_display::write_line(const lpa_progress &progress)
{
    const bool is_new = progress.step != last_.step || progress.total != last_.total;
    if (is_new || share(progress, 10) != share(last_, 10)) err_ << joined(parts_of(progress)) << std::endl;
}

void progress_display::redraw(const lpa_progress &progress)
{
    const double now = place_.seconds();
    if (progress.step != last_.step) begin_ = now;
    else if (now - drawn_ < redraw_seconds && !is_complete(progress)) return;
    drawn_ = now;
    if (progress.step == LPA_PROGRESS__DONE) return end_live_line(false);
    err_ << erase_line << live_line(progress) << std::flush;
    is_live_ = true;
}

std::string progress_display::live_line(const lpa_progress &progress) const
{
    std::vector<std::string> parts = parts_of(progress);
    const double elapsed = drawn_ - begin_;
    if (progress.step == LPA_PROGRESS__INSTALLING && progress.done > 0 && elapsed >= first_rate_seconds) {
        const double rate = progress.done / elapsed;
        parts.push_back(bytes_text(rate) + "/s");
        parts.push_back(time_text((progress.total - progress.done) / rate) + " left");
    }
    const uint32_t columns = place_.columns();
    return fitted(parts, progress, std::max(columns, 2u) - 1); // a full line would wrap
}

void progress_display::end_live_line(bool keep)
{
    if (!is_live_) return;
    err_ << (keep ? "\n" : erase_line) << std::flush;
    is_live_ = false;
}
