#include "sim/description/description.h"

#include "sim/base/operation.h"

#include <algorithm>
#include <limits>
#include <set>

namespace sim {
namespace {

bool is_power_of_two(uint32_t number)
{
    return number != 0 && (number & (number - 1)) == 0;
}

/** The mistake of a list of blocks that names one behind the partition's end, or nothing. */
std::optional<std::string> find_missing_block(const partition &part,
                                              const std::vector<uint32_t> &blocks, const char *what)
{
    for (const uint32_t block : blocks) {
        if (block >= part.blocks) {
            return "there is no block " + std::to_string(block) + " to be " + what +
                   ": the last one is " + std::to_string(part.blocks - 1);
        }
    }
    return std::nullopt;
}

std::optional<std::string> find_mistake(const partition &part)
{
    if (part.erase_size == 0 || part.blocks == 0) {
        return "erase_size and blocks must be above 0";
    }
    if (uint64_t{part.erase_size} * part.blocks > std::numeric_limits<uint32_t>::max()) {
        return "a partition must be smaller than 4 GiB";
    }
    if (part.type != nand && !part.bad.empty()) {
        return "only NAND flash has bad blocks";
    }
    if (part.type == nand &&
        (!is_power_of_two(part.page_size) || part.erase_size % part.page_size != 0)) {
        return "page_size must be a power of two, and erase_size a multiple of it";
    }
    auto missing = find_missing_block(part, part.bad, "bad");
    for (const auto *failing : {&part.no_erase, &part.no_write, &part.no_read}) {
        missing = missing ? missing : find_missing_block(part, *failing, "failing");
    }
    return missing;
}

std::optional<std::string> find_mistake(const eeprom &chip)
{
    if (chip.address < 0x08 || chip.address > 0x77) {
        return "the address must lie in 0x08 to 0x77";
    }
    if (!is_power_of_two(chip.page_size) || chip.page_size > eeprom_size) {
        return "page_size must be a power of two, at most 256";
    }
    if (chip.content.size() > eeprom_size) {
        return "the content must not be longer than 256 bytes";
    }
    for (const auto &[number, values] : chip.lifted_by_cpld) {
        if (values.empty()) {
            return "no value of register " + hex(number) + " lifts the protection";
        }
    }
    return std::nullopt;
}

/** The first entry of a list that is wrong in itself. */
template <typename entry>
std::optional<mistake> find_wrong_entry(mistake::list where, const std::vector<entry> &entries)
{
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (auto text = find_mistake(entries[i])) {
            return mistake{where, i, std::move(*text)};
        }
    }
    return std::nullopt;
}

/** The first number that was there before, or is below 0. */
std::optional<std::size_t> find_repetition(const std::vector<int> &numbers)
{
    std::set<int> seen;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (numbers[i] < 0 || !seen.insert(numbers[i]).second) {
            return i;
        }
    }
    return std::nullopt;
}

/** The first entry of a list with indexes that is wrong in itself or beside the others. */
template <typename entry>
std::optional<mistake> find_wrong_index(mistake::list where, const std::vector<entry> &entries,
                                        const std::string &another)
{
    if (auto found = find_wrong_entry(where, entries)) {
        return found;
    }
    if (const auto again = find_repetition(indexes_of(entries))) {
        return mistake{where, *again, "its index is below 0 or that of another " + another};
    }
    return std::nullopt;
}

/** Two chips behind the bridge at one place. */
std::optional<mistake> find_crowd(const fpga &what)
{
    std::set<bridge_place> taken;
    for (const bridge_eeprom &chip : what.eeproms) {
        if (chip.kind == bridge_eeprom::fan) {
            taken.insert({chip.bus, chip.channel, fan_protection_address});
        }
    }
    const std::string text = "at its place behind the bridge there is another chip";
    for (std::size_t i = 0; i < what.eeproms.size(); ++i) {
        if (!taken.insert(place_of(what.eeproms[i])).second) {
            return mistake{mistake::list::bridge_eeproms, i, text};
        }
    }
    for (std::size_t i = 0; i < what.supplies.size(); ++i) {
        if (!taken.insert(place_of(what.supplies[i])).second) {
            return mistake{mistake::list::bridge_supplies, i, text};
        }
    }
    return std::nullopt;
}

std::optional<mistake> find_mistake(const sim::fpga &what)
{
    using enum mistake::list;
    if (!what.registers.empty() && what.registers.rbegin()->first >= fpga_size) {
        return mistake{fpga, 0, "its registers are 0 to 0x3FF"};
    }
    if (auto found = find_wrong_entry(bridge_eeproms, what.eeproms)) {
        return found;
    }
    if (auto found = find_wrong_entry(bridge_supplies, what.supplies)) {
        return found;
    }
    if (auto found = find_wrong_entry(bridge_troubles, what.troubles)) {
        return found;
    }
    return find_crowd(what);
}

std::optional<mistake> find_unit_mistake(const board_description &description)
{
    using enum mistake::list;
    if (auto found = find_wrong_index(fans, description.fans, "fan")) {
        return found;
    }
    if (auto found = find_wrong_index(supplies, description.supplies, "supply")) {
        return found;
    }
    return find_wrong_index(cards, description.cards, "sub-card");
}

/** Whether the operation is one of the driver library, which alone has results to choose. */
bool is_library_operation(std::string_view name)
{
    return name.starts_with("drv_") || name == "dev_drv_init";
}

} // namespace

std::optional<std::string> find_mistake(const fault &what)
{
    if (std::ranges::find(fault_operations, what.operation) == std::end(fault_operations)) {
        std::string text = "operation must be one of";
        for (const std::string_view name : fault_operations) {
            text.append(" ").append(name);
        }
        return text;
    }
    if (what.call == 0) {
        return "calls are counted from 1";
    }
    const int kinds = (what.error != 0 ? 1 : 0) + (what.short_to ? 1 : 0) + (what.result ? 1 : 0) +
                      (what.signal != 0 ? 1 : 0);
    if (kinds != 1) {
        return "one of error, short, result and signal must be given, and no other of them";
    }
    if (what.result && !is_library_operation(what.operation)) {
        return "result is for one operation of the driver library, as drv_set_fan_info";
    }
    return std::nullopt;
}

std::optional<mistake> find_mistake(const board_description &description)
{
    using enum mistake::list;
    if (auto found = find_wrong_index(partitions, description.partitions, "partition")) {
        return found;
    }
    if (auto found = find_wrong_entry(eeproms, description.eeproms)) {
        return found;
    }
    std::vector<int> addresses;
    for (const eeprom &chip : description.eeproms) {
        addresses.push_back(chip.address);
    }
    if (const auto again = find_repetition(addresses)) {
        return mistake{eeproms, *again, "its address is that of another EEPROM"};
    }
    for (std::size_t i = 0; i < description.eeproms.size(); ++i) {
        if (!description.eeproms[i].lifted_by_cpld.empty() && !description.cpld) {
            return mistake{eeproms, i, "lifted_by_cpld needs a CPLD: [cpld] is missing"};
        }
    }
    if (auto found = find_unit_mistake(description)) {
        return found;
    }
    if (description.fpga) {
        if (auto found = find_mistake(*description.fpga)) {
            return found;
        }
    }
    return find_wrong_entry(faults, description.faults);
}

} // namespace sim
