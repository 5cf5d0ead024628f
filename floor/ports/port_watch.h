#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace shopfloor {

/** A serial port of this machine. */
struct serial_port {
    std::string device = {};  // "/dev/ttyUSB7"
    std::string place = {};   // where it is plugged in, whatever its name: controller, path in its
                              // tree, port of the adapter; empty: nothing tells it
    std::string adapter = {}; // what it calls itself
};

/** Knows the serial ports of this machine and notices what is plugged in and out. */
class port_watch {
public:
    port_watch() = default;
    port_watch(const port_watch &) = delete;
    port_watch &operator=(const port_watch &) = delete;
    virtual ~port_watch() = default;

    /** Those that are there now, in the order of their places. From any thread. */
    virtual std::vector<serial_port> ports() = 0;

    /**
     * The place of the port whose device has that number, asked of the system anew; empty: nothing
     * tells it. From any thread.
     */
    virtual std::string place_of(dev_t number) = 0;

    /** Is called after a change, on a thread of the watch; must not wait. Only one. */
    virtual void call_on_change(std::function<void()> listener) = 0;
};

/** The port at a place, or of a device's path; none: it is not there. */
std::optional<serial_port> port_at(port_watch &watch, const std::string &place);

} // namespace shopfloor
