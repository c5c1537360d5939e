// cli/watch.h: update events as they happen.
#pragma once
#include "cli/outcome.h"
#include "cli/page.h"
#include <string>

struct watched_updates {
    std::string modem; // empty: of all
    int count = 0;     // ends after so many; 0: never
    bool as_json = false;
    bool quiet = false; // does not tell on standard error that it waits
};

// One line an event; with as_json one document a line. Ends also when there is no bus (any more).
outcome watch_updates(const watched_updates &watched, const page &out, const page &err);
