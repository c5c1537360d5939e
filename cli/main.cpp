#include "cli/program.h"
#include "foundation/log.h"
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <unistd.h>

namespace {
std::string_view setting(const char *name)
{
    const char *value = getenv(name);
    return value ? value : "";
}
} // namespace

// In the library's place, which writes texts of a card to standard error as they are, whatever the log's settings. What
// there is to show the program shows itself.
void log__utf8_data(int32_t, const char *, const uint8_t *, uint32_t) {}

int main(int argc, char **argv)
{
    const bool colours = isatty(STDOUT_FILENO) && setting("NO_COLOR").empty() && setting("TERM") != "dumb";
    const bool answers = isatty(STDIN_FILENO) && isatty(STDERR_FILENO);
    return run_program(argc, argv, std::cin, std::cout, std::cerr,
                       {.answers = answers, .colours = colours, .progress = standard_error()});
}
