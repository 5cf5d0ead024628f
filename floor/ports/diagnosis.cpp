#include "floor/ports/diagnosis.h"

#include <algorithm>

namespace shopfloor {

namespace {

// Many controllers have no more; an adapter with one port takes three, and one for its control.
constexpr int end_points_of_many_controllers = 96;
constexpr int nearly_all_end_points = 90;

void examine_right(const examined_port &port, std::vector<complaint> &told)
{
    if (port.may_be_used) {
        return;
    }
    const auto group = port.group.empty() ? "dialout" : port.group;
    told.push_back({port.facts.device + ": this user may not use it",
                    "as root: adduser USER " + group + ", then log in anew"});
}

void examine_use(const examined_port &port, std::vector<complaint> &told)
{
    for (const auto &program : port.used_by) {
        told.push_back({port.facts.device + " is in use by " + program,
                        "end that program, or leave the port to it"});
    }
}

void examine_place(const examined_port &port, std::vector<complaint> &told)
{
    if (port_of(port.facts).place.empty()) {
        told.push_back({port.facts.device + " has no stable place: udev gives it no ID_PATH",
                        "plug it into a hub or a port of the PC that has one; its name changes "
                        "with the order in which adapters are found"});
    }
}

void examine_daemons(const examined_pc &pc, std::vector<complaint> &told)
{
    const bool all_left_alone = std::ranges::all_of(
        pc.ports, [](const examined_port &each) { return each.facts.left_alone; });
    if (pc.modem_manager && !all_left_alone) {
        told.push_back({"ModemManager runs, and types into consoles to find modems",
                        std::string("remove it (apt purge modemmanager), or write this rule into "
                                    "/etc/udev/rules.d/60-setmac-floor.rules and call udevadm "
                                    "control --reload && udevadm trigger:\n") +
                            keep_off_rule});
    }
    if (pc.braille_daemon) {
        told.push_back(
            {"brltty runs, and takes adapters for braille terminals",
             "end it (systemctl disable --now brltty), or remove it (apt purge brltty)"});
    }
    for (const auto &rule : pc.braille_rules) {
        told.push_back({"udev starts brltty for some adapters, by its rules " + rule,
                        "remove it (apt purge brltty), or put nothing in their place: ln -s "
                        "/dev/null /etc/udev/rules.d/" +
                            rule + " && udevadm control --reload"});
    }
}

void examine_controller(const usb_controller &each, std::vector<complaint> &told)
{
    if (each.end_points >= nearly_all_end_points) {
        told.push_back({"controller " + each.name + " carries " + std::to_string(each.devices) +
                            " devices with " + std::to_string(each.end_points) +
                            " end points; many have " +
                            std::to_string(end_points_of_many_controllers) +
                            ", and what comes after those does not appear",
                        "spread adapters over more controllers, or take adapters with four ports "
                        "each"});
    }
}

void examine_wanted(const examined_pc &pc, std::vector<complaint> &told)
{
    for (const auto &place : pc.wanted) {
        const auto is_there = [&](const examined_port &each) {
            return each.facts.device == place || port_of(each.facts).place == place;
        };
        if (std::ranges::none_of(pc.ports, is_there)) {
            told.push_back({"no adapter at " + place,
                            "plug it in, or write the slot anew: setmac-floor learn"});
        }
    }
}

} // namespace

const char *const keep_off_rule =
    "SUBSYSTEM==\"tty\", ENV{ID_BUS}==\"usb\", ENV{ID_MM_DEVICE_IGNORE}=\"1\"\n"
    "SUBSYSTEM==\"usb\", ENV{DEVTYPE}==\"usb_device\", ENV{ID_MM_DEVICE_IGNORE}=\"1\"";

std::vector<complaint> diagnose(const examined_pc &pc)
{
    std::vector<complaint> told;
    for (const auto &each : pc.ports) {
        examine_right(each, told);
        examine_use(each, told);
        examine_place(each, told);
    }
    examine_daemons(pc, told);
    for (const auto &each : pc.controllers) {
        examine_controller(each, told);
    }
    examine_wanted(pc, told);
    return told;
}

} // namespace shopfloor
