#pragma once

#include "sim/base/memory.h"
#include "sim/base/power.h"
#include "sim/description/description.h"
#include "sim/parts/i2c_bus.h"

#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace sim {

/**
 * A serial EEPROM with a one-byte word address. A write fills a page and wraps inside it, is
 * programmed at the stop, and the chip then answers to nobody until its write cycle is over. While
 * it is protected it takes what is written to it, but programs nothing and begins no write cycle. A
 * chip that stops answering does so after a number of writes. A read goes on from the word address
 * and wraps at the end of the memory.
 */
class eeprom_chip : public i2c_chip {
public:
    /**
     * write_cycle: the end of its write cycle, an int64_t of microseconds of the monotonic clock.
     * It is kept apart from the chip because a cycle may outlive the process that began it.
     * is_protected: the state of its write-protect pin.
     */
    eeprom_chip(const eeprom &what, std::unique_ptr<memory> cells, std::span<uint8_t> write_cycle,
                power &supply, std::function<bool()> is_protected);

    std::span<uint8_t> bytes() { return cells_->bytes(); }
    bool is_protected() const { return is_protected_(); }

    bool start(bool reading) override;
    bool write(uint8_t byte) override;
    uint8_t read() override;
    void stop() override;

private:
    void program();
    int64_t busy_until();
    void busy_until(int64_t end);

    unsigned page_size_;
    int64_t write_cycle_us_;
    std::optional<unsigned> answered_writes_; // what is left of them
    std::unique_ptr<memory> cells_;
    std::span<uint8_t> write_cycle_;
    power &supply_;
    std::function<bool()> is_protected_;
    uint8_t word_ = 0;           // the word address
    bool word_follows_ = false;  // the next byte written is the word address
    std::vector<uint8_t> latch_; // written since, not yet programmed
};

} // namespace sim
