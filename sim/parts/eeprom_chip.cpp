#include "sim/parts/eeprom_chip.h"

#include "sim/base/clock.h"

#include <cstring>
#include <utility>

namespace sim {

eeprom_chip::eeprom_chip(const eeprom &what, std::unique_ptr<memory> cells,
                         std::span<uint8_t> write_cycle, power &supply,
                         std::function<bool()> is_protected)
    : i2c_chip(what.address), page_size_(what.page_size),
      write_cycle_us_(int64_t{what.write_cycle_ms} * 1000), answered_writes_(what.answered_writes),
      cells_(std::move(cells)), write_cycle_(write_cycle), supply_(supply),
      is_protected_(std::move(is_protected))
{
}

int64_t eeprom_chip::busy_until()
{
    int64_t end = 0;
    std::memcpy(&end, write_cycle_.data(), sizeof end);
    return end;
}

void eeprom_chip::busy_until(int64_t end)
{
    std::memcpy(write_cycle_.data(), &end, sizeof end);
}

bool eeprom_chip::start(bool reading)
{
    // A start in the place of a stop gives up a write that was not programmed yet.
    latch_.clear();
    word_follows_ = !reading;
    // An end further away than a whole cycle was left by another boot of this machine.
    const int64_t left = busy_until() - now_us();
    return answered_writes_ != 0U && (left <= 0 || left > write_cycle_us_);
}

bool eeprom_chip::write(uint8_t byte)
{
    if (std::exchange(word_follows_, false)) {
        word_ = byte;
    } else {
        latch_.push_back(byte);
    }
    return true;
}

uint8_t eeprom_chip::read()
{
    return bytes()[word_++];
}

void eeprom_chip::stop()
{
    if (!latch_.empty() && !is_protected_()) {
        program();
        busy_until(now_us() + write_cycle_us_);
        if (answered_writes_) {
            --*answered_writes_;
        }
    }
    latch_.clear();
}

void eeprom_chip::program()
{
    const unsigned page = word_ / page_size_ * page_size_;
    for (const uint8_t byte : latch_) {
        if (!supply_.step()) {
            return;
        }
        bytes()[word_] = byte;
        word_ = static_cast<uint8_t>(page + (word_ + 1U - page) % page_size_);
    }
}

} // namespace sim
