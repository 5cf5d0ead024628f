// Preloaded, it ends a program before or after one of the system calls that write or sync:
// CRASH_AT=NUMBER, from 1, CRASH_WHEN=before|after. CRASH_COUNT=FILE gets how many there were. With
// CRASH_ERROR=NUMBER the call fails with that error instead, and all of its kind after it.

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

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

/** Writes the count at the end, by a way that is not counted. */
struct counter {
    ~counter()
    {
        if (const auto *file = std::getenv("CRASH_COUNT")) {
            if (auto *out = std::fopen(file, "w")) {
                std::fprintf(out, "%d", calls.load());
                std::fclose(out);
            }
        }
    }
};
const counter counted;

template <class Function, class... Arguments>
auto guarded(const char *name, Arguments... arguments)
{
    static_cast<void>(name);
    const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
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
    return guarded<ssize_t (*)(int, const void *, size_t)>("write", file, data, size);
}

ssize_t pwrite(int file, const void *data, size_t size, off_t at)
{
    return guarded<ssize_t (*)(int, const void *, size_t, off_t)>("pwrite", file, data, size, at);
}

ssize_t pwrite64(int file, const void *data, size_t size, off64_t at)
{
    return guarded<ssize_t (*)(int, const void *, size_t, off64_t)>("pwrite64", file, data, size,
                                                                    at);
}

ssize_t send(int file, const void *data, size_t size, int flags)
{
    return guarded<ssize_t (*)(int, const void *, size_t, int)>("send", file, data, size, flags);
}

int fsync(int file)
{
    return guarded<int (*)(int)>("fsync", file);
}

int fdatasync(int file)
{
    return guarded<int (*)(int)>("fdatasync", file);
}

int ftruncate(int file, off_t size)
{
    return guarded<int (*)(int, off_t)>("ftruncate", file, size);
}

int ftruncate64(int file, off64_t size)
{
    return guarded<int (*)(int, off64_t)>("ftruncate64", file, size);
}

int unlink(const char *path)
{
    return guarded<int (*)(const char *)>("unlink", path);
}
}
