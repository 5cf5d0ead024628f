#pragma once

#include <filesystem>

namespace bench {

/**
 * Prints what the operator's commands cost on a store of 8 KiB, against the programs that do the
 * same for the boot loader's variables. `scratch` is an empty folder.
 */
void compare_commands(const std::filesystem::path &scratch);

} // namespace bench
