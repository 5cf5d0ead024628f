#include "sim/board_file.h"
#include "sim/layouts.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

namespace {

sim::board_description parse(std::string_view text)
{
    return sim::parse_board_file(text, "board.toml");
}

/** What the reader of a wrong file is told. */
std::string mistake_in(std::string_view text)
{
    try {
        parse(text);
    } catch (const sim::board_file_error &wrong) {
        return wrong.what();
    }
    return "no mistake";
}

} // namespace

TEST(sim_board_file, describes_partitions)
{
    const auto board = parse(R"(
[[partition]]
name = "boot"

[[partition]]
name = "product_info"
type = "nand"
erase_size = 0x20000
blocks = 8
page_size = 4096
bad = [0, 7]
index = 5
)");
    ASSERT_EQ(board.partitions.size(), 2U);
    EXPECT_EQ(board.partitions[0].name, "boot");
    EXPECT_EQ(board.partitions[0].type, sim::nor);
    EXPECT_EQ(board.partitions[0].erase_size, 0x10000U);
    EXPECT_EQ(board.partitions[0].blocks, 4U);
    const auto &second = board.partitions[1];
    EXPECT_EQ(second.type, sim::nand);
    EXPECT_EQ(second.erase_size, 131072U);
    EXPECT_EQ(second.blocks, 8U);
    EXPECT_EQ(second.page_size, 4096U);
    EXPECT_EQ(second.bad, (std::vector<uint32_t>{0, 7}));
    EXPECT_EQ(second.index, 5);
}

TEST(sim_board_file, describes_eeproms_driver_power_and_faults)
{
    const auto board = parse(R"(
i2c_bus = "/dev/i2c-2"
[[eeprom]]
address = 0x56
content = "54 6c76"
page_size = 16
write_cycle_ms = 10
[driver]
init_result = -3
[power]
cut_after = 1000
[[fault]]
operation = "write"
path = "/dev/mtd1"
call = 2
times = 0
error = "ENOSPC"
[[fault]]
operation = "read"
short = 0
)");
    EXPECT_EQ(board.i2c_bus, "/dev/i2c-2");
    ASSERT_EQ(board.eeproms.size(), 1U);
    EXPECT_EQ(board.eeproms[0].address, 0x56);
    EXPECT_EQ(board.eeproms[0].content, (std::vector<uint8_t>{0x54, 0x6C, 0x76}));
    EXPECT_EQ(board.eeproms[0].page_size, 16U);
    EXPECT_EQ(board.eeproms[0].write_cycle_ms, 10U);
    EXPECT_EQ(board.driver.init_result, -3);
    EXPECT_EQ(board.cut_after, 1000U);
    ASSERT_EQ(board.faults.size(), 2U);
    EXPECT_EQ(board.faults[0].operation, "write");
    EXPECT_EQ(board.faults[0].path, "/dev/mtd1");
    EXPECT_EQ(board.faults[0].call, 2U);
    EXPECT_EQ(board.faults[0].times, 0U);
    EXPECT_EQ(board.faults[0].error, ENOSPC);
    EXPECT_EQ(board.faults[1].short_to, 0U);
}

TEST(sim_board_file, describes_a_cpld_and_what_lifts_a_write_protection)
{
    const auto board = parse(R"(
[cpld]
registers = { 0x25 = 0xF0, 49 = 7 }
[driver]
e2_wr_pro_result = -1
[[eeprom]]
address = 0x56
lifted_by_cpld = { 0x25 = [0xFB, 0xFA], 0x31 = [0] }
lifted_by_driver = true
[[eeprom]]
address = 0x57
)");
    ASSERT_TRUE(board.cpld.has_value());
    EXPECT_EQ(board.cpld->registers, (std::map<uint8_t, uint8_t>{{0x25, 0xF0}, {0x31, 7}}));
    EXPECT_EQ(board.driver.e2_wr_pro_result, -1);
    EXPECT_EQ(board.eeproms[0].lifted_by_cpld,
              (std::map<uint8_t, std::vector<uint8_t>>{{0x25, {0xFB, 0xFA}}, {0x31, {0}}}));
    EXPECT_TRUE(board.eeproms[0].lifted_by_driver);
    EXPECT_TRUE(board.eeproms[0].is_protected());
    EXPECT_FALSE(board.eeproms[1].is_protected());
    EXPECT_FALSE(parse("").cpld.has_value());
    EXPECT_TRUE(parse("[cpld]").cpld.has_value());
}

TEST(sim_board_file, an_empty_file_is_a_bare_board)
{
    EXPECT_TRUE(parse("").partitions.empty());
}

TEST(sim_board_file, tells_line_and_expectation_of_each_mistake)
{
    const std::pair<const char *, const char *> wrong[] = {
        {"\nx = 1", "board.toml:2: x is not known here; known are cpld driver eeprom fault "
                    "i2c_bus partition power"},
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
         "page_size type"},
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
         "board.toml:1: either error or short must be given, and not both"},
        {"[[fault]]\noperation = \"red\"\nshort = 1",
         "board.toml:1: operation must be one of open close read write lseek getinfo erase lock "
         "unlock getbadblock transfer slave dev_drv_init drv_set_e2_wr_pro ioctl any"},
        {"cpld = 1", "board.toml:1: cpld must be one table, headed [cpld]"},
        {"[cpld]\nregisters = 5",
         "board.toml:2: registers must be registers with values, as { 0x25 = 0xFF }"},
        {"[cpld]\nregisters = { 0x100 = 5 }",
         "board.toml:2: 0x100 is not the number of a register: 0 to 0xFF"},
        {"[cpld]\nregisters = { 0x = 5 }",
         "board.toml:2: 0x is not the number of a register: 0 to 0xFF"},
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

TEST(sim_board_file, tells_the_line_of_a_file_that_is_no_toml)
{
    EXPECT_TRUE(mistake_in("\n\nname = \n").starts_with("board.toml:3: "))
        << mistake_in("\n\nname = \n");
}

TEST(sim_board_file, can_read_each_board_that_is_made)
{
    ASSERT_EQ(sim::layout_names().front(), "nor");
    for (const auto name : sim::layout_names()) {
        const auto board = parse(sim::layout(name).value());
        const bool mirror = name.ends_with("-mirror");
        const auto &parts = board.partitions;
        EXPECT_EQ(parts.back().name, mirror ? "product_info_other" : "product_info") << name;
        EXPECT_EQ(parts.back().type, name.starts_with("nand") ? sim::nand : sim::nor) << name;
        EXPECT_EQ(board.eeproms.size(), 2U);
        EXPECT_TRUE(board.faults.empty());
    }
    EXPECT_FALSE(sim::layout("plum").has_value());
}
