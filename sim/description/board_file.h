#pragma once

#include "sim/description/description.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace sim {

/** The file in a board folder that tells what is fitted. */
constexpr const char *board_file_name = "board.toml";

/** What is wrong with a board file: "board.toml:12: …". */
class board_file_error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** Reads a folder's board.toml. Throws board_file_error with the line and what was expected. */
board_description read_board_file(const std::filesystem::path &folder);

/** The same from a text; name stands in the messages, and files it names are looked for in folder.
 */
board_description parse_board_file(std::string_view text, const std::string &name,
                                   const std::filesystem::path &folder = {});

} // namespace sim
