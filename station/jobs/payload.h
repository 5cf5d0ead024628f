#pragma once

#include <optional>
#include <string>

#include "station/base/bytes.h"

namespace station {

/** How a node's value is given: the switch stores product information by it. */
enum class node_type : std::uint8_t { text = 1, binary = 2 };

/** Appends a node: its name with a NUL, its type, the value's length and the value. */
void put_node(bytes &out, std::string_view name, node_type type,
              std::span<const std::uint8_t> value);

/** Appends a part: its flag, its length and the nodes. */
void put_part(bytes &out, std::uint8_t flag, std::span<const std::uint8_t> nodes);

/** What is told of a payload that the switch cannot receive whole; none where it can. */
std::optional<std::string> excess_of(std::span<const std::uint8_t> payload);

} // namespace station
