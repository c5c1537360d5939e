// What the library asks of modem and network, and how long it waits for them. Stands in front of the modem library's
// lgsm_exec and of curl_easy_perform in the whole program.
#pragma once
#include <cstddef>

struct outside_use {
    size_t at_commands = 0;
    size_t largest_answer = 0; // bytes of an HTTP answer's body
    double modem_seconds = 0;
    double tls_seconds = 0;     // handshakes
    double network_seconds = 0; // all else of the requests, what the server needs included
};

const outside_use &outside();

double clock_seconds(); // of a clock that nobody sets
