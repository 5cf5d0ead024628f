#pragma once

#include <filesystem>

namespace bench {

// The framed exchange. `scratch` is an empty folder.

/** Prints how fast 128 KiB are received, against a ZMODEM receiver and a bare reader. */
void compare_throughput(const std::filesystem::path &scratch);

/** Prints how soon an answer comes, against a program that sends each byte back. */
void compare_latency(const std::filesystem::path &scratch);

/** Prints how long it takes to write a system EEPROM, against the pauses that its pages need. */
void compare_with_eeprom(const std::filesystem::path &scratch);

} // namespace bench
