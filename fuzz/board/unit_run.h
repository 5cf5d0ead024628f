#pragma once

#include <cstdint>
#include <optional>

#include "fuzz/board/repair.h"
#include "fuzz/input.h"
#include "sim/board/board.h"

namespace fuzz {

/** What goes wrong with a board on units, by a choice; 0: nothing. */
void add_trouble(sim::board_description &board, uint8_t choice);

/**
 * Runs a unit operation over what is left of the input, whose lists have right sums unless `choice`
 * has bit 7.
 */
std::optional<int32_t> run_unit_operation(int32_t (*operation)(), uint8_t choice, input &in,
                                          const list_form &form);

} // namespace fuzz
