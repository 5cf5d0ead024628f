#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace sim {

/** The lengths of the texts of units, in bytes: those of the fields that they are handed over in.
 */
constexpr std::size_t sn_size = 24;
constexpr std::size_t hw_size = 6;
constexpr std::size_t supply_name_size = 32;

/** A fan of the driver library. */
struct fan_unit {
    std::optional<int32_t> index = {}; // one above the fan before it when not given, the first 0
    bool present = true;
    uint32_t type = 0;
    std::string sn = {};
    std::string hw = {};
};

/** A power supply of the driver library. */
struct supply_unit {
    std::optional<int32_t> index = {}; // as of fans
    bool present = true;
    std::string name = {};
    std::string hw = {};
};

/** A sub-card of the driver library. */
struct card_unit {
    std::optional<int32_t> index = {}; // as of fans
    bool present = true;
    uint32_t card_type = 0;
    std::string sn = {};
    std::string hw = {};
};

/** The backplane EEPROMs of the driver library: number 1 and 2, with one record each. */
constexpr int32_t backplane_count = 2;
constexpr std::size_t backplane_size = 44;

/** Where a chip is behind the FPGA's I2C bridge. */
struct bridge_place {
    uint8_t bus = 0;
    uint8_t channel = 0;
    uint8_t address = 0; // 7 bits
    bool operator==(const bridge_place &) const = default;
    bool operator<(const bridge_place &other) const
    {
        return std::tie(bus, channel, address) < std::tie(other.bus, other.channel, other.address);
    }
};

/** A 256-byte EEPROM behind the bridge. */
struct bridge_eeprom {
    enum kinds {
        plain,     // takes writes at any time
        backplane, // takes writes while register 0x00C is 0
        fan        // takes writes while register 0x0E of the device at 0x68 beside it is 0
    };
    uint8_t bus = 0;
    uint8_t channel = 0;
    uint8_t address = 0;
    kinds kind = plain;
    std::vector<uint8_t> content = {}; // as delivered, from offset 0; the rest is 0xFF
    unsigned write_cycle_ms = 5;       // how long it does not answer after a write
};

/** A PMBus power supply behind the bridge, on its bus 4. */
struct bridge_supply {
    uint8_t channel = 0;
    uint8_t address = 0x58; // up to 0x5F
    bool present = true;
    std::string serial = {};   // MFR_SERIAL, at most 32 bytes
    std::string revision = {}; // MFR_REVISION, as long
};

/** What goes wrong with commands of the bridge to a place, whether a chip is there or not. */
struct bridge_trouble {
    enum kinds {
        busy, // the status is "busy" so many polls longer than usual; the command is carried out
        fail, // the status is "failed", and nothing is done
        stick // the status stays "busy" until the next command, and nothing is done
    };
    uint8_t bus = 0;
    uint8_t channel = 0;
    uint8_t address = 0;
    unsigned call = 1;  // the n-th command to that place since the trouble was set up
    unsigned times = 1; // how many from there on; 0: for ever
    kinds what = fail;
    unsigned polls = 0; // of busy and fail: how often the status is read as busy first
};

/** The FPGA behind /dev/fpga0 and all that its I2C bridge reaches. */
struct fpga {
    std::vector<bridge_eeprom> eeproms = {};
    std::vector<bridge_supply> supplies = {};
    std::vector<bridge_trouble> troubles = {};
    std::map<uint16_t, uint8_t> registers = {}; // as they start; the others are 0, but 0x00C is 3
};

/** The number of the FPGA's registers. */
constexpr std::size_t fpga_size = 0x400;

constexpr uint8_t supply_bus = 4;
constexpr uint8_t fan_protection_address = 0x68;

template <typename part>
bridge_place place_of(const part &what)
{
    return {what.bus, what.channel, what.address};
}

inline bridge_place place_of(const bridge_supply &what)
{
    return {supply_bus, what.channel, what.address};
}

/** The index of each entry, in order: given, or one above the one before. */
template <typename entry>
std::vector<int32_t> indexes_of(const std::vector<entry> &entries)
{
    std::vector<int32_t> indexes;
    int32_t next = 0;
    for (const entry &one : entries) {
        indexes.push_back(one.index.value_or(next));
        next = indexes.back() + 1;
    }
    return indexes;
}

/** What is wrong with a part in itself, or nothing. */
std::optional<std::string> find_mistake(const fan_unit &what);
std::optional<std::string> find_mistake(const supply_unit &what);
std::optional<std::string> find_mistake(const card_unit &what);
std::optional<std::string> find_mistake(const bridge_eeprom &what);
std::optional<std::string> find_mistake(const bridge_supply &what);
std::optional<std::string> find_mistake(const bridge_trouble &what);

} // namespace sim
