// Preloaded, it ends a program before or after one of the system calls that write or sync:
// CRASH_AT=NUMBER, from 1, CRASH_WHEN=before|after. CRASH_COUNT=FILE gets how many there were. With
// CRASH_ERROR=NUMBER the call fails with that error instead, and all of its kind after it.
// CRASH_TRACE=FILE gets a line for each call, "fdatasync /tmp/line.db"; of a server, what adds
// rows, and each COMMIT that it answers. CRASH_PROGRAM=NAME leaves other programs alone that the
// program starts.

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

constexpr int cut_status = 137;

int number_of(const char *name)
{
    const auto *text = std::getenv(name);
    return text == nullptr ? 0 : std::atoi(text); // NOLINT(cert-err34-c)
}

const int cut_at = number_of("CRASH_AT");
const int error_number = number_of("CRASH_ERROR");
const bool cut_after =
    std::getenv("CRASH_WHEN") != nullptr && std::strcmp(std::getenv("CRASH_WHEN"), "after") == 0;
std::atomic<int> calls{0};

bool is_meant()
{
    const auto *wanted = std::getenv("CRASH_PROGRAM");
    return wanted == nullptr || std::strcmp(wanted, program_invocation_short_name) == 0;
}
const bool meant = is_meant();

/** Writes the count at the end, by a way that is not counted. */
struct counter {
    ~counter()
    {
        const auto *file = meant ? std::getenv("CRASH_COUNT") : nullptr;
        if (file != nullptr) {
            if (auto *out = std::fopen(file, "w")) {
                std::fprintf(out, "%d", calls.load());
                std::fclose(out);
            }
        }
    }
};
const counter counted;

std::string path_of(int file)
{
    std::string path(4096, '\0');
    const auto link = "/proc/self/fd/" + std::to_string(file);
    const auto size = readlink(link.c_str(), path.data(), path.size());
    path.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return path;
}

void trace(const char *name, const std::string &what)
{
    const auto *file = std::getenv("CRASH_TRACE");
    if (file == nullptr || !meant) {
        return;
    }
    if (auto *out = std::fopen(file, "a")) { // by a way that is not counted
        std::fprintf(out, "%s %s\n", name, what.c_str());
        std::fclose(out);
    }
}

template <class Function, class... Arguments>
auto guarded(const char *name, Arguments... arguments)
{
    const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    if (!meant) {
        return real(arguments...);
    }
    const int call = ++calls;
    if (call == cut_at && error_number == 0 && !cut_after) {
        _exit(cut_status);
    }
    if (error_number != 0 && call >= cut_at) {
        errno = error_number;
        return static_cast<decltype(real(arguments...))>(-1);
    }
    const auto result = real(arguments...);
    if (call == cut_at && cut_after) {
        _exit(cut_status);
    }
    return result;
}

} // namespace

extern "C" {

ssize_t write(int file, const void *data, size_t size)
{
    trace("write", path_of(file));
    return guarded<ssize_t (*)(int, const void *, size_t)>("write", file, data, size);
}

ssize_t pwrite(int file, const void *data, size_t size, off_t at)
{
    trace("pwrite", path_of(file));
    return guarded<ssize_t (*)(int, const void *, size_t, off_t)>("pwrite", file, data, size, at);
}

ssize_t pwrite64(int file, const void *data, size_t size, off64_t at)
{
    trace("pwrite64", path_of(file));
    return guarded<ssize_t (*)(int, const void *, size_t, off64_t)>("pwrite64", file, data, size,
                                                                    at);
}

ssize_t send(int file, const void *data, size_t size, int flags)
{
    const std::string_view sent(static_cast<const char *>(data), size);
    for (const auto *statement : {"unit_add", "attempt_add"}) {
        if (sent.find(statement) != std::string_view::npos) {
            trace("sent", statement);
        }
    }
    return guarded<ssize_t (*)(int, const void *, size_t, int)>("send", file, data, size, flags);
}

ssize_t recv(int file, void *into, size_t size, int flags)
{
    using function = ssize_t (*)(int, void *, size_t, int);
    const auto real = reinterpret_cast<function>(dlsym(RTLD_NEXT, "recv"));
    const auto got = real(file, into, size, flags);
    const std::string_view seen(static_cast<char *>(into), got > 0 ? static_cast<size_t>(got) : 0);
    if (seen.find("COMMIT") != std::string_view::npos) {
        trace("answered", "COMMIT");
    }
    return got;
}

int fsync(int file)
{
    trace("fsync", path_of(file));
    return guarded<int (*)(int)>("fsync", file);
}

int fdatasync(int file)
{
    trace("fdatasync", path_of(file));
    return guarded<int (*)(int)>("fdatasync", file);
}

int ftruncate(int file, off_t size)
{
    trace("ftruncate", path_of(file));
    return guarded<int (*)(int, off_t)>("ftruncate", file, size);
}

int ftruncate64(int file, off64_t size)
{
    trace("ftruncate64", path_of(file));
    return guarded<int (*)(int, off64_t)>("ftruncate64", file, size);
}

int unlink(const char *path)
{
    trace("unlink", path);
    return guarded<int (*)(const char *)>("unlink", path);
}
}
