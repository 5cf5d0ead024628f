#pragma once

#include "sim/base/operation.h"
#include "sim/base/power.h"
#include "sim/board/fault_plan.h"
#include "sim/description/description.h"
#include "sim/parts/flash.h"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

class driver_units;
class eeprom_chip;
class fpga_device;
class register_device;

/** The log of a board folder. */
constexpr const char *log_file_name = "log.txt";

/**
 * The variable with the process that is the console of the switch: a power cut is told to it
 * (SIGUSR1), and it kills everything that runs on the switch.
 */
constexpr const char *console_variable = "SIMBOARD_CONSOLE";

/**
 * A simulated board. While it lives it is the board of this process: the C library's calls on the
 * paths of is_board_path() reach its devices, and no others. There is one at a time.
 *
 *   sim::board board({.partitions = {{.name = "product_info", .type = sim::nand, .bad = {0}}}});
 */
class board {
public:
    /**
     * With a folder, memories and log are files in it, and a power cut kills the process (SIGKILL),
     * as the processor of a real board would stop. Without one, memories and log are in this
     * process, and a power cut leaves a dead board: every later operation fails with EIO and
     * nothing changes any more.
     * Throws std::invalid_argument when the description contradicts itself, and what class memory
     * throws.
     */
    explicit board(board_description description, std::filesystem::path folder = {});
    ~board();
    board(const board &) = delete;
    board &operator=(const board &) = delete;

    /** The board of this process, or null. */
    static board *current();

    const board_description &description() const { return description_; }

    /** The chip behind /dev/mtd<index>. Throws std::out_of_range when there is none. */
    flash_memory &flash(int index);
    /** The bytes of an EEPROM. Throws std::out_of_range when there is none. */
    std::span<uint8_t> eeprom(uint8_t address);
    /** Whether an EEPROM ignores writes now. Throws std::out_of_range when there is none. */
    bool is_protected(uint8_t address) const;
    /** The registers of the CPLD. Throws std::out_of_range when there is none. */
    std::span<uint8_t> cpld();

    /** The FPGA's registers. They throw std::out_of_range when there is none, or no such chip. */
    std::span<uint8_t> fpga();
    /** The bytes of an EEPROM behind the FPGA's bridge. */
    std::span<uint8_t> bridge_eeprom(uint8_t bus, uint8_t channel, uint8_t address);
    /** Whether it ignores writes now. */
    bool is_protected(uint8_t bus, uint8_t channel, uint8_t address) const;
    /** A supply that is present, with what its blocks hold now, less the NULs at their ends. */
    sim::bridge_supply bridge_supply(uint8_t channel, uint8_t address) const;

    /** The units of the driver library as they are now. They throw std::out_of_range. */
    fan_unit fan(int32_t index) const;
    supply_unit supply(int32_t index) const;
    card_unit card(int32_t index) const;
    /** The record that is in the driver library's backplane EEPROM 1 or 2. */
    std::span<uint8_t> backplane(int32_t index);

    /** Adds a fault; its operations are counted from now. Throws std::invalid_argument. */
    void inject(fault what);
    void clear_faults();
    /**
     * Adds a trouble behind the bridge; its commands are counted from now. Throws
     * std::invalid_argument, and std::out_of_range when there is no FPGA.
     */
    void trouble(const bridge_trouble &what);
    /** Lets the power fail after so many steps from now (see class power); nothing: never. */
    void cut_after(std::optional<uint64_t> steps);
    bool powered() const { return supply_.on(); }

    /** What was done on the board, in order; operations of a folder's board are in its log.txt. */
    const std::vector<operation> &log() const { return log_; }
    void clear_log() { log_.clear(); }
    /** How many operations of that name, on that path or (empty) on any. */
    std::size_t count(std::string_view name, std::string_view path = {}) const;

    /** What the system calls need. */

    /** The node of that path, or null. */
    device *find(std::string_view path) const;
    /** The names in a folder of the board, or nothing when there is no such folder. */
    std::vector<std::string> list(std::string_view folder) const;
    /** Sets or lifts the driver library's write protection of the system EEPROM. */
    void protect_by_driver(bool on);
    driver_units &units() { return *units_; }

    /** Which call an operation came in by: "ioctl" faults strike every ioctl. */
    enum class call_kind { plain, ioctl };
    /** Carries an operation out, at most the given number of bytes or messages of it. */
    using action = std::function<int64_t(operation &, std::size_t limit)>;
    /**
     * Does one operation: supply and faults first, then the action, then the log.
     * Returns what the action returned, or a negative errno.
     */
    int64_t operate(operation what, call_kind kind, const action &act);

private:
    std::unique_ptr<memory> make_memory(const std::string &name, std::size_t size,
                                        std::vector<uint8_t> content) const;
    void fit_flash();
    void fit_cpld();
    void fit_i2c();
    void fit_fpga();
    /** The state of an EEPROM's write-protect pin. */
    bool protects(const sim::eeprom &what) const;
    void fit(std::unique_ptr<device> node);
    int64_t attempt(operation &what, call_kind kind, const action &act);
    void record(operation done);
    /** Records something that happens within an operation. */
    void note(operation what);
    void power_failed();
    fpga_device &fitted_fpga() const;

    board_description description_;
    std::filesystem::path folder_; // or empty
    power supply_;
    fault_plan faults_;
    std::vector<operation> log_;
    int64_t started_us_ = -1;
    std::map<int, std::unique_ptr<flash_memory>> flashes_;
    register_device *cpld_ = nullptr; // among the nodes, or none
    fpga_device *fpga_ = nullptr;     // as well
    std::unique_ptr<driver_units> units_;
    std::unique_ptr<memory> driver_state_; // one byte: the driver library's protection is on
    std::unique_ptr<memory> write_cycles_; // int64_t for each I2C address: its chip is busy until
    std::map<uint8_t, eeprom_chip *> eeproms_;
    std::map<std::string, std::unique_ptr<device>, std::less<>> nodes_;
    std::recursive_mutex mutex_;
};

} // namespace sim
