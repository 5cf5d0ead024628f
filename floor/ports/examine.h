#pragma once

#include "floor/ports/diagnosis.h"

namespace shopfloor {

/** Looks at this PC; wanted are the places of slots. Of programs of other users only root sees all.
 */
examined_pc examine_this_pc(std::vector<std::string> wanted);

/** Who has a file open, "NAME (PID)" each, this process left out. */
std::vector<std::string> users_of(const std::string &file);

} // namespace shopfloor
