#include "timed_pc.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <sys/select.h>
#include <unistd.h>

namespace {

constexpr int64_t second_us = 1000000;
constexpr int64_t poll_us = 10; // that the switch needs to look at its clock once
constexpr int64_t patience_us = 60 * second_us;

struct {
    bool there;
    support::timed_script script;
    std::size_t next;    // the piece that comes next, or is coming
    std::size_t taken;   // bytes of it
    int64_t taken_at_us; // when the last byte before it was taken
    int64_t since_us;    // when the PC came
} far;

int64_t clock_us = second_us;

/** When the next byte comes. */
int64_t next_at_us()
{
    if (far.next == far.script.size()) {
        return far.taken_at_us + 2 * patience_us;
    }
    return far.taken != 0 ? clock_us : far.taken_at_us + far.script[far.next].after_ms * 1000;
}

ssize_t take(uint8_t *buffer, std::size_t count)
{
    if (clock_us - far.taken_at_us > patience_us) {
        fprintf(stderr, "the script ended while the switch reads\n");
        abort();
    }
    if (clock_us < next_at_us()) {
        errno = EAGAIN;
        return -1;
    }
    const auto &bytes = far.script[far.next].bytes;
    const auto piece = std::min(count, bytes.size() - far.taken);
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(far.taken), piece, buffer);
    far.taken += piece;
    far.taken_at_us = clock_us;
    if (far.taken == bytes.size()) {
        ++far.next;
        far.taken = 0;
    }
    return static_cast<ssize_t>(piece);
}

/** Lets time pass until a byte comes, or the limit is over: whether one came. */
bool wait(int64_t limit_us)
{
    const int64_t at = std::max(clock_us, next_at_us());
    const bool comes = at <= clock_us + limit_us;
    clock_us = comes ? at : clock_us + limit_us;
    return comes;
}

} // namespace

// The linker puts these in front of the functions of those names (--wrap).
extern "C" {

ssize_t __real_read(int fd, void *buffer, size_t count);
int __real_clock_gettime(clockid_t clock, timespec *now);
int __real_select(int count, fd_set *in, fd_set *out, fd_set *except, timeval *limit);

ssize_t __wrap_read(int fd, void *buffer, size_t count)
{
    const bool scripted = far.there && fd == STDIN_FILENO;
    return scripted ? take(static_cast<uint8_t *>(buffer), count) : __real_read(fd, buffer, count);
}

int __wrap_clock_gettime(clockid_t clock, timespec *now)
{
    if (!far.there || clock != CLOCK_MONOTONIC) {
        return __real_clock_gettime(clock, now);
    }
    clock_us += poll_us;
    *now = {.tv_sec = clock_us / second_us, .tv_nsec = clock_us % second_us * 1000};
    return 0;
}

int __wrap_select(int count, fd_set *in, fd_set *out, fd_set *except, timeval *limit)
{
    if (!far.there) {
        return __real_select(count, in, out, except, limit);
    }
    return wait(limit->tv_sec * second_us + limit->tv_usec) ? 1 : 0;
}
}

namespace support {

timed_pc::timed_pc(timed_script script)
{
    far = {.there = true,
           .script = std::move(script),
           .next = 0,
           .taken = 0,
           .taken_at_us = clock_us,
           .since_us = clock_us};
}

int64_t timed_pc::passed_us()
{
    return clock_us - far.since_us;
}

timed_pc::~timed_pc()
{
    far.there = false;
}

} // namespace support
