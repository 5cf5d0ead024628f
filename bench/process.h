#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace bench {

/** A program's path and its arguments. */
using command = std::vector<std::string>;

/** What one run of a program cost. */
struct cost {
    double seconds = 0;
    long peak_kib = 0;
    long page_faults = 0; // that needed no disk
};

/**
 * Runs a program on the board in `folder` with its output thrown away. Throws std::runtime_error
 * when it does not end with 0.
 */
cost run(const command &what, const std::filesystem::path &folder);

/** The number of instructions of a run, counted by callgrind. */
double instructions(const command &what, const std::filesystem::path &folder);

/** Becomes the program. Only in a forked process; does not come back. */
[[noreturn]] void execute(const command &what);

/** Becomes the program, on the board. Only in a forked process; does not come back. */
[[noreturn]] void become(const command &what, const std::filesystem::path &folder);

} // namespace bench
