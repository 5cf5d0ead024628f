#pragma once

#include "sim/description/console.h"

#include <cstdint>
#include <optional>
#include <string>

namespace sim {

/** A text of the switch as its console shows it: each "\n" as "\r\n". */
std::string on_console(const std::string &text);

/** What a switch says from power-on until it can be used, and when. Times are in microseconds. */
class boot {
public:
    boot(const console_description &console, int64_t power_on_us);

    /** When the next message is due, or the boot is over. */
    int64_t next_us() const;
    bool is_over(int64_t now_us) const { return said_ == lines_ && next_us() <= now_us; }
    /** The messages that are due by now. */
    std::string take(int64_t now_us);

private:
    int64_t begin_us_;
    int64_t length_us_;
    uint64_t lines_;
    uint64_t said_ = 0;
};

} // namespace sim
