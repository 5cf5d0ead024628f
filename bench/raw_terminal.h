#pragma once

#include <termios.h>
#include <unistd.h>

namespace bench {

/** Standard input as a line of plain bytes. */
inline void make_input_raw()
{
    termios settings{};
    tcgetattr(STDIN_FILENO, &settings);
    cfmakeraw(&settings);
    tcsetattr(STDIN_FILENO, TCSANOW, &settings);
}

} // namespace bench
