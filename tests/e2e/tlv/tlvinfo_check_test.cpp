#include <gtest/gtest.h>

#include "e2e/support/tlv_board.h"

// The checker that the images are held against: it must know a bad one when it sees one.

namespace {

using e2e::bytes;
using e2e::checked;
using e2e::eeprom_content;
using e2e::outcome;
using e2e::tlv_image;
using e2e::tlv_record;

/** The checker has found this fault, and has printed nothing. */
void expect_fault(const std::string &content, const std::string &fault)
{
    EXPECT_EQ(checked(content), (outcome{.errors = "not valid: " + fault + "\n", .status = 1}));
}

/** The same of an image, whatever stands behind it. */
void expect_image_fault(const std::string &image, const std::string &fault)
{
    expect_fault(eeprom_content(image, 0xFF), fault);
}

/** A well-formed image with one byte in another's place. */
std::string with_byte(std::size_t at, int value)
{
    std::string image = e2e::default_image;
    image.at(at) = static_cast<char>(value);
    return image;
}

TEST(tlvinfo_checker, tells_the_records_of_a_valid_image)
{
    const std::string told = "0x2B 74616c766578\n0x2C 636e\n0x2D 74616c766578\n0x2E 30\n0x2F 30\n"
                             "0x22 30303030\n0x29 30303030303030\n0x26 01\n0x27 3030\n"
                             "0x28 7838362d3634\n0xFE ed7d657e\n";
    EXPECT_EQ(checked(eeprom_content(e2e::default_image, 0x00)), (outcome{.output = told}));
    EXPECT_EQ(checked(eeprom_content(e2e::default_image, 0xA5)), (outcome{.output = told}));
}

TEST(tlvinfo_checker, tells_what_a_vendor_extension_consists_of)
{
    const auto image = tlv_image(
        tlv_record(0x21, "") + tlv_record(0xFD, bytes({0x00, 0x00, 0x7E, 0xD9}) +
                                                    tlv_record(0x44, "A1") + tlv_record(0x49, "")),
        0xBC171639);
    EXPECT_EQ(checked(eeprom_content(image, 0xFF)),
              (outcome{.output = "0x21\n0xFD 00007ed9440241314900\n  enterprise 32473\n"
                                 "  0x44 4131\n  0x49\n0xFE bc171639\n"}));
}

TEST(tlvinfo_checker, takes_the_largest_image_and_no_larger_one)
{
    const auto largest = tlv_image(tlv_record(0x21, std::string(237, 'M')), 0x06BD9168);
    ASSERT_EQ(largest.size(), 256U);
    EXPECT_EQ(checked(largest).status, 0);
    expect_image_fault(with_byte(10, 246), "a total length of 246");
    expect_image_fault(with_byte(9, 0x01), "a total length of 318");
}

TEST(tlvinfo_checker, wants_the_whole_eeprom)
{
    expect_fault(e2e::default_image, "73 bytes, not 256");
    expect_fault("", "0 bytes, not 256");
    expect_fault(std::string(257, '\xFF'), "257 bytes, not 256");
}

TEST(tlvinfo_checker, wants_the_header)
{
    expect_fault(std::string(256, '\xFF'), "the id string is not TlvInfo");
    expect_image_fault(with_byte(0, 't'), "the id string is not TlvInfo");
    expect_image_fault(with_byte(7, ' '), "the id string is not TlvInfo");
    expect_image_fault(with_byte(8, 2), "version 2, not 1");
    expect_image_fault(with_byte(8, 0), "version 0, not 1");
}

TEST(tlvinfo_checker, wants_records_back_to_back_up_to_the_total_length)
{
    expect_image_fault(with_byte(10, 61), "records: 0xfe runs past the end");
    expect_image_fault(with_byte(10, 63), "records: a single byte is left over");
    expect_image_fault(with_byte(12, 59), "records: a single byte is left over");
    expect_image_fault(with_byte(12, 200), "records: 0x2b runs past the end");
    expect_image_fault(with_byte(11, 0x00), "a record of the reserved type 0x00");
    expect_image_fault(with_byte(11, 0xFF), "a record of the reserved type 0xff");
}

TEST(tlvinfo_checker, wants_the_crc_record_at_the_end)
{
    expect_image_fault(with_byte(10, 56), "the last record is not the CRC-32");
    expect_image_fault(with_byte(10, 0), "the last record is not the CRC-32");
    expect_image_fault(with_byte(67, 0x30), "the last record is not the CRC-32");
    expect_image_fault(with_byte(68, 3), "records: a single byte is left over");
    expect_image_fault("TlvInfo" + bytes({0x00, 0x01, 0x00, 0x05}) + tlv_record(0xFE, "CRC"),
                       "0xfe has 3 bytes, not 4");
    const auto twice = tlv_record(0xFE, "CRC?");
    expect_image_fault(tlv_image(twice, 0), "0xfe stands there twice");
}

TEST(tlvinfo_checker, wants_the_crc_of_all_that_stands_before_it)
{
    expect_image_fault(with_byte(13, 'T'),
                       "CRC-32 0xed7d657e, but of these bytes it is 0xe93d131c");
    expect_image_fault(with_byte(72, 0x7F),
                       "CRC-32 0xed7d657f, but of these bytes it is 0xed7d657e");
    // The same number with its least significant byte first.
    expect_image_fault(tlv_image(e2e::default_records, 0x7E657DED),
                       "CRC-32 0x7e657ded, but of these bytes it is 0xed7d657e");
}

TEST(tlvinfo_checker, wants_each_type_once_and_fixed_sizes_where_there_are_any)
{
    const auto serial = tlv_record(0x23, "A1");
    expect_image_fault(tlv_image(serial + serial, 0), "0x23 stands there twice");
    expect_image_fault(tlv_image(tlv_record(0x24, "12345"), 0), "0x24 has 5 bytes, not 6");
    expect_image_fault(tlv_image(tlv_record(0x26, ""), 0), "0x26 has 0 bytes, not 1");
    expect_image_fault(tlv_image(tlv_record(0x2A, "123"), 0), "0x2a has 3 bytes, not 2");
    expect_image_fault(tlv_image(tlv_record(0x2C, "c"), 0), "0x2c has 1 bytes, not 2");
}

TEST(tlvinfo_checker, takes_a_date_of_19_characters_and_the_same_with_a_nul)
{
    const std::string date = "01/02/2024 03:04:05";
    EXPECT_EQ(checked(eeprom_content(tlv_image(tlv_record(0x25, date), 0xC33DD86D), 0xFF)).status,
              0);
    EXPECT_EQ(
        checked(eeprom_content(tlv_image(tlv_record(0x25, date + '\0'), 0x0F4F3842), 0xFF)),
        (outcome{.output = "0x25 30312f30322f323032342030333a30343a303500\n0xFE 0f4f3842\n"}));
    expect_image_fault(tlv_image(tlv_record(0x25, date + ' '), 0), "0x25 has 20 bytes, not 19");
    expect_image_fault(tlv_image(tlv_record(0x25, "01/02/2024"), 0), "0x25 has 10 bytes, not 19");
}

TEST(tlvinfo_checker, wants_vendor_extensions_that_add_up)
{
    expect_image_fault(tlv_image(tlv_record(0xFD, "123"), 0xC1013DF0),
                       "the vendor extension has no enterprise number");
    expect_image_fault(tlv_image(tlv_record(0xFD, "1234" + bytes({0x44, 0x03}) + "A1"), 0x845D9D95),
                       "vendor extension: 0x44 runs past the end");
    expect_image_fault(tlv_image(tlv_record(0xFD, "1234" + bytes({0x44})), 0x22448C1A),
                       "vendor extension: a single byte is left over");
}

TEST(tlvinfo_checker, ends_with_2_when_there_is_nothing_to_check)
{
    const std::string script = E2E_SOURCE_FOLDER "/tlv/tlvinfo_check.py";
    EXPECT_EQ(e2e::run({E2E_PYTHON, script}, {}),
              (outcome{.errors = "usage: " + script + " FILE\n", .status = 2}));
    EXPECT_EQ(e2e::run({E2E_PYTHON, script, "/nonexistent"}, {}).status, 2);
}

} // namespace
