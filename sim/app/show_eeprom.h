#pragma once

#include <cstdint>
#include <ostream>
#include <span>

namespace sim {

/** Writes what a system EEPROM holds, valid or not, for a reader. */
void show_tlv_info(std::span<const uint8_t> image, std::ostream &out);

/** Writes what a card EEPROM says, right or not, for a reader. */
void show_card_type(std::span<const uint8_t> content, std::ostream &out);

} // namespace sim
