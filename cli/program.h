// cli/program.h: the whole program with its streams, so that it can be tested.
#pragma once
#include <iosfwd>

// Exit statuses beside the library's result codes (0 to 18).
enum {
    EXIT__USAGE = 64,         // the command line is wrong, nothing was done
    EXIT__NOT_CONFIRMED = 65, // what destroys was not confirmed, nothing was done
    EXIT__NOT_WRITTEN = 74,   // the operation took place, its outcome could not be written to standard output
};

int run_program(int argc, const char *const *argv, std::istream &in, std::ostream &out, std::ostream &err);
