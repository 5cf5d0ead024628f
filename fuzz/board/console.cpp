#include "fuzz/board/console.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include "console/com_data_provider.h"
#include "fuzz/board/board_files.h"
#include "fuzz/input.h"
#include "units/common_bridge.h"

namespace {

constexpr int64_t second = 1000000000; // nanoseconds

/** Longer than the longest limit, which is that of a value: 50 ms for each of 131072 bytes. */
constexpr int64_t silence_length = 7000 * second;

/**
 * Time-outs behind the last byte of the PC that an operation may still need to end by itself. After
 * so many the console hangs up, and after as many again whatever still waits would do so for ever.
 */
constexpr int patience = 40;

/**
 * Polls of the FPGA's bridge, which the program counts by the thousand. A chip that is busy here is
 * so for three of them, and one that sticks does so for ever.
 */
constexpr int32_t bridge_patience = 16;

/** The PC on the console, while an operation runs. */
struct pc {
    bool there;
    std::span<const uint8_t> stream; // not yet read
    std::span<const uint8_t> piece;  // of it: up to the next silence
    bool waited_for;                 // a read has found nothing
    int waits_at_end;

    bool gone() const { return waits_at_end >= patience; }
};
pc far{};

int64_t clock_ns = second;

/** Lets `stream` be what the PC sends from now on. */
void hear(std::span<const uint8_t> stream)
{
    far.stream = stream;
    far.piece = fuzz::next_piece(stream);
}

/** Time goes on: by a little, or by a silence while the PC is waited for. */
void let_time_pass()
{
    clock_ns += 1000;
    if (!far.there || !far.waited_for) {
        return;
    }
    far.waited_for = false;
    clock_ns += silence_length;
    if (fuzz::begins_with_silence(far.stream)) {
        hear(far.stream.subspan(sizeof(fuzz::silence)));
    } else if (far.stream.empty()) {
        ++far.waits_at_end;
        fuzz::require(far.waits_at_end < 2 * patience,
                      "an operation ends when its console is gone");
    }
}

} // namespace

// The linker puts these in front of the functions of those names (--wrap).
extern "C" {

ssize_t __real_read(int fd, void *buffer, size_t count);
int __real_clock_gettime(clockid_t clock, timespec *now);
int __real_select(int count, fd_set *in, fd_set *out, fd_set *except, timeval *limit);
int __real_fcntl(int fd, int command, int argument);
int __real_sigaction(int signal, const struct sigaction *action, struct sigaction *before);

ssize_t __wrap_read(int fd, void *buffer, size_t count)
{
    if (fuzz::is_device(fd)) {
        return fuzz::read_device(fd, buffer, count);
    }
    if (fd != STDIN_FILENO || !far.there) {
        return __real_read(fd, buffer, count);
    }
    const auto taken = far.piece.first(std::min(count, far.piece.size()));
    if (taken.empty()) {
        far.waited_for = true;
        errno = EAGAIN;
        return far.gone() ? 0 : -1;
    }
    memcpy(buffer, taken.data(), taken.size());
    far.stream = far.stream.subspan(taken.size());
    far.piece = far.piece.subspan(taken.size());
    return static_cast<ssize_t>(taken.size());
}

int __wrap_clock_gettime(clockid_t clock, timespec *now)
{
    if (clock != CLOCK_MONOTONIC) {
        return __real_clock_gettime(clock, now);
    }
    let_time_pass();
    *now = {.tv_sec = clock_ns / second, .tv_nsec = clock_ns % second};
    return 0;
}

int __wrap_select(int count, fd_set *in, fd_set *out, fd_set *except, timeval *limit)
{
    if (!far.there) {
        return __real_select(count, in, out, except, limit);
    }
    return far.piece.empty() ? 0 : 1;
}

int __wrap_usleep(useconds_t us)
{
    clock_ns += int64_t{us} * 1000;
    return 0;
}

// A console's flags are asked for at every flush, and nothing comes of what is set.
int __wrap_fcntl(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    const int argument = va_arg(arguments, int);
    va_end(arguments);
    if (!far.there || fd > STDOUT_FILENO) {
        return __real_fcntl(fd, command, argument);
    }
    return command == F_GETFL ? O_RDWR : 0;
}

// The fuzzer's own handlers stay in place: they keep the input of what they catch.
int __wrap_sigaction(int signal, const struct sigaction *action, struct sigaction *before)
{
    if (!far.there) {
        return __real_sigaction(signal, action, before);
    }
    if (before != nullptr) {
        *before = {};
    }
    return 0;
}

// The program's wait for the FPGA's bridge, by the names that the linker knows it under.
uint8_t wait_for_bridge(bridge_command command, const bridge_timing &timing) __asm__(
    "__real__Z10bridge_run14bridge_commandRK13bridge_timing");
uint8_t wait_shortly_for_bridge(bridge_command command, const bridge_timing &timing) __asm__(
    "__wrap__Z10bridge_run14bridge_commandRK13bridge_timing");

uint8_t wait_shortly_for_bridge(bridge_command command, const bridge_timing &timing)
{
    bridge_timing shorter = timing;
    shorter.polls = std::min(timing.polls, bridge_patience);
    return wait_for_bridge(command, shorter);
}
}

namespace fuzz {

std::optional<int32_t> run_on_console(int32_t (*operation)(), std::span<const uint8_t> stream)
{
    clock_ns = second;
    hear(stream);
    far.waited_for = false;
    far.waits_at_end = 0;
    far.there = true;
    tty_opts_ctrl(1);
    const int32_t result = operation();
    tty_opts_ctrl(0);
    far.there = false;
    return far.gone() ? std::nullopt : std::optional(result);
}

} // namespace fuzz
