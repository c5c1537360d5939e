// cli/status.h: modem and card on one screen.
#pragma once
#include "cli/outcome.h"
#include "cli/page.h"

// {"modem":..,"eid":..,"addresses":{..},"free_memory":N,"profiles":[..],"notifications":[..]}. A card that tells its
// EID is shown even when something else cannot be read: that member is then the failure's
// {"result":N,"description":".."}, and the code the first failure's.
outcome read_status(const std::string &modem);
void show_status(const json &document, const page &page);

// Whether an outcome of any command is such a screen: it is shown although something failed.
bool is_screen(const outcome &outcome);
