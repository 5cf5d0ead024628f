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
# Each memory is a file beside this one: mtd0.bin, mtd1.bin, ..., i2c-56.bin, ... and cpld0.bin. They
# are made at their first use. Take one away to have the chip as new again. Change sizes here only
# with the memory's file taken away, for a file of another size is refused. log.txt is the operation
# log.

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

constexpr std::string_view eeprom_head = R"toml(
# EEPROMs of 256 bytes on the I2C bus.
#   address           7 bits
#   page_size         a write wraps inside a page of so many bytes    (default 8)
#   write_cycle_ms    how long it does not answer after a write       (default 5)
#   lifted_by_cpld    write protection: CPLD registers that lift it, each with the values that do
#   lifted_by_driver  true: drv_set_e2_wr_pro(0, 0) of the driver library lifts it
# With none of the last two it can always be written; with both, either of them lets it be written.
#
# What a new file holds from offset 0, in one of these ways; the rest is 0xFF:
#   content           pairs of hexadecimal digits
#   content_file      the name of a file of at most 256 bytes, in this folder
#   [[eeprom.tlv]]    the records of a TlvInfo image, whose header and CRC record are added:
#                     code, and the value as text or as hex
#   card_type         a card-type record, and with it
#     form            "tlv", "direct", "format2", "legacy" or "legacy2" (default "tlv")
)toml";

constexpr std::string_view blank_eeprom = R"toml(
# The system EEPROM, blank.
[[eeprom]]
address = 0x56
)toml";

constexpr std::string_view protected_eeprom = R"toml(
# The system EEPROM, blank. It is write-protected until the PC operations lift that: "setmac" by a
# register of the CPLD, which is 0x25 or the one that its payload names, "setsn" by the driver
# library.
[[eeprom]]
address = 0x56
lifted_by_cpld = { 0x25 = [0xFB], 0x31 = [0x00] }
lifted_by_driver = true
)toml";

constexpr std::string_view tlv_records = R"toml(
[[eeprom.tlv]]
code = 0x21     # product name
text = "ES24-2"

[[eeprom.tlv]]
code = 0x23     # serial number
text = "ABCDEFGHJ1234"

[[eeprom.tlv]]
code = 0x24     # base MAC address
hex = "00 d0 f8 a1 b2 c3"

[[eeprom.tlv]]
code = 0x2A     # number of MAC addresses
hex = "00 18"

[[eeprom.tlv]]
code = 0xFD     # vendor extension: enterprise number 32473, then 0x48 "7" and 0x4A 14
hex = "00 00 7e d9  48 01 37  4a 02 00 0e"
)toml";

constexpr std::string_view card_eeprom = R"toml(
# The card EEPROM: card type 14.
[[eeprom]]
address = 0x57
card_type = 14
)toml";

constexpr std::string_view cpld_part = R"toml(
# The CPLD, /dev/cpld0: 256 byte registers. Those not given here start with 0xFF.
[cpld]
registers = { 0x00 = 0x02 }
)toml";

constexpr std::string_view cpld_hint = R"toml(
# A CPLD, /dev/cpld0: 256 byte registers. Those not given here start with 0xFF.
#   [cpld]
#   registers = { 0x00 = 0x02 }
)toml";

constexpr std::string_view tail = R"toml(
# The bus they are on. It belongs at the top of the file, before the first [[partition]].
#   i2c_bus = "/dev/i2c-0"

# What dev_drv_init and drv_set_e2_wr_pro of the driver library answer. With another answer than 0
# the second changes nothing.
#   [driver]
#   init_result = 0
#   e2_wr_pro_result = 0

# A power cut: each programmed byte of flash or EEPROM is a step, and so is each erased block. After
# so many steps of a process the next one finds no power: the byte stays as it was, a block is left
# erased in its first half only, and the process is killed (SIGKILL).
#   [power]
#   cut_after = 1000

# Faults, as many as you like. Operations are counted in each process from its start.
#   operation  open, close, read, write, lseek, getinfo, erase, lock, unlock, getbadblock, transfer,
#              slave, dev_drv_init or drv_set_e2_wr_pro, as in the log; ioctl: every ioctl;
#              any: everything
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
    std::string_view system_eeprom;
    std::string_view records;
    std::string_view cpld;
};

constexpr named_layout layouts[] = {
    {"nor", "NOR flash", nor_partitions, "", blank_eeprom, "", cpld_hint},
    {"nor-mirror", "NOR flash with a mirror of the product information", nor_partitions, nor_mirror,
     blank_eeprom, "", cpld_hint},
    {"nand", "NAND flash with a bad block", nand_partitions, "", blank_eeprom, "", cpld_hint},
    {"nand-mirror", "NAND flash with bad blocks and a mirror of the product information",
     nand_partitions, nand_mirror, blank_eeprom, "", cpld_hint},
    {"tlv", "NOR flash, and a blank system EEPROM behind write protection", nor_partitions, "",
     protected_eeprom, "", cpld_part},
    {"tlv-named", "NOR flash, and a system EEPROM with an identity behind write protection",
     nor_partitions, "", protected_eeprom, tlv_records, cpld_part},
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
            std::string text(head);
            text.append("\n# ").append(one.about).append(".");
            for (const std::string_view part :
                 {one.partitions, one.mirror, eeprom_head, one.system_eeprom, one.records,
                  card_eeprom, one.cpld, tail}) {
                text += part;
            }
            return text;
        }
    }
    return std::nullopt;
}

} // namespace sim
