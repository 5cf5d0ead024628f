#include "floor/ports/port_line.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace shopfloor {

namespace {

std::string in_use(const std::string &device)
{
    return device + " is in use by another program: end it (fuser " + device + " tells which)";
}

std::string why_not_opened(const std::string &device, int error)
{
    switch (error) {
    case EBUSY:
        return in_use(device);
    case EACCES:
        return device + ": no right to use it: add the user to the group dialout";
    case ENOENT:
    case ENODEV:
    case ENXIO:
    case EIO:
        return device + ": there is no adapter";
    default:
        return device + ": " + std::strerror(error);
    }
}

} // namespace

port_line::port_line(const std::string &device, int baud, const check &is_wanted) : device_(device)
{
    held_ = ::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (held_ < 0) {
        throw station::line_error(why_not_opened(device, errno));
    }
    try {
        lock();
        look_at_number(is_wanted);
        port_ = std::make_unique<station::serial_line>(device, baud);
        // From here on nobody can open it but root; who had it open before is kept out by nothing.
        ioctl(held_, TIOCEXCL);
    } catch (...) {
        ::close(held_);
        throw;
    }
}

port_line::~port_line()
{
    port_.reset();
    ioctl(held_, TIOCNXCL); // lasts as long as anybody has the port open, not only this
    ::close(held_);
}

void port_line::lock()
{
    if (flock(held_, LOCK_EX | LOCK_NB) != 0) {
        throw station::line_error(in_use(device_));
    }
}

/** Names of ports are handed out anew: while this is open, its name stays that of this device. */
void port_line::look_at_number(const check &is_wanted) const
{
    struct stat opened {};
    if (is_wanted && (fstat(held_, &opened) != 0 || !is_wanted(opened.st_rdev))) {
        throw station::line_error(device_ + " has become the name of another adapter: adapters "
                                            "are being found anew");
    }
}

std::size_t port_line::read(std::span<std::uint8_t> buffer, milliseconds limit)
{
    try {
        const auto got = port_->read(buffer, limit);
        if (got == 0) {
            check_adapter();
        }
        return got;
    } catch (const adapter_gone &) {
        throw;
    } catch (const station::line_error &why) {
        report(why);
    }
}

void port_line::write(std::span<const std::uint8_t> data, milliseconds limit)
{
    try {
        port_->write(data, limit);
    } catch (const station::line_error &why) {
        report(why);
    }
}

/** What went wrong on a port may be that there is none any more. */
void port_line::report(const station::line_error &why) const
{
    check_adapter();
    throw station::line_error(why);
}

/** A port whose adapter was pulled out reads as if nothing came. */
void port_line::check_adapter() const
{
    termios settings{};
    if (tcgetattr(held_, &settings) != 0 && (errno == EIO || errno == ENODEV || errno == ENXIO)) {
        throw adapter_gone("cable unplugged: the adapter of " + device_ + " is gone");
    }
}

std::unique_ptr<port_line> open_port(port_watch &watch, const std::string &place, int baud)
{
    const auto port = port_at(watch, place);
    if (!port) {
        throw station::line_error("no adapter at " + place);
    }
    // What the watch knows is behind what is plugged in and out, if only by moments.
    const auto is_at_place = [&](dev_t number) {
        return place.starts_with('/') || watch.place_of(number) == place;
    };
    return std::make_unique<port_line>(port->device, baud, is_at_place);
}

} // namespace shopfloor
