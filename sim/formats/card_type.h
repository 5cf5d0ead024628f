#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/**
 * The forms in which a card EEPROM tells its card type:
 *
 *   tlv      format 1, in the TLV area
 *   direct   format 1, in the type byte: 0 to 255, but for 241 (0xF1)
 *   format2  format 2, in the TLV area; without a checksum
 *   legacy   format 1 without the flag: 0 to 255, but for 156 and 158, which stand for others
 *   legacy2  format 2 without the flag: the sum of two bytes, 0 to 510
 */
enum class card_form { tlv, direct, format2, legacy, legacy2 };

/** The form of that name, or nothing. */
std::optional<card_form> card_form_named(std::string_view name);

/** The record, from offset 0 of the EEPROM; nothing: the form cannot hold that type. */
std::optional<std::vector<uint8_t>> encode_card_type(card_form form, uint32_t type);

/** What a card EEPROM tells. */
struct card_record {
    std::optional<uint32_t> type = {}; // only of a record that is right
    std::string text = {};             // its form, or what is wrong, for a reader
};

/** Decodes a card EEPROM's bytes, at least 256. */
card_record decode_card_type(std::span<const uint8_t> content);

} // namespace sim
