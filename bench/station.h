#pragma once

#include <filesystem>

namespace bench {

/**
 * Prints how long the station takes for an operation over a serial line of 115200 baud, to a
 * program of its own and to a port, against what the bytes on the line and the pauses of the switch
 * take. `scratch` is an empty folder.
 */
void compare_station(const std::filesystem::path &scratch);

} // namespace bench
