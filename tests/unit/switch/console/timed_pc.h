#pragma once

#include <cstdint>
#include <vector>

namespace support {

/** Bytes that come so many milliseconds after the switch has taken all that came before them. */
struct timed_bytes {
    int64_t after_ms;
    std::vector<uint8_t> bytes;
};

using timed_script = std::vector<timed_bytes>;

inline timed_script operator+(timed_script front, const timed_script &back)
{
    front.insert(front.end(), back.begin(), back.end());
    return front;
}

/**
 * The PC on descriptor 0 while it lives, on a clock of its own: the time limits of the console
 * pass as the switch polls, in no time and the same on every machine. One at a time. A switch that
 * waits long after the last byte ends the process: no script may leave one waiting.
 */
class timed_pc {
public:
    explicit timed_pc(timed_script script);
    timed_pc(const timed_pc &) = delete;
    timed_pc &operator=(const timed_pc &) = delete;
    ~timed_pc();

    /** How much of its time has passed until now. */
    static int64_t passed_us();
};

} // namespace support
