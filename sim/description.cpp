#include "sim/description.h"

#include <algorithm>
#include <limits>
#include <set>

namespace sim {
namespace {

bool is_power_of_two(uint32_t number)
{
    return number != 0 && (number & (number - 1)) == 0;
}

std::optional<std::string> contradiction(const partition &part)
{
    const std::string which = "partition \"" + part.name + "\": ";
    if (part.erase_size == 0 || part.blocks == 0) {
        return which + "erase_size and blocks must be above 0";
    }
    if (uint64_t{part.erase_size} * part.blocks > std::numeric_limits<uint32_t>::max()) {
        return which + "must be smaller than 4 GiB";
    }
    if (part.type != nand) {
        return part.bad.empty() ? std::nullopt
                                : std::optional(which + "only NAND flash has bad blocks");
    }
    if (!is_power_of_two(part.page_size) || part.erase_size % part.page_size != 0) {
        return which + "page_size must be a power of two, and erase_size whole pages";
    }
    for (const uint32_t block : part.bad) {
        if (block >= part.blocks) {
            return which + "bad block " + std::to_string(block) + ", but the last block is " +
                   std::to_string(part.blocks - 1);
        }
    }
    return std::nullopt;
}

std::optional<std::string> contradiction(const eeprom &chip)
{
    const std::string which = "eeprom at address " + std::to_string(chip.address) + ": ";
    if (chip.address < 0x08 || chip.address > 0x77) {
        return which + "the address must lie in 0x08 to 0x77";
    }
    if (!is_power_of_two(chip.page_size) || chip.page_size > eeprom_size) {
        return which + "page_size must be a power of two, at most 256";
    }
    if (chip.content.size() > eeprom_size) {
        return which + "the content is longer than 256 bytes";
    }
    return std::nullopt;
}

} // namespace

std::vector<int> partition_indexes(const std::vector<partition> &partitions)
{
    std::vector<int> indexes;
    int next = 0;
    for (const partition &part : partitions) {
        indexes.push_back(part.index.value_or(next));
        next = indexes.back() + 1;
    }
    return indexes;
}

std::optional<std::string> contradiction(const board_description &description)
{
    for (const partition &part : description.partitions) {
        if (auto text = contradiction(part)) {
            return text;
        }
    }
    std::set<int> indexes;
    for (const int index : partition_indexes(description.partitions)) {
        if (index < 0 || !indexes.insert(index).second) {
            return "two partitions are mtd" + std::to_string(index) + ", or the index is below 0";
        }
    }
    std::set<uint8_t> addresses;
    for (const eeprom &chip : description.eeproms) {
        if (auto text = contradiction(chip)) {
            return text;
        }
        if (!addresses.insert(chip.address).second) {
            return "two EEPROMs at address " + std::to_string(chip.address);
        }
    }
    for (const fault &one : description.faults) {
        if (one.call == 0) {
            return std::string("fault: calls are counted from 1");
        }
        if ((one.error != 0) == one.short_to.has_value()) {
            return std::string("fault: exactly one of error and short must be given");
        }
    }
    return std::nullopt;
}

} // namespace sim
