#pragma once

#include <memory>
#include <mutex>
#include <thread>

#include "floor/ports/port_facts.h"

struct udev;
struct udev_monitor;

namespace shopfloor {

/** The serial ports as udev knows them. Throws std::runtime_error where it cannot be asked. */
class udev_ports : public port_watch {
public:
    udev_ports();
    ~udev_ports() override;

    std::vector<serial_port> ports() override;
    std::string place_of(dev_t number) override;
    void call_on_change(std::function<void()> listener) override;

private:
    struct udev_closer {
        void operator()(udev *opened) const;
    };
    struct monitor_closer {
        void operator()(udev_monitor *opened) const;
    };

    void watch();
    void take_changes();

    std::unique_ptr<udev, udev_closer> udev_; // for one thread at a time: the watch's
    std::unique_ptr<udev_monitor, monitor_closer> monitor_;
    int end_ = -1;
    std::mutex guard_;
    std::vector<serial_port> ports_; // guarded
    std::mutex listening_;
    std::function<void()> listener_; // guarded by listening_, also while it is called
    std::thread thread_;             // uses all of the above
};

/** All terminals' devices that belong to some hardware, and the controllers of USB. */
std::vector<tty_facts> all_ttys();
std::vector<usb_controller> all_usb_controllers();

} // namespace shopfloor
