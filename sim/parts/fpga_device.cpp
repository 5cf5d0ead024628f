#include "sim/parts/fpga_device.h"

#include "sim/parts/bridge_chips.h"

#include <algorithm>

namespace sim {
namespace {

// The registers that do something.
constexpr std::size_t backplane_protection = 0x00C; // 0 lets the backplane EEPROMs be written
constexpr std::size_t presence_of_channel_0 = 0x01B;
constexpr std::size_t bus_register = 0x100;
constexpr std::size_t channel_register = 0x101;
constexpr std::size_t address_register = 0x102;
constexpr std::size_t offset_register = 0x103;
constexpr std::size_t length_register = 0x104;
constexpr std::size_t command_register = 0x105;
constexpr std::size_t status_register = 0x106;
constexpr std::size_t data_out = 0x140;
constexpr std::size_t data_in = 0x180;
constexpr std::size_t longest_transfer = data_in - data_out;

constexpr uint8_t write_command = 2;
constexpr uint8_t read_command = 3;

constexpr uint8_t first_supply_address = 0x58;
constexpr uint8_t backplane_protected = 3;

std::vector<uint8_t> starting_registers(const fpga &what)
{
    std::vector<uint8_t> start(fpga_size, 0);
    start[backplane_protection] = backplane_protected;
    for (const auto &[number, value] : what.registers) {
        start[number] = value;
    }
    return start;
}

/** "bridge-4-0-52.bin" */
std::string file_of(const bridge_place &place)
{
    return "bridge-" + std::to_string(place.bus) + "-" + std::to_string(place.channel) + "-" +
           hex(place.address).substr(2) + ".bin";
}

} // namespace

fpga_device::fpga_device(const fpga &what, const memory_maker &make, power &supply,
                         std::function<void(operation)> log)
    : register_device("/dev/fpga0", make("fpga0.bin", fpga_size, starting_registers(what))),
      bridge_(std::move(log))
{
    for (const bridge_eeprom &chip : what.eeproms) {
        fit(chip, make, supply);
    }
    for (const bridge_supply &one : what.supplies) {
        fit(one, make, supply);
    }
    for (const bridge_trouble &one : what.troubles) {
        bridge_.add(one);
    }
}

fpga_device::~fpga_device() = default;

std::function<bool()> fpga_device::fan_protection(const bridge_place &fan, const memory_maker &make)
{
    const bridge_place place = {fan.bus, fan.channel, fan_protection_address};
    auto &protection = fan_protections_[place];
    if (!protection) {
        auto chip = std::make_unique<protection_chip>(
            make(file_of(place), protection_chip::memory_size, protection_chip::delivered()));
        protection = [&device = *chip] { return device.protects(); };
        bridge_.fit(place, std::move(chip));
    }
    return protection;
}

void fpga_device::fit(const bridge_eeprom &what, const memory_maker &make, power &supply)
{
    const bridge_place place = place_of(what);
    std::function<bool()> is_protected = [] { return false; };
    if (what.kind == bridge_eeprom::backplane) {
        is_protected = [this] { return bytes()[backplane_protection] != 0; };
    } else if (what.kind == bridge_eeprom::fan) {
        is_protected = fan_protection(place, make);
    }
    // Kept in the process only: no program starts within a write cycle of the one before it.
    auto &cycle = write_cycles_.emplace_back(
        std::make_unique<memory>(sizeof(int64_t), std::vector<uint8_t>(sizeof(int64_t), 0)));
    auto chip = std::make_unique<eeprom_chip>(
        sim::eeprom{.address = what.address, .write_cycle_ms = what.write_cycle_ms},
        make(file_of(place), eeprom_size, what.content), cycle->bytes(), supply,
        std::move(is_protected));
    eeproms_.emplace(place, chip.get());
    bridge_.fit(place, std::move(chip));
}

void fpga_device::fit(const bridge_supply &what, const memory_maker &make, power &supply)
{
    if (!what.present) {
        return;
    }
    const bridge_place place = place_of(what);
    presence_[presence_of_channel_0 + what.channel] |=
        static_cast<uint8_t>(1U << (what.address - first_supply_address));
    auto chip = std::make_unique<supply_chip>(
        what, make(file_of(place), supply_chip::memory_size, supply_chip::delivered(what)), supply);
    supplies_.emplace(place, chip.get());
    bridge_.fit(place, std::move(chip));
}

uint8_t fpga_device::load(std::size_t number)
{
    if (number == status_register) {
        const bridge_status status = bridge_.poll();
        deliver();
        return static_cast<uint8_t>(status);
    }
    const auto plugged_in = presence_.find(number);
    const uint8_t bits = plugged_in != presence_.end() ? plugged_in->second : uint8_t{0};
    return bytes()[number] | bits;
}

void fpga_device::store(std::size_t number, uint8_t value)
{
    bytes()[number] = value;
    if (number == command_register) {
        begin(value);
    }
}

void fpga_device::begin(uint8_t command)
{
    if (command != write_command && command != read_command) {
        return;
    }
    const auto registers = bytes();
    const std::size_t length = registers[length_register];
    if (length > longest_transfer) {
        bridge_.refuse();
        return;
    }
    const auto out = registers.subspan(data_out, length);
    bridge_.begin({.writes = command == write_command,
                   .place = {registers[bus_register], registers[channel_register],
                             registers[address_register]},
                   .offset = registers[offset_register],
                   .data = {out.begin(), out.end()}});
    deliver();
}

void fpga_device::deliver()
{
    std::ranges::copy(bridge_.take_data(), bytes().begin() + data_in);
}

} // namespace sim
