// The fastest that bytes can be received on a line: reads argv[1] bytes, keeps none, answers one.

#include <array>
#include <cstdlib>

#include "raw_terminal.h"

int main(int argc, char **argv)
{
    const long wanted = argc > 1 ? std::atol(argv[1]) : 0;
    bench::make_input_raw();
    if (write(STDOUT_FILENO, "R", 1) != 1) {
        return 1;
    }
    std::array<char, 4096> buffer{};
    for (long received = 0; received < wanted;) {
        const ssize_t got = read(STDIN_FILENO, buffer.data(), buffer.size());
        if (got <= 0) {
            return 1;
        }
        received += got;
    }
    return write(STDOUT_FILENO, "A", 1) == 1 ? 0 : 1;
}
