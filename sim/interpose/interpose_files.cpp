#include "sim/interpose/interpose.h"

#include "sim/board/system_calls.h"
#include "sim/interpose/console_looks.h"

#include <cstdarg>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

// The C library's functions on descriptors, in front of the real ones. Each asks whether the board
// is meant and otherwise hands on what it was given.

using sim::answer;

namespace {

ssize_t read_console(ssize_t (*real)(int, void *, size_t), void *buffer, size_t count)
{
    static thread_local sim::console_looks looks;
    looks.before_read(STDIN_FILENO);
    const auto result = real(STDIN_FILENO, buffer, count);
    looks.after_read(result, errno);
    return result;
}

} // namespace

// The functions of one signature differ only in their names, which the C library's headers choose
// among by the program's own options. The optional last argument is handed on as it comes: where
// the caller gave none, the real function does not look at it either.

#define SIMBOARD_OPEN(name)                                                                        \
    SIMBOARD_EXPORT int name(const char *path, int flags, ...)                                     \
    {                                                                                              \
        va_list arguments;                                                                         \
        va_start(arguments, flags);                                                                \
        const mode_t mode = va_arg(arguments, mode_t);                                             \
        va_end(arguments);                                                                         \
        static const auto real = sim::next_function<int(const char *, int, ...)>(#name);           \
        return sim::is_board_path(path) ? answer(sim::open_node(path, flags))                      \
                                        : real(path, flags, mode);                                 \
    }

#define SIMBOARD_OPENAT(name)                                                                      \
    SIMBOARD_EXPORT int name(int folder, const char *path, int flags, ...)                         \
    {                                                                                              \
        va_list arguments;                                                                         \
        va_start(arguments, flags);                                                                \
        const mode_t mode = va_arg(arguments, mode_t);                                             \
        va_end(arguments);                                                                         \
        static const auto real = sim::next_function<int(int, const char *, int, ...)>(#name);      \
        return sim::is_board_path(path) ? answer(sim::open_node(path, flags))                      \
                                        : real(folder, path, flags, mode);                         \
    }

#define SIMBOARD_OPEN_2(name)                                                                      \
    SIMBOARD_EXPORT int name(const char *path, int flags)                                          \
    {                                                                                              \
        static const auto real = sim::next_function<int(const char *, int)>(#name);                \
        return sim::is_board_path(path) ? answer(sim::open_node(path, flags)) : real(path, flags); \
    }

#define SIMBOARD_PREAD(name)                                                                       \
    SIMBOARD_EXPORT ssize_t name(int fd, void *buffer, size_t count, off_t offset)                 \
    {                                                                                              \
        static const auto real = sim::next_function<ssize_t(int, void *, size_t, off_t)>(#name);   \
        return sim::is_board_file(fd) ? answer(sim::read_node_at(fd, buffer, count, offset))       \
                                      : real(fd, buffer, count, offset);                           \
    }

#define SIMBOARD_PWRITE(name)                                                                      \
    SIMBOARD_EXPORT ssize_t name(int fd, const void *buffer, size_t count, off_t offset)           \
    {                                                                                              \
        static const auto real =                                                                   \
            sim::next_function<ssize_t(int, const void *, size_t, off_t)>(#name);                  \
        return sim::is_board_file(fd) ? answer(sim::write_node_at(fd, buffer, count, offset))      \
                                      : real(fd, buffer, count, offset);                           \
    }

#define SIMBOARD_LSEEK(name)                                                                       \
    SIMBOARD_EXPORT off_t name(int fd, off_t offset, int whence) noexcept                          \
    {                                                                                              \
        static const auto real = sim::next_function<off_t(int, off_t, int)>(#name);                \
        return sim::is_board_file(fd) ? answer(sim::seek_node(fd, offset, whence))                 \
                                      : real(fd, offset, whence);                                  \
    }

extern "C" {

SIMBOARD_OPEN(open)
SIMBOARD_OPEN(open64)
SIMBOARD_OPENAT(openat)
SIMBOARD_OPENAT(openat64)
SIMBOARD_OPEN_2(__open_2)
SIMBOARD_OPEN_2(__open64_2)
SIMBOARD_PREAD(pread)
SIMBOARD_PREAD(pread64)
SIMBOARD_PWRITE(pwrite)
SIMBOARD_PWRITE(pwrite64)
SIMBOARD_LSEEK(lseek)
SIMBOARD_LSEEK(lseek64)

SIMBOARD_EXPORT int close(int fd)
{
    static const auto real = sim::next_function<int(int)>("close");
    if (!sim::is_board_file(fd)) {
        return real(fd);
    }
    const int result = sim::close_node(fd);
    real(fd);
    return answer(result);
}

SIMBOARD_EXPORT ssize_t read(int fd, void *buffer, size_t count)
{
    static const auto real = sim::next_function<ssize_t(int, void *, size_t)>("read");
    if (sim::is_board_file(fd)) {
        return answer(sim::read_node(fd, buffer, count));
    }
    return fd == STDIN_FILENO ? read_console(real, buffer, count) : real(fd, buffer, count);
}

SIMBOARD_EXPORT ssize_t __read_chk(int fd, void *buffer, size_t count, size_t room)
{
    static const auto real = sim::next_function<ssize_t(int, void *, size_t, size_t)>("__read_chk");
    return sim::is_board_file(fd) && count <= room ? answer(sim::read_node(fd, buffer, count))
                                                   : real(fd, buffer, count, room);
}

SIMBOARD_EXPORT ssize_t __pread_chk(int fd, void *buffer, size_t count, off_t offset, size_t room)
{
    static const auto real =
        sim::next_function<ssize_t(int, void *, size_t, off_t, size_t)>("__pread_chk");
    return sim::is_board_file(fd) && count <= room
               ? answer(sim::read_node_at(fd, buffer, count, offset))
               : real(fd, buffer, count, offset, room);
}

SIMBOARD_EXPORT ssize_t __pread64_chk(int fd, void *buffer, size_t count, off_t offset, size_t room)
{
    return __pread_chk(fd, buffer, count, offset, room);
}

SIMBOARD_EXPORT ssize_t write(int fd, const void *buffer, size_t count)
{
    static const auto real = sim::next_function<ssize_t(int, const void *, size_t)>("write");
    return sim::is_board_file(fd) ? answer(sim::write_node(fd, buffer, count))
                                  : real(fd, buffer, count);
}

SIMBOARD_EXPORT int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    static const auto real = sim::next_function<int(int, unsigned long, ...)>("ioctl");
    return sim::is_board_file(fd) ? static_cast<int>(answer(sim::ioctl_node(fd, request, argument)))
                                  : real(fd, request, argument);
}
}
