// cli/profile_choice.h: which profile somebody means.
#pragma once
#include "cli/outcome.h"

// Turns the last digits of an ICCID (4 or more) or a nickname into the ICCID; what is an ICCID stays, and the card is
// not asked. Otherwise how the command ended: the card's profiles could not be read, or none or several of them are
// meant, with the "candidates" in the document.
std::optional<outcome> choose_profile(const std::string &modem, std::string &profile);
