#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace sim {

using variables = std::map<std::string, std::string>;

/** Where this program is. */
std::filesystem::path own_folder();

/** The file of a program: those beside this one come before those of PATH. */
std::string find_program(const std::string &name);

/**
 * The variables that put a program on a board, and in the maker's place the stand-ins, which ask
 * the board. Throws std::runtime_error when the library is not there.
 */
variables variables_of_board(const std::filesystem::path &folder);

} // namespace sim
