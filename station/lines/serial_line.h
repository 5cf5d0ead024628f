#pragma once

#include <memory>
#include <string>

#include "station/lines/line.h"

struct sp_port;

namespace station {

/** A serial port: eight data bits, no parity, one stop bit, no flow control. */
class serial_line : public line {
public:
    /** Opens the port, as in "/dev/ttyUSB0", at baud bits a second. Throws line_error. */
    serial_line(const std::string &port, int baud);

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override;
    void write(std::span<const std::uint8_t> data, milliseconds limit) override;

private:
    struct port_closer {
        void operator()(sp_port *port) const;
    };
    std::string name_;
    std::unique_ptr<sp_port, port_closer> port_;
};

} // namespace station
