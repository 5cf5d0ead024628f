#pragma once

#include <set>
#include <string>
#include <vector>

#include "floor/ports/port_watch.h"

namespace shopfloor {

/** A slot whose place was learnt. */
struct learnt_slot {
    int number = 0;
    std::string place = {};
};

/** Numbers the places of adapters in the order in which they are plugged in. */
class learner {
public:
    /** present: adapters that are there already; taken: places that slots have already. */
    learner(int first, const std::vector<serial_port> &present, std::set<std::string> taken);

    /** What has come since: the ports of one adapter in their order. */
    std::vector<learnt_slot> take(const std::vector<serial_port> &present);

    /** The number of the slot whose cable comes next. */
    int next() const { return next_; }

private:
    int next_;
    std::set<std::string> present_;
    std::set<std::string> taken_;
};

/** The [[slot]] of FLOOR.toml. */
std::string slot_text(const learnt_slot &slot);

} // namespace shopfloor
