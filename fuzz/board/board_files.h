#pragma once

#include <cstddef>

#include <sys/types.h>

#include "sim/board/board.h"

namespace fuzz {

/**
 * Puts the devices of a board in the program's reach: its calls of the C library go straight to
 * them. The board's own way takes a descriptor of the system and lines of the log, for which an
 * exchange that does a thousand of such calls would be waiting most of its time. The faults of the
 * board's description strike all the same.
 */
void fit_devices(sim::board &board);

/** Takes them away again. Requires that the program has closed them. */
void remove_devices();

/** Whether the descriptor is one of theirs. */
bool is_device(int fd);

/** What read() does with it. */
ssize_t read_device(int fd, void *buffer, size_t count);

/** How many writes have reached the devices, since they were put there. */
size_t writes_of_devices();

} // namespace fuzz
