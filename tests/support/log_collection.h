// Keeps each different line that a test program made the library log, in the file that LPA_LOG_COLLECTION names, for
// tests/data/check_log_texts: a text that no test brings about any more is missed there. Without the variable nothing
// is kept.
#pragma once

void log_collection__begin(); // empties the file
void log_collection__add();   // what stands in the log now, as "level text" with \n, \r, \t and \\ escaped
