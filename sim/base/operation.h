#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/**
 * One operation of a program on the board, as the log keeps it. The names and what else they fill:
 *
 *   open, close                       nothing
 *   read, write                       offset, length asked for; of registers (/dev/cpld0) the
 *                                     offset is the register's number, and data the bytes moved
 *   lseek                             offset asked for
 *   getinfo (MEMGETINFO)              nothing
 *   erase (MEMERASE)                  offset, length
 *   lock, unlock (MEMLOCK, MEMUNLOCK) offset, length
 *   getbadblock (MEMGETBADBLOCK)      offset
 *   transfer (I2C_RDWR)              address; offset: the word address, that is the first byte
 *                                     written; length: the bytes after it, or the bytes read;
 *                                     data: every byte that crossed the bus, word address included
 *   slave (I2C_SLAVE)                 address
 *   ioctl                             any other request
 *   bridge                            a command of the FPGA's I2C bridge, by the write that started
 *                                     it: bus, channel, address, offset, length, data: the bytes
 *                                     written or read; result: the status in the end, of one that
 *                                     sticks 2; the path is "/dev/fpga0"
 *   dev_drv_init, drv_...             answer; the path is "libdev_drv"
 *   power_cut                         nothing; the path is "board"
 */
struct operation {
    int64_t time_us = 0; // since the first operation of the process
    std::string name = {};
    std::string path = {};
    uint64_t offset = 0;
    uint64_t length = 0;
    std::vector<uint8_t> data = {};
    uint8_t address = 0;
    uint8_t bus = 0;
    uint8_t channel = 0;
    std::optional<int32_t> answer = {}; // of the driver library, when the operation came to one
    int64_t result = 0;                 // as the program saw it: -1 with an error
    int error = 0;                      // errno, or 0
    std::string arguments = {};         // as written in the log, "offset=0x0 length=8192"
};

/** The names that a fault can go by: those above that can fail, every ioctl, everything. */
constexpr std::string_view fault_operations[] = {
    "open",
    "close",
    "read",
    "write",
    "lseek",
    "getinfo",
    "erase",
    "lock",
    "unlock",
    "getbadblock",
    "transfer",
    "slave",
    "dev_drv_init",
    "drv_set_e2_wr_pro",
    "drv_set_backplane_info",
    "drv_get_fan_status",
    "drv_get_power_status",
    "drv_get_sslot_state",
    "drv_get_fan_type",
    "drv_set_fan_info",
    "drv_set_fan_info_with_type",
    "drv_get_fan_sn",
    "drv_get_fan_hw_version",
    "drv_get_power_name",
    "drv_set_power_hw_version",
    "drv_get_power_hw_version",
    "drv_get_my_card_type",
    "drv_get_sub_unintlg_lc_info",
    "drv_set_sub_unintlg_info",
    "drv_get_sub_unintlg_sn",
    "drv_get_sub_unintlg_hw_ver",
    "ioctl",
    "any",
};

/** The symbol of an error number, "EIO". */
std::string error_name(int error);

/** "0x1f" */
std::string hex(uint64_t number);

/** Two digits a byte: "00fb". */
std::string hex_digits(std::span<const uint8_t> bytes);

/**
 * The operation's line in a log: time, process, name, path, arguments, "=", result and, of a
 * failure, the error's symbol. Without a line feed.
 */
std::string log_line(const operation &done, int process);

} // namespace sim
