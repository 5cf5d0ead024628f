#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "floor/model/control.h"
#include "floor/requests/door.h"
#include "floor/requests/message.h"
#include "floor/requests/parameters.h"
#include "floor/requests/rows.h"

namespace shopfloor {

/** Something that the floor is asked. */
struct floor_call {
    std::function<void(control &, reply)> ask = {};
    std::function<response(const answer &)> tell = {}; // makes the response of its answer
};

/** All rows that the filters let through. */
struct export_wanted {
    row_kind kind = row_kind::units;
    row_form form = row_form::csv;
    list_request filters = {};
};

/** What happens, from the event after a number on, or from the whole state on. */
struct events_wanted {
    std::optional<std::uint64_t> after = {};
};

using task = std::variant<response, floor_call, export_wanted, events_wanted>;

/** What requests mean. Knows nothing of connections. */
class routes {
public:
    /** START, of which the numbers of events are. */
    routes(door_rules rules, std::string start);

    /** Why a request is refused that has this head; its body need not be read then. */
    std::optional<response> turned_away(const request &head) const;

    /** What to do for a request whose head was not turned away. */
    task task_for(const request &whole) const;

    const std::string &start() const { return start_; }

private:
    door_rules rules_;
    std::string start_;
};

} // namespace shopfloor
