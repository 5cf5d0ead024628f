#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/tlv_board.h"

// "prov_setmac setmac" of the TLV flavour: the system EEPROM that a payload makes, byte by byte.

namespace {

using e2e::applied;
using e2e::board_folder;
using e2e::board_with_eeprom;
using e2e::bytes;
using e2e::default_image;
using e2e::default_records;
using e2e::default_rows;
using e2e::eeprom_content;
using e2e::eeprom_holds;
using e2e::framed;
using e2e::marked_complete;
using e2e::nor_holds;
using e2e::outcome;
using e2e::send_frame;
using e2e::setmac_banner;
using e2e::terminal_session;
using e2e::text_node;
using e2e::tlv_board;
using e2e::tlv_image;
using e2e::tlv_node;
using e2e::tlv_part;
using e2e::tlv_prov_setmac;
using e2e::tlv_record;

using operation_list = std::vector<std::string>;

const e2e::command_line set_mac = {tlv_prov_setmac, "setmac"};
const std::string received = bytes({0x07});
const std::string done = bytes({0x06});

const auto serials_frame =
    framed(tlv_part(2, text_node("serial0", "A1") + text_node("serial1", "B2")), 0x51097A59);
const std::string serials_image =
    tlv_image(default_records + tlv_record(0xFD, bytes({0x00, 0x00, 0x7E, 0xD9, 0x44, 0x02, 0x41,
                                                        0x31, 0x45, 0x02, 0x42, 0x32})),
              0x9DA09103);

/** The rows of the default records without that of the checksum. */
const std::string default_record_rows(default_rows.substr(0, default_rows.find("CRC-32")));

const std::string serials_rows =
    default_record_rows +
    "Vendor Extension     0xFD  12  0x00 0x00 0x7E 0xD9 0x44 0x02 0x41 0x31 0x45 0x02 0x42 0x32\n"
    "CRC-32               0xFE   4 0x9DA09103\n";

/** A board that starts without a word: the default image, and anything behind it. */
board_folder quiet_board()
{
    return board_with_eeprom(tlv_board, eeprom_content(default_image, 0xA5));
}

/** Sends a payload, which is to be applied with these rows, and waits for the end. */
void provision(const board_folder &board, const e2e::frame &payload, std::string_view rows)
{
    terminal_session session(board, set_mac);
    session.expect(setmac_banner);
    send_frame(session, payload);
    session.expect(received);
    session.expect(rows);
    session.expect(done);
    EXPECT_EQ(session.finish(), outcome{});
}

TEST(tlv_setmac, programs_the_default_image_of_an_empty_payload_byte_by_byte)
{
    const e2e::board_folder board(
        tlv_board, {{e2e::product_info_file, e2e::nor_content(e2e::no_product_records)}});
    terminal_session session(board, set_mac);
    session.expect(e2e::blank_eeprom_on_terminal);
    session.expect("Setmac Model setup ...\r\n"
                   "Disconnect your console terminal first \r\n"
                   " Using your PC SetMac program to perform Setmac Operation ...\r\n");
    session.send(bytes({0x15, 0x18, 0x03, 0x10, 0xBD, 0x3D, 0x0E, 0x81}));
    session.expect(bytes({0x15}));
    session.send(bytes({0x01}));
    session.expect(bytes({0x01}));
    session.send(bytes({0x00, 0x00, 0x00, 0x04}));
    session.send(bytes({0xFF, 0xFF, 0xFF, 0xFF}));
    session.expect(bytes({0x07}));
    session.expect("Manufacturer         0x2B   6 talvex\n"
                   "Country Code         0x2C   2 cn\n"
                   "Vendor Name          0x2D   6 talvex\n"
                   "Diag Version         0x2E   1 0\n"
                   "Service Tag          0x2F   1 0\n"
                   "Part Number          0x22   4 0000\n"
                   "ONIE Version         0x29   7 0000000\n"
                   "Device Version       0x26   1 1\n"
                   "Label Revision       0x27   2 00\n"
                   "Platform Name        0x28   6 x86-64\n"
                   "CRC-32               0xFE   4 0xED7D657E\n");
    session.expect(bytes({0x06}));
    // No word about a save: that of the product information is the operation's own.
    EXPECT_EQ(session.finish(), outcome{});
    EXPECT_TRUE(e2e::same_settings(session.settings(), session.settings_before()));
    EXPECT_EQ(session.flags_after(), session.flags_before());
    const std::string programmed =
        bytes({0x54, 0x6C, 0x76, 0x49, 0x6E, 0x66, 0x6F, 0x00, 0x01, 0x00, 0x3E, 0x2B, 0x06,
               0x74, 0x61, 0x6C, 0x76, 0x65, 0x78, 0x2C, 0x02, 0x63, 0x6E, 0x2D, 0x06, 0x74,
               0x61, 0x6C, 0x76, 0x65, 0x78, 0x2E, 0x01, 0x30, 0x2F, 0x01, 0x30, 0x22, 0x04,
               0x30, 0x30, 0x30, 0x30, 0x29, 0x07, 0x30, 0x30, 0x30, 0x30, 0x30, 0x30, 0x30,
               0x26, 0x01, 0x01, 0x27, 0x02, 0x30, 0x30, 0x28, 0x06, 0x78, 0x38, 0x36, 0x2D,
               0x36, 0x34, 0xFE, 0x04, 0xED, 0x7D, 0x65, 0x7E}) +
        e2e::repeated(183, 0x00);
    EXPECT_TRUE(e2e::memory_is(board, "i2c-56.bin", programmed));
    EXPECT_EQ(e2e::checked(programmed).status, 0);
    EXPECT_TRUE(nor_holds(board, marked_complete));
}

TEST(tlv_setmac, programs_a_whole_payload_with_vendor_extensions)
{
    const auto payload =
        tlv_part(1, text_node("ProductModel", "ES24") +
                        text_node("Serial Number", "ABCDEFGHJ1234") +
                        tlv_node("MacAddress", bytes({0x00, 0xD0, 0xF8, 0xA1, 0xB2, 0xC3})) +
                        text_node("setmac_time", "2024-01-02 03:04:05 ") +
                        text_node("ethaddr_scale", "80")) +
        tlv_part(0, "not a node") +
        tlv_part(2, text_node("HardwareVersion", "2.1") + text_node("serial0", "A1") +
                        text_node("serial1", "B2") + tlv_node("e2type", bytes({0x00, 0x0E})));
    const auto board =
        board_with_eeprom(tlv_board + e2e::card_14, eeprom_content(default_image, 0xA5));
    provision(board, framed(payload, 0xE1BD1F04),
              "Manufacturer         0x2B   6 talvex\n"
              "Country Code         0x2C   2 cn\n"
              "Vendor Name          0x2D   6 talvex\n"
              "Diag Version         0x2E   1 0\n"
              "Service Tag          0x2F   1 0\n"
              "Part Number          0x22   4 0000\n"
              "ONIE Version         0x29   7 0000000\n"
              "Platform Name        0x28  14 x86-64-ES24-v1\n"
              "ProductModel         0x21   4 ES24\n"
              "Serial Number        0x23  13 ABCDEFGHJ1234\n"
              "MacAddress           0x24   6 00:D0:F8:A1:B2:C3\n"
              "setmac_time          0x25  20 01/02/2024 03:04:05\n"
              "ethaddr_scale        0x2A   2 000000000080\n"
              "Device Version       0x26   1 21\n"
              "Label Revision       0x27   1 1\n"
              "Vendor Extension     0xFD  21  0x00 0x00 0x7E 0xD9 0x41 0x03 0x32 0x2E 0x31 0x44 "
              "0x02 0x41 0x31 0x45 0x02 0x42 0x32 0x4A 0x02 0x00 0x0E\n"
              "CRC-32               0xFE   4 0xE19909A0\n");
    const auto records =
        tlv_record(0x2B, "talvex") + tlv_record(0x2C, "cn") + tlv_record(0x2D, "talvex") +
        tlv_record(0x2E, "0") + tlv_record(0x2F, "0") + tlv_record(0x22, "0000") +
        tlv_record(0x29, "0000000") + tlv_record(0x28, "x86-64-ES24-v1") +
        tlv_record(0x21, "ES24") + tlv_record(0x23, "ABCDEFGHJ1234") +
        tlv_record(0x24, bytes({0x00, 0xD0, 0xF8, 0xA1, 0xB2, 0xC3})) +
        tlv_record(0x25, std::string("01/02/2024 03:04:05") + '\0') +
        tlv_record(0x2A, bytes({0x00, 0x80})) + tlv_record(0x26, bytes({0x15})) +
        tlv_record(0x27, "1") +
        tlv_record(0xFD, bytes({0x00, 0x00, 0x7E, 0xD9, 0x41, 0x03, 0x32, 0x2E, 0x31, 0x44, 0x02,
                                0x41, 0x31, 0x45, 0x02, 0x42, 0x32, 0x4A, 0x02, 0x00, 0x0E}));
    EXPECT_TRUE(eeprom_holds(board, tlv_image(records, 0xE19909A0)));
    EXPECT_EQ(e2e::listed(board),
              (outcome{.output = "ProductInfo=0B0EFACE\r\nSerialNO=ABCDEFGHJ1234\n"
                                 "ethaddr=00:D0:F8:A1:B2:C3\nethaddr_scale=000000000080\n"
                                 "ProductModel=ES24\nsetmac_time=01/02/2024 03:04:05\n"
                                 "HardwareVersion=2.1\nserial0=A1\nserial1=B2\ne2type=e\n"}));
}

TEST(tlv_setmac, gathers_the_vendor_extension_from_its_nodes)
{
    const auto board = quiet_board();
    provision(board, serials_frame, serials_rows);
    EXPECT_TRUE(eeprom_holds(board, serials_image));
    const auto told = e2e::checked(board.memory(e2e::system_eeprom_file)).output;
    EXPECT_TRUE(told.ends_with("0xFD 00007ed94402413145024232\n  enterprise 32473\n"
                               "  0x44 4131\n  0x45 4232\n0xFE 9da09103\n"))
        << told;
}

TEST(tlv_setmac, keeps_nothing_of_what_the_eeprom_held)
{
    const auto board = board_with_eeprom(tlv_board, eeprom_content(serials_image, 0xA5));
    provision(board, e2e::empty_frame, default_rows);
    EXPECT_TRUE(eeprom_holds(board, default_image));
}

TEST(tlv_setmac, skips_a_part_of_flag_0_unseen)
{
    const auto board = quiet_board();
    provision(board, framed(tlv_part(0, bytes({0x41, 0x00, 0x01, 0xFF, 0xFF})), 0xCFAE7321),
              default_rows);
    EXPECT_TRUE(eeprom_holds(board, default_image));
}

TEST(tlv_setmac, passes_over_names_that_it_does_not_know)
{
    const auto board = quiet_board();
    const auto nodes = text_node("NoSuchName", "x") + text_node("serial0", "A1");
    provision(board, framed(tlv_part(2, nodes), 0xB2484EEA),
              default_record_rows +
                  "Vendor Extension     0xFD   8  0x00 0x00 0x7E 0xD9 0x44 0x02 0x41 0x31\n"
                  "CRC-32               0xFE   4 0xF7BE91D1\n");
}

TEST(tlv_setmac, leaves_a_record_out_that_has_no_room)
{
    const auto board = quiet_board();
    const auto node = text_node("ProductModel", std::string(200, 'M'));
    provision(board, framed(tlv_part(2, node), 0xE438A91F), default_rows);
    EXPECT_TRUE(eeprom_holds(board, default_image));
}

TEST(tlv_setmac, takes_any_card_type_where_there_is_no_card_eeprom)
{
    const auto board = quiet_board();
    const auto nodes = text_node("serial0", "A1") + tlv_node("e2type", bytes({0x00, 0x05}));
    provision(board, framed(tlv_part(2, nodes), 0xEC214F23),
              default_record_rows +
                  "Vendor Extension     0xFD  12  0x00 0x00 0x7E 0xD9 0x44 0x02 0x41 0x31 0x4A "
                  "0x02 0x00 0x05\n"
                  "CRC-32               0xFE   4 0x7CCF4075\n");
    EXPECT_EQ(board.operations("transfer /dev/i2c-0 address=0x57 write= = -1 ENXIO").size(), 5U);
}

TEST(tlv_setmac, keeps_the_other_records_in_flash)
{
    const auto records = e2e::product_image(0x2C57E7AB, {"SerialNO=ABCDEFGHJ1234"});
    const board_folder board(tlv_board,
                             {{e2e::product_info_file, e2e::nor_content(records)},
                              {e2e::system_eeprom_file, eeprom_content(default_image, 0xA5)}});
    provision(board, serials_frame, serials_rows);
    EXPECT_TRUE(nor_holds(
        board, e2e::product_image(0xF7D0F9EB, {"SerialNO=ABCDEFGHJ1234", "ProductInfo=0B0EFACE"})));
}

TEST(tlv_setmac, writes_no_flash_that_has_the_mark_already)
{
    const board_folder board(tlv_board,
                             {{e2e::product_info_file, e2e::nor_content(marked_complete)},
                              {e2e::system_eeprom_file, eeprom_content(default_image, 0xA5)}});
    provision(board, serials_frame, serials_rows);
    EXPECT_EQ(board.operations("erase "), operation_list{});
    EXPECT_EQ(board.operations("write /dev/mtd"), operation_list{});
    EXPECT_TRUE(nor_holds(board, marked_complete));
}

TEST(tlv_setmac, does_without_the_driver_library)
{
    const auto board = quiet_board();
    provision(board, serials_frame, serials_rows);
    EXPECT_EQ(board.operations("dev_drv_init "), operation_list{});
    EXPECT_EQ(board.operations("drv_"), operation_list{});
}

TEST(tlv_setmac, works_over_pipes_as_over_a_terminal)
{
    const auto board = quiet_board();
    const std::string sent =
        e2e::setmac_sign + e2e::version_1 + serials_frame.length + serials_frame.value;
    EXPECT_EQ(e2e::run_on_board(board, set_mac, sent),
              (outcome{.output = std::string(setmac_banner) + bytes({0x15, 0x01, 0x07}) +
                                 serials_rows + bytes({0x06})}));
    EXPECT_TRUE(eeprom_holds(board, serials_image));
}

TEST(tlv_setmac, ends_with_a_damaged_value_and_saves_the_mark_that_it_started_with)
{
    const auto board = quiet_board();
    terminal_session session(board, set_mac);
    session.expect(setmac_banner);
    send_frame(session, e2e::damaged(serials_frame));
    session.expect(e2e::bad_value);
    EXPECT_EQ(session.finish(), outcome{});
    EXPECT_EQ(e2e::eeprom_writes(board), operation_list{});
    EXPECT_TRUE(nor_holds(board, marked_complete));
}

TEST(tlv_setmac, takes_a_payload_of_the_legacy_flavour_whose_names_it_knows)
{
    const auto board = quiet_board();
    provision(board, e2e::mac_frame,
              default_record_rows + "MacAddress           0x24   6 00:1A:2B:3C:4D:5E\n"
                                    "CRC-32               0xFE   4 0x6472DCDB\n");
    EXPECT_TRUE(nor_holds(board, marked_complete));
}

} // namespace
