#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>

namespace sim {

/**
 * The supply of the board. It can be set to fail in the middle of programming: each programmed byte
 * of flash or EEPROM is one step, and each erased block is one step. After that many steps the next
 * one finds no power: a byte is not programmed, a block is left erased in its first half only.
 */
class power {
public:
    bool on() const { return on_; }

    /** Lets the supply fail after that many more steps; nothing: never. Switches it on. */
    void cut_after(std::optional<uint64_t> steps)
    {
        left_ = steps;
        on_ = true;
    }

    /** What happens at the moment of failure, once. */
    void when_cut(std::function<void()> action) { when_cut_ = std::move(action); }

    /**
     * Takes one step. False: there is no power for it. With half_done the step is carried out half
     * way when the supply fails in the middle of it.
     */
    bool step(const std::function<void()> &half_done)
    {
        if (!on_) {
            return false;
        }
        if (!left_) {
            return true;
        }
        if (*left_ > 0) {
            --*left_;
            return true;
        }
        if (half_done) {
            half_done();
        }
        on_ = false;
        if (when_cut_) {
            when_cut_();
        }
        return false;
    }

    /** A step that is done or not. */
    bool step() { return (on_ && !left_) || step({}); }

    /** How many of so many steps will find power. None is taken. */
    uint64_t powered(uint64_t steps) const
    {
        return on_ ? std::min(steps, left_.value_or(steps)) : 0;
    }

    /** Takes so many steps that are powered. */
    void take(uint64_t powered_steps)
    {
        if (left_) {
            *left_ -= powered_steps;
        }
    }

private:
    bool on_ = true;
    std::optional<uint64_t> left_;
    std::function<void()> when_cut_;
};

} // namespace sim
