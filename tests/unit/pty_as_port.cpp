#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

// Makes pseudo-terminals good for the serial library, which wants ports of the kernel's own: linked
// into a test, or preloaded into the station.

namespace {

constexpr std::string_view port_classes = "/sys/class/tty/pts/";

bool is_port_class(const char *path)
{
    return std::string_view(path).substr(0, port_classes.size()) == port_classes;
}

template <class function>
function *original(const char *name)
{
    return reinterpret_cast<function *>(dlsym(RTLD_NEXT, name));
}

bool is_modem_request(unsigned long request)
{
    return request == TIOCMGET || request == TIOCMSET || request == TIOCMBIS || request == TIOCMBIC;
}

} // namespace

// What the serial library asks of a port and a pseudo-terminal lacks: an entry in the class of
// terminals, and modem lines. Everything else goes on to the C library.

extern "C" int __lxstat(int version, const char *path, struct stat *out)
{
    if (!is_port_class(path)) {
        return original<decltype(__lxstat)>("__lxstat")(version, path, out);
    }
    *out = {};
    out->st_mode = S_IFLNK | 0777;
    return 0;
}

extern "C" ssize_t readlink(const char *path, char *out, size_t size) noexcept
{
    if (!is_port_class(path)) {
        return original<decltype(readlink)>("readlink")(path, out, size);
    }
    constexpr std::string_view target = "../../devices/platform/serial";
    return static_cast<ssize_t>(target.copy(out, size));
}

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    const int result = original<decltype(ioctl)>("ioctl")(descriptor, request, argument);
    return result < 0 && errno == ENOTTY && is_modem_request(request) ? 0 : result;
}
