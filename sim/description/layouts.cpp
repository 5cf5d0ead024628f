#include "sim/description/layouts.h"

#include <array>

namespace sim {
namespace {

constexpr std::string_view head =
    R"toml(# A simulated switch board: what is fitted on it. Numbers may be decimal or hexadecimal (0x10000).
#
#   simboard run DIR -- prov_setmac setmac log.txt    runs a program on this board
#   simboard show DIR                                 shows what its memories hold
#   simboard log DIR                                  shows what programs did on it
#
# Each memory is a file beside this one: mtd0.bin, i2c-56.bin, cpld0.bin, bridge-4-0-52.bin, ... They
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
#   no_erase, no_write, no_read
#               blocks on which that fails, though not marked bad     (default none)
#   read_only   true: it cannot be opened for writing                 (default false)
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
#   answered_writes   it answers no more after so many writes of a process   (default: it always does)
# With neither lifted_by_cpld nor lifted_by_driver it can always be written; with both, either of them lets it be written.
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

constexpr std::string_view unit_hint = R"toml(
# An FPGA with units behind its I2C bridge, and units of the driver library: make a board with
# "--like chassis" or "--like chassis-driver" to see how they are described.
)toml";

constexpr std::string_view fpga_part = R"toml(
# The FPGA, /dev/fpga0: 1024 byte registers. Those not given here start with 0, but for the backplane
# write control 0x00C, which starts with 3. Without [fpga] there is no /dev/fpga0.
[fpga]
registers = { 0x00C = 3 }

# EEPROMs of 256 bytes behind its I2C bridge, and what "setbackplane", "setfansn" and "setpoesn" write.
#   bus, channel, address  where: the registers 0x100, 0x101 and 0x102
#   kind            "backplane": it takes writes only while register 0x00C is 0; "fan": only while
#                   register 0x0E of the device at 0x68 beside it is 0; "plain" (default "plain")
#   content         pairs of hexadecimal digits, from offset 0; the rest is 0xFF. For a new file
#   write_cycle_ms  how long it does not answer after a write         (default 5)

# The two EEPROMs of the backplane.
[[fpga.eeprom]]
bus = 4
channel = 0
address = 0x52
kind = "backplane"

[[fpga.eeprom]]
bus = 4
channel = 1
address = 0x54
kind = "backplane"

# Two fans.
[[fpga.eeprom]]
bus = 3
channel = 0
address = 0x56
kind = "fan"

[[fpga.eeprom]]
bus = 3
channel = 1
address = 0x56
kind = "fan"

# The PoE unit.
[[fpga.eeprom]]
bus = 4
channel = 2
address = 0x52

# Power supplies on bus 4 of the bridge, which "setpwrsn" writes.
#   channel, address   the address is 0x58 to 0x5F
#   present            false: the slot is empty                       (default true)
#   serial, revision   of a new one: at most 32 characters each       (default "")
[[fpga.supply]]
channel = 0
address = 0x58
serial = "PS0000000001"
revision = "A00"

[[fpga.supply]]
channel = 0
address = 0x59
serial = "PS0000000002"
revision = "A00"

# Trouble with commands of the bridge to a place, as many as you like. Commands are counted in each
# process from its start.
#   bus, channel, address
#   what      "busy": it is busy for so many polls longer; "fail": it fails; "stick": it stays busy
#             until the next command. Only the first is carried out.
#   call      the first such command that goes wrong                  (default 1)
#   times     how many from there on; 0: for ever                     (default 1)
#   polls     how often it is busy; "fail" can be busy first          (default 0)
#   [[fpga.trouble]]
#   bus = 3
#   channel = 1
#   address = 0x56
#   what = "fail"
)toml";

constexpr std::string_view unit_head = R"toml(
# Units of the driver library, which "setdevice" writes.
#   index      the number of the slot                                 (default one above the last; 0)
#   present    false: the slot is empty                               (default true)
#   type       fans: the type code                                    (default 0)
#   name       supplies: at most 32 characters                        (default "")
#   card_type  cards: the card type                                   (default 0)
#   sn, hw     of a new one: at most 24 and 6 characters              (default ""; supplies: no sn)
# Beside them it has two backplane EEPROMs, 1 and 2, with a record of 44 bytes each. "setbackplane"
# writes those where there is no FPGA.
)toml";

constexpr std::string_view fan_and_supply_units = R"toml(
[[fan]]
type = 0x8001

[[fan]]
type = 0x8001

[[supply]]
name = "PSU-550"

[[supply]]
name = "PSU-550"
)toml";

constexpr std::string_view card_unit = R"toml(
[[card]]
card_type = 0x21
)toml";

constexpr std::string_view tlv_console = R"toml(
# prov_setmac on the switch's serial console is that of the TLV flavour.
[console]
flavour = "tlv"
)toml";

constexpr std::string_view tail = R"toml(
# The serial console of the switch ("simboard console DIR"), in one table [console]: how it gets to a
# prompt, and what its line does. The manual page has all keys.
#   [console]
#   password = "secret"
#   kernel_every_ms = 300
#   [[console.fault]]
#   what = "reboot"
#   received = 400

# The bus they are on. It belongs at the top of the file, before the first [[partition]].
#   i2c_bus = "/dev/i2c-0"

# What dev_drv_init, drv_set_e2_wr_pro and drv_get_my_card_type of the driver library answer. With
# another answer than 0 the second changes nothing.
#   [driver]
#   init_result = 0
#   e2_wr_pro_result = 0
#   own_card_type = 0

# A power cut: each programmed byte of flash or EEPROM is a step, and so is each erased block. After
# so many steps of a process the next one finds no power: the byte stays as it was, a block is left
# erased in its first half only, and the process is killed (SIGKILL).
#   [power]
#   cut_after = 1000

# Faults, as many as you like. Operations are counted in each process from its start.
#   operation  open, close, read, write, lseek, getinfo, erase, lock, unlock, getbadblock, transfer,
#              slave, dev_drv_init or an operation of the driver library, as drv_set_fan_info, as in
#              the log; ioctl: every ioctl; any: everything
#   path       "/dev/mtd2", "/sys/class/mtd/mtd2/name", ...           (default any path)
#   call       the first such call that goes wrong                    (default 1)
#   times      how many from there on; 0: for ever                    (default 1)
#   error      it fails with this error, as "EIO", and does nothing; or else
#   short      it comes back short: so many bytes, or messages of a transfer, are done; or else
#   result     an operation of the driver library answers this, and does nothing
#   [[fault]]
#   operation = "write"
#   path = "/dev/mtd2"
#   call = 2
#   error = "EIO"
)toml";

struct named_layout {
    std::string_view name;
    std::string_view about;
    std::array<std::string_view, 8> parts; // in the order of the file, between head and tail
};

constexpr named_layout layouts[] = {
    {"nor",
     "NOR flash",
     {nor_partitions, eeprom_head, blank_eeprom, card_eeprom, cpld_hint, unit_hint}},
    {"nor-mirror",
     "NOR flash with a mirror of the product information",
     {nor_partitions, nor_mirror, eeprom_head, blank_eeprom, card_eeprom, cpld_hint, unit_hint}},
    {"nand",
     "NAND flash with a bad block",
     {nand_partitions, eeprom_head, blank_eeprom, card_eeprom, cpld_hint, unit_hint}},
    {"nand-mirror",
     "NAND flash with bad blocks and a mirror of the product information",
     {nand_partitions, nand_mirror, eeprom_head, blank_eeprom, card_eeprom, cpld_hint, unit_hint}},
    {"tlv",
     "NOR flash, and a blank system EEPROM behind write protection",
     {nor_partitions, eeprom_head, protected_eeprom, card_eeprom, cpld_part, unit_hint,
      tlv_console}},
    {"tlv-named",
     "NOR flash, and a system EEPROM with an identity behind write protection",
     {nor_partitions, eeprom_head, protected_eeprom, tlv_records, card_eeprom, cpld_part, unit_hint,
      tlv_console}},
    {"chassis",
     "A chassis with NOR flash, an FPGA with units behind it, and a sub-card",
     {nor_partitions, eeprom_head, blank_eeprom, card_eeprom, cpld_hint, fpga_part, unit_head,
      card_unit}},
    {"chassis-driver",
     "A chassis with NOR flash, whose units are those of the driver library",
     {nor_partitions, eeprom_head, blank_eeprom, card_eeprom, cpld_hint, unit_head,
      fan_and_supply_units, card_unit}},
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
            for (const std::string_view part : one.parts) {
                text += part;
            }
            text += tail;
            return text;
        }
    }
    return std::nullopt;
}

} // namespace sim
