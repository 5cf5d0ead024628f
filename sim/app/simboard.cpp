#include "sim/app/console_command.h"
#include "sim/app/launch.h"
#include "sim/app/new_board.h"
#include "sim/app/show.h"
#include "sim/description/board_file.h"
#include "sim/description/layouts.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

// The command that makes simulated boards, runs programs on them and shows them.

namespace {

namespace fs = std::filesystem;

constexpr int status_of_failure = 1;
constexpr int status_of_wrong_usage = 2;
constexpr int status_not_run = 126; // as of a shell: found, but not to be executed
constexpr int status_not_found = 127;

/** Becomes the program: comes back only when it cannot. */
int run(const fs::path &folder, std::vector<std::string> command)
{
    // Mistakes of the folder are told here, once, before the program begins.
    {
        const sim::board check(sim::read_board_file(folder), folder);
    }
    for (const auto &[name, value] : sim::variables_of_board(folder)) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char *> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string &word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    ::execvp(sim::find_program(command[0]).c_str(), arguments.data());
    const int error = errno;
    std::cerr << "simboard: " << command[0] << ": " << std::strerror(error) << "\n";
    return error == ENOENT ? status_not_found : status_not_run;
}

void show(const fs::path &folder)
{
    sim::board board(sim::read_board_file(folder), folder);
    sim::show_board(board, std::cout);
}

void print_log(const fs::path &folder)
{
    sim::read_board_file(folder);
    std::ifstream log(folder / sim::log_file_name, std::ios::binary);
    if (log && log.peek() != std::ifstream::traits_type::eof()) {
        std::cout << log.rdbuf();
    }
}

} // namespace

int main(int argc, char **argv)
{
    CLI::App app("Simulated switch boards: flash, EEPROMs and the driver library, in a folder.",
                 "simboard");
    app.set_version_flag("--version", "simboard " SIMBOARD_VERSION);
    app.require_subcommand(1);
    std::string folder;
    std::string like(sim::layout_names().front());
    std::vector<std::string> command;

    CLI::App *new_command = app.add_subcommand("new", "Make a board");
    new_command->add_option("DIR", folder, "The folder, made if need be")->required();
    const auto names = sim::layout_names();
    new_command->add_option("--like", like, "What is fitted")
        ->check(CLI::IsMember(std::vector<std::string>(names.begin(), names.end())))
        ->capture_default_str();
    sim::board_identity identity;
    new_command->add_option("--serial", identity.serial,
                            "A serial number that the switch holds already");
    new_command->add_option("--mac", identity.mac, "A MAC address that it holds already");

    CLI::App *run_command = app.add_subcommand(
        "run", "Run a program on a board: simboard run DIR -- PROGRAM [ARGUMENT...]");
    run_command->add_option("DIR", folder, "The board's folder")->required();
    run_command
        ->add_option("COMMAND", command, "The program, of this build or of PATH, and its arguments")
        ->required();

    CLI::App *console_command =
        app.add_subcommand("console", "Be the serial console of a switch with a board");
    sim::console_options console;
    console_command->add_option("DIR", folder, "The board's folder")->required();
    console_command->add_flag("--pty", console.port,
                              "On a pseudo-terminal, whose path is printed, as a serial port");
    console_command->add_option("--link", console.link,
                                "The same, with this symbolic link to the port");
    console_command
        ->add_option("--set", console.settings, "KEY=VALUE, as in [console] of board.toml")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    console_command
        ->add_option("--fault", console.faults, "WHAT,PLACE=N: what goes wrong, and where")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);

    CLI::App *show_command = app.add_subcommand("show", "Show what a board's memories hold");
    show_command->add_option("DIR", folder, "The board's folder")->required();

    CLI::App *log_command = app.add_subcommand("log", "Print what programs did on a board");
    log_command->add_option("DIR", folder, "The board's folder")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &stop) {
        // Also how --help and --version end.
        return app.exit(stop) == 0 ? 0 : status_of_wrong_usage;
    }
    try {
        if (*new_command) {
            sim::make_board(folder, like, identity);
            std::cout << "A board like \"" << like << "\" stands in "
                      << (fs::path(folder) / sim::board_file_name).string() << "\n";
        } else if (*run_command) {
            return run(folder, command);
        } else if (*console_command) {
            sim::run_console_of(folder, console);
        } else if (*show_command) {
            show(folder);
        } else if (*log_command) {
            print_log(folder);
        }
    } catch (const std::exception &wrong) {
        std::cerr << "simboard: " << wrong.what() << "\n";
        return status_of_failure;
    }
    return 0;
}
