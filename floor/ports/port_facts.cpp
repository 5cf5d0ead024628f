#include "floor/ports/port_facts.h"

namespace shopfloor {

namespace {

/** "usb 0000:00:14.0 1.4.3:1.0" of "pci-0000:00:14.0-usb-0:1.4.3:1.0": what people can read. */
std::string readable_path(const std::string &path)
{
    constexpr std::string_view bus = "pci-";
    constexpr std::string_view usb = "-usb-0:";
    const auto at = path.find(usb);
    if (!path.starts_with(bus) || at == std::string::npos) {
        return path;
    }
    return "usb " + path.substr(bus.size(), at - bus.size()) + " " + path.substr(at + usb.size());
}

/** The path holds all of the interface's name but the number of its bus, which starts may change.
 */
bool is_of_before(const tty_facts &facts)
{
    const auto dash = facts.interface.find('-');
    if (dash == std::string::npos) {
        return false;
    }
    const auto ports = ":" + facts.interface.substr(dash + 1) + "-";
    return (facts.path + "-").find(ports) == std::string::npos;
}

} // namespace

serial_port port_of(const tty_facts &facts)
{
    serial_port port;
    port.device = facts.device;
    port.adapter =
        facts.maker + (facts.maker.empty() || facts.model.empty() ? "" : " ") + facts.model;
    if (facts.path.empty() || is_of_before(facts)) {
        return port;
    }
    port.place = readable_path(facts.path);
    const bool is_first = facts.port_number.empty() || facts.port_number == "0";
    if (!is_first) {
        port.place += " port " + facts.port_number;
    }
    return port;
}

} // namespace shopfloor
