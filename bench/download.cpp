// One download of a profile of SIZE bytes through liblpa.so, on a router of its own; what it cost goes to standard
// output as one JSON object.
//
// usage: bench_download SIZE [MODEM-LATENCY-MS]     in scripts/sandbox
#include "bench/heap.h"
#include "bench/least_commands.h"
#include "bench/outside.h"
#include "lpa/lpa.h"
#include "lpa/memory.h"
#include "system/router.h"
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <time.h>

using nlohmann::json;

namespace {
// The kernel's included: what it calls user time is an estimate from where its ticks fell.
double processor_seconds()
{
    timespec used = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

void download(const std::string &activation_code)
{
    char *document = nullptr;
    uint32_t length = 0;
    const uint32_t code = LPA__start_rsp("modem0", activation_code.c_str(), nullptr, &document, &length);
    M_free(document);
    if (code != 0) throw std::runtime_error("the download failed with " + std::to_string(code));
}

std::vector<exchange> traffic(router &desk)
{
    std::vector<exchange> entries;
    const json answer = desk.command({{"modem", 0}, {"do", "log"}});
    for (const json &entry : answer.at("log"))
        entries.push_back({entry.at("command"), entry.at("answer")});
    return entries;
}

json measure(uint32_t size, uint32_t latency)
{
    router desk;
    desk.modem_does({{"do", "set"}, {"latency_ms", latency}});
    const json order = desk.add_order({{"matching_id", "BENCH"}, {"size", size}});
    const double start = clock_seconds();
    const double processor_start = processor_seconds();
    download(order.at("activation_code"));
    const double processor = processor_seconds() - processor_start;
    const double total = clock_seconds() - start;
    const least_commands least = least_commands_of_download(traffic(desk));
    const outside_use &use = outside();
    return {{"size", size},
            {"segments", least.package_segments},
            {"at_commands", use.at_commands},
            {"least_at_commands", least.all},
            {"heap_peak", heap_peak()},
            {"largest_answer", use.largest_answer},
            {"processor_seconds", processor},
            {"seconds",
             {{"all", total},
              {"modem", use.modem_seconds},
              {"network and server", use.network_seconds},
              {"TLS handshakes", use.tls_seconds}}}};
}
} // namespace

int main(int count, char **arguments)
{
    if (count < 2 || count > 3) {
        fprintf(stderr, "usage: bench_download SIZE [MODEM-LATENCY-MS]\n");
        return 2;
    }
    const auto size = static_cast<uint32_t>(strtoul(arguments[1], nullptr, 10));
    const auto latency = static_cast<uint32_t>(count > 2 ? strtoul(arguments[2], nullptr, 10) : 0);
    try {
        puts(measure(size, latency).dump().c_str());
    } catch (const std::exception &error) {
        fprintf(stderr, "bench_download: %s\n", error.what());
        return 1;
    }
    return 0;
}
