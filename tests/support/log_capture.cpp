#include "support/log_capture.h"
#include "foundation/log.h"
#include "support/log_collection.h"
#include <fstream>
#include <unistd.h>

namespace {
constexpr const char *log_file = "/tmp/mobile/lpa.log";
constexpr std::string_view tags[] = {"[ERROR]", "[WARN] ", "[INFO] ", "[DEBUG]", "[TRACE]"};

// "[16/11/2026 03:17:39] [INFO]  [000.001234567 s]\t": date at 0, tag at 22, text after the tab.
int level_of(const std::string &line)
{
    if (line.size() < 30 || line[0] != '[' || line.compare(20, 2, "] ") != 0) return 0;
    for (int level = 1; level <= 5; ++level)
        if (line.compare(22, 7, tags[level - 1]) == 0) return level;
    return 0;
}
} // namespace

log_capture::log_capture(int32_t level) : previous_level_(g_log_level), previous_console_(g_log_to_console)
{
    clear();
    g_log_level = level;
    g_log_to_console = 0;
}

log_capture::~log_capture()
{
    clear();
    g_log_level = previous_level_;
    g_log_to_console = previous_console_;
}

void log_capture::clear()
{
    for (const line &entry : lines())
        log_collection__add(entry.level, entry.text);
    unlink(log_file);
}

std::vector<log_capture::line> log_capture::lines()
{
    std::vector<line> result;
    std::ifstream file(log_file);
    for (std::string text; std::getline(file, text);) {
        const int level = level_of(text);
        if (level > 0) result.push_back({level, text.substr(text.find('\t') + 1)});
        else if (!result.empty()) // a message that holds a line end goes on here
            result.back().text += "\n" + text;
        else result.push_back({0, text});
    }
    return result;
}

std::string log_capture::up_to(int level) const
{
    std::string result;
    for (const line &entry : lines())
        if (entry.level <= level) result += std::to_string(entry.level) + " " + entry.text + "\n";
    return result;
}

std::string log_capture::at(int level) const
{
    std::string result;
    for (const line &entry : lines())
        if (entry.level == level) result += std::to_string(entry.level) + " " + entry.text + "\n";
    return result;
}

bool log_capture::contains(std::string_view text) const
{
    for (const line &entry : lines())
        if (entry.text == text) return true;
    return false;
}

bool log_capture::contains(int level, std::string_view text) const
{
    for (const line &entry : lines())
        if (entry.level == level && entry.text == text) return true;
    return false;
}
