#include "floor/ports/udev_ports.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <map>
#include <stdexcept>

#include <libudev.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace shopfloor {

namespace {

struct device_closer {
    void operator()(udev_device *device) const { udev_device_unref(device); }
};
using device_pointer = std::unique_ptr<udev_device, device_closer>;

struct context_closer {
    void operator()(udev *context) const { udev_unref(context); }
};
using context_pointer = std::unique_ptr<udev, context_closer>;

std::string text_of(const char *text)
{
    return text == nullptr ? "" : text;
}

std::string property(udev_device *of, const char *name)
{
    return text_of(udev_device_get_property_value(of, name));
}

udev_device *usb_parent(udev_device *of, const char *type)
{
    return udev_device_get_parent_with_subsystem_devtype(of, "usb", type);
}

std::string usb_interface_of(udev_device *tty)
{
    auto *interface = usb_parent(tty, "usb_interface");
    return interface == nullptr ? "" : text_of(udev_device_get_sysname(interface));
}

/** Consoles of the kernel and pseudo-terminals have nothing behind them. */
bool has_hardware(udev_device *tty)
{
    const auto path = text_of(udev_device_get_devpath(tty));
    const auto type = text_of(udev_device_get_sysattr_value(tty, "type"));
    return path.find("/virtual/") == std::string::npos && type != "0";
}

/** An adapter with several ports numbers them, in its parent or grandparent. */
std::string port_number_of(udev_device *tty)
{
    for (auto *at = udev_device_get_parent(tty); at != nullptr; at = udev_device_get_parent(at)) {
        if (text_of(udev_device_get_subsystem(at)) == "usb-serial") {
            return text_of(udev_device_get_sysattr_value(at, "port_number"));
        }
    }
    // A platform's or a card's ports are told apart by their names.
    const auto number = text_of(udev_device_get_sysnum(tty));
    return usb_parent(tty, "usb_device") == nullptr ? number : "";
}

tty_facts facts_of(udev_device *tty)
{
    tty_facts facts;
    facts.device = text_of(udev_device_get_devnode(tty));
    facts.path = property(tty, "ID_PATH");
    facts.interface = usb_interface_of(tty);
    facts.port_number = port_number_of(tty);
    facts.maker = property(tty, "ID_VENDOR");
    facts.model = property(tty, "ID_MODEL");
    auto *usb = usb_parent(tty, "usb_device");
    facts.left_alone = property(tty, "ID_MM_DEVICE_IGNORE") == "1" ||
                       (usb != nullptr && property(usb, "ID_MM_DEVICE_IGNORE") == "1");
    return facts;
}

/** Calls take with each device of a subsystem, and of a kind where there is one. */
template <class taker>
void each_device(udev *context, const char *subsystem, const char *type, taker take)
{
    const std::unique_ptr<udev_enumerate, decltype(&udev_enumerate_unref)> all(
        udev_enumerate_new(context), &udev_enumerate_unref);
    udev_enumerate_add_match_subsystem(all.get(), subsystem);
    if (type != nullptr) {
        udev_enumerate_add_match_property(all.get(), "DEVTYPE", type);
    }
    udev_enumerate_scan_devices(all.get());
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(all.get()))
    {
        const device_pointer device(
            udev_device_new_from_syspath(context, udev_list_entry_get_name(entry)));
        if (device) { // it may be gone by now
            take(device.get());
        }
    }
}

std::vector<tty_facts> ttys_of(udev *context)
{
    std::vector<tty_facts> all;
    each_device(context, "tty", nullptr, [&](udev_device *tty) {
        if (has_hardware(tty) && udev_device_get_devnode(tty) != nullptr) {
            all.push_back(facts_of(tty));
        }
    });
    return all;
}

std::vector<serial_port> ports_of(udev *context)
{
    std::vector<serial_port> ports;
    for (const auto &each : ttys_of(context)) {
        ports.push_back(port_of(each));
    }
    std::ranges::sort(ports, {},
                      [](const auto &each) { return std::pair(each.place, each.device); });
    return ports;
}

context_pointer open_context()
{
    context_pointer context(udev_new());
    if (!context) {
        throw std::runtime_error("udev cannot be asked for serial ports");
    }
    return context;
}

int number_of(const std::string &text)
{
    const auto begin = text.find_first_not_of(' ');
    int number = 0;
    if (begin != std::string::npos) {
        std::from_chars(text.data() + begin, text.data() + text.size(), number, 16);
    }
    return number;
}

/** The controller that a device of USB hangs on: what its root hub is a part of. */
std::string controller_of(udev_device *usb)
{
    auto *root = usb;
    for (auto *at = usb; at != nullptr; at = usb_parent(at, "usb_device")) {
        root = at;
    }
    auto *controller = udev_device_get_parent(root);
    return controller == nullptr ? "" : text_of(udev_device_get_sysname(controller));
}

} // namespace

void udev_ports::udev_closer::operator()(udev *opened) const
{
    udev_unref(opened);
}

void udev_ports::monitor_closer::operator()(udev_monitor *opened) const
{
    udev_monitor_unref(opened);
}

udev_ports::udev_ports() : udev_(open_context().release())
{
    monitor_.reset(udev_monitor_new_from_netlink(udev_.get(), "udev"));
    if (!monitor_ ||
        udev_monitor_filter_add_match_subsystem_devtype(monitor_.get(), "tty", nullptr) < 0 ||
        udev_monitor_enable_receiving(monitor_.get()) < 0) {
        throw std::runtime_error("udev cannot be asked for what is plugged in and out");
    }
    end_ = eventfd(0, EFD_CLOEXEC);
    if (end_ < 0) {
        throw std::runtime_error(std::string("eventfd: ") + std::strerror(errno));
    }
    ports_ = ports_of(udev_.get()); // what changes from the enabling on is seen by the watch
    thread_ = std::thread([this] { watch(); });
}

udev_ports::~udev_ports()
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(end_, &one, sizeof(one));
    thread_.join();
    ::close(end_);
}

std::vector<serial_port> udev_ports::ports()
{
    const std::lock_guard lock(guard_);
    return ports_;
}

std::string udev_ports::place_of(dev_t number)
{
    const context_pointer context(udev_new());
    const device_pointer tty(context ? udev_device_new_from_devnum(context.get(), 'c', number)
                                     : nullptr);
    return tty ? port_of(facts_of(tty.get())).place : "";
}

void udev_ports::call_on_change(std::function<void()> listener)
{
    const std::lock_guard lock(listening_);
    listener_ = std::move(listener);
}

void udev_ports::watch()
{
    std::array<pollfd, 2> wanted{
        {{udev_monitor_get_fd(monitor_.get()), POLLIN, 0}, {end_, POLLIN, 0}}};
    while (wanted[1].revents == 0) {
        if (poll(wanted.data(), wanted.size(), -1) > 0 && wanted[0].revents != 0) {
            take_changes();
        }
    }
}

void udev_ports::take_changes()
{
    while (const device_pointer changed{udev_monitor_receive_device(monitor_.get())}) {
    }
    auto now = ports_of(udev_.get());
    {
        const std::lock_guard lock(guard_);
        ports_ = std::move(now);
    }
    const std::lock_guard lock(listening_);
    if (listener_) {
        listener_();
    }
}

std::vector<tty_facts> all_ttys()
{
    return ttys_of(open_context().get());
}

std::vector<usb_controller> all_usb_controllers()
{
    const auto context = open_context();
    std::map<std::string, usb_controller> all;
    each_device(context.get(), "usb", "usb_device", [&](udev_device *usb) {
        auto &its = all[controller_of(usb)];
        ++its.devices;
        ++its.end_points; // that for control
    });
    each_device(context.get(), "usb", "usb_interface", [&](udev_device *interface) {
        auto *usb = usb_parent(interface, "usb_device");
        if (usb != nullptr) {
            all[controller_of(usb)].end_points +=
                number_of(text_of(udev_device_get_sysattr_value(interface, "bNumEndpoints")));
        }
    });
    std::vector<usb_controller> controllers;
    for (auto &[name, each] : all) {
        each.name = name;
        controllers.push_back(each);
    }
    return controllers;
}

} // namespace shopfloor
