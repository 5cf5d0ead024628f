#include <csignal>
#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

#include "floor/server/server.h"
#include "unit/floor/stand_in.h"

// The floor's server and page over slots that are made up: half of them are busy by themselves, an
// eighth is unplugged, the others take what is started there.

int main(int argc, char **argv)
{
    shopfloor::server_settings settings;
    floor_tests::stand_in_settings made_up{.slots = 8, .rows = 1000};
    int milliseconds = 500;
    CLI::App app("Serves the floor's page over slots that are made up", "floor_stand_in");
    app.add_option("--port", settings.port, "where to listen; 0: anywhere")->capture_default_str();
    app.add_option("--slots", made_up.slots, "how many")->capture_default_str();
    app.add_option("--step", milliseconds, "milliseconds between two events of a slot")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    made_up.busy_slots = made_up.slots / 2;
    made_up.unplugged_slots = made_up.slots / 8;
    made_up.step = std::chrono::milliseconds(milliseconds);

    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr); // for the threads, too, that begin here
    try {
        floor_tests::stand_in floor(made_up);
        shopfloor::server server(floor, settings);
        server.start();
        std::printf("http://127.0.0.1:%u/\n", unsigned{server.port()});
        std::fflush(stdout);
        int received = 0;
        sigwait(&ends, &received);
        return 0;
    } catch (const std::exception &why) {
        std::fprintf(stderr, "floor_stand_in: %s\n", why.what());
        return 1;
    }
}
