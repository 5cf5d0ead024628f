#include "sim/parts/i2c_bridge.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace sim {
namespace {

constexpr const char *done = "done";

bool write_all(i2c_chip &chip, uint8_t offset, std::span<const uint8_t> data)
{
    return chip.start(false) && chip.write(offset) &&
           std::ranges::all_of(data, [&](uint8_t byte) { return chip.write(byte); });
}

bool read_all(i2c_chip &chip, uint8_t offset, std::span<uint8_t> data)
{
    if (!write_all(chip, offset, {}) || !chip.start(true)) {
        return false;
    }
    std::ranges::generate(data, [&] { return chip.read(); });
    return true;
}

} // namespace

void i2c_bridge::fit(const bridge_place &place, std::unique_ptr<i2c_chip> chip)
{
    chips_[place] = std::move(chip);
}

const bridge_trouble *i2c_bridge::meet(const bridge_place &place)
{
    const bridge_trouble *met = nullptr;
    for (entry &one : troubles_) {
        if (place_of(one.what) != place) {
            continue;
        }
        ++one.seen;
        const bool due = one.seen >= one.what.call &&
                         (one.what.times == 0 || one.seen - one.what.call < one.what.times);
        if (due && met == nullptr) {
            met = &one.what;
        }
    }
    return met;
}

const char *i2c_bridge::carry_out(bridge_command &what)
{
    const auto found = chips_.find(what.place);
    if (found == chips_.end()) {
        return "absent";
    }
    i2c_chip &chip = *found->second;
    const bool taken = what.writes ? write_all(chip, what.offset, what.data)
                                   : read_all(chip, what.offset, what.data);
    chip.stop();
    return taken ? done : "refused";
}

void i2c_bridge::begin(bridge_command what)
{
    const bridge_trouble *trouble = meet(what.place);
    sticks_ = trouble != nullptr && trouble->what == bridge_trouble::stick;
    busy_polls_ = trouble != nullptr ? trouble->polls : 0;
    data_.clear();
    const char *outcome = sticks_ ? "stuck" : "failed";
    if (trouble == nullptr || trouble->what == bridge_trouble::busy) {
        outcome = carry_out(what);
    }
    status_ = std::string_view(outcome) == done ? bridge_status::done : bridge_status::failed;
    if (!what.writes && status_ == bridge_status::done) {
        data_ = what.data;
    }
    log(what, outcome);
}

void i2c_bridge::refuse()
{
    sticks_ = false;
    busy_polls_ = 0;
    data_.clear();
    status_ = bridge_status::failed;
}

bridge_status i2c_bridge::poll()
{
    if (sticks_) {
        return bridge_status::busy;
    }
    if (busy_polls_ > 0) {
        --busy_polls_;
        return bridge_status::busy;
    }
    return status_;
}

std::vector<uint8_t> i2c_bridge::take_data()
{
    if (sticks_ || busy_polls_ > 0) {
        return {};
    }
    return std::exchange(data_, {});
}

void i2c_bridge::log(const bridge_command &what, const char *outcome)
{
    operation one = {.name = "bridge",
                     .path = "/dev/fpga0",
                     .offset = what.offset,
                     .length = what.data.size(),
                     .address = what.place.address,
                     .bus = what.place.bus,
                     .channel = what.place.channel,
                     .result = static_cast<int64_t>(sticks_ ? bridge_status::busy : status_)};
    one.arguments = std::string(what.writes ? "write" : "read") +
                    " bus=" + std::to_string(one.bus) + " channel=" + std::to_string(one.channel) +
                    " address=" + hex(one.address) + " offset=" + hex(one.offset) +
                    " length=" + std::to_string(one.length);
    if (what.writes || status_ == bridge_status::done) {
        one.data = what.data;
        one.arguments += " data=" + hex_digits(one.data);
    }
    if (busy_polls_ > 0) {
        one.arguments += " busy=" + std::to_string(busy_polls_);
    }
    one.arguments += std::string(" outcome=") + outcome;
    log_(std::move(one));
}

} // namespace sim
