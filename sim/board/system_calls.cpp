#include "sim/board/system_calls.h"

#include "sim/board/board.h"
#include "sim/board/process_board.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace sim {
namespace {

constexpr std::string_view board_prefixes[] = {
    "/dev/mtd", "/dev/i2c-", "/dev/i2c/", "/dev/cpld", "/dev/fpga", "/sys/class/mtd",
};

/** By descriptor. Looked up without a lock, for every call of the program passes here. */
std::array<std::atomic<open_file *>, 1024> open_files;

open_file *find_file(int fd)
{
    return fd >= 0 && static_cast<std::size_t>(fd) < open_files.size()
               ? open_files[static_cast<std::size_t>(fd)].load(std::memory_order_acquire)
               : nullptr;
}

bool can_read(const open_file &file)
{
    return (file.flags & O_ACCMODE) != O_WRONLY;
}

bool can_write(const open_file &file)
{
    return (file.flags & O_ACCMODE) != O_RDONLY;
}

operation on(const open_file &file, std::string name)
{
    return {.name = std::move(name), .path = file.node->path()};
}

operation on_bytes(const open_file &file, std::string name, std::size_t count)
{
    operation what = on(file, std::move(name));
    what.offset = file.position;
    what.length = count;
    what.arguments = "offset=" + hex(what.offset) + " length=" + std::to_string(count);
    return what;
}

int64_t operate(operation what, const board::action &act,
                board::call_kind kind = board::call_kind::plain)
{
    return board::current()->operate(std::move(what), kind, act);
}

void log_bytes(const open_file &file, std::span<const uint8_t> buffer, int64_t moved,
               operation &log)
{
    if (moved > 0 && file.node->logs_bytes()) {
        const auto bytes = buffer.first(static_cast<std::size_t>(moved));
        log.data.assign(bytes.begin(), bytes.end());
        log.arguments += " data=" + hex_digits(bytes);
    }
}

/** The real descriptor under a simulated one, with the access mode asked for. */
int64_t reserve(open_file file)
{
    const int fd = ::open("/dev/null", file.flags & (O_ACCMODE | O_CLOEXEC));
    if (fd < 0) {
        return -errno;
    }
    if (static_cast<std::size_t>(fd) >= open_files.size()) {
        ::close(fd);
        return -EMFILE;
    }
    open_files[static_cast<std::size_t>(fd)].store(new open_file(file), std::memory_order_release);
    return fd;
}

int64_t read_from(open_file &file, void *buffer, std::size_t count)
{
    const auto act = [&](operation &log, std::size_t limit) -> int64_t {
        if (!can_read(file)) {
            return -EBADF;
        }
        const std::span into(static_cast<uint8_t *>(buffer), std::min(count, limit));
        const int64_t result = file.node->read(file, into);
        log_bytes(file, into, result, log);
        return result;
    };
    return operate(on_bytes(file, "read", count), act);
}

int64_t write_to(open_file &file, const void *buffer, std::size_t count)
{
    const auto act = [&](operation &log, std::size_t limit) -> int64_t {
        if (!can_write(file)) {
            return -EBADF;
        }
        const std::span data(static_cast<const uint8_t *>(buffer), std::min(count, limit));
        const int64_t result = file.node->write(file, data);
        log_bytes(file, data, result, log);
        return result;
    };
    return operate(on_bytes(file, "write", count), act);
}

/** The same open file at another position. */
open_file at(const open_file &file, int64_t offset)
{
    open_file moved = file;
    moved.position = static_cast<uint64_t>(offset);
    return moved;
}

std::string whence_name(int whence)
{
    switch (whence) {
    case SEEK_SET:
        return "set";
    case SEEK_CUR:
        return "current";
    case SEEK_END:
        return "end";
    default:
        return std::to_string(whence);
    }
}

} // namespace

bool is_board_path(const char *path)
{
    const std::string_view text = path != nullptr ? path : "";
    const bool belongs = std::ranges::any_of(
        board_prefixes, [&](std::string_view prefix) { return text.starts_with(prefix); });
    return belongs && process_board() != nullptr;
}

bool is_board_file(int fd)
{
    return find_file(fd) != nullptr;
}

int open_node(const char *path, int flags)
{
    operation what = {.name = "open", .path = path};
    return static_cast<int>(operate(what, [&](operation &, std::size_t) -> int64_t {
        device *node = board::current()->find(path);
        if (node == nullptr) {
            return -ENOENT;
        }
        if (const int64_t refused = node->open(flags); refused != 0) {
            return refused;
        }
        return reserve({.node = node, .flags = flags});
    }));
}

int close_node(int fd)
{
    open_file *file = open_files[static_cast<std::size_t>(fd)].exchange(nullptr);
    const operation what = on(*file, "close");
    delete file;
    return static_cast<int>(operate(what, [](operation &, std::size_t) { return 0; }));
}

int64_t read_node(int fd, void *buffer, std::size_t count)
{
    return read_from(*find_file(fd), buffer, count);
}

int64_t read_node_at(int fd, void *buffer, std::size_t count, int64_t offset)
{
    open_file file = at(*find_file(fd), offset);
    return offset < 0 ? -EINVAL : read_from(file, buffer, count);
}

int64_t write_node(int fd, const void *buffer, std::size_t count)
{
    return write_to(*find_file(fd), buffer, count);
}

int64_t write_node_at(int fd, const void *buffer, std::size_t count, int64_t offset)
{
    open_file file = at(*find_file(fd), offset);
    return offset < 0 ? -EINVAL : write_to(file, buffer, count);
}

int64_t seek_node(int fd, int64_t offset, int whence)
{
    open_file &file = *find_file(fd);
    operation what = on(file, "lseek");
    what.offset = static_cast<uint64_t>(offset);
    what.arguments = "offset=" + std::to_string(offset) + " whence=" + whence_name(whence);
    return operate(what,
                   [&](operation &, std::size_t) { return file.node->seek(file, offset, whence); });
}

int64_t ioctl_node(int fd, unsigned long request, void *argument)
{
    open_file &file = *find_file(fd);
    operation what = file.node->name_ioctl(request, argument);
    what.path = file.node->path();
    return operate(
        what,
        [&](operation &log, std::size_t limit) {
            return file.node->ioctl(file, request, argument, limit, log);
        },
        board::call_kind::ioctl);
}

int stat_node(int fd, struct stat &status)
{
    find_file(fd)->node->describe(status);
    return 0;
}

int stat_path(const char *path, struct stat &status)
{
    if (const device *node = board::current()->find(path)) {
        node->describe(status);
        return 0;
    }
    if (list_folder(path).empty()) {
        return -ENOENT;
    }
    status.st_nlink = 2;
    status.st_mode = S_IFDIR | 0555;
    return 0;
}

std::vector<std::string> list_folder(const char *path)
{
    const std::string_view text = path;
    return board::current()->list(text.substr(0, text.find_last_not_of('/') + 1));
}

void forget_open_files()
{
    for (auto &slot : open_files) {
        // Nearly all are empty, and looking is cheaper than exchanging.
        if (slot.load(std::memory_order_acquire) != nullptr) {
            delete slot.exchange(nullptr);
        }
    }
}

} // namespace sim
