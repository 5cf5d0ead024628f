#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "station/base/bytes.h"

namespace station {

/** Codes of the system EEPROM's records that the station has to know by themselves. */
namespace record_code {
constexpr std::uint8_t product_model = 0x21;
constexpr std::uint8_t serial_number = 0x23;
constexpr std::uint8_t mac_address = 0x24;
constexpr std::uint8_t setmac_time = 0x25;
constexpr std::uint8_t device_version = 0x26;
constexpr std::uint8_t label_revision = 0x27;
constexpr std::uint8_t platform_name = 0x28;
constexpr std::uint8_t mac_count = 0x2A;
constexpr std::uint8_t vendor_extension = 0xFD;
} // namespace record_code

/** Codes of values that stand inside the vendor extension. */
namespace extension_code {
constexpr std::uint8_t first = 0x40;
constexpr std::uint8_t hardware_version = 0x41;
constexpr std::uint8_t board_type = 0x4A;
} // namespace extension_code

/** Bytes that the EEPROM has for its records, the CRC's included. */
constexpr std::size_t eeprom_room = 245;

/** Bytes ahead of the vendor extension's first value: the maker's enterprise number. */
constexpr std::size_t enterprise_size = 4;

/** A record that the EEPROM has no room for: the switch leaves it out without a word. */
struct shortage {
    std::size_t needed; // bytes of the record
    std::size_t left;
};

/**
 * The records of a system EEPROM as the switch puts them together: tells whether a job fits, and
 * what the switch will hold after it.
 */
class eeprom_image {
public:
    /** Holds what every switch starts from. */
    eeprom_image();

    /** Puts a record in place of the one of that code. */
    std::optional<shortage> put(std::uint8_t code, bytes value);

    /** Takes the record of that code out. */
    void erase(std::uint8_t code) { records_.erase(code); }

    /** Puts a value behind those of the vendor extension. */
    std::optional<shortage> extend(std::uint8_t code, const bytes &value);

    /** The value of a record, or null. */
    const bytes *find(std::uint8_t code) const;

    /** What "prov_setmac" under another name lists of it: "SerialNO=AB1". */
    std::vector<std::string> listing() const;

    /** Why some of it is not listed, in words; empty where all is. */
    std::string not_listed() const;

private:
    std::size_t used() const;

    std::map<std::uint8_t, bytes> records_;
};

/** Whether the values of a vendor extension fill it exactly. */
bool extension_is_whole(const bytes &value);

} // namespace station
