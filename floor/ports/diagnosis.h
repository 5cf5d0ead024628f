#pragma once

#include <string>
#include <vector>

#include "floor/ports/port_facts.h"

namespace shopfloor {

/** A port, and who stands in the way of its use. */
struct examined_port {
    tty_facts facts = {};
    bool may_be_used = true;               // by this user
    std::string group = {};                // that may
    std::vector<std::string> used_by = {}; // programs that have it open: "minicom (1234)"
};

/** What was found on a PC. */
struct examined_pc {
    std::vector<examined_port> ports = {};
    std::vector<usb_controller> controllers = {};
    bool modem_manager = false;                  // runs
    bool braille_daemon = false;                 // runs
    std::vector<std::string> braille_rules = {}; // files by which udev starts it for adapters
    std::vector<std::string> wanted = {};        // places of slots
};

/** Something that is wrong, and what to do. */
struct complaint {
    std::string what = {};
    std::string advice = {};
};

/** What is wrong with a PC that is to be a floor's. */
std::vector<complaint> diagnose(const examined_pc &pc);

/** A rule for udev that keeps modem managers off all serial adapters. */
extern const char *const keep_off_rule;

} // namespace shopfloor
