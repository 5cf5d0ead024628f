#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "floor/model/event_log.h"

namespace shopfloor {

/** An event as a stream of server-sent events has it; its number is one of that start of the floor.
 */
std::string event_text(std::string_view start, const event &one);

/** The number in "START-NUMBER"; nothing where it is another start's, or no such thing. */
std::optional<std::uint64_t> number_of_event(std::string_view start, std::string_view id);

} // namespace shopfloor
