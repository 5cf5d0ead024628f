#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "e2e/support/board_folder.h"
#include "floor/slots/floor_control.h"

namespace e2e {

/** A PC into which nothing is plugged. */
class no_ports : public shopfloor::port_watch {
public:
    std::vector<shopfloor::serial_port> ports() override { return {}; }
    std::string place_of(dev_t) override { return ""; }
    void call_on_change(std::function<void()>) override {}
};

/** What a switch tells of itself. */
struct held_identity {
    std::string serial = {};
    std::string mac = {};
    bool operator<=>(const held_identity &) const = default;
};

/** A folder with a ledger, a product and simulated switches, in slots of a floor. */
class simulated_floor {
public:
    explicit simulated_floor(int slots);

    /** Puts another switch, which was never provisioned, into a slot. */
    void exchange_board(int slot);
    /** What is in a slot in the stead of a switch, or how that is: options of simboard console. */
    void replace_program(int slot, const std::string &command) { programs_[slot] = command; }
    void set_options(int slot, const std::string &options) { options_[slot] = options; }

    /** The floor as it is now; only one at a time. */
    std::unique_ptr<shopfloor::floor_control> open();

    /** The label of the switch in a slot; each switch has its own. */
    std::string label(int slot) const;
    int slots() const { return slots_; }

    ledger::book open_ledger() const { return ledger::book({"sqlite:" + path("line.db")}); }
    /** Waits until no console of the switches in the slots runs. */
    void await_consoles() const;
    /** What each switch that ever was in a slot holds, by its label. */
    std::map<std::string, held_identity> held() const;

    std::string path(const std::string &name) const { return (scratch_.path() / name).string(); }

private:
    std::string board(const std::string &label) const { return path("board-" + label); }
    void write_floor() const;

    scratch_folder scratch_;
    int slots_;
    std::map<int, int> boards_; // how many were in each slot
    std::map<int, std::string> programs_;
    std::map<int, std::string> options_;
    std::vector<std::string> labels_;
    no_ports ports_;
};

/** The state of a slot. */
shopfloor::json slot_of(const shopfloor::floor_control &floor, int number);

/** Starts the label of each slot; the numbers of the attempts that have begun. */
std::vector<std::int64_t> start_all(shopfloor::floor_control &floor, const simulated_floor &of);

/** Waits until none of the slots is busy. */
void await_ends(shopfloor::floor_control &floor, const std::vector<int> &slots);

} // namespace e2e
