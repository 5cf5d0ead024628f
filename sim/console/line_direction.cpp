#include "sim/console/line_direction.h"

#include <array>
#include <utility>

namespace sim {
namespace {

std::string harmed(char byte, console_fault::kinds what, unsigned bits)
{
    switch (what) {
    case console_fault::change:
        return {static_cast<char>(static_cast<unsigned char>(byte) ^ bits)};
    case console_fault::twice:
        return std::string(2, byte);
    default:
        return {};
    }
}

} // namespace

line_direction::line_direction(ways way, const console_description &console)
    : noise_(console.noise), random_(2 * console.seed + (way == to_pc ? 1 : 0))
{
    for (const console_fault &fault : console.faults) {
        if (const auto place = way == from_pc ? fault.received : fault.sent) {
            harms_.push_back({fault.what, fault.command.value_or(0), *place, fault.bits});
        }
    }
}

void line_direction::begin_command(uint64_t number)
{
    command_ = number;
    place_in_command_ = 0;
}

line_direction::passed line_direction::pass(char byte)
{
    ++place_;
    ++place_in_command_;
    auto arriving = noisy(byte);
    const auto due = due_harm();
    if (!due) {
        return {.arriving = std::move(arriving)};
    }
    if (due->what < console_fault::change) {
        return {.strikes = due->what};
    }
    return {.arriving = harmed(byte, due->what, due->bits)};
}

std::optional<line_direction::harm> line_direction::due_harm()
{
    for (const harm &one : harms_) {
        const bool is_here = one.command == 0
                                 ? one.place == place_
                                 : one.command == command_ && one.place == place_in_command_;
        if (is_here) {
            return one;
        }
    }
    return std::nullopt;
}

std::string line_direction::noisy(char byte)
{
    constexpr std::array kinds = {console_fault::change, console_fault::drop, console_fault::twice};
    if (noise_ == 0) {
        return {byte};
    }
    // Both are drawn for each byte, so that what befalls one depends on its place alone.
    const auto chance = random_();
    const auto detail = random_();
    if (chance % noise_ != 0) {
        return {byte};
    }
    return harmed(byte, kinds[detail % kinds.size()], 1U << (detail >> 8) % 8);
}

} // namespace sim
