#pragma once

#include "sim/board/board.h"

namespace sim {

/** The variable that names the board folder for preloaded programs. */
constexpr const char *folder_variable = "SIMBOARD_DIR";

/** One that lets its power fail after so many steps of each process: see class power. */
constexpr const char *cut_variable = "SIMBOARD_CUT_AFTER";

/**
 * The board of this process: the one that was made in it, else that of the folder in
 * folder_variable, which is read when it is first asked for; null when there is neither.
 * A folder that cannot be used ends the process with a message: going on without a board would
 * show the program the devices of the host.
 */
board *process_board();

} // namespace sim
