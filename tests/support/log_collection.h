// Keeps each different line that a test program made the library log, in the file that LPA_LOG_COLLECTION names, for
// tests/data/check_log_texts: a text that no test brings about any more is missed there. Without the variable nothing
// is kept.
#pragma once
#include <string>

void log_collection__begin(); // empties the file

// One line, kept as "level text" with \n, \r, \t and \\ escaped. Level 0 (no prefix) and dumps are not kept.
void log_collection__add(int level, const std::string &text);
