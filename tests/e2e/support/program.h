#pragma once

#include <chrono>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "board_folder.h"

namespace e2e {

/** How long anything that must happen may take: machines that run tests are busy. */
constexpr std::chrono::seconds patience{60};

/** A program's name or path, and its arguments. */
using command_line = std::vector<std::string>;
using environment = std::map<std::string, std::string>;

/** What came out of a program. */
struct outcome {
    std::string output = {}; // standard output
    std::string errors = {}; // standard error; on a terminal it is part of the output
    int status = 0;          // exit status, or the negative number of the signal that ended it

    bool operator==(const outcome &) const = default;
};
std::ostream &operator<<(std::ostream &out, const outcome &what);

/** The file of a program of this build, "setsn"; anything with a slash is taken as it stands. */
std::string program_file(const std::string &name);

/** The variables that put a program on a board. */
environment on_board(const board_folder &board);

/** Both; libraries to be preloaded are preloaded one after the other. */
environment joined(environment one, const environment &other);

/**
 * What a program that has just been forked becomes: its descriptors 0 to 2, its variables, its
 * file. Does not come back.
 */
[[noreturn]] void become(const command_line &command, const environment &variables,
                         const int (&descriptors)[3]);

/** The outcome's status from that of waitpid(). */
int status_of(int wait_status);

/** Runs a program to its end, with its input from a pipe and its output into two. */
outcome run(const command_line &command, const environment &variables, std::string_view input = {});

/** The same with this descriptor 0, which stays the caller's. */
outcome run_reading(int input, const command_line &command, const environment &variables);

/** The first, on a board. */
outcome run_on_board(const board_folder &board, const command_line &command,
                     std::string_view input = {});

} // namespace e2e
