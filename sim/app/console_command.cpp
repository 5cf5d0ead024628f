#include "sim/app/console_command.h"

#include "sim/app/launch.h"
#include "sim/board/board.h"
#include "sim/console/console.h"
#include "sim/console/session.h"
#include "sim/description/board_file.h"
#include "sim/description/console_file.h"

#include <fstream>
#include <iostream>
#include <unistd.h>

namespace sim {
namespace {

namespace fs = std::filesystem;

/** What the switch's own commands are, in the shell that runs in their place. */
constexpr std::string_view shell_commands = "# Made anew at each start of the board's console.\n"
                                            "reboot() { exit 79; }\n"
                                            "poweroff() { exit 78; }\n";
static_assert(status_for_reboot == 79 && status_for_poweroff == 78);

/** The folder that the shell begins in, with what the shell reads first. */
fs::path make_home(const fs::path &folder)
{
    fs::path home = fs::canonical(folder) / "home";
    fs::create_directories(home);
    std::ofstream file(home / ".shrc", std::ios::binary);
    file << shell_commands;
    file.close();
    if (!file) {
        throw std::runtime_error((home / ".shrc").string() + " cannot be written");
    }
    return home;
}

/** prov_setmac is a name of both flavours: that of the board comes first. */
std::string search_path(console_description::flavours flavour)
{
    const bool is_tlv = flavour == console_description::flavours::tlv;
    const fs::path here = own_folder();
    std::string path;
    for (const fs::path &folder : {here / "tlv", here.parent_path() / SIMBOARD_TLV_DIR}) {
        if (is_tlv && fs::exists(folder / "prov_setmac")) {
            path += folder.string() + ":";
        }
    }
    return path + here.string() + ":/usr/bin:/bin";
}

console_description with_options(console_description console, const console_options &options)
{
    for (const std::string &setting : options.settings) {
        read_console_setting(setting, console);
    }
    for (const std::string &fault : options.faults) {
        read_console_fault(fault, console);
    }
    if (const auto wrong = find_mistake(console)) {
        throw board_file_error(*wrong);
    }
    return console;
}

} // namespace

void run_console_of(const fs::path &folder, const console_options &options)
{
    const board_description board = read_board_file(folder);
    {
        const sim::board check(board, folder);
    }
    const console_description console = with_options(board.console, options);
    shell_start start = {.variables = variables_of_board(folder), .home = make_home(folder)};
    start.variables["PATH"] = search_path(console.flavour);
    start.variables["HOME"] = start.home;
    start.variables["ENV"] = start.home / ".shrc";
    start.variables["TERM"] = "dumb"; // a shell that edits lines writes no codes for it
    start.variables["LC_ALL"] = "C";
    start.variables[console_variable] = std::to_string(::getpid());
    if (options.port || !options.link.empty()) {
        port_line line(options.link);
        std::cout << line.port() << std::endl;
        run_console(console, start, line);
    } else {
        standard_line line;
        run_console(console, start, line);
    }
}

} // namespace sim
