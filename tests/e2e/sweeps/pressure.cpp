// A library to be preloaded into programs under test. It puts them under pressure, as the
// environment says:
//
//   PRESSURE_FAIL_ALLOCATION=n  the n-th allocation on behalf of the program itself fails; those of
//                               the simulated board, which is in the same process, do not count
//   PRESSURE_KEEP_FAILING=1     and so do all after it
//   PRESSURE_REPORT=file        is made when that happens
//   PRESSURE_SLEEPLESS=1        usleep() takes no time
//   PRESSURE_SPEED=n            the monotonic clock, and all that waits, runs n times as fast
//
// nice() does nothing: programs that poll the console at top priority would starve those that are
// to answer them, on a machine that runs many of both.

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <unwind.h>

// The C library's own allocator, behind the names that are taken here.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
int __poll_chk(pollfd *files, nfds_t count, int limit, size_t room);
}

namespace {

#define PRESSURE_EXPORT [[gnu::visibility("default")]]

template <typename function>
function *next_function(const char *name)
{
    return reinterpret_cast<function *>(dlsym(RTLD_NEXT, name));
}

long number_of(const char *variable)
{
    const char *text = getenv(variable);
    return text != nullptr ? atol(text) : 0;
}

// Whose code an address is.

enum class owner { program, board, other };

struct address_question {
    uintptr_t address;
    owner answer;
};

bool has_name(const char *path, const char *name)
{
    const char *slash = strrchr(path, '/');
    return strcmp(slash != nullptr ? slash + 1 : path, name) == 0;
}

owner owner_of(const char *path)
{
    if (path[0] == '\0') {
        return owner::program;
    }
    const bool is_board = has_name(path, "libsimboard.so") || has_name(path, "libdev_drv.so");
    return is_board ? owner::board : owner::other;
}

int ask_module(dl_phdr_info *module, size_t, void *data)
{
    auto &question = *static_cast<address_question *>(data);
    for (int i = 0; i < module->dlpi_phnum; ++i) {
        const auto &part = module->dlpi_phdr[i];
        const auto start = module->dlpi_addr + part.p_vaddr;
        if (part.p_type == PT_LOAD && question.address - start < part.p_memsz) {
            question.answer = owner_of(module->dlpi_name);
            return 1;
        }
    }
    return 0;
}

_Unwind_Reason_Code ask_frame(_Unwind_Context *frame, void *data)
{
    address_question question = {_Unwind_GetIP(frame) - 1, owner::other};
    dl_iterate_phdr(ask_module, &question);
    *static_cast<owner *>(data) = question.answer;
    return question.answer == owner::other ? _URC_NO_REASON : _URC_END_OF_STACK;
}

/** The innermost of program and board on the stack. */
owner caller()
{
    owner found = owner::other;
    _Unwind_Backtrace(ask_frame, &found);
    return found;
}

void report_failure()
{
    if (const char *file = getenv("PRESSURE_REPORT")) {
        const long made = syscall(SYS_openat, AT_FDCWD, file, O_WRONLY | O_CREAT, 0666);
        syscall(SYS_close, made);
    }
}

/** Whether this allocation is the one to fail. */
bool allocation_fails()
{
    static const long failing = number_of("PRESSURE_FAIL_ALLOCATION");
    static const bool keeps_failing = number_of("PRESSURE_KEEP_FAILING") != 0;
    static long seen = 0;
    static bool looking = false;
    if (failing == 0 || looking) {
        return false;
    }
    looking = true;
    const bool counts = caller() == owner::program;
    seen += counts ? 1 : 0;
    const bool fails = counts && (seen == failing || (keeps_failing && seen > failing));
    looking = false;
    if (fails) {
        report_failure();
        errno = ENOMEM;
    }
    return fails;
}

long speed()
{
    static const long factor = number_of("PRESSURE_SPEED");
    return factor > 1 ? factor : 1;
}

constexpr int64_t second_ns = 1000000000;

timespec times(const timespec &time, int64_t multiplier, int64_t divisor)
{
    const int64_t ns = (time.tv_sec * second_ns + time.tv_nsec) * multiplier / divisor;
    return {.tv_sec = ns / second_ns, .tv_nsec = ns % second_ns};
}

/** A limit of poll(), at least one unit where it is above 0. */
int shortened(int milliseconds)
{
    return milliseconds > 0 ? static_cast<int>((milliseconds + speed() - 1) / speed())
                            : milliseconds;
}

} // namespace

extern "C" {

PRESSURE_EXPORT void *malloc(size_t size) noexcept
{
    return allocation_fails() ? nullptr : __libc_malloc(size);
}

PRESSURE_EXPORT void *calloc(size_t count, size_t size) noexcept
{
    return allocation_fails() ? nullptr : __libc_calloc(count, size);
}

PRESSURE_EXPORT void *realloc(void *block, size_t size) noexcept
{
    return allocation_fails() ? nullptr : __libc_realloc(block, size);
}

PRESSURE_EXPORT int nice(int) noexcept
{
    return 0;
}

PRESSURE_EXPORT int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    static const auto real = next_function<int(clockid_t, timespec *)>("clock_gettime");
    const int result = real(clock, time);
    if (result == 0 && clock == CLOCK_MONOTONIC) {
        *time = times(*time, speed(), 1);
    }
    return result;
}

PRESSURE_EXPORT int usleep(useconds_t duration)
{
    static const auto real = next_function<int(useconds_t)>("usleep");
    static const bool sleepless = number_of("PRESSURE_SLEEPLESS") != 0;
    return sleepless ? 0 : real(duration / static_cast<useconds_t>(speed()));
}

PRESSURE_EXPORT int clock_nanosleep(clockid_t clock, int flags, const timespec *duration,
                                    timespec *left)
{
    static const auto real =
        next_function<int(clockid_t, int, const timespec *, timespec *)>("clock_nanosleep");
    const timespec shorter = times(*duration, 1, speed());
    return real(clock, flags, &shorter, left);
}

PRESSURE_EXPORT int nanosleep(const timespec *duration, timespec *left)
{
    errno = clock_nanosleep(CLOCK_REALTIME, 0, duration, left);
    return errno == 0 ? 0 : -1;
}

PRESSURE_EXPORT int poll(pollfd *files, nfds_t count, int limit)
{
    static const auto real = next_function<int(pollfd *, nfds_t, int)>("poll");
    return real(files, count, shortened(limit));
}

PRESSURE_EXPORT int __poll_chk(pollfd *files, nfds_t count, int limit, size_t)
{
    return poll(files, count, limit);
}

PRESSURE_EXPORT int select(int count, fd_set *reading, fd_set *writing, fd_set *failing,
                           timeval *limit)
{
    static const auto real =
        next_function<int(int, fd_set *, fd_set *, fd_set *, timeval *)>("select");
    if (limit != nullptr) {
        const int64_t us = (limit->tv_sec * int64_t{1000000} + limit->tv_usec) / speed();
        *limit = {.tv_sec = us / 1000000, .tv_usec = us % 1000000};
    }
    return real(count, reading, writing, failing, limit);
}
}
