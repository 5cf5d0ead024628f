#include "sim/board/system_calls.h"
#include "sim/interpose/folder_listing.h"
#include "sim/interpose/interpose.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

// The C library's functions on paths, in front of the real ones, and those on the streams and
// folders that they give.

using sim::answer;

namespace {

// One layout on the 64-bit machines this is for.
static_assert(sizeof(struct stat) == sizeof(struct stat64));
static_assert(sizeof(dirent) == sizeof(dirent64));

int stat_at_path(const char *path, void *into)
{
    struct stat status = {};
    const int result = sim::stat_path(path, status);
    if (result == 0) {
        std::memcpy(into, &status, sizeof status);
    }
    return answer(result);
}

int stat_of_file(int fd, void *into)
{
    struct stat status = {};
    const int result = sim::stat_node(fd, status);
    std::memcpy(into, &status, sizeof status);
    return answer(result);
}

int access_path(const char *path)
{
    struct stat status = {};
    return answer(sim::stat_path(path, status));
}

char *resolve(const char *path, char *into)
{
    if (access_path(path) != 0) {
        return nullptr;
    }
    return into != nullptr ? static_cast<char *>(std::memcpy(into, path, std::strlen(path) + 1))
                           : strdup(path);
}

/** The flags of open for a mode of fopen. */
int flags_of(const std::string &mode)
{
    if (mode.find('+') != std::string::npos) {
        return O_RDWR;
    }
    return mode.starts_with('r') ? O_RDONLY : O_WRONLY;
}

int descriptor_of(void *cookie)
{
    return *static_cast<const int *>(cookie);
}

/** A stream over a node. One of the C library's own would go round our read and write. */
FILE *open_stream(const char *path, const char *mode)
{
    const int fd = ::open(path, flags_of(mode));
    if (fd < 0) {
        return nullptr;
    }
    cookie_io_functions_t functions = {};
    functions.read = [](void *cookie, char *buffer, size_t count) {
        return ::read(descriptor_of(cookie), buffer, count);
    };
    functions.write = [](void *cookie, const char *buffer, size_t count) {
        return ::write(descriptor_of(cookie), buffer, count);
    };
    functions.seek = [](void *cookie, off64_t *offset, int whence) {
        *offset = ::lseek64(descriptor_of(cookie), *offset, whence);
        return *offset < 0 ? -1 : 0;
    };
    functions.close = [](void *cookie) {
        const std::unique_ptr<int> owned(static_cast<int *>(cookie));
        return ::close(*owned);
    };
    return ::fopencookie(new int(fd), mode, functions);
}

} // namespace

#define SIMBOARD_STAT(name, pointer)                                                               \
    SIMBOARD_EXPORT int name(const char *path, pointer into) noexcept                              \
    {                                                                                              \
        static const auto real = sim::next_function<int(const char *, pointer)>(#name);            \
        return sim::is_board_path(path) ? stat_at_path(path, into) : real(path, into);             \
    }

#define SIMBOARD_FSTAT(name, pointer)                                                              \
    SIMBOARD_EXPORT int name(int fd, pointer into) noexcept                                        \
    {                                                                                              \
        static const auto real = sim::next_function<int(int, pointer)>(#name);                     \
        return sim::is_board_file(fd) ? stat_of_file(fd, into) : real(fd, into);                   \
    }

#define SIMBOARD_FSTATAT(name, pointer)                                                            \
    SIMBOARD_EXPORT int name(int folder, const char *path, pointer into, int flags) noexcept       \
    {                                                                                              \
        static const auto real = sim::next_function<int(int, const char *, pointer, int)>(#name);  \
        if ((flags & AT_EMPTY_PATH) != 0 && sim::is_board_file(folder)) {                          \
            return stat_of_file(folder, into);                                                     \
        }                                                                                          \
        return sim::is_board_path(path) ? stat_at_path(path, into)                                 \
                                        : real(folder, path, into, flags);                         \
    }

#define SIMBOARD_FOPEN(name)                                                                       \
    SIMBOARD_EXPORT FILE *name(const char *path, const char *mode)                                 \
    {                                                                                              \
        static const auto real = sim::next_function<FILE *(const char *, const char *)>(#name);    \
        return sim::is_board_path(path) ? open_stream(path, mode) : real(path, mode);              \
    }

extern "C" {

SIMBOARD_STAT(stat, struct stat *)
SIMBOARD_STAT(stat64, struct stat64 *)
SIMBOARD_STAT(lstat, struct stat *)
SIMBOARD_STAT(lstat64, struct stat64 *)
SIMBOARD_FSTAT(fstat, struct stat *)
SIMBOARD_FSTAT(fstat64, struct stat64 *)
SIMBOARD_FSTATAT(fstatat, struct stat *)
SIMBOARD_FSTATAT(fstatat64, struct stat64 *)
SIMBOARD_FOPEN(fopen)
SIMBOARD_FOPEN(fopen64)

SIMBOARD_EXPORT int statx(int folder, const char *path, int flags, unsigned mask,
                          struct statx *into) noexcept
{
    static const auto real =
        sim::next_function<int(int, const char *, int, unsigned, struct statx *)>("statx");
    if (!sim::is_board_path(path)) {
        return real(folder, path, flags, mask, into);
    }
    struct stat status = {};
    if (stat_at_path(path, &status) != 0) {
        return -1;
    }
    *into = {};
    into->stx_mask = STATX_TYPE | STATX_MODE | STATX_NLINK | STATX_SIZE;
    into->stx_mode = static_cast<uint16_t>(status.st_mode);
    into->stx_nlink = static_cast<uint32_t>(status.st_nlink);
    into->stx_size = static_cast<uint64_t>(status.st_size);
    into->stx_rdev_major = major(status.st_rdev);
    into->stx_rdev_minor = minor(status.st_rdev);
    return 0;
}

SIMBOARD_EXPORT int access(const char *path, int mode) noexcept
{
    static const auto real = sim::next_function<int(const char *, int)>("access");
    return sim::is_board_path(path) ? access_path(path) : real(path, mode);
}

SIMBOARD_EXPORT int faccessat(int folder, const char *path, int mode, int flags) noexcept
{
    static const auto real = sim::next_function<int(int, const char *, int, int)>("faccessat");
    return sim::is_board_path(path) ? access_path(path) : real(folder, path, mode, flags);
}

SIMBOARD_EXPORT char *realpath(const char *path, char *into) noexcept
{
    static const auto real = sim::next_function<char *(const char *, char *)>("realpath");
    return sim::is_board_path(path) ? resolve(path, into) : real(path, into);
}

SIMBOARD_EXPORT char *__realpath_chk(const char *path, char *into, size_t room) noexcept
{
    static const auto real =
        sim::next_function<char *(const char *, char *, size_t)>("__realpath_chk");
    return sim::is_board_path(path) ? resolve(path, into) : real(path, into, room);
}

SIMBOARD_EXPORT DIR *opendir(const char *path)
{
    static const auto real = sim::next_function<DIR *(const char *)>("opendir");
    if (!sim::is_board_path(path)) {
        return real(path);
    }
    auto names = sim::list_folder(path);
    if (names.empty()) {
        errno = ENOENT;
        return nullptr;
    }
    return sim::folder_listing::open(std::move(names));
}

SIMBOARD_EXPORT dirent64 *readdir64(DIR *folder)
{
    static const auto real = sim::next_function<dirent64 *(DIR *)>("readdir64");
    sim::folder_listing *listing = sim::folder_listing::find(folder);
    return listing != nullptr ? listing->next() : real(folder);
}

SIMBOARD_EXPORT dirent *readdir(DIR *folder)
{
    static const auto real = sim::next_function<dirent *(DIR *)>("readdir");
    sim::folder_listing *listing = sim::folder_listing::find(folder);
    return listing != nullptr ? reinterpret_cast<dirent *>(listing->next()) : real(folder);
}

SIMBOARD_EXPORT int closedir(DIR *folder)
{
    static const auto real = sim::next_function<int(DIR *)>("closedir");
    if (sim::folder_listing::find(folder) == nullptr) {
        return real(folder);
    }
    sim::folder_listing::close(folder);
    return 0;
}
}
