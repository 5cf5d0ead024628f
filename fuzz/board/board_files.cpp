#include "fuzz/board/board_files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "fuzz/input.h"
#include "sim/board/fault_plan.h"
#include "sim/board/process_board.h"
#include "sim/board/system_calls.h"
#include "sim/parts/device.h"

namespace {

/** Above all descriptors that the system gives. */
constexpr int first_number = 1 << 20;
constexpr size_t most_open = 8;

/** The board, and what the program holds of its devices. */
struct {
    sim::board *board;
    std::array<sim::open_file, most_open> files;
    sim::fault_plan faults;
    bool faulty;
    size_t writes;
} fitted{};

sim::open_file &file_of(int fd)
{
    const auto index = static_cast<size_t>(fd - first_number);
    fuzz::require(index < most_open && fitted.files[index].node != nullptr, "what is used is open");
    return fitted.files[index];
}

/** A kernel's result as the C library gives it. */
int64_t answer(int64_t result)
{
    if (result >= 0) {
        return result;
    }
    errno = static_cast<int>(-result);
    return -1;
}

constexpr size_t all = std::numeric_limits<size_t>::max();

/** Does an operation, all of it or as much as a fault leaves. */
template <typename action>
int64_t operate(std::string_view name, const sim::device &node, action act, bool is_ioctl = false)
{
    const auto *struck =
        fitted.faulty ? fitted.faults.strike(name, node.path(), is_ioctl) : nullptr;
    if (struck != nullptr && struck->error != 0) {
        return answer(-struck->error);
    }
    return answer(act(struck != nullptr ? struck->short_to.value_or(all) : all));
}

int64_t open_device(sim::device *node, int flags)
{
    return operate("open", *node, [&](size_t) -> int64_t {
        if (const int64_t refused = node->open(flags); refused != 0) {
            return refused;
        }
        auto *const free =
            std::ranges::find(fitted.files, nullptr, [](const auto &file) { return file.node; });
        fuzz::require(free != fitted.files.end(), "few descriptors are open at once");
        *free = {.node = node, .flags = flags};
        return first_number + (free - fitted.files.begin());
    });
}

/**
 * A copy by this module, whose memory the sanitizers look at: they see all that is handed over. It
 * lasts until the next one.
 */
std::span<const uint8_t> handed_over(const void *buffer, size_t count)
{
    static std::vector<uint8_t> data;
    data.resize(count);
    memcpy(data.data(), buffer, count);
    return data;
}

int64_t write_device(int fd, const void *buffer, size_t count)
{
    auto &file = file_of(fd);
    const auto data = handed_over(buffer, count);
    return operate("write", *file.node, [&](size_t limit) -> int64_t {
        if ((file.flags & O_ACCMODE) == O_RDONLY) {
            return -EBADF;
        }
        ++fitted.writes;
        return file.node->write(file, data.first(std::min(count, limit)));
    });
}

int64_t control_device(int fd, unsigned long request, void *argument)
{
    auto &file = file_of(fd);
    sim::operation log;
    const auto name = fitted.faulty ? file.node->name_ioctl(request, argument).name : std::string();
    const auto act = [&](size_t limit) {
        return file.node->ioctl(file, request, argument, limit, log);
    };
    return operate(name, *file.node, act, true);
}

} // namespace

// The linker puts these in front of the functions of those names (--wrap). The optional last
// argument is handed on as it comes: where the caller gave none, nobody looks at it.
extern "C" {

int __real_open(const char *path, int flags, mode_t mode);
int __real_ioctl(int fd, unsigned long request, void *argument);
off_t __real_lseek(int fd, off_t offset, int whence);
ssize_t __real_write(int fd, const void *buffer, size_t count);
int __real_close(int fd);

int __wrap_open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    auto *const node = fitted.board != nullptr ? fitted.board->find(path) : nullptr;
    if (node != nullptr) {
        return static_cast<int>(open_device(node, flags));
    }
    return fitted.board != nullptr && sim::is_board_path(path) ? static_cast<int>(answer(-ENOENT))
                                                               : __real_open(path, flags, mode);
}

int __wrap_ioctl(int fd, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void *const argument = va_arg(arguments, void *);
    va_end(arguments);
    return fuzz::is_device(fd) ? static_cast<int>(control_device(fd, request, argument))
                               : __real_ioctl(fd, request, argument);
}

off_t __wrap_lseek(int fd, off_t offset, int whence)
{
    if (!fuzz::is_device(fd)) {
        return __real_lseek(fd, offset, whence);
    }
    auto &file = file_of(fd);
    return operate("lseek", *file.node,
                   [&](size_t) { return file.node->seek(file, offset, whence); });
}

ssize_t __wrap_write(int fd, const void *buffer, size_t count)
{
    if (fuzz::is_device(fd)) {
        return write_device(fd, buffer, count);
    }
    if (fd == STDOUT_FILENO) {
        return static_cast<ssize_t>(handed_over(buffer, count).size()); // nobody reads it
    }
    return __real_write(fd, buffer, count);
}

int __wrap_close(int fd)
{
    if (!fuzz::is_device(fd)) {
        return __real_close(fd);
    }
    const auto &node = *std::exchange(file_of(fd).node, nullptr);
    return static_cast<int>(operate("close", node, [](size_t) { return 0; }));
}
}

namespace fuzz {

void fit_devices(sim::board &board)
{
    fitted.board = &board;
    fitted.writes = 0;
    fitted.faults.clear();
    const auto &faults = board.description().faults;
    fitted.faulty = !faults.empty();
    for (const auto &one : faults) {
        fitted.faults.add(one);
    }
}

void remove_devices()
{
    fitted.board = nullptr;
    const bool closed =
        std::ranges::all_of(fitted.files, [](const auto &file) { return file.node == nullptr; });
    require(closed, "every device is closed");
}

bool is_device(int fd)
{
    return fd >= first_number;
}

ssize_t read_device(int fd, void *buffer, size_t count)
{
    auto &file = file_of(fd);
    // Filled by this module, the sanitizers see all of what may be written to.
    memset(buffer, 0, count);
    return operate("read", *file.node, [&](size_t limit) -> int64_t {
        if ((file.flags & O_ACCMODE) == O_WRONLY) {
            return -EBADF;
        }
        const std::span into(static_cast<uint8_t *>(buffer), std::min(count, limit));
        return file.node->read(file, into);
    });
}

size_t writes_of_devices()
{
    return fitted.writes;
}

} // namespace fuzz

// Boards are made in this process here, and never of a folder, whose reader need not be built for
// this.
sim::board *sim::process_board()
{
    return board::current();
}
