#pragma once

#include <cstdint>
#include <numeric>
#include <span>

namespace sim {

/** A number of at most 4 bytes, most significant byte first. */
inline uint32_t big_endian(std::span<const uint8_t> bytes)
{
    return std::accumulate(bytes.begin(), bytes.end(), uint32_t{0},
                           [](uint32_t number, uint8_t byte) { return number << 8 | byte; });
}

} // namespace sim
