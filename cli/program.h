// cli/program.h: the whole program with its streams, so that it can be tested.
#pragma once
#include "cli/progress.h"
#include <iosfwd>

// What the streams of a process are.
struct terminal_use {
    bool answers = false; // somebody at standard input can be asked
    bool colours = false; // standard output shows colours
    progress_place progress = {};
};

int run_program(int argc, const char *const *argv, std::istream &in, std::ostream &out, std::ostream &err,
                terminal_use terminals = {});
