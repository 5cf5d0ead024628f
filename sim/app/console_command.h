#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace sim {

/** What "simboard console" is told beside the board's folder. */
struct console_options {
    bool port = false;                      // a pseudo-terminal, and not standard input and output
    std::filesystem::path link = {};        // to that
    std::vector<std::string> settings = {}; // as read_console_setting has them
    std::vector<std::string> faults = {};   // as read_console_fault has them
};

/** Runs the console of a board. Throws what is wrong with the options or the folder. */
void run_console_of(const std::filesystem::path &folder, const console_options &options);

} // namespace sim
