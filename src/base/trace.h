#pragma once

#include <cstdio>

/**
 * The debug trace stream: the log file of a PC operation. Null while no log is open; whoever closes
 * it clears it. Every trace line of the program goes here and nowhere else.
 */
extern FILE *setmac_debug_fd;

/**
 * Writes one trace line, "[SETMAC <function>:<line>] " and the formatted text, and flushes it, so
 * that the log is complete up to the last step when the board loses power. The text carries its own
 * line ends. Call it through the macros below.
 */
[[gnu::format(printf, 3, 4)]] void trace_write(const char *function, int line, const char *format,
                                               ...);

// The arguments are evaluated only while a log is open.
#define SETMAC_TRACE_AS(function, line, ...)                                                       \
    do {                                                                                           \
        if (setmac_debug_fd != nullptr) {                                                          \
            trace_write(function, line, __VA_ARGS__);                                              \
        }                                                                                          \
    } while (false)

/** A trace of this function under a line number that the readers of the logs know. */
#define SETMAC_TRACE_AT(line, ...) SETMAC_TRACE_AS(__func__, line, __VA_ARGS__)

/** A trace of this function and this line. */
#define SETMAC_TRACE(...) SETMAC_TRACE_AT(__LINE__, __VA_ARGS__)
