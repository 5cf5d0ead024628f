#include "sim/parts/bridge_chips.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace sim {
namespace {

constexpr uint8_t mfr_revision = 0x9B;
constexpr uint8_t mfr_serial = 0x9E;
constexpr std::size_t block_size = supply_chip::memory_size / 2; // byte count included
constexpr std::size_t protection_register = 0x0E;

/** The place of a command's block in the memory; empty: the supply does not know the command. */
std::span<uint8_t> block_of(uint8_t command, std::span<uint8_t> cells)
{
    switch (command) {
    case mfr_revision:
        return cells.first(block_size);
    case mfr_serial:
        return cells.subspan(block_size, block_size);
    default:
        return {};
    }
}

/** The block with its byte count, as far as it can be. */
std::span<uint8_t> filled(std::span<uint8_t> block)
{
    return block.first(std::min(block.size(), std::size_t{1} + block[0]));
}

void deliver(const std::string &text, std::span<uint8_t> block)
{
    block[0] = static_cast<uint8_t>(text.size());
    std::ranges::copy(text, block.begin() + 1);
}

std::string filled_text(std::span<uint8_t> block)
{
    const auto bytes = filled(block).subspan(1);
    std::string text(bytes.begin(), bytes.end());
    text.resize(text.find_last_not_of('\0') + 1);
    return text;
}

} // namespace

std::vector<uint8_t> supply_chip::delivered(const bridge_supply &what)
{
    std::vector<uint8_t> cells(memory_size, 0);
    deliver(what.revision, block_of(mfr_revision, cells));
    deliver(what.serial, block_of(mfr_serial, cells));
    return cells;
}

std::string supply_chip::serial()
{
    return filled_text(block_of(mfr_serial, cells_->bytes()));
}

std::string supply_chip::revision()
{
    return filled_text(block_of(mfr_revision, cells_->bytes()));
}

bool supply_chip::start(bool reading)
{
    latch_.clear();
    command_follows_ = !reading;
    position_ = 0;
    return true;
}

bool supply_chip::write(uint8_t byte)
{
    if (std::exchange(command_follows_, false)) {
        block_ = block_of(byte, cells_->bytes());
        return !block_.empty();
    }
    latch_.push_back(byte);
    return latch_.size() <= block_.size();
}

uint8_t supply_chip::read()
{
    const auto block = block_.empty() ? block_ : filled(block_);
    return position_ < block.size() ? block[position_++] : uint8_t{0xFF};
}

void supply_chip::stop()
{
    const std::vector<uint8_t> latch = std::exchange(latch_, {});
    if (latch.empty() || latch[0] >= latch.size() || latch.size() > block_.size()) {
        return;
    }
    const std::size_t size = std::size_t{1} + latch[0];
    for (std::size_t i = 0; i < size && supply_.step(); ++i) {
        block_[i] = latch[i];
    }
}

std::vector<uint8_t> protection_chip::delivered()
{
    std::vector<uint8_t> registers(memory_size, 0);
    registers[protection_register] = 1;
    return registers;
}

bool protection_chip::protects()
{
    return cells_->bytes()[protection_register] != 0;
}

bool protection_chip::start(bool reading)
{
    number_follows_ = !reading;
    return true;
}

bool protection_chip::write(uint8_t byte)
{
    if (std::exchange(number_follows_, false)) {
        number_ = byte;
        return number_ < memory_size;
    }
    if (number_ >= memory_size) {
        return false;
    }
    cells_->bytes()[number_++] = byte;
    return true;
}

uint8_t protection_chip::read()
{
    return number_ < memory_size ? cells_->bytes()[number_++] : uint8_t{0xFF};
}

} // namespace sim
