// cli/watch.h: update events as they happen.
#pragma once
#include "cli/outcome.h"
#include "cli/page.h"

// The events of modem, or of all when it is empty. One line an event; with as_json one document a line. Ends after
// count events (0: never), or when there is no bus (any more). What it waits for is told on standard error.
outcome watch_updates(const std::string &modem, int count, bool as_json, const page &out, const page &err);
