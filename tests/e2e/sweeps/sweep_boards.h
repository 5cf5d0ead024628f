#pragma once

#include <string>
#include <utility>
#include <vector>

#include "e2e/support/bytes.h"
#include "e2e/support/tlv_board.h"

namespace e2e {

// The boards of sweeps and power cuts, and the identities that they hold before and after.

// Records in flash.

inline const std::string old_records = product_image(
    0x1502FF5F, {"ethaddr=00:D0:F8:00:00:01", "SerialNO=OLDSERIAL0001", "country_def=CN"});
inline const std::string old_records_listing =
    "ethaddr=00:D0:F8:00:00:01\r\nSerialNO=OLDSERIAL0001\r\ncountry_def=CN\r\n";

/** Flash that holds the records. */
struct flash_layout {
    std::string name;
    std::string description;
    std::vector<std::pair<std::string, std::string>> memories;
    std::string mirror = {}; // the file of the mirror
};

inline std::string partition(const std::string &name, const std::string &more)
{
    return "[[partition]]\nname = \"" + name + "\"\nblocks = 4\n" + more;
}

inline const std::string boot_part = partition("boot", "erase_size = 0x1000\n");
inline const std::string nor_part = partition("product_info", "erase_size = 0x1000\n");
inline const std::string nor_mirror_part = partition("product_info_other", "erase_size = 0x1000\n");
inline const std::string nand_part =
    partition("product_info", "erase_size = 0x2000\ntype = \"nand\"\nbad = [0]\n");
inline const std::string nand_mirror_part =
    partition("product_info_other", "erase_size = 0x2000\ntype = \"nand\"\nbad = [1, 3]\n");

inline const std::string bad_block = repeated(0x2000, 0xFF);
inline const std::string on_nor = old_records + repeated(0x2000, 0xFF);
inline const std::string on_nand = bad_block + old_records + old_records + old_records;
inline const std::string on_nand_mirror = old_records + bad_block + old_records + bad_block;

inline const flash_layout flash_layouts[] = {
    {"nor", boot_part + nor_part, {{"mtd1.bin", on_nor}}},
    {"nor_mirror",
     boot_part + nor_part + nor_mirror_part,
     {{"mtd1.bin", on_nor}, {"mtd2.bin", on_nor}},
     "mtd2.bin"},
    {"nand", boot_part + nand_part, {{"mtd1.bin", on_nand}}},
    {"nand_mirror",
     boot_part + nand_part + nand_mirror_part,
     {{"mtd1.bin", on_nand}, {"mtd2.bin", on_nand_mirror}},
     "mtd2.bin"},
};

// The system EEPROM, behind its write protection. Its write cycle takes no time.

inline const std::string eeprom_board =
    std::string(nor_board) +
    "[[eeprom]]\naddress = 0x56\nwrite_cycle_ms = 0\nlifted_by_driver = true\n"
    "lifted_by_cpld = { 0x25 = [0xFB], 0x31 = [0x00] }\n" +
    "[[eeprom]]\naddress = 0x57\ncontent = \"017E00F10006 06040000000E 018E\"\n[cpld]\n";

inline const std::string model = tlv_record(0x21, "ES24");
inline const std::string extension =
    tlv_record(0xFD, bytes({0x00, 0x00, 0x7E, 0xD9, 0x44, 0x02, 0x41, 0x31}));

inline const std::string old_eeprom =
    tlv_image(model + tlv_record(0x23, "OLDSERIAL0001") + extension, 0x8B48BE7A);
inline const std::string other_serial_image =
    tlv_image(model + extension + tlv_record(0x23, "ABCDEFGHJ1234"), 0x7C770636);
inline const std::string payload_image =
    tlv_image(default_records + tlv_record(0x23, "NEWSERIAL0002") +
                  tlv_record(0xFD, bytes({0x00, 0x00, 0x7E, 0xD9, 0x4A, 0x02, 0x00, 0x0E})),
              0x155D1E8E);

inline const frame payload_frame = framed(tlv_part(2, text_node("Serial Number", "NEWSERIAL0002") +
                                                          tlv_node("e2type", bytes({0x00, 0x0E}))),
                                          0xB24ACD33);

/** The EEPROM before: what is old, and what is behind that. */
struct eeprom_layout {
    std::string name;
    std::string old;
    std::string content;
};

inline const eeprom_layout eeprom_layouts[] = {
    {"blank", repeated(256, 0xFF), repeated(256, 0xFF)},
    {"named", old_eeprom, eeprom_content(old_eeprom, 0xA5)},
};

} // namespace e2e
