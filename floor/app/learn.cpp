#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "floor/app/commands.h"
#include "floor/model/floor_file.h"
#include "floor/ports/learner.h"
#include "floor/ports/udev_ports.h"

namespace shopfloor {

namespace {

/** Adds a slot to the file as it is, comments and all. */
void add_to(const std::string &file, const learnt_slot &slot)
{
    std::ofstream out(file, std::ios::app);
    out << slot_text(slot);
    out.flush();
    if (!out) {
        throw std::runtime_error(file + ": cannot write to it: " + std::strerror(errno));
    }
}

int first_slot(const choices &chosen, const floor_description &floor)
{
    int last = 0;
    for (const auto &each : floor.slots) {
        last = std::max(last, each.number);
    }
    return chosen.from > 0 ? chosen.from : last + 1;
}

std::set<std::string> places_of(const floor_description &floor)
{
    std::set<std::string> places;
    for (const auto &each : floor.slots) {
        places.insert(each.place);
    }
    return places;
}

void ask_for(int slot)
{
    std::printf("Plug in the adapter of slot %d, or press Enter to end.\n", slot);
    std::fflush(stdout);
}

} // namespace

int learn(const choices &chosen)
{
    const auto floor = read_floor(chosen.file, false);
    udev_ports ports;
    const int changed = eventfd(0, EFD_CLOEXEC);
    ports.call_on_change([changed] {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(changed, &one, sizeof(one));
    });
    learner learning(first_slot(chosen, floor), ports.ports(), places_of(floor));
    ask_for(learning.next());
    std::array<pollfd, 2> wanted{{{changed, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
    while (poll(wanted.data(), wanted.size(), -1) > 0 && wanted[1].revents == 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto got = ::read(changed, &count, sizeof(count));
        const auto learnt = learning.take(ports.ports());
        for (const auto &each : learnt) {
            add_to(chosen.file, each);
            std::printf("Slot %d: %s\n", each.number, each.place.c_str());
        }
        if (!learnt.empty()) {
            ask_for(learning.next());
        }
    }
    ports.call_on_change({});
    ::close(changed);
    return 0;
}

} // namespace shopfloor
