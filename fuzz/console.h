#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace fuzz {

/**
 * Runs an operation of the switch program on its real console module, whose calls of the C library
 * reach a PC that sends `stream`, with its silences, on a clock of its own: nobody waits in
 * earnest. The result of the operation, or nothing where it still waited long after the PC's last
 * byte, as those operations do that only an operator ends.
 */
std::optional<int32_t> run_on_console(int32_t (*operation)(), std::span<const uint8_t> stream);

} // namespace fuzz
