#pragma once

#include "sim/description/description.h"

#include <string_view>
#include <vector>

namespace sim {

/** The faults set up on a board, each with its own count of the operations it is about. */
class fault_plan {
public:
    void add(fault what) { entries_.push_back({std::move(what), 0}); }
    void clear() { entries_.clear(); }

    /**
     * Counts an operation on a path. The fault that strikes it, or null; valid until the plan
     * changes.
     */
    const fault *strike(std::string_view operation, std::string_view path, bool is_ioctl);

private:
    struct entry {
        fault what;
        unsigned seen;
    };
    std::vector<entry> entries_;
};

} // namespace sim
