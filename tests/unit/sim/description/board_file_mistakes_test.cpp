#include "sim/description/board_file.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>

namespace {

/** What the reader of a wrong file is told. */
std::string mistake_in(std::string_view text)
{
    try {
        sim::parse_board_file(text, "board.toml");
    } catch (const sim::board_file_error &wrong) {
        return wrong.what();
    }
    return "no mistake";
}

} // namespace

TEST(sim_board_file_mistakes, tells_line_and_expectation_of_each_mistake_of_contents)
{
    const std::string chip = "[[eeprom]]\naddress = 8\n";
    const std::string record = chip + "[[eeprom.tlv]]\n";
    const std::pair<std::string, const char *> wrong[] = {
        {chip + "content = \"00\"\ncard_type = 1",
         "board.toml:4: either content or card_type must be given, and not both"},
        {chip + "content = \"00\"\ncontent_file = \"x\"",
         "board.toml:4: either content or content_file must be given, and not both"},
        {chip + "card_type = 1\n[[eeprom.tlv]]\ncode = 0x21\ntext = \"a\"",
         "board.toml:3: either tlv or card_type must be given, and not both"},
        {chip + "form = \"tlv\"", "board.toml:3: form belongs to a card_type, which is missing"},
        {chip + "card_type = 1\nform = \"plum\"",
         "board.toml:4: form must be \"tlv\", \"direct\", \"format2\", \"legacy\" or \"legacy2\""},
        {chip + "card_type = 241\nform = \"direct\"",
         "board.toml:3: form \"direct\" cannot hold card type 241"},
        {chip + "card_type = -1",
         "board.toml:3: card_type must be a whole number from 0 to 4294967295"},
        {chip + "tlv = 5",
         "board.toml:3: tlv must be a list of tables, each headed [[eeprom.tlv]]"},
        {record + "text = \"a\"", "board.toml:3: code is missing"},
        {record + "code = 0x21", "board.toml:3: either text or hex must be given, and not both"},
        {record + "code = 0x21\ntext = \"a\"\nhex = \"41\"",
         "board.toml:6: either text or hex must be given, and not both"},
        {record + "code = 0x21\nhex = \"4\"",
         "board.toml:5: hex must be pairs of hexadecimal digits"},
        {record + "code = 256\ntext = \"a\"",
         "board.toml:4: code must be a whole number from 0 to 255"},
        {record + "code = 0xFE\ntext = \"a\"",
         "board.toml:4: the CRC record, code 0xfe, is added by itself"},
        {record + "code = 0\ntext = \"a\"", "board.toml:4: code 0x0 begins no record"},
        {record + "code = 0x21\ntext = \"" + std::string(256, 'a') + "\"",
         "board.toml:4: a record holds at most 255 bytes"},
        {record + "code = 0x21\ntext = \"" + std::string(119, 'a') +
             "\"\n[[eeprom.tlv]]\ncode = 0x22\ntext = \"" + std::string(117, 'a') + "\"",
         "board.toml:3: the records take 246 bytes with the CRC record, but there is room for 245"},
        {record + "code = 0x21\nvalue = 1",
         "board.toml:5: value is not known here; known are code hex text"},
    };
    for (const auto &[text, message] : wrong) {
        EXPECT_EQ(mistake_in(text), message) << text;
    }
}

TEST(sim_board_file_mistakes, tells_line_and_expectation_of_each_mistake)
{
    const std::pair<const char *, const char *> wrong[] = {
        {"\nx = 1",
         "board.toml:2: x is not known here; known are card console cpld driver eeprom fan "
         "fault fpga i2c_bus partition power supply"},
        {"i2c_bus = 7", "board.toml:1: i2c_bus must be a text in quotes"},
        {"i2c_bus = \"/dev/spi\"", "board.toml:1: i2c_bus must begin with \"/dev/i2c-\""},
        {"partition = 1",
         "board.toml:1: partition must be a list of tables, each headed [[partition]]"},
        {"[partition]\nname = \"a\"",
         "board.toml:1: partition must be a list of tables, each headed [[partition]]"},
        {"[[partition]]", "board.toml:1: name is missing"},
        {"[[partition]]\nname = 1", "board.toml:2: name must be a text in quotes"},
        {"[[partition]]\nname = \"a\"\ntype = \"nan\"",
         "board.toml:3: type must be \"nor\", \"nand\", \"ram\" or \"ubi\""},
        {"[[partition]]\nname = \"a\"\nblocks = \"4\"",
         "board.toml:3: blocks must be a whole number from 1 to 4294967295"},
        {"[[partition]]\nname = \"a\"\nerase_size = 0",
         "board.toml:3: erase_size must be a whole number from 1 to 4294967295"},
        {"[[partition]]\nname = \"a\"\nindex = -1",
         "board.toml:3: index must be a whole number from 0 to 999"},
        {"[[partition]]\nname = \"a\"\nbad = 1",
         "board.toml:3: bad must be a list of numbers, as [0, 5]"},
        {"[[partition]]\nname = \"a\"\nbad = [1.5]",
         "board.toml:3: each entry of bad must be a whole number from 0 to 4294967295"},
        {"[[partition]]\nname = \"a\"\nbad = [1]", "board.toml:1: only NAND flash has bad blocks"},
        {"[[partition]]\nname = \"a\"\ntype = \"nand\"\nbad = [4]",
         "board.toml:1: there is no block 4 to be bad: the last one is 3"},
        {"[[partition]]\nname = \"a\"\n[[partition]]\nname = \"b\"\nindex = 0",
         "board.toml:3: its index is below 0 or that of another partition"},
        {"[[partition]]\nname = \"a\"\nsize = 1",
         "board.toml:3: size is not known here; known are bad blocks erase_size index name "
         "no_erase no_read no_write page_size read_only type"},
        {"[[partition]]\nname = \"a\"\nno_read = [4]",
         "board.toml:1: there is no block 4 to be failing: the last one is 3"},
        {"[[eeprom]]", "board.toml:1: address is missing"},
        {"[[eeprom]]\naddress = 0x78",
         "board.toml:2: address must be a whole number from 8 to 119"},
        {"[[eeprom]]\naddress = 8\ncontent = \"5\"",
         "board.toml:3: content must be pairs of hexadecimal digits"},
        {"[[eeprom]]\naddress = 8\ncontent = \"5x\"",
         "board.toml:3: content must be pairs of hexadecimal digits"},
        {"[[eeprom]]\naddress = 8\n[[eeprom]]\naddress = 8",
         "board.toml:3: its address is that of another EEPROM"},
        {"[[fault]]\nerror = \"EIO\"", "board.toml:1: operation is missing"},
        {"[[fault]]\noperation = \"read\"\nerror = \"EWRONG\"",
         "board.toml:3: error must be the symbol of an error, as \"EIO\""},
        {"[[fault]]\noperation = \"read\"",
         "board.toml:1: one of error, short, result and signal must be given, and no other of "
         "them"},
        {"[[fault]]\noperation = \"read\"\nerror = \"EIO\"\nsignal = \"SIGTERM\"",
         "board.toml:1: one of error, short, result and signal must be given, and no other of "
         "them"},
        {"[[fault]]\noperation = \"read\"\nsignal = \"TERM\"",
         "board.toml:3: signal must be the symbol of a signal, as \"SIGTERM\""},
        {"[[fault]]\noperation = \"red\"\nshort = 1",
         "board.toml:1: operation must be one of open close read write lseek getinfo erase lock "
         "unlock getbadblock transfer slave dev_drv_init drv_set_e2_wr_pro "
         "drv_set_backplane_info drv_get_fan_status drv_get_power_status drv_get_sslot_state "
         "drv_get_fan_type drv_set_fan_info drv_set_fan_info_with_type drv_get_fan_sn "
         "drv_get_fan_hw_version drv_get_power_name drv_set_power_hw_version "
         "drv_get_power_hw_version drv_get_my_card_type drv_get_sub_unintlg_lc_info "
         "drv_set_sub_unintlg_info drv_get_sub_unintlg_sn drv_get_sub_unintlg_hw_ver ioctl any"},
        {"cpld = 1", "board.toml:1: cpld must be one table, headed [cpld]"},
        {"[cpld]\nregisters = 5",
         "board.toml:2: registers must be registers with values, as { 0x25 = 0xFF }"},
        {"[cpld]\nregisters = { 0x100 = 5 }",
         "board.toml:2: 0x100 is not the number of a register: 0 to 0xff"},
        {"[cpld]\nregisters = { 0x = 5 }",
         "board.toml:2: 0x is not the number of a register: 0 to 0xff"},
        {"[cpld]\nregisters = { 1 = 256 }",
         "board.toml:2: each value of registers must be a whole number from 0 to 255"},
        {"[[eeprom]]\naddress = 8\nlifted_by_cpld = { 1 = 2 }",
         "board.toml:3: lifted_by_cpld must be a list of numbers, as [0, 5]"},
        {"[[eeprom]]\naddress = 8\nlifted_by_cpld = { 1 = [256] }",
         "board.toml:3: each entry of lifted_by_cpld must be a whole number from 0 to 255"},
        {"[cpld]\n[[eeprom]]\naddress = 8\nlifted_by_cpld = { 1 = [] }",
         "board.toml:2: no value of register 0x1 lifts the protection"},
        {"[[eeprom]]\naddress = 8\nlifted_by_cpld = { 1 = [2] }",
         "board.toml:1: lifted_by_cpld needs a CPLD: [cpld] is missing"},
        {"[[eeprom]]\naddress = 8\nlifted_by_driver = 0",
         "board.toml:3: lifted_by_driver must be true or false"},
        {"[fpga]\nregisters = { 0x10000 = 5 }",
         "board.toml:2: 0x10000 is not the number of a register: 0 to 0xffff"},
        {"[fpga]\nregisters = { 0x400 = 5 }", "board.toml:1: its registers are 0 to 0x3FF"},
        {"[[fpga]]", "board.toml:1: fpga must be one table, headed [fpga]"},
        {"[fpga]\neeprom = 1",
         "board.toml:2: eeprom must be a list of tables, each headed [[fpga.eeprom]]"},
        {"[[fpga.eeprom]]\nchannel = 0\naddress = 0x52", "board.toml:1: bus is missing"},
        {"[[fpga.eeprom]]\nbus = 4\nchannel = 0\naddress = 0x78",
         "board.toml:4: address must be a whole number from 8 to 119"},
        {"[[fpga.eeprom]]\nbus = 4\nchannel = 0\naddress = 0x52\nkind = \"poe\"",
         "board.toml:5: kind must be \"plain\", \"backplane\" or \"fan\""},
        {"[[fpga.eeprom]]\nbus = 4\nchannel = 0\naddress = 0x58\n"
         "[[fpga.supply]]\nchannel = 0\naddress = 0x58",
         "board.toml:5: at its place behind the bridge there is another chip"},
        {"[[fpga.supply]]\naddress = 0x58", "board.toml:1: channel is missing"},
        {"[[fpga.supply]]\nchannel = 0\naddress = 0x57",
         "board.toml:1: the address of a supply must lie in 0x58 to 0x5F"},
        {"[[fpga.trouble]]\nbus = 4\nchannel = 0\naddress = 0x58", "board.toml:1: what is missing"},
        {"[[fpga.trouble]]\nbus = 4\nchannel = 0\naddress = 0x58\nwhat = \"burn\"",
         "board.toml:5: what must be \"busy\", \"fail\" or \"stick\""},
        {"[[fpga.trouble]]\nbus = 4\nchannel = 0\naddress = 0x58\nwhat = \"busy\"",
         "board.toml:1: busy needs polls: how often it is"},
        {"[[fan]]\n[[fan]]\nindex = 0",
         "board.toml:2: its index is below 0 or that of another fan"},
        {"[[fan]]\nsn = \"1234567890123456789012345\"",
         "board.toml:1: sn must not be longer than 24 bytes"},
        {"[[supply]]\nsn = \"1\"",
         "board.toml:2: sn is not known here; known are hw index name present"},
        {"[[card]]\ncard_type = -1",
         "board.toml:2: card_type must be a whole number from 0 to 4294967295"},
        {"[[fault]]\noperation = \"read\"\nresult = 1",
         "board.toml:1: result is for one operation of the driver library, as drv_set_fan_info"},
        {"driver = 1", "board.toml:1: driver must be one table, headed [driver]"},
        {"[driver]\ninit_result = 2147483648",
         "board.toml:2: init_result must be a whole number from -2147483648 to 2147483647"},
        {"[power]\ncut_after = -1",
         "board.toml:2: cut_after must be a whole number from 0 to 9223372036854775807"},
    };
    for (const auto &[text, message] : wrong) {
        EXPECT_EQ(mistake_in(text), message) << text;
    }
}

TEST(sim_board_file_mistakes, tells_the_line_of_a_file_that_is_no_toml)
{
    EXPECT_TRUE(mistake_in("\n\nname = \n").starts_with("board.toml:3: "))
        << mistake_in("\n\nname = \n");
}
