// cli/page.h: where a command's output goes, for people.
#pragma once
#include <ostream>

struct page {
    std::ostream &out;
    bool colours = false; // only on a terminal, never with NO_COLOR
};
