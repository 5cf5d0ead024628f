#include "console.h"

#include <cerrno>
#include <csetjmp>
#include <cstring>
#include <ctime>

#include <sys/select.h>
#include <unistd.h>

#include "console/com_data_provider.h"
#include "input.h"

namespace {

constexpr int64_t second = 1000000000; // nanoseconds

/** Longer than the longest limit, which is that of a value: 50 ms for each of 131072 bytes. */
constexpr int64_t silence_length = 7000 * second;

/** Time-outs behind the last byte of the PC that an operation may still need to end by itself. */
constexpr int patience = 64;

/** The PC on the console, while an operation runs. */
struct pc {
    bool there;
    std::span<const uint8_t> stream; // not yet read
    bool waited_for;                 // a read has found nothing
    int waits_at_end;
    jmp_buf operator_ends_it;
};
pc far{};

int64_t clock_ns = second;

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
        far.stream = far.stream.subspan(sizeof(fuzz::silence));
    } else if (far.stream.empty() && ++far.waits_at_end == patience) {
        // Nothing on the way to here, the console's loop of reads, has a destructor to run.
        longjmp(far.operator_ends_it, 1);
    }
}

} // namespace

// The linker puts these in front of the functions of those names (--wrap).
extern "C" {

ssize_t __real_read(int fd, void *buffer, size_t count);
int __real_clock_gettime(clockid_t clock, timespec *now);
int __real_select(int count, fd_set *in, fd_set *out, fd_set *except, timeval *limit);

ssize_t __wrap_read(int fd, void *buffer, size_t count)
{
    if (fd != STDIN_FILENO || !far.there) {
        return __real_read(fd, buffer, count);
    }
    const auto piece = fuzz::next_piece(far.stream);
    const auto taken = piece.first(std::min(count, piece.size()));
    if (taken.empty()) {
        far.waited_for = true;
        errno = EAGAIN;
        return -1;
    }
    memcpy(buffer, taken.data(), taken.size());
    far.stream = far.stream.subspan(taken.size());
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
    return fuzz::next_piece(far.stream).empty() ? 0 : 1;
}

int __wrap_usleep(useconds_t us)
{
    clock_ns += int64_t{us} * 1000;
    return 0;
}
}

namespace fuzz {

std::optional<int32_t> run_on_console(int32_t (*operation)(), std::span<const uint8_t> stream)
{
    static std::optional<int32_t> result; // not in a frame that the jump leaves
    result.reset();
    clock_ns = second;
    far.stream = stream;
    far.waited_for = false;
    far.waits_at_end = 0;
    far.there = true;
    tty_opts_ctrl(1);
    if (setjmp(far.operator_ends_it) == 0) {
        result = operation();
    }
    tty_opts_ctrl(0);
    far.there = false;
    return result;
}

} // namespace fuzz
