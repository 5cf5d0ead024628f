#include "station/lines/serial_line.h"

#include <filesystem>

#include <libserialport.h>

namespace station {

namespace {

std::string last_error()
{
    const std::unique_ptr<char, decltype(&sp_free_error_message)> text(sp_last_error_message(),
                                                                       sp_free_error_message);
    return text ? text.get() : "unknown error";
}

/** The byte count or 0 that a call of the serial library gave; throws where it gave an error. */
int check(int result, const std::string &what)
{
    switch (result) {
    case SP_ERR_ARG:
        throw line_error(what + ": not possible");
    case SP_ERR_FAIL:
        throw line_error(what + ": " + last_error());
    case SP_ERR_MEM:
        throw line_error(what + ": out of memory");
    case SP_ERR_SUPP:
        throw line_error(what + ": not supported");
    default:
        return result;
    }
}

/** The device itself: the serial library does not follow links, as those in /dev/serial/by-id. */
std::string device_of(const std::string &port)
{
    std::error_code error;
    const auto device = std::filesystem::canonical(port, error);
    return error ? port : device.string();
}

} // namespace

void serial_line::port_closer::operator()(sp_port *port) const
{
    sp_close(port);
    sp_free_port(port);
}

serial_line::serial_line(const std::string &port, int baud) : name_(port)
{
    sp_port *found = nullptr;
    if (sp_get_port_by_name(device_of(port).c_str(), &found) != SP_OK) {
        throw line_error("cannot open " + port + ": no such port");
    }
    port_.reset(found);
    check(sp_open(found, SP_MODE_READ_WRITE), "cannot open " + port);
    check(sp_set_baudrate(found, baud), port + ": cannot set " + std::to_string(baud) + " baud");
    check(sp_set_bits(found, 8), port + ": cannot set 8 data bits");
    check(sp_set_parity(found, SP_PARITY_NONE), port + ": cannot switch parity off");
    check(sp_set_stopbits(found, 1), port + ": cannot set 1 stop bit");
    check(sp_set_flowcontrol(found, SP_FLOWCONTROL_NONE), port + ": cannot set no flow control");
}

std::size_t serial_line::read(std::span<std::uint8_t> buffer, milliseconds limit)
{
    // The library takes a limit of 0 as "for ever".
    const int got =
        limit.count() > 0
            ? sp_blocking_read_next(port_.get(), buffer.data(), buffer.size(),
                                    static_cast<unsigned>(limit.count()))
            : static_cast<int>(sp_nonblocking_read(port_.get(), buffer.data(), buffer.size()));
    return static_cast<std::size_t>(check(got, name_ + ": cannot read"));
}

void serial_line::write(std::span<const std::uint8_t> data, milliseconds limit)
{
    const auto ms = static_cast<unsigned>(limit.count() > 0 ? limit.count() : 1);
    const int put = check(sp_blocking_write(port_.get(), data.data(), data.size(), ms),
                          name_ + ": cannot write");
    if (static_cast<std::size_t>(put) != data.size()) {
        throw line_error(name_ + ": the bytes do not go out");
    }
}

} // namespace station
