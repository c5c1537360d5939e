// The least number of AT commands that a download takes, from what went over the terminal.
#pragma once
#include <cstddef>
#include <string>
#include <vector>

struct exchange {
    std::string command; // AT+CSIM=10,"0070000001"
    std::string answer;  // +CSIM: 6,"019000"OK
};

struct least_commands {
    size_t all = 0;
    size_t package_segments = 0; // STORE DATA commands of the package among them
};

// What a download cannot do without: two sessions (its own, the delivery of notifications) and each card function
// once. Requests and the package are put together again from the STORE DATA blocks, however they were cut, and cut anew
// into blocks of 240 bytes; an answer takes one GET RESPONSE for 256 bytes. Throws std::runtime_error when one of the
// functions is missing or the package is none.
least_commands least_commands_of_download(const std::vector<exchange> &traffic);
