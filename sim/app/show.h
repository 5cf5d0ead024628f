#pragma once

#include "sim/board/board.h"

#include <ostream>

namespace sim {

/** Writes what the board has and what its memories hold, for a reader. */
void show_board(board &what, std::ostream &out);

} // namespace sim
