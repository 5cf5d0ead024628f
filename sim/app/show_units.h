#pragma once

#include "sim/board/board.h"

#include <ostream>

namespace sim {

/** Writes what is behind the FPGA's bridge, decoded, if there is an FPGA. */
void show_fpga(board &what, std::ostream &out);

/** Writes the units of the driver library, if there are any, and its backplane records. */
void show_driver_units(board &what, std::ostream &out);

} // namespace sim
