#pragma once

#include "sim/base/memory.h"
#include "sim/base/power.h"
#include "sim/description/description.h"

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

/**
 * What a unit of the driver library can be told, in 34 bytes of a memory: the type, least
 * significant byte first, the serial number and the hardware version with NULs after each.
 */
class unit_identity {
public:
    unit_identity(std::unique_ptr<memory> cells, power &supply)
        : cells_(std::move(cells)), supply_(supply)
    {
    }

    static constexpr std::size_t memory_size = sizeof(uint32_t) + sn_size + hw_size;
    static std::vector<uint8_t> delivered(uint32_t type, std::string_view sn, std::string_view hw);

    uint32_t type() const;
    std::string sn() const;
    std::string hw() const;

    void type(uint32_t now);
    /** An empty text leaves the one that is there. Longer ones than the field are cut. */
    void sn(std::string_view now);
    void hw(std::string_view now);

private:
    std::span<uint8_t> field(std::size_t offset, std::size_t size) const;
    void program(std::span<uint8_t> cells, std::span<const uint8_t> now);
    void program_text(std::span<uint8_t> cells, std::string_view now);

    std::unique_ptr<memory> cells_;
    power &supply_;
};

enum class unit_kind { fan, supply, card };

/** What is in a slot of the driver library. */
struct driver_unit {
    bool present;
    std::string name; // of a supply
    unit_identity identity;
};

/** The units that the driver library manages, by kind and slot, with what was stored into them. */
class driver_units {
public:
    driver_units(const board_description &what, const memory_maker &make, power &supply);

    /** Null: no slot of that number. */
    const driver_unit *find(unit_kind kind, int32_t index) const;
    /** Null: nothing is present in such a slot. */
    driver_unit *find_present(unit_kind kind, int32_t index);

    /** As fitted, but with what it was told last. They throw std::out_of_range: no such slot. */
    fan_unit fan(int32_t index) const;
    supply_unit supply(int32_t index) const;
    card_unit card(int32_t index) const;

    /** The record of a backplane EEPROM, 1 or 2. Throws std::out_of_range for another. */
    std::span<uint8_t> backplane(int32_t index) const { return backplanes_.at(index)->bytes(); }
    /** False: no such EEPROM. */
    bool store_backplane(int32_t index, std::span<const uint8_t> record);

private:
    std::map<std::pair<unit_kind, int32_t>, driver_unit> units_;
    std::map<int32_t, std::unique_ptr<memory>> backplanes_;
    power &supply_;
};

} // namespace sim
