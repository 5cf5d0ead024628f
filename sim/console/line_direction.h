#pragma once

#include "sim/description/console.h"

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace sim {

/**
 * One direction of the console's line: what becomes of each byte, by its place and the seed alone.
 */
class line_direction {
public:
    enum ways { from_pc, to_pc };

    line_direction(ways way, const console_description &console);

    struct passed {
        std::string arriving = {};
        std::optional<console_fault::kinds> strikes = {}; // the switch or the line; no byte arrives
    };
    passed pass(char byte);

    /** A command has begun: from here on its bytes are counted. */
    void begin_command(uint64_t number);

private:
    struct harm {
        console_fault::kinds what;
        uint64_t command; // 0: any
        uint64_t place;
        uint8_t bits;
    };

    std::optional<harm> due_harm();
    std::string noisy(char byte);

    std::vector<harm> harms_;
    uint64_t place_ = 0;
    uint64_t command_ = 0;
    uint64_t place_in_command_ = 0;
    uint32_t noise_;
    std::mt19937 random_;
};

} // namespace sim
