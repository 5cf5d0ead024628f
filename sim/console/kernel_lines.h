#pragma once

#include "sim/description/console.h"

#include <cstdint>
#include <optional>
#include <string>

namespace sim {

/** The lines that a kernel prints into whatever is on its console. Times are in microseconds. */
class kernel_lines {
public:
    explicit kernel_lines(const console_description &console);

    /** Counts a byte that something else wrote: the line that follows it, or nothing. */
    std::string after_byte();

    /** The kernel runs from now on. */
    void begin(int64_t now_us) { begun_us_ = now_us; }
    /** It does not. */
    void end() { begun_us_.reset(); }
    /** When the next line by the clock is due. */
    std::optional<int64_t> next_us() const;
    /** That line, once it is due. */
    std::string take(int64_t now_us);

private:
    bool has_more() const { return most_ == 0 || said_ < most_; }
    std::string line();

    std::string text_;
    int64_t every_us_;
    uint64_t every_bytes_;
    uint64_t most_;
    uint64_t said_ = 0;
    uint64_t bytes_ = 0;
    std::optional<int64_t> begun_us_; // or when the last one by the clock was said
};

} // namespace sim
