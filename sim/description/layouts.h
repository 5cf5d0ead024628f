#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/** The names of the boards that can be made, the usual one first. */
std::vector<std::string_view> layout_names();

/** What board.toml of that board says, with comments for whoever changes it; nothing: no such. */
std::optional<std::string> layout(std::string_view name);

} // namespace sim
