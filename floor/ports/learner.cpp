#include "floor/ports/learner.h"

#include <utility>

namespace shopfloor {

namespace {

std::set<std::string> places_of(const std::vector<serial_port> &ports)
{
    std::set<std::string> places;
    for (const auto &each : ports) {
        if (!each.place.empty()) {
            places.insert(each.place);
        }
    }
    return places;
}

} // namespace

learner::learner(int first, const std::vector<serial_port> &present, std::set<std::string> taken)
    : next_(first), present_(places_of(present)), taken_(std::move(taken))
{
}

std::vector<learnt_slot> learner::take(const std::vector<serial_port> &present)
{
    std::vector<learnt_slot> learnt;
    const auto before = std::exchange(present_, places_of(present));
    for (const auto &place : present_) {
        if (!before.contains(place) && taken_.insert(place).second) {
            learnt.push_back({next_++, place});
        }
    }
    return learnt;
}

std::string slot_text(const learnt_slot &slot)
{
    return "\n[[slot]]\nnumber = " + std::to_string(slot.number) + "\nplace = \"" + slot.place +
           "\"\n";
}

} // namespace shopfloor
