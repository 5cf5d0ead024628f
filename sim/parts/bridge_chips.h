#pragma once

#include "sim/base/memory.h"
#include "sim/base/power.h"
#include "sim/description/units.h"
#include "sim/parts/i2c_bus.h"

#include <memory>
#include <span>
#include <vector>

namespace sim {

/**
 * A PMBus power supply with the blocks MFR_REVISION and MFR_SERIAL: a byte count, then that many
 * bytes. A block is stored at the stop, if all of it came. A read goes on with 0xFF after the
 * block. Other commands are not acknowledged.
 */
class supply_chip : public i2c_chip {
public:
    /** The bytes that its memory has, and those of a supply as delivered. */
    static constexpr std::size_t memory_size = std::size_t{2} * 33;
    static std::vector<uint8_t> delivered(const bridge_supply &what);

    supply_chip(const bridge_supply &what, std::unique_ptr<memory> cells, power &supply)
        : i2c_chip(what.address), cells_(std::move(cells)), supply_(supply)
    {
    }

    /** What the blocks hold now, without the NULs at their end. */
    std::string serial();
    std::string revision();

    bool start(bool reading) override;
    bool write(uint8_t byte) override;
    uint8_t read() override;
    void stop() override;

private:
    std::unique_ptr<memory> cells_;
    power &supply_;
    bool command_follows_ = false; // the next byte written is the command
    std::span<uint8_t> block_;     // of the command
    std::size_t position_ = 0;     // of the next byte read
    std::vector<uint8_t> latch_;   // written since, not yet stored
};

/** A device of a few registers, one of which (0x0E) protects a fan's EEPROM while it is not 0. */
class protection_chip : public i2c_chip {
public:
    static constexpr std::size_t memory_size = 16;
    /** With the protection on. */
    static std::vector<uint8_t> delivered();

    explicit protection_chip(std::unique_ptr<memory> cells)
        : i2c_chip(fan_protection_address), cells_(std::move(cells))
    {
    }

    bool protects();

    bool start(bool reading) override;
    bool write(uint8_t byte) override;
    uint8_t read() override;
    void stop() override {}

private:
    std::unique_ptr<memory> cells_;
    bool number_follows_ = false; // the next byte written is the register's number
    std::size_t number_ = 0;
};

} // namespace sim
