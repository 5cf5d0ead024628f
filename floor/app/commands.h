#pragma once

#include <cstdint>
#include <string>

#include "floor/model/control.h"

namespace shopfloor {

/** What the command line says. */
struct choices {
    std::string file = {}; // FLOOR.toml
    start_request wanted = {};
    std::string address = "127.0.0.1"; // of the floor that start asks
    std::uint16_t port = 8440;
    bool wait = false; // for the end of what was started
    int from = 0;      // the slot that learn begins with; 0: behind the last one
    bool for_journal = false;
};

// The commands; each returns the program's exit status, and throws what it cannot do.
int serve(const choices &chosen);
int start_unit(const choices &chosen);
int learn(const choices &chosen);
int doctor(const choices &chosen);

} // namespace shopfloor
