#pragma once

#include "sim/console/outer_line.h"
#include "sim/console/shell.h"
#include "sim/description/console.h"

namespace sim {

/**
 * Runs the console of a switch on a line: until the PC's side of the line ends, the console hangs
 * up, the switch is switched off or this process gets SIGINT, SIGTERM or SIGHUP. Nothing that it
 * started is left then. Throws std::system_error.
 */
void run_console(const console_description &console, const shell_start &start, outer_line &line);

} // namespace sim
