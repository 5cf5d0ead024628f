#pragma once

#include <cstddef>

namespace sim {

/** The EEPROM's size: all that a one-byte word address reaches. */
constexpr std::size_t eeprom_size = 256;

/** The number of the CPLD's registers. */
constexpr std::size_t cpld_size = 256;

} // namespace sim
