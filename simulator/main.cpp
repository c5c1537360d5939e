// router-sim: the router on the desk. Prints one line of JSON when everything is up, and runs until SIGTERM.
#include "simulator/router.h"
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <pthread.h>

namespace {
int simulate(const sim::router_options &options)
{
    // Blocked before any thread starts, so that every thread inherits it and the signals are ours to wait for.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    const sim::router running(options);
    std::cout << running.description().dump() << std::endl;
    int received = 0;
    sigwait(&ending, &received);
    return 0;
}

int run(int argc, char **argv)
{
    sim::router_options options;
    CLI::App app{"Simulates a router: message bus, modems with eUICCs, and an SM-DP+."};
    app.add_option("STATE_DIR", options.directory, "Where certificates and the cards' memories are kept")->required();
    app.add_option("--modems", options.modems, "How many modems (1 to 5)")->check(CLI::Range(1, sim::max_modems));
    app.add_option("--bus", options.bus_path, "The bus's socket")->capture_default_str();
    app.add_option("--port", options.server_port, "The SM-DP+'s port; 0 chooses one")->check(CLI::Range(0, 65535));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    return simulate(options);
}
} // namespace

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &problem) {
        fprintf(stderr, "router-sim: %s\n", problem.what());
        return 1;
    }
}
