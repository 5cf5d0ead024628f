#include "sim/layouts.h"

namespace sim {
namespace {

constexpr std::string_view head =
    R"toml(# A simulated switch board: what is fitted on it. Numbers may be decimal or hexadecimal (0x10000).
#
#   simboard run DIR -- prov_setmac setmac log.txt    runs a program on this board
#   simboard show DIR                                 shows what its memories hold
#   simboard log DIR                                  shows what programs did on it
#
# Each memory is a file beside this one: mtd0.bin, mtd1.bin, ... and i2c-56.bin, ... They are made
# at their first use. Take one away to have a blank chip again. Change sizes here only with the
# memory's file taken away, for a file of another size is refused. log.txt is the operation log.

# Flash partitions, in order: /dev/mtdN and /sys/class/mtd/mtdN.
#   name        what stands in /sys/class/mtd/mtdN/name
#   type        "nor", "nand", "ram" or "ubi"                         (default "nor")
#   erase_size  bytes of an erase block                               (default 0x10000)
#   blocks      number of erase blocks                                (default 4)
#   page_size   NAND only: what is written is whole pages             (default 2048)
#   bad         NAND only: bad blocks, as [0, 5]                      (default none)
#   index       N of mtdN, to leave a gap in the numbering            (default one above the last)
)toml";

constexpr std::string_view nor_partitions = R"toml(
[[partition]]
name = "boot"

[[partition]]
name = "boot_env"
blocks = 2

[[partition]]
name = "product_info"
)toml";

constexpr std::string_view nor_mirror = R"toml(
[[partition]]
name = "product_info_other"
)toml";

constexpr std::string_view nand_partitions = R"toml(
[[partition]]
name = "boot"
type = "nand"
erase_size = 0x20000

[[partition]]
name = "product_info"
type = "nand"
erase_size = 0x20000
blocks = 8
bad = [0]
)toml";

constexpr std::string_view nand_mirror = R"toml(
[[partition]]
name = "product_info_other"
type = "nand"
erase_size = 0x20000
blocks = 8
bad = [3, 7]
)toml";

constexpr std::string_view tail = R"toml(
# EEPROMs of 256 bytes on the I2C bus.
#   address         7 bits
#   content         pairs of hexadecimal digits, from offset 0; the rest is 0xFF. Only for a new file.
#   page_size       a write wraps inside a page of so many bytes      (default 8)
#   write_cycle_ms  how long it does not answer after a write         (default 5)

# The system EEPROM, blank.
[[eeprom]]
address = 0x56

# The card EEPROM: a record of format 1 that says card type 14.
[[eeprom]]
address = 0x57
content = "01 7e 00 f1 00 06  06 04 00 00 00 0e  01 8e"

# The bus they are on. It belongs at the top of the file, before the first [[partition]].
#   i2c_bus = "/dev/i2c-0"

# What dev_drv_init of the driver library answers.
#   [driver]
#   init_result = 0

# A power cut: each programmed byte of flash or EEPROM is a step, and so is each erased block. After
# so many steps of a process the next one finds no power: the byte stays as it was, a block is left
# erased in its first half only, and the process is killed (SIGKILL).
#   [power]
#   cut_after = 1000

# Faults, as many as you like. Operations are counted in each process from its start.
#   operation  open, close, read, write, lseek, getinfo, erase, lock, unlock, getbadblock, transfer,
#              slave or dev_drv_init, as in the log; ioctl: every ioctl; any: everything
#   path       "/dev/mtd2", "/sys/class/mtd/mtd2/name", ...           (default any path)
#   call       the first such call that goes wrong                    (default 1)
#   times      how many from there on; 0: for ever                    (default 1)
#   error      it fails with this error, as "EIO", and does nothing; or else
#   short      it comes back short: so many bytes, or messages of a transfer, are done
#   [[fault]]
#   operation = "write"
#   path = "/dev/mtd2"
#   call = 2
#   error = "EIO"
)toml";

struct named_layout {
    std::string_view name;
    std::string_view about;
    std::string_view partitions;
    std::string_view mirror;
};

constexpr named_layout layouts[] = {
    {"nor", "NOR flash", nor_partitions, ""},
    {"nor-mirror", "NOR flash with a mirror of the product information", nor_partitions,
     nor_mirror},
    {"nand", "NAND flash with a bad block", nand_partitions, ""},
    {"nand-mirror", "NAND flash with bad blocks and a mirror of the product information",
     nand_partitions, nand_mirror},
};

} // namespace

std::vector<std::string_view> layout_names()
{
    std::vector<std::string_view> names;
    for (const named_layout &one : layouts) {
        names.push_back(one.name);
    }
    return names;
}

std::optional<std::string> layout(std::string_view name)
{
    for (const named_layout &one : layouts) {
        if (one.name == name) {
            return std::string(head) + "\n# " + std::string(one.about) + "." +
                   std::string(one.partitions) + std::string(one.mirror) + std::string(tail);
        }
    }
    return std::nullopt;
}

} // namespace sim
