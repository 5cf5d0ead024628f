#include "sim/description/board_file.h"
#include "sim/description/layouts.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace {

sim::board_description parse(std::string_view text)
{
    return sim::parse_board_file(text, "board.toml");
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
no_erase = [1]
no_write = [2, 3]
no_read = [4]
read_only = true
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
    EXPECT_EQ(second.no_erase, (std::vector<uint32_t>{1}));
    EXPECT_EQ(second.no_write, (std::vector<uint32_t>{2, 3}));
    EXPECT_EQ(second.no_read, (std::vector<uint32_t>{4}));
    EXPECT_TRUE(second.read_only);
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
answered_writes = 3
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
[[fault]]
operation = "erase"
signal = "SIGTERM"
)");
    EXPECT_EQ(board.i2c_bus, "/dev/i2c-2");
    ASSERT_EQ(board.eeproms.size(), 1U);
    EXPECT_EQ(board.eeproms[0].address, 0x56);
    EXPECT_EQ(board.eeproms[0].content, (std::vector<uint8_t>{0x54, 0x6C, 0x76}));
    EXPECT_EQ(board.eeproms[0].page_size, 16U);
    EXPECT_EQ(board.eeproms[0].write_cycle_ms, 10U);
    EXPECT_EQ(board.eeproms[0].answered_writes, 3U);
    EXPECT_EQ(board.driver.init_result, -3);
    EXPECT_EQ(board.cut_after, 1000U);
    ASSERT_EQ(board.faults.size(), 3U);
    EXPECT_EQ(board.faults[0].operation, "write");
    EXPECT_EQ(board.faults[0].path, "/dev/mtd1");
    EXPECT_EQ(board.faults[0].call, 2U);
    EXPECT_EQ(board.faults[0].times, 0U);
    EXPECT_EQ(board.faults[0].error, ENOSPC);
    EXPECT_EQ(board.faults[1].short_to, 0U);
    EXPECT_EQ(board.faults[1].signal, 0);
    EXPECT_EQ(board.faults[2].signal, SIGTERM);
}

TEST(sim_board_file, makes_a_tlv_info_image_of_records)
{
    const auto board = parse(R"(
[[eeprom]]
address = 0x56
[[eeprom.tlv]]
code = 0x23
text = "AB"
[[eeprom.tlv]]
code = 0x2A
hex = "00 18"
)");
    EXPECT_EQ(board.eeproms[0].content,
              (std::vector<uint8_t>{0x54, 0x6C, 0x76, 0x49, 0x6E, 0x66, 0x6F, 0x00, 0x01,
                                    0x00, 0x0E, 0x23, 0x02, 0x41, 0x42, 0x2A, 0x02, 0x00,
                                    0x18, 0xFE, 0x04, 0x89, 0xBE, 0x17, 0xD1}));
}

TEST(sim_board_file, makes_a_card_type_record_of_a_form)
{
    const auto board = parse(R"(
[[eeprom]]
address = 0x57
card_type = 14
[[eeprom]]
address = 0x50
card_type = 5
form = "legacy"
)");
    EXPECT_EQ(board.eeproms[0].content,
              (std::vector<uint8_t>{0x01, 0x7E, 0x00, 0xF1, 0x00, 0x06, 0x06, 0x04, 0x00, 0x00,
                                    0x00, 0x0E, 0x01, 0x8E}));
    EXPECT_EQ(board.eeproms[1].content, (std::vector<uint8_t>{0x01, 0x00, 0x00, 0x05}));
}

TEST(sim_board_file, takes_a_content_from_a_file_in_its_folder)
{
    std::string name = std::filesystem::temp_directory_path() / "sim_board_file_XXXXXX";
    const std::filesystem::path folder = mkdtemp(name.data());
    const auto write = [&](const char *file, const std::string &content) {
        std::ofstream(folder / file, std::ios::binary) << content;
    };
    write("small.bin", std::string("A\0B", 3));
    write("full.bin", std::string(256, 'x'));
    write("large.bin", std::string(257, 'x'));
    const auto content_of = [&](const std::string &file) {
        const auto text = "[[eeprom]]\naddress = 8\ncontent_file = \"" + file + "\"\n";
        return sim::parse_board_file(text, "board.toml", folder).eeproms[0].content;
    };
    const auto mistake_of = [&](const std::string &file) -> std::string {
        try {
            content_of(file);
        } catch (const sim::board_file_error &wrong) {
            return wrong.what();
        }
        return "no mistake";
    };
    EXPECT_EQ(content_of("small.bin"), (std::vector<uint8_t>{'A', 0, 'B'}));
    EXPECT_EQ(content_of("full.bin"), std::vector<uint8_t>(256, 'x'));
    EXPECT_EQ(mistake_of("large.bin"),
              "board.toml:3: " + (folder / "large.bin").string() + " holds more than 256 bytes");
    EXPECT_EQ(mistake_of("none.bin"),
              "board.toml:3: " + (folder / "none.bin").string() + " cannot be read");
    EXPECT_EQ(mistake_of("."), "board.toml:3: " + (folder / ".").string() + " cannot be read");
    std::filesystem::remove_all(folder);
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

TEST(sim_board_file, describes_an_fpga_and_what_is_behind_its_bridge)
{
    const auto board = parse(R"(
[fpga]
registers = { 0x00C = 0, 0x1B = 0x81 }
[[fpga.eeprom]]
bus = 4
channel = 1
address = 0x54
kind = "backplane"
content = "1f 56"
write_cycle_ms = 7
[[fpga.eeprom]]
bus = 3
channel = 0
address = 0x56
kind = "fan"
[[fpga.eeprom]]
bus = 4
channel = 5
address = 0x52
[[fpga.supply]]
channel = 2
address = 0x59
present = false
serial = "PS01"
revision = "A01"
[[fpga.trouble]]
bus = 4
channel = 1
address = 0x54
what = "busy"
call = 2
times = 0
polls = 5
[[fpga.trouble]]
bus = 3
channel = 0
address = 0x68
what = "stick"
)");
    ASSERT_TRUE(board.fpga.has_value());
    const sim::fpga &fpga = *board.fpga;
    EXPECT_EQ(fpga.registers, (std::map<uint16_t, uint8_t>{{0x00C, 0}, {0x1B, 0x81}}));
    ASSERT_EQ(fpga.eeproms.size(), 3U);
    EXPECT_EQ(sim::place_of(fpga.eeproms[0]), (sim::bridge_place{4, 1, 0x54}));
    EXPECT_EQ(fpga.eeproms[0].kind, sim::bridge_eeprom::backplane);
    EXPECT_EQ(fpga.eeproms[0].content, (std::vector<uint8_t>{0x1F, 0x56}));
    EXPECT_EQ(fpga.eeproms[0].write_cycle_ms, 7U);
    EXPECT_EQ(fpga.eeproms[1].kind, sim::bridge_eeprom::fan);
    EXPECT_EQ(fpga.eeproms[1].write_cycle_ms, 5U);
    EXPECT_EQ(fpga.eeproms[2].kind, sim::bridge_eeprom::plain);
    ASSERT_EQ(fpga.supplies.size(), 1U);
    EXPECT_EQ(sim::place_of(fpga.supplies[0]), (sim::bridge_place{4, 2, 0x59}));
    EXPECT_FALSE(fpga.supplies[0].present);
    EXPECT_EQ(fpga.supplies[0].serial, "PS01");
    EXPECT_EQ(fpga.supplies[0].revision, "A01");
    ASSERT_EQ(fpga.troubles.size(), 2U);
    EXPECT_EQ(sim::place_of(fpga.troubles[0]), (sim::bridge_place{4, 1, 0x54}));
    EXPECT_EQ(fpga.troubles[0].what, sim::bridge_trouble::busy);
    EXPECT_EQ(fpga.troubles[0].call, 2U);
    EXPECT_EQ(fpga.troubles[0].times, 0U);
    EXPECT_EQ(fpga.troubles[0].polls, 5U);
    EXPECT_EQ(fpga.troubles[1].what, sim::bridge_trouble::stick);
    EXPECT_EQ(fpga.troubles[1].call, 1U);
    EXPECT_EQ(fpga.troubles[1].times, 1U);
    EXPECT_FALSE(parse("").fpga.has_value());
    EXPECT_TRUE(parse("[fpga]").fpga.has_value());
}

TEST(sim_board_file, describes_the_units_of_the_driver_library)
{
    const auto board = parse(R"(
[driver]
own_card_type = 14
[[fan]]
index = 3
type = 0x80112233
sn = "F1"
hw = "1.00"
[[fan]]
present = false
[[supply]]
name = "PSU-550"
hw = "2.00"
[[card]]
card_type = 0x99
sn = "C1"
hw = "3.00"
[[fault]]
operation = "drv_set_fan_info"
result = -5
)");
    EXPECT_EQ(board.own_card_type, 14);
    ASSERT_EQ(board.fans.size(), 2U);
    EXPECT_EQ(board.fans[0].index, 3);
    EXPECT_TRUE(board.fans[0].present);
    EXPECT_EQ(board.fans[0].type, 0x80112233U);
    EXPECT_EQ(board.fans[0].sn, "F1");
    EXPECT_EQ(board.fans[0].hw, "1.00");
    EXPECT_EQ(board.fans[1].index, std::nullopt);
    EXPECT_FALSE(board.fans[1].present);
    ASSERT_EQ(board.supplies.size(), 1U);
    EXPECT_EQ(board.supplies[0].name, "PSU-550");
    EXPECT_EQ(board.supplies[0].hw, "2.00");
    ASSERT_EQ(board.cards.size(), 1U);
    EXPECT_EQ(board.cards[0].card_type, 0x99U);
    EXPECT_EQ(board.cards[0].sn, "C1");
    EXPECT_EQ(board.cards[0].hw, "3.00");
    ASSERT_EQ(board.faults.size(), 1U);
    EXPECT_EQ(board.faults[0].result, -5);
    EXPECT_EQ(board.faults[0].error, 0);
}

TEST(sim_board_file, an_empty_file_is_a_bare_board)
{
    EXPECT_TRUE(parse("").partitions.empty());
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
        const bool tlv = name.starts_with("tlv");
        EXPECT_EQ(board.eeproms[0].is_protected(), tlv) << name;
        EXPECT_EQ(board.cpld.has_value(), tlv) << name;
        EXPECT_EQ(board.eeproms[0].content.empty(), name != "tlv-named") << name;
        EXPECT_FALSE(board.eeproms[1].is_protected());
        EXPECT_EQ(board.fpga.has_value(), name == "chassis") << name;
        EXPECT_EQ(board.fans.size(), name == "chassis-driver" ? 2U : 0U) << name;
        EXPECT_EQ(board.supplies.size(), name == "chassis-driver" ? 2U : 0U) << name;
        EXPECT_EQ(board.cards.size(), name.starts_with("chassis") ? 1U : 0U) << name;
    }
    const auto chassis = parse(sim::layout("chassis").value());
    EXPECT_EQ(chassis.fpga->eeproms.size(), 5U) << "backplane twice, two fans, PoE";
    EXPECT_EQ(chassis.fpga->supplies.size(), 2U);
    EXPECT_TRUE(chassis.fpga->troubles.empty());
    EXPECT_FALSE(sim::layout("plum").has_value());
}
