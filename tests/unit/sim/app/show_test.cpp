#include "sim/app/show.h"
#include "sim/app/show_eeprom.h"
#include "sim/formats/tlv_info.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

namespace {

using bytes = std::vector<uint8_t>;

std::string tlv_info_text(bytes image)
{
    image.resize(256, 0xFF);
    std::ostringstream out;
    sim::show_tlv_info(image, out);
    return out.str();
}

std::string card_type_text(bytes content)
{
    content.resize(256, 0xFF);
    std::ostringstream out;
    sim::show_card_type(content, out);
    return out.str();
}

std::string board_text(const sim::board_description &description)
{
    sim::board board(description);
    std::ostringstream out;
    sim::show_board(board, out);
    return out.str();
}

} // namespace

TEST(sim_show, names_the_records_of_an_image)
{
    EXPECT_EQ(tlv_info_text(sim::encode_tlv_info({{0x23, {'A', 'B'}}, {0x2A, {0x00, 0x18}}})),
              "  TlvInfo image, valid\n"
              "  0x23   2 Serial Number     AB\n"
              "  0x2a   2 MAC Addresses     24\n"
              "  0xfe   4 CRC-32            0x89be17d1\n");
}

TEST(sim_show, shows_a_code_without_a_name_and_values_that_are_no_text)
{
    const std::string text = tlv_info_text(sim::encode_tlv_info(
        {{0x30, {0x01, 0xAB}}, {0x24, {0x00, 0xD0, 0xF8, 0xA1, 0xB2, 0xC3}}, {0x21, {'a', 0x1B}}}));
    EXPECT_NE(text.find("  0x30   2 (unnamed)         01 ab\n"
                        "  0x24   6 Base MAC Address  00 d0 f8 a1 b2 c3\n"
                        "  0x21   2 Product Name      a.\n"),
              std::string::npos)
        << text;
}

TEST(sim_show, shows_the_makers_own_records)
{
    const std::string text = tlv_info_text(sim::encode_tlv_info(
        {{0xFD, {0x00, 0x00, 0x7E, 0xD9, 0x44, 0x02, 'A', '1', 0x4A, 0x02, 0x00, 0x0E, 0x45}}}));
    EXPECT_NE(text.find("  0xfd  13 Vendor Extension  00 00 7e d9 44 02 41 31 4a 02 00 0e 45\n"
                        "    enterprise number 32473\n"
                        "    0x44   2  A1\n"
                        "    0x4a   2  00 0e\n"
                        "    the rest is no whole record\n"),
              std::string::npos)
        << text;
    const std::string short_one = tlv_info_text(sim::encode_tlv_info({{0xFD, {0x00, 0x00}}}));
    EXPECT_NE(short_one.find("    no room for an enterprise number\n"), std::string::npos)
        << short_one;
}

TEST(sim_show, tells_what_is_wrong_with_an_image_and_what_can_be_read)
{
    bytes image = sim::encode_tlv_info({{0x23, {'A', 'B'}}});
    image.back() = 0x00;
    EXPECT_EQ(tlv_info_text(image), "  TlvInfo image, invalid\n"
                                    "  ! the CRC-32 is 0xc09b0e00 in the place of 0xc09b0e8a\n"
                                    "  0x23   2 Serial Number     AB\n"
                                    "  0xfe   4 CRC-32            0xc09b0e00\n");
    EXPECT_EQ(tlv_info_text({'x'}), "  TlvInfo image, invalid\n"
                                    "  ! it does not begin with \"TlvInfo\" and a NUL\n");
}

TEST(sim_show, tells_the_card_type)
{
    EXPECT_EQ(card_type_text({0x02, 0x00, 0x00, 0x28, 0x00, 0x00, 0x00, 0x02}),
              "  Card type 42 (format 2, old form)\n");
    EXPECT_EQ(card_type_text({0x07}), "  Card type unknown: no record: it begins with 0x7 in the "
                                      "place of 0x1 or 0x2\n");
}

TEST(sim_show, shows_registers_and_the_state_of_protection)
{
    const std::string text =
        board_text({.eeproms = {{.address = 0x56, .lifted_by_cpld = {{0x25, {0xFB}}}},
                                {.address = 0x57, .content = {1, 0, 0, 5}},
                                {.address = 0x50,
                                 .content = {1, 0, 0, 5},
                                 .lifted_by_cpld = {{0x00, {0x07}}}}},
                    .cpld = {{.registers = {{0x00, 0x07}}}}});
    EXPECT_NE(text.find("\nCPLD registers (/dev/cpld0)\n  00  07 ff ff"), std::string::npos)
        << text;
    EXPECT_NE(text.find("\nEEPROM 0x56 on /dev/i2c-0, write-protected\n  blank\n"),
              std::string::npos)
        << text;
    EXPECT_NE(
        text.find("\nEEPROM 0x57 on /dev/i2c-0\n  Card type 5 (format 1, old form)\n  00  01 "),
        std::string::npos)
        << text;
    EXPECT_NE(text.find("\nEEPROM 0x50 on /dev/i2c-0, write protection lifted\n  00  01 "),
              std::string::npos)
        << text;
}

TEST(sim_show, decodes_what_is_behind_the_bridge)
{
    bytes record(44, 0);
    record[0] = 0x1F;
    record[1] = 'V';
    std::fill(record.begin() + 9, record.begin() + 27, 'S');
    record[28] = 0x00;
    record[29] = 0xE0;
    record[33] = 0x0C;
    record[34] = 0x01;
    record[37] = 0xFF;
    record[40] = 0x78;
    record[43] = 0x12;
    const bytes identity = {0x51, 'F', 'A', 'N', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x02, 0xA0};
    const std::string text = board_text(
        {.fpga = sim::fpga{
             .eeproms = {{.bus = 4,
                          .channel = 0,
                          .address = 0x52,
                          .kind = sim::bridge_eeprom::backplane,
                          .content = record},
                         {.bus = 3,
                          .channel = 1,
                          .address = 0x56,
                          .kind = sim::bridge_eeprom::fan,
                          .content = identity},
                         {.bus = 4, .channel = 5, .address = 0x52},
                         {.bus = 1, .channel = 0, .address = 0x50, .content = {0x41}}},
             .supplies = {{.channel = 0, .address = 0x58, .serial = "PS1", .revision = "A0\x1B"},
                          {.channel = 0, .address = 0x59, .present = false}},
             .registers = {{uint16_t{0x00C}, uint8_t{0}}}}});
    EXPECT_NE(text.find("\nBackplane EEPROM on the FPGA's bus 4, channel 0, address 0x52, write "
                        "protection lifted\n"
                        "  type              0x1f\n"
                        "  version           V\n"
                        "  serial number     SSSSSSSSSSSSSSSSSS\n"
                        "  MAC address       00:e0:00:00:00:0c\n"
                        "  serial settings   01 00 00 ff\n"
                        "  type 9 value      0x12000078\n"
                        "\nFan EEPROM on the FPGA's bus 3, channel 1, address 0x56, "
                        "write-protected\n"
                        "  model             0x51\n"
                        "  serial number     FAN\n"
                        "  hardware version  2.0a\n"
                        "\nPoE EEPROM on the FPGA's bus 4, channel 5, address 0x52\n"
                        "  blank\n"
                        "\nEEPROM on the FPGA's bus 1, channel 0, address 0x50\n"
                        "  00  41 ff "),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("\nPower supply on the FPGA's bus 4, channel 0, address 0x58\n"
                        "  serial number     PS1\n"
                        "  revision          A0.\n"
                        "\nPower supply on the FPGA's bus 4, channel 0, address 0x59\n"
                        "  not present\n"),
              std::string::npos)
        << text;
}

TEST(sim_show, shows_the_units_of_the_driver_library)
{
    const sim::board_description described = {
        .fans = {{.type = 0x8001, .sn = "F1", .hw = "1.23"}, {.present = false}},
        .supplies = {{.index = 4, .name = "PSU-550", .hw = "2.00"}},
        .cards = {{.card_type = 0x21, .hw = "3.00"}}};
    const std::string units = "\nFan 0 of the driver library\n"
                              "  type              0x8001\n"
                              "  serial number     F1\n"
                              "  hardware version  1.23\n"
                              "\nFan 1 of the driver library\n"
                              "  not present\n"
                              "\nPower supply 4 of the driver library\n"
                              "  name              PSU-550\n"
                              "  hardware version  2.00\n"
                              "\nSub-card 0 of the driver library\n"
                              "  card type         0x21\n"
                              "  serial number     (empty)\n"
                              "  hardware version  3.00\n";
    EXPECT_TRUE(board_text(described).ends_with(units)) << board_text(described);
    sim::board board(described);
    board.backplane(2)[0] = 0x07;
    std::ostringstream out;
    sim::show_board(board, out);
    EXPECT_NE(out.str().find(units + "\nBackplane EEPROM 2 of the driver library\n"
                                     "  type              0x07\n"),
              std::string::npos)
        << out.str();
}
