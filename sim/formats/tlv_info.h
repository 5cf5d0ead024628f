#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace sim {

/** One record of a TlvInfo image. */
struct tlv_record {
    uint8_t code = 0;
    std::vector<uint8_t> value = {}; // at most 255 bytes
};

/** The codes that stand for nothing but themselves. */
constexpr uint8_t tlv_vendor_extension = 0xFD;
constexpr uint8_t tlv_crc = 0xFE;

/** The bytes of records that a 256-byte EEPROM has room for, the CRC record among them. */
constexpr std::size_t tlv_info_room = 245;

/**
 * What is wrong with records that are to become an image, or nothing: codes 0x00 and 0xFF are no
 * records, 0xFE is computed, and all must fit.
 */
std::optional<std::string> find_mistake(const std::vector<tlv_record> &records);

/**
 * The image of an EEPROM with these records: header, records, CRC record. Throws
 * std::invalid_argument on what find_mistake finds.
 */
std::vector<uint8_t> encode_tlv_info(const std::vector<tlv_record> &records);

/** What a TlvInfo image holds, as far as it can be read. */
struct tlv_info {
    unsigned version = 0;
    unsigned length = 0;                     // of all records, as the header says
    std::vector<tlv_record> records = {};    // those before a CRC record, whole ones only
    std::optional<uint32_t> stored_crc = {}; // of a CRC record
    uint32_t crc = 0;                        // of what is there, where there is a CRC record
    std::vector<std::string> problems = {};  // none: the image is valid
};

/** Decodes an image. It may be any bytes. */
tlv_info decode_tlv_info(std::span<const uint8_t> image);

/** What the value of a vendor-extension record holds, as far as it can be read. */
struct vendor_extension {
    std::optional<uint32_t> enterprise = {}; // the maker's number; none: too short for one
    std::vector<tlv_record> records = {};    // the maker's own records, whole ones only
    bool whole = false;                      // they fill the value exactly
};

vendor_extension decode_vendor_extension(std::span<const uint8_t> value);

} // namespace sim
