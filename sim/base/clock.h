#pragma once

#include <chrono>
#include <cstdint>

namespace sim {

/** Microseconds of the monotonic clock, which all processes of the machine share. */
inline int64_t now_us()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace sim
