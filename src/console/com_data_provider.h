#pragma once

#include <cstdint>
#include <string_view>

// The serial console as a byte line to the program on the PC: raw mode, and bytes with time limits.

/** The two operations an exchange runs over. */
struct com_data_provider {
    /** Fills `buffer` with exactly `count` bytes: 0, or 1 when the time ran out first. */
    int32_t (*read)(uint8_t *buffer, uint64_t count, int64_t timeout_ms);
    /** Sends `count` bytes: 0. */
    int32_t (*write)(const uint8_t *buffer, uint64_t count);
};

/**
 * Non-zero enters raw, non-blocking mode on descriptor 0; zero restores the settings found before,
 * after everything written has gone out raw. While raw, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE
 * and SIGABRT restore the console before they end the process. Does not nest; failures of the
 * terminal calls are ignored.
 */
void tty_opts_ctrl(int32_t enable);

/** Whether input is ready, or becomes so within `usec` microseconds (below one second): 1 or 0. */
int32_t kbhit(int32_t usec);

/** The next byte of input (0 to 255), or -1 when there is none now. Never waits. */
int32_t getkey();

/**
 * Reads exactly `count` bytes within `timeout_ms`: 0, or 1 when the time ran out. Bytes that came
 * in time stay in `buffer` either way. Polls without sleeping. A count of 0 succeeds at once; a
 * limit of 0 or below takes nothing.
 */
int32_t com_read_timeout(uint8_t *buffer, uint64_t count, int64_t timeout_ms);

/**
 * Whether nothing can come any more: all input has been taken, and the last read found its end or
 * failed, as on a line that was hung up. Time limits are kept on such a console too; whoever waits
 * without one asks here.
 */
bool console_is_gone();

/** Puts `count` bytes on standard output; they leave with the next flush or read. Always 0. */
int32_t com_write_complete(const uint8_t *buffer, uint64_t count);

/** Puts a text on standard output like com_write_complete. */
void com_write_text(std::string_view text);

/** Sends what has been written so far. */
void com_flush();

/** One byte within `timeout_ms`, or -1. */
int32_t serial_recv(int32_t timeout_ms);

/** Puts one byte on standard output. Always 0. */
int32_t serial_putc_raw(uint8_t byte);

/**
 * Lets standard output wait for the line while it lives. Descriptor 1 is as a rule the very
 * terminal of descriptor 0 and non-blocking with it, and stdio throws away what such a write could
 * not place. Bytes sent by the operations above wait by themselves; whoever prints text in raw mode
 * holds one.
 */
class waiting_output {
public:
    waiting_output();
    waiting_output(const waiting_output &) = delete;
    waiting_output &operator=(const waiting_output &) = delete;
    ~waiting_output();

private:
    bool switched() const;

    int flags_;
};
