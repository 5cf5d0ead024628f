#include <cstdio>

#include "floor/app/commands.h"
#include "floor/model/floor_file.h"
#include "floor/ports/examine.h"

namespace shopfloor {

namespace {

constexpr int exit_something_is_wrong = 1;

void print_ports(const examined_pc &pc)
{
    if (pc.ports.empty()) {
        std::printf("No serial port.\n");
    }
    for (const auto &each : pc.ports) {
        const auto port = port_of(each.facts);
        std::printf("%-14s %-40s %s\n", port.device.c_str(),
                    port.place.empty() ? "-" : port.place.c_str(), port.adapter.c_str());
    }
}

} // namespace

int doctor(const choices &chosen)
{
    std::vector<std::string> wanted;
    if (!chosen.file.empty()) {
        for (const auto &each : read_floor(chosen.file, false).slots) {
            if (!each.place.empty()) {
                wanted.push_back(each.place);
            }
        }
    }
    const auto pc = examine_this_pc(std::move(wanted));
    print_ports(pc);
    const auto complaints = diagnose(pc);
    for (const auto &each : complaints) {
        std::printf("\n%s.\n  What to do: %s\n", each.what.c_str(), each.advice.c_str());
    }
    if (complaints.empty()) {
        std::printf("Nothing is wrong.\n");
    }
    return complaints.empty() ? 0 : exit_something_is_wrong;
}

} // namespace shopfloor
