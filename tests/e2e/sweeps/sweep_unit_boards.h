#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "e2e/support/bytes.h"
#include "e2e/support/units_device.h"

namespace e2e {

// Units that can be replaced, and what they hold before and after. To be put behind a board.

constexpr std::string_view fpga_units = R"toml(
[fpga]
[[fpga.eeprom]]
bus = 4
channel = 0
address = 0x52
kind = "backplane"
write_cycle_ms = 0
[[fpga.eeprom]]
bus = 4
channel = 1
address = 0x54
kind = "backplane"
write_cycle_ms = 0
[[fpga.eeprom]]
bus = 3
channel = 0
address = 0x56
kind = "fan"
write_cycle_ms = 0
[[fpga.eeprom]]
bus = 3
channel = 1
address = 0x56
kind = "fan"
write_cycle_ms = 0
[[fpga.eeprom]]
bus = 4
channel = 2
address = 0x52
write_cycle_ms = 0
[[fpga.supply]]
channel = 0
address = 0x58
serial = "OLD"
revision = "R0"
)toml";

constexpr std::string_view library_units = R"toml(
[[fan]]
type = 0x8001
sn = "OLDFAN"
hw = "0.1"
[[supply]]
name = "PSU"
hw = "0.2"
[[card]]
card_type = 0x21
sn = "OLDCARD"
hw = "0.3"
)toml";

/** A memory of a unit, before and after. */
struct unit_memory {
    std::string file;
    std::string old_content;
    std::string new_content;
};

/** An EEPROM that begins so. */
inline std::string chip(std::string_view beginning)
{
    return std::string(beginning) + repeated(256 - beginning.size(), 0xFF);
}

inline const std::string old_identity = chip(bytes({0x20}) + "OLDSERIAL0001" + bytes({0x01, 0x32}));
inline const std::string new_identity = chip(bytes({0x21}) + "NEWSERIAL0002" + bytes({0x02, 0xA0}));

/** A fan, and another one that nothing is said of. */
inline const std::vector<unit_memory> fan_memories = {
    {"bridge-3-0-56.bin", old_identity, old_identity},
    {"bridge-3-1-56.bin", old_identity, new_identity}};
inline const std::vector<unit_memory> poe_memories = {
    {"bridge-4-2-52.bin", old_identity, new_identity}};

/** What a supply holds: two blocks of a count and at most 32 bytes. */
inline std::string supply_blocks(std::string_view revision, std::string_view serial)
{
    return field(revision, 33) + field(serial, 33);
}

inline const std::vector<unit_memory> supply_memories = {
    {"bridge-4-0-58.bin", supply_blocks(bytes({2}) + "R0", bytes({3}) + "OLD"),
     supply_blocks(bytes({4}) + "A01", bytes({15}) + "PSU0123456789")}};

inline const std::string backplane_record =
    bytes({0x1F}) + "VER-1.02BP2102351234567890" + bytes({0x00}) +
    bytes({0x00, 0xE0, 0xFC, 0x0A, 0x0B, 0x0C}) + repeated(10, 0x00);
inline const std::string old_backplane_record = bytes({0x1E}) + "VER-1.01" + repeated(35, 0x00);

inline const std::vector<unit_memory> bridge_backplane_memories = {
    {"bridge-4-0-52.bin", chip(old_backplane_record), chip(backplane_record)},
    {"bridge-4-1-54.bin", chip(old_backplane_record), chip(backplane_record)}};
inline const std::vector<unit_memory> library_backplane_memories = {
    {"backplane-1.bin", old_backplane_record, backplane_record},
    {"backplane-2.bin", old_backplane_record, backplane_record}};

inline const std::vector<unit_memory> device_memories = {
    {"fan-0.bin", device_memory(bytes({1, 0x80, 0, 0}), "OLDFAN", "0.1"),
     device_memory(bytes({1, 0x80, 0, 0}), "NEWFAN", "1.1")},
    {"supply-0.bin", device_memory(bytes({0, 0, 0, 0}), "", "0.2"),
     device_memory(bytes({0, 0, 0, 0}), "", "1.2")},
    {"card-0.bin", device_memory(bytes({0x21, 0, 0, 0}), "OLDCARD", "0.3"),
     device_memory(bytes({0x21, 0, 0, 0}), "NEWCARD", "1.3")}};

} // namespace e2e
