// The fastest that a byte can be answered on a line: sends each one back.

#include "raw_terminal.h"

int main()
{
    bench::make_input_raw();
    char byte = 'R';
    do {
        if (write(STDOUT_FILENO, &byte, 1) != 1) {
            return 1;
        }
    } while (read(STDIN_FILENO, &byte, 1) == 1);
    return 0;
}
