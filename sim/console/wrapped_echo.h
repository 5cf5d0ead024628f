#pragma once

#include "sim/description/console.h"

#include <cstddef>
#include <string>

namespace sim {

/**
 * The echo of a shell that edits its lines itself: a line that is too long for the terminal goes on
 * in the next one. The line discipline of a terminal never does that.
 */
class wrapped_echo {
public:
    explicit wrapped_echo(const console_description &console);

    /** What the console shows for a key. */
    std::string type(char key);

private:
    std::size_t columns_;
    std::string break_;
    std::size_t prompt_;
    std::size_t typed_ = 0; // printable characters of this line
};

} // namespace sim
