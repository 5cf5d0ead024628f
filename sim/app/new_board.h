#pragma once

#include <filesystem>
#include <string>

namespace sim {

/** What a switch may hold from an earlier run; empty: nothing. */
struct board_identity {
    std::string serial = {};
    std::string mac = {}; // 00:1A:2B:3C:4D:5E
};

/**
 * Makes a board of a layout in a folder, which is made if need be. An identity stands where the
 * flavour of the layout has it. Throws std::runtime_error when there is a board already, or when it
 * cannot be written, and std::invalid_argument when the identity cannot be held.
 */
void make_board(const std::filesystem::path &folder, const std::string &like,
                const board_identity &identity);

} // namespace sim
