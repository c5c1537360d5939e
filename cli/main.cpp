#include "cli/program.h"
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

int main(int argc, char **argv)
{
    const bool colours = isatty(STDOUT_FILENO) && setting("NO_COLOR").empty() && setting("TERM") != "dumb";
    const bool answers = isatty(STDIN_FILENO) && isatty(STDERR_FILENO);
    return run_program(argc, argv, std::cin, std::cout, std::cerr,
                       {.answers = answers, .colours = colours, .progress = standard_error()});
}
