#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "board_folder.h"
#include "bytes.h"
#include "pc_side.h"
#include "program.h"

namespace e2e {

// The TLV flavour: its program, the boards it runs on, and what the PC sends it.

/** Its name for the PC operations; "setmac-tlv" is any other name. */
inline const std::string tlv_prov_setmac = E2E_BIN_FOLDER "/tlv/prov_setmac";

/** `nor_board` with a system EEPROM that can always be written. */
inline const std::string tlv_board = std::string(nor_board) + "[[eeprom]]\naddress = 0x56\n";

/** The same EEPROM behind its write protection, which CPLD and driver library lift. */
inline const std::string protected_tlv_board =
    tlv_board + "lifted_by_cpld = { 0x25 = [0xFB], 0x31 = [0x00] }\nlifted_by_driver = true\n" +
    "[cpld]\n";

/** To be put behind one of these: the card EEPROM of a card of type 14. */
inline const std::string card_14 = "[[eeprom]]\naddress = 0x57\ncontent = \"01 00 00 0E\"\n";

/** The file of the system EEPROM. */
constexpr std::string_view system_eeprom_file = "i2c-56.bin";

/** A record of a TlvInfo image, or a sub-record of a vendor extension. */
std::string tlv_record(int code, std::string_view value);

/** Header, these records and the CRC record. */
std::string tlv_image(std::string_view records, uint32_t crc);

/** All 256 bytes of an EEPROM that starts with these. */
std::string eeprom_content(std::string_view image, int rest);

/** The default records of every image that the PC's program writes. */
inline const std::string default_records =
    tlv_record(0x2B, "talvex") + tlv_record(0x2C, "cn") + tlv_record(0x2D, "talvex") +
    tlv_record(0x2E, "0") + tlv_record(0x2F, "0") + tlv_record(0x22, "0000") +
    tlv_record(0x29, "0000000") + tlv_record(0x26, bytes({0x01})) + tlv_record(0x27, "00") +
    tlv_record(0x28, "x86-64");

/** The image of nothing else. */
inline const std::string default_image = tlv_image(default_records, 0xED7D657E);

/** A board that holds this image in its EEPROM, and no record in flash. */
board_folder board_with_eeprom(std::string_view description, std::string_view content);

/** Whether the system EEPROM holds this image, which is valid, and zeros behind it. */
testing::AssertionResult eeprom_holds(const board_folder &board, std::string_view image);

/** What the independent checker says of 256 bytes. */
outcome checked(std::string_view content);

/** What was written to the system EEPROM so far, transfer by transfer. */
std::vector<std::string> eeprom_writes(const board_folder &board);

/** A node of a payload. */
std::string tlv_node(std::string_view name, std::string_view value);
/** One whose value is a text, sent with its NUL. */
std::string text_node(std::string_view name, std::string_view text);
/** A part: flag 0 is skipped. */
std::string tlv_part(int flag, std::string_view nodes);
/** A payload with its CRC, ready for the line. */
frame framed(std::string_view payload, uint32_t crc);

/** The output of a start on a blank system EEPROM, on a cooked terminal. */
constexpr std::string_view blank_eeprom_on_terminal =
    "read_eeprom: can't find productinfo.\r\r\n!!!Warning: CRC check failed.\r\r\n";

/** What the PC sees in the middle of an exchange: the rows of `default_image`. */
constexpr std::string_view default_rows = "Manufacturer         0x2B   6 talvex\n"
                                          "Country Code         0x2C   2 cn\n"
                                          "Vendor Name          0x2D   6 talvex\n"
                                          "Diag Version         0x2E   1 0\n"
                                          "Service Tag          0x2F   1 0\n"
                                          "Part Number          0x22   4 0000\n"
                                          "ONIE Version         0x29   7 0000000\n"
                                          "Device Version       0x26   1 1\n"
                                          "Label Revision       0x27   2 00\n"
                                          "Platform Name        0x28   6 x86-64\n"
                                          "CRC-32               0xFE   4 0xED7D657E\n";

/** What follows the last byte of an empty payload: when all goes well, and when programming fails.
 */
inline const std::string applied_by_default =
    bytes({0x07}) + std::string(default_rows) + bytes({0x06});
inline const std::string failed_by_default =
    bytes({0x07}) + std::string(default_rows) + bytes({0x12});

/** What the program lists under another name. */
outcome listed(const board_folder &board);

/** That of an image whose header is right and whose checksum is not. */
inline const outcome damaged_listing = {
    .output = "!!!Warning: CRC check failed.\r\nProductInfo=0B0EFACE\r\n", .status = 1};

/** The product information that "setmac" leaves in flash. */
inline const std::string marked_complete = product_image(0x1AA76094, {"ProductInfo=0B0EFACE"});
inline const std::string no_product_records = product_image(0xAAC184F9, {});

} // namespace e2e
