#pragma once

#include <cstdint>
#include <ostream>
#include <span>
#include <string>

namespace sim {

// How bytes are shown to a reader.

/** A number as so many hexadecimal digits. */
std::string digits(uint32_t number, int count);

/** Text of a memory on a terminal: what could drive the terminal is shown as a point. */
std::string printable(std::string text);

/** Rows of 16 bytes; those like the one before them are left out, with a "*" in their place. */
void dump(std::span<const uint8_t> bytes, std::ostream &out);

} // namespace sim
