#pragma once

#include <optional>
#include <string>
#include <vector>

#include "floor/printing/label_template.h"
#include "station/product/product_file.h"

namespace shopfloor {

/** A product that is made here. */
struct floor_product {
    station::product what = {};
    std::optional<std::string> password = {};      // of its switches
    std::optional<label_template> label = {};      // printed after the run; none: no label
    std::optional<label_template> label_code = {}; // what a scanner reads from it, where that is
                                                   // scanned again after the run

    bool scan_back() const { return label_code.has_value(); }
};

/** What is wrong with a switch of a drill. */
struct drill_fault {
    std::string name = {};
    std::string text = {};    // in words
    std::string options = {}; // for the slots' programs, in place of {fault}
};

/** A place where a switch is put. */
struct floor_slot {
    int number = 0;
    std::string place = {};                 // of its serial port, or a device's path
    std::string exec = {};                  // a program that stands in for a switch's console,
                                            // where {label} stands for the label of the run
    int baud = 115200;                      // of the port
    std::vector<std::string> products = {}; // that may be put there
    int line = 1;                           // of the file
};

/** What FLOOR.toml says. */
struct floor_description {
    std::string file = {};
    std::string name = {};
    std::string station = {}; // under which the ledger knows this PC
    bool drill = false;       // nothing here is a real switch
    std::string ledger = {};  // "sqlite:FILE" or "postgresql://..."
    std::string witness = {}; // where this machine has the ledger's; empty: where the ledger says
    std::string listen = "127.0.0.1";
    int port = 8440;
    std::vector<std::string> hosts = {};   // names that browsers may use for it, beside those of
                                           // the machine itself
    std::vector<std::string> origins = {}; // of a proxy before it: "https://floor.example.com"
    std::string slot_code = "SLOT-";       // what the codes of slots begin with
    std::string operator_code = "OP-";     // and those of badges
    std::string prefix = {};               // what the scanners send ahead of each code
    std::string printer_host = {};         // of a printer on the network
    std::string printer_port = {};
    std::string printer_command = {}; // or a command that prints
    std::vector<drill_fault> faults = {};
    std::vector<floor_product> products = {};
    std::vector<floor_slot> slots = {};

    bool has_printer() const { return !printer_host.empty() || !printer_command.empty(); }
};

/**
 * Reads FLOOR.toml and the product files that it names. with_slots: there must be slots. Throws
 * station::job_error with all mistakes.
 */
floor_description read_floor(const std::string &path, bool with_slots = true);

} // namespace shopfloor
