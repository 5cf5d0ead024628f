#pragma once

#include "sim/base/sizes.h"
#include "sim/description/console.h"
#include "sim/description/units.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace sim {

enum class flash_type { nor, nand, ram, ubi };
using enum flash_type;

/** One flash partition: /dev/mtdN and its folder in /sys/class/mtd. */
struct partition {
    std::string name = {};
    flash_type type = nor;
    uint32_t erase_size = 0x10000;
    uint32_t blocks = 4;
    std::vector<uint32_t> bad = {}; // bad blocks, NAND only
    std::optional<int> index = {};  // N of mtdN; one above the partition before it when not given
    uint32_t page_size = 2048;      // NAND only: what is written is whole pages
    // Blocks on which erasing, programming and reading fail, though they are not marked bad.
    std::vector<uint32_t> no_erase = {};
    std::vector<uint32_t> no_write = {};
    std::vector<uint32_t> no_read = {};
    bool read_only = false; // it cannot be opened for writing
};

/**
 * A 256-byte EEPROM on the I2C bus. It can be written at any time, unless there are ways to lift
 * its write protection: then it can while one of them has.
 */
struct eeprom {
    uint8_t address = 0;               // 7 bits
    std::vector<uint8_t> content = {}; // as delivered, from offset 0; the rest is 0xFF
    unsigned page_size = 8;
    unsigned write_cycle_ms = 5; // how long it does not answer after a write
    // CPLD registers that lift the protection, each with the values that do.
    std::map<uint8_t, std::vector<uint8_t>> lifted_by_cpld = {};
    bool lifted_by_driver = false; // drv_set_e2_wr_pro(0, 0) lifts it, (0, 1) restores it
    std::optional<unsigned> answered_writes = {}; // of a process; it answers no more after those

    bool is_protected() const { return !lifted_by_cpld.empty() || lifted_by_driver; }
};

/** The CPLD of the board: 256 byte registers behind /dev/cpld0. */
struct cpld {
    std::map<uint8_t, uint8_t> registers = {}; // as they start; the others are 0xFF
};

/** What the operations of the driver library answer when nothing goes wrong. */
struct driver {
    int32_t init_result = 0;      // of dev_drv_init
    int32_t e2_wr_pro_result = 0; // of drv_set_e2_wr_pro, which does nothing unless this is 0
};

/**
 * Operations that go wrong. Operations are named as in the log; "ioctl" stands for every ioctl and
 * "any" for every operation. An empty path stands for every path.
 */
struct fault {
    std::string operation = {};
    std::string path = {};
    unsigned call = 1;                        // the n-th such operation since the fault was set up
    unsigned times = 1;                       // how many from there on; 0: for ever
    int error = 0;                            // errno; nothing is done
    std::optional<std::size_t> short_to = {}; // bytes (of a transfer: messages) that are done
    std::optional<int32_t> result = {}; // of the driver library: it answers this and does nothing
    int signal = 0; // the process gets it as the operation begins, which is done if it still can be
};

/** All that is fitted on a board. */
struct board_description {
    std::vector<partition> partitions = {};
    std::vector<eeprom> eeproms = {};
    std::optional<sim::cpld> cpld = {}; // none: there is no /dev/cpld0
    std::vector<fault> faults = {};
    std::optional<uint64_t> cut_after = {}; // power: see class power
    std::string i2c_bus = "/dev/i2c-0";
    sim::driver driver = {};
    std::optional<sim::fpga> fpga = {}; // none: there is no /dev/fpga0
    std::vector<fan_unit> fans = {};    // of the driver library, as are the next three
    std::vector<supply_unit> supplies = {};
    std::vector<card_unit> cards = {};
    int32_t own_card_type = 0;
    console_description console = {};
};

/** What is wrong with a description, and in which of its entries. */
struct mistake {
    enum class list {
        partitions,
        eeproms,
        faults,
        fans,
        supplies,
        cards,
        fpga, // the one
        bridge_eeproms,
        bridge_supplies,
        bridge_troubles
    };
    list where;
    std::size_t entry; // in that list, from 0
    std::string text;
};

/** The first thing that makes the description one of a board that cannot be, or nothing. */
std::optional<mistake> find_mistake(const board_description &description);

/** What is wrong with a fault, or nothing. */
std::optional<std::string> find_mistake(const fault &what);

} // namespace sim
