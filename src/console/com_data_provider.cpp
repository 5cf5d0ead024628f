#include "console/com_data_provider.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include "base/trace.h"
#include "base/uninterrupted.h"

namespace {

termios org_opts_old{};
termios new_opts{};
int oldf = 0;

std::array<struct sigaction, ending_signals.size()> previous_actions{};

/** Bytes read from descriptor 0 and not yet taken. */
struct input_queue {
    std::array<uint8_t, 4096> bytes;
    size_t next;
    size_t end;
    bool ended; // the last read found none, and none to wait for

    bool empty() const { return next == end; }
};
input_queue input{};

termios raw_settings(termios settings)
{
    settings.c_iflag &= ~static_cast<tcflag_t>(ICRNL | IXON | IXOFF);
    settings.c_oflag = 0;
    settings.c_lflag &= ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHONL |
                                               NOFLSH | ECHOCTL | ECHOPRT | ECHOKE);
    std::fill_n(settings.c_cc, VEOL2 + 1, cc_t{0});
    settings.c_cc[VMIN] = 1;
    return settings;
}

/** Async-signal-safe: also called while the process is being ended. */
void apply_saved_settings()
{
    tcsetattr(STDIN_FILENO, TCSANOW, &org_opts_old);
    fcntl(STDIN_FILENO, F_SETFL, oldf);
}

void restore_and_end(int signal_number)
{
    apply_saved_settings();
    // The action is the default one again (SA_RESETHAND), and takes effect on return from here.
    raise(signal_number);
}

void catch_ending_signals()
{
    struct sigaction action {};
    action.sa_handler = restore_and_end;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (size_t i = 0; i < ending_signals.size(); ++i) {
        sigaction(ending_signals[i], nullptr, &previous_actions[i]);
        // One that is ignored, or that the driver library does something about, ends nothing.
        if (previous_actions[i].sa_handler == SIG_DFL) {
            sigaction(ending_signals[i], &action, nullptr);
        }
    }
}

void release_ending_signals()
{
    for (size_t i = 0; i < ending_signals.size(); ++i) {
        sigaction(ending_signals[i], &previous_actions[i], nullptr);
    }
}

/** Microseconds of a clock that no one sets. */
int64_t now_us()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

/** Asks descriptor 0 for bytes once, where none are queued. */
void fetch_input()
{
    if (!input.empty()) {
        return;
    }
    const ssize_t got = read(STDIN_FILENO, input.bytes.data(), input.bytes.size());
    input.next = 0;
    input.end = got > 0 ? static_cast<size_t>(got) : 0;
    input.ended = got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR);
}

/** Takes what is there now, at most `count` bytes. */
size_t take_input(uint8_t *buffer, uint64_t count)
{
    fetch_input();
    const size_t taken = std::min<uint64_t>(count, input.end - input.next);
    memcpy(buffer, input.bytes.data() + input.next, taken);
    input.next += taken;
    return taken;
}

} // namespace

waiting_output::waiting_output() : flags_(fcntl(STDOUT_FILENO, F_GETFL))
{
    if (switched()) {
        fcntl(STDOUT_FILENO, F_SETFL, flags_ & ~O_NONBLOCK);
    }
}

waiting_output::~waiting_output()
{
    if (switched()) {
        fcntl(STDOUT_FILENO, F_SETFL, flags_);
    }
}

bool waiting_output::switched() const
{
    return flags_ >= 0 && (flags_ & O_NONBLOCK) != 0;
}

void tty_opts_ctrl(int32_t enable)
{
    com_flush();
    if (enable == 0) {
        apply_saved_settings();
        release_ending_signals();
        return;
    }
    input.next = input.end = 0;
    input.ended = false;
    tcgetattr(STDIN_FILENO, &org_opts_old);
    oldf = fcntl(STDIN_FILENO, F_GETFL);
    new_opts = raw_settings(org_opts_old);
    catch_ending_signals();
    tcsetattr(STDIN_FILENO, TCSANOW, &new_opts);
    fcntl(STDIN_FILENO, F_SETFL, oldf | O_NONBLOCK);
}

int32_t kbhit(int32_t usec)
{
    com_flush();
    if (!input.empty()) {
        return 1;
    }
    fd_set console;
    FD_ZERO(&console);
    FD_SET(STDIN_FILENO, &console);
    timeval limit{.tv_sec = 0, .tv_usec = usec};
    return select(STDIN_FILENO + 1, &console, nullptr, nullptr, &limit) > 0 ? 1 : 0;
}

int32_t getkey()
{
    uint8_t byte = 0;
    return take_input(&byte, 1) == 1 ? byte : -1;
}

int32_t com_read_timeout(uint8_t *buffer, uint64_t count, int64_t timeout_ms)
{
    com_flush();
    const int64_t start = now_us();
    const int64_t limit = timeout_ms * 1000;
    if (count != 0 && limit <= 0) {
        return 1;
    }
    int64_t elapsed = 0;
    for (uint64_t stored = 0; stored != count;) {
        stored += take_input(buffer + stored, count - stored);
        elapsed = now_us() - start;
        if (stored != count && limit <= elapsed) {
            return 1;
        }
    }
    SETMAC_TRACE_AT(54, "Get char count:%ld time:%ld \r\n", static_cast<long>(count),
                    static_cast<long>(elapsed));
    return 0;
}

bool console_is_gone()
{
    return input.ended;
}

int32_t com_write_complete(const uint8_t *buffer, uint64_t count)
{
    if (count != 0) {
        const waiting_output output;
        fwrite(buffer, 1, count, stdout);
    }
    return 0;
}

void com_write_text(std::string_view text)
{
    com_write_complete(reinterpret_cast<const uint8_t *>(text.data()), text.size());
}

void com_flush()
{
    if (__fpending(stdout) != 0) {
        const waiting_output output;
        fflush(stdout);
    }
}

int32_t serial_recv(int32_t timeout_ms)
{
    uint8_t byte = 0;
    return com_read_timeout(&byte, 1, timeout_ms) == 0 ? byte : -1;
}

int32_t serial_putc_raw(uint8_t byte)
{
    return com_write_complete(&byte, 1);
}
