#pragma once

#include <functional>
#include <memory>
#include <string>

#include <sys/types.h>

#include "floor/ports/port_watch.h"
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
    /** Whether the device with that number is the one that was wanted. */
    using check = std::function<bool(dev_t number)>;

    /**
     * Opens the port of that device, at baud bits a second. Where the check does not let it
     * through, nothing of the port is changed, and line_error is thrown.
     */
    port_line(const std::string &device, int baud, const check &is_wanted = {});
    ~port_line() override;

    std::size_t read(std::span<std::uint8_t> buffer, milliseconds limit) override;
    void write(std::span<const std::uint8_t> data, milliseconds limit) override;

private:
    void lock();
    void look_at_number(const check &is_wanted) const;
    [[noreturn]] void report(const station::line_error &why) const;
    void check_adapter() const;

    std::string device_;
    int held_ =
        -1; // a second descriptor of the port, which holds the lock and asks for the adapter
    std::unique_ptr<station::serial_line> port_;
};

/** The port at a place, or of a device's path. Throws line_error where it is not there. */
std::unique_ptr<port_line> open_port(port_watch &watch, const std::string &place, int baud);

} // namespace shopfloor
