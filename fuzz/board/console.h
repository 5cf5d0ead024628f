#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace fuzz {

/**
 * Runs an operation of the switch program on its real console module, whose calls of the C library
 * reach a PC that sends `stream`, with its silences, on a clock of its own: nobody waits in
 * earnest. Long after the PC's last byte the console hangs up, and the operation is required to
 * end. Its result, or nothing where it took that to end it.
 */
std::optional<int32_t> run_on_console(int32_t (*operation)(), std::span<const uint8_t> stream);

} // namespace fuzz
