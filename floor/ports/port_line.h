#pragma once

#include <memory>
#include <string>

#include "station/lines/serial_line.h"

namespace shopfloor {

/** The adapter of a port is gone. */
class adapter_gone : public station::line_closed {
public:
    using line_closed::line_closed;
};

/**
 * A serial port that nobody else uses: it is locked, and opened exclusively. Throws line_error
 * where another program has it, and adapter_gone once its adapter is pulled out.
 */
class port_line : public station::line {
public:
    /** Opens the port of that device, at baud bits a second. */
    port_line(const std::string &device, int baud);
    ~port_line() override;

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override;
    void write(std::span<const std::uint8_t> data, milliseconds limit) override;

private:
    void lock();
    [[noreturn]] void report(const station::line_error &why) const;
    void check_adapter() const;

    std::string device_;
    int held_ =
        -1; // a second descriptor of the port, which holds the lock and asks for the adapter
    std::unique_ptr<station::serial_line> port_;
};

} // namespace shopfloor
