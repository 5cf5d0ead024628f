#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/tlv_board.h"

// What the TLV flavour lists under any other name than that of the PC operations.

namespace {

using e2e::board_folder;
using e2e::board_with_eeprom;
using e2e::bytes;
using e2e::eeprom_content;
using e2e::listed;
using e2e::memory_is;
using e2e::outcome;
using e2e::repeated;
using e2e::tlv_board;
using e2e::tlv_image;
using e2e::tlv_record;

const std::string marker = "ProductInfo=0B0EFACE\r\n";
const std::string no_header = "read_eeprom: can't find productinfo.\r\n";
const std::string crc_failed = "!!!Warning: CRC check failed.\r\n";
const std::string not_read = "Setmac e2prom read faile\n";

const std::string enterprise = bytes({0x00, 0x00, 0x7E, 0xD9});

const std::string shown_records = tlv_record(0x21, "ES24-2") + tlv_record(0x23, "ABCDEFGHJ1234") +
                                  tlv_record(0x24, bytes({0x00, 0xD0, 0xF8, 0xA1, 0xB2, 0xC3})) +
                                  tlv_record(0x25, std::string("01/02/2024 03:04:05") + '\0') +
                                  tlv_record(0x2A, bytes({0x00, 0x80}));

const std::string shown_lines = "SerialNO=ABCDEFGHJ1234\n"
                                "ethaddr=00:D0:F8:A1:B2:C3\n"
                                "ethaddr_scale=000000000080\n"
                                "ProductModel=ES24-2\n"
                                "setmac_time=01/02/2024 03:04:05\n";

/** An image of the shown records and this vendor extension. */
std::string extended_image(const std::string &sub_records, uint32_t crc)
{
    return tlv_image(shown_records + tlv_record(0xFD, enterprise + sub_records), crc);
}

/** A board with that EEPROM lists this, and neither flash nor EEPROM is any different after. */
void expect_listing(const std::string &content, const outcome &wanted)
{
    const auto board = board_with_eeprom(tlv_board, content);
    EXPECT_EQ(listed(board), wanted);
    EXPECT_TRUE(e2e::untouched_nor_holds(board, e2e::no_product_records));
    EXPECT_EQ(e2e::eeprom_writes(board), std::vector<std::string>{});
    EXPECT_TRUE(memory_is(board, e2e::system_eeprom_file, content));
}

TEST(tlv_listing, of_a_blank_eeprom_says_so_and_fails)
{
    expect_listing(repeated(256, 0xFF), {.output = no_header + crc_failed + marker, .status = 1});
    expect_listing(repeated(256, 0x00), {.output = no_header + crc_failed + marker, .status = 1});
}

TEST(tlv_listing, of_an_image_without_vendor_extension_fails_without_a_word)
{
    expect_listing(eeprom_content(e2e::default_image, 0xFF), {.output = marker, .status = 1});
    expect_listing(eeprom_content(tlv_image(shown_records, 0xFE4676F4), 0xFF),
                   {.output = marker, .status = 1});
}

TEST(tlv_listing, tells_the_shown_values_and_those_of_the_vendor_extension)
{
    const auto image =
        extended_image(tlv_record(0x44, "A1") + tlv_record(0x4A, bytes({0x00, 0x0E})), 0x0EDC2927);
    ASSERT_EQ(e2e::checked(eeprom_content(image, 0xFF)).status, 0);
    expect_listing(eeprom_content(image, 0xFF),
                   {.output = marker + shown_lines + "serial0=A1\ne2type=e\n"});
}

TEST(tlv_listing, tells_every_personal_value_in_the_order_of_the_eeprom)
{
    std::string sub_records;
    for (int code = 0x49; code >= 0x40; --code) {
        sub_records += tlv_record(code, "v" + std::string(1, static_cast<char>('0' + code % 16)));
    }
    expect_listing(eeprom_content(extended_image(sub_records, 0xE8AE3DD2), 0x00),
                   {.output = marker + shown_lines +
                              "setmac_ver=v9\nprojectid=v8\nserial3=v7\nserial2=v6\nserial1=v5\n"
                              "serial0=v4\nfdtname=v3\nMainFile=v2\nHardwareVersion=v1\n"
                              "ProductID=v0\n"});
}

TEST(tlv_listing, keeps_silent_about_sub_records_that_are_not_personal)
{
    const auto sub_records = tlv_record(0x3F, "x") + tlv_record(0x48, "7") + tlv_record(0x4B, "x") +
                             tlv_record(0x4A, bytes({0x01}));
    expect_listing(eeprom_content(extended_image(sub_records, 0x87CE5426), 0xFF),
                   {.output = marker + shown_lines + "projectid=7\ne2type=1\n"});
}

TEST(tlv_listing, stops_the_shown_values_at_the_first_that_is_missing)
{
    const auto image = tlv_image(tlv_record(0x21, "ES24-2") + tlv_record(0x23, "A1") +
                                     tlv_record(0xFD, enterprise + tlv_record(0x45, "B2")),
                                 0xAEFF69D3);
    expect_listing(eeprom_content(image, 0xFF), {.output = marker + "SerialNO=A1\nserial1=B2\n"});
}

TEST(tlv_listing, tells_that_sub_records_do_not_add_up)
{
    const auto image =
        extended_image(tlv_record(0x44, "A1") + bytes({0x45, 0x03}) + "B2", 0xDE863E00);
    expect_listing(eeprom_content(image, 0xFF),
                   {.output = marker + shown_lines + "serial0=A1\nlength err!\n", .status = 1});
}

TEST(tlv_listing, of_a_damaged_image_is_that_of_none)
{
    const auto image = extended_image(tlv_record(0x44, "A1"), 0x65302314);
    ASSERT_EQ(e2e::checked(eeprom_content(image, 0xFF)).status, 0);
    // One bit of a record, of the checksum, and of the end mark before it.
    for (const std::size_t at : {std::size_t{13}, image.size() - 1, image.size() - 6}) {
        std::string content = eeprom_content(image, 0xFF);
        content[at] = static_cast<char>(content[at] ^ 0x04);
        expect_listing(content, {.output = crc_failed + marker, .status = 1});
    }
    // Of the id string, of the version and of the length: no header either.
    for (const std::size_t at : {0, 8, 9}) {
        std::string content = eeprom_content(image, 0xFF);
        content[at] = static_cast<char>(content[at] ^ 0x04);
        expect_listing(content, {.output = no_header + crc_failed + marker, .status = 1});
    }
}

TEST(tlv_listing, tells_an_eeprom_that_does_not_answer)
{
    const board_folder board(std::string(e2e::nor_board),
                             {{e2e::product_info_file, e2e::nor_content(e2e::no_product_records)}});
    EXPECT_EQ(listed(board), (outcome{.output = no_header + crc_failed + not_read, .status = 1}));
    EXPECT_TRUE(e2e::untouched_nor_holds(board, e2e::no_product_records));
    // Five attempts at the header.
    EXPECT_EQ(board.operations("transfer /dev/i2c-0 address=0x56 write= = -1 ENXIO").size(), 5U);
}

TEST(tlv_listing, tells_an_eeprom_that_fails_behind_its_header)
{
    const auto image = extended_image(tlv_record(0x44, "A1"), 0x65302314);
    const auto board = board_with_eeprom(
        tlv_board + "[[fault]]\noperation = \"transfer\"\ncall = 2\ntimes = 5\nerror = \"EIO\"\n",
        eeprom_content(image, 0xFF));
    EXPECT_EQ(listed(board), (outcome{.output = crc_failed + not_read, .status = 1}));
}

TEST(tlv_listing, gets_over_four_failed_transfers_in_a_row)
{
    const auto image = extended_image(tlv_record(0x44, "A1"), 0x65302314);
    const auto board = board_with_eeprom(
        tlv_board + "[[fault]]\noperation = \"transfer\"\ntimes = 4\nerror = \"EIO\"\n" +
            "[[fault]]\noperation = \"transfer\"\ncall = 6\ntimes = 4\nerror = \"EIO\"\n",
        eeprom_content(image, 0xFF));
    EXPECT_EQ(listed(board), (outcome{.output = marker + shown_lines + "serial0=A1\n"}));
}

TEST(tlv_listing, shows_the_records_in_flash_first_and_marks_only_those_in_memory)
{
    const auto records =
        e2e::product_image(0x45D5A7C0, {"ProductInfo=0A0A0A0A", "SerialNO=ABCDEFGHJ1234"});
    const auto image = extended_image(tlv_record(0x44, "A1"), 0x65302314);
    const board_folder board(tlv_board, {{e2e::product_info_file, e2e::nor_content(records)},
                                         {e2e::system_eeprom_file, eeprom_content(image, 0xFF)}});
    EXPECT_EQ(listed(board), (outcome{.output = marker + "SerialNO=ABCDEFGHJ1234\r\n" +
                                                shown_lines + "serial0=A1\n"}));
    EXPECT_TRUE(e2e::untouched_nor_holds(board, records));
}

TEST(tlv_listing, needs_the_partition_of_the_product_information)
{
    const board_folder board("[[partition]]\nname = \"boot\"\n[[eeprom]]\naddress = 0x56\n");
    const std::string told =
        "init_product_info: can't find productinfo.\r\nSetmac init failed.\r\n";
    EXPECT_EQ(listed(board), (outcome{.output = told, .status = 1}));
    EXPECT_EQ(e2e::run_on_board(board, {e2e::tlv_prov_setmac, "setmac"}),
              (outcome{.output = told, .status = 1}));
    EXPECT_EQ(board.operations("open /dev/i2c-0"), std::vector<std::string>{});
}

TEST(tlv_listing, goes_by_any_other_name)
{
    const auto board = board_with_eeprom(
        tlv_board, eeprom_content(extended_image(tlv_record(0x44, "A1"), 0x65302314), 0xFF));
    const e2e::scratch_folder names;
    for (const char *name : {"setsn", "setmac", "prodinfo", "prov_setmac2"}) {
        const auto link = names.path() / name;
        std::filesystem::create_symlink(e2e::program_file("setmac-tlv"), link);
        // Arguments mean nothing to it.
        EXPECT_EQ(e2e::run_on_board(board, {link.string(), "setmac"}),
                  (outcome{.output = marker + shown_lines + "serial0=A1\n"}))
            << name;
    }
}

} // namespace
