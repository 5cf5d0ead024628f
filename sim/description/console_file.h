#pragma once

#include "sim/description/console.h"
#include "sim/description/table_reader.h"

#include <string>

namespace sim {

/** Takes over what the table [console] of a board file says. Throws board_file_error. */
void read_console(table_reader table, console_description &console);

/**
 * Takes over one setting from a command line: "KEY=VALUE", a key of [console] and its value as in
 * the file; a text needs no quotes. Throws board_file_error.
 */
void read_console_setting(const std::string &setting, console_description &console);

/**
 * Adds a fault from a command line: "WHAT,PLACE=N[,PLACE=N]", with the words and keys of
 * [[console.fault]]. Throws board_file_error.
 */
void read_console_fault(const std::string &fault, console_description &console);

} // namespace sim
