#pragma once

#include <string>
#include <vector>

#include "floor/ports/port_watch.h"

namespace shopfloor {

/** What the system tells of a terminal's device. */
struct tty_facts {
    std::string device = {};      // "/dev/ttyUSB7"
    std::string path = {};        // ID_PATH: "pci-0000:00:14.0-usb-0:1.4.3:1.0"; empty: none
    std::string interface = {};   // of USB, as the kernel calls it now: "1-1.4.3:1.0"; empty: none
    std::string port_number = {}; // of an adapter with several ports: "0", "1", ...
    std::string maker = {};
    std::string model = {};
    bool left_alone = false; // ID_MM_DEVICE_IGNORE: a modem manager keeps off
};

/** A controller of USB, and what hangs on it. */
struct usb_controller {
    std::string name = {}; // "0000:00:14.0"
    int devices = 0;
    int end_points = 0; // of all of them, that for control included
};

/**
 * The port of a terminal's device. It has no place while the path and the interface contradict each
 * other: what udev knows is then of the device that had the same number before.
 */
serial_port port_of(const tty_facts &facts);

} // namespace shopfloor
