// COUNT log calls, for callgrind: the difference between two runs is the cost of the calls alone.
//
// usage: bench_log quiet|dump COUNT     in scripts/sandbox
#include "foundation/log.h"
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
constexpr uint32_t dump_bytes = 240; // one STORE DATA block
}

int main(int count, char **arguments)
{
    if (count != 3) {
        fprintf(stderr, "usage: bench_log quiet|dump COUNT\n");
        return 2;
    }
    const bool quiet = strcmp(arguments[1], "quiet") == 0;
    const uint8_t data[dump_bytes] = {};
    g_log_level = quiet ? LOG__INFO : LOG__TRACE;
    for (unsigned long i = strtoul(arguments[2], nullptr, 10); i > 0; --i) {
        if (quiet) log__string(LOG__TRACE, "below the level: %lu %s", i, arguments[1]);
        else log__data(LOG__TRACE, "a block", data, dump_bytes);
    }
    return 0;
}
