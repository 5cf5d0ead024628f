#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

namespace line {

/**
 * What the lines between a terminal and a program share: the terminal is standard input and output,
 * and becomes raw; the program runs on a pseudo-terminal of its own.
 */
class far_program {
public:
    /** Starts it: its file, its arguments, a null pointer. */
    explicit far_program(char **command);
    far_program(const far_program &) = delete;
    far_program &operator=(const far_program &) = delete;
    ~far_program();

    /** This end of its pseudo-terminal. */
    int descriptor() const { return here_; }

    /**
     * Hangs up, unless it has closed its terminal itself, and waits for its end: the exit status,
     * or 128 and the signal's number.
     */
    int finish();

private:
    int here_ = -1;
    pid_t program_ = -1;
};

/** Whether the line is to end (SIGTERM, SIGHUP): waiting calls return then. */
bool is_to_end();

/** Appends bytes that are there, at most `most`; false at the end of that side. */
bool take(int from, std::string &bytes, std::size_t most);

/** Hands bytes on; what a side no longer takes is dropped. */
void give(int to, std::string_view bytes);

} // namespace line
