#include "unit/sim/parts/fpga_chassis.h"

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace fpga_chassis;

std::vector<sim::operation> bridge_log(const sim::board &board)
{
    std::vector<sim::operation> found;
    std::ranges::copy_if(board.log(), std::back_inserter(found),
                         [](const auto &one) { return one.name == "bridge"; });
    return found;
}

} // namespace

TEST(sim_bridge, writes_the_data_out_registers_to_the_chip_at_the_place)
{
    sim::board board(chassis());
    EXPECT_EQ(bridge_write(poe, 8, {1, 2, 3, 4, 5, 6, 7, 8}), done);
    EXPECT_EQ(head(board.bridge_eeprom(4, 5, 0x52).subspan(7), 10),
              (bytes{0xFF, 1, 2, 3, 4, 5, 6, 7, 8, 0xFF}));
    EXPECT_EQ(board.bridge_eeprom(4, 0, 0x52)[8], 0xFF) << "the same address on another channel";
}

TEST(sim_bridge, reads_into_the_data_in_registers)
{
    sim::board board(chassis());
    EXPECT_EQ(bridge_read(backplane, 0, 3), (bytes{0x11, 0x22, 0xFF}));
    EXPECT_EQ(bridge_read(backplane, 1, 1), bytes{0x22});
}

TEST(sim_bridge, a_write_wraps_inside_a_page_of_8)
{
    sim::board board(chassis());
    EXPECT_EQ(bridge_write(poe, 6, {1, 2, 3}), done);
    EXPECT_EQ(head(board.bridge_eeprom(4, 5, 0x52), 9),
              (bytes{3, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 0xFF}));
}

TEST(sim_bridge, a_write_of_nothing_is_done_and_changes_nothing)
{
    sim::board board(chassis());
    EXPECT_EQ(bridge_write(poe, 0, {}), done);
    EXPECT_EQ(board.bridge_eeprom(4, 5, 0x52)[0], 0xFF);
}

TEST(sim_bridge, fails_where_nobody_answers)
{
    sim::board board(chassis());
    EXPECT_EQ(bridge_write(nowhere, 0, {1}), failed);
    EXPECT_EQ(bridge_write({3, 5, 0x52}, 0, {1}), failed) << "another bus";
    EXPECT_EQ(bridge_write({4, 1, 0x5F}, 0x9E, block("A")), failed) << "an absent supply";
    EXPECT_EQ(get_register(status_register), failed) << "until the next command";
    EXPECT_EQ(bridge_log(board)[0].arguments,
              "write bus=4 channel=7 address=0x52 offset=0x0 length=1 data=01 outcome=absent");
}

TEST(sim_bridge, a_read_that_fails_leaves_the_data_in_registers)
{
    sim::board board(chassis());
    bridge_read(backplane, 0, 2);
    set_header(nowhere, 0, 2);
    set_register(0x105, reading);
    EXPECT_EQ(get_register(status_register), failed);
    EXPECT_EQ(data_in(2), (bytes{0x11, 0x22}));
}

TEST(sim_bridge, fails_a_transfer_that_is_longer_than_its_registers)
{
    sim::board board(chassis());
    EXPECT_EQ(bridge_write(poe, 0, bytes(64, 7)), done);
    set_header(poe, 0, 65);
    set_register(0x105, writing);
    EXPECT_EQ(get_register(status_register), failed);
}

TEST(sim_bridge, ignores_a_command_that_it_does_not_know)
{
    sim::board board(chassis());
    set_header(nowhere, 0, 1);
    set_register(0x105, 1);
    EXPECT_EQ(get_register(status_register), done);
    EXPECT_TRUE(bridge_log(board).empty());
}

TEST(sim_bridge, an_eeprom_does_not_answer_in_its_write_cycle)
{
    sim::board board(
        {.fpga = sim::fpga{
             .eeproms = {{.bus = 4, .channel = 5, .address = 0x52, .write_cycle_ms = 1000},
                         {.bus = 4, .channel = 6, .address = 0x52, .write_cycle_ms = 1000}}}});
    EXPECT_EQ(bridge_write(poe, 0, {1}), done);
    EXPECT_EQ(bridge_write(poe, 1, {2}), failed);
    EXPECT_EQ(bridge_write({4, 6, 0x52}, 1, {2}), done) << "each has its own";
    std::this_thread::sleep_for(std::chrono::milliseconds(1010));
    EXPECT_EQ(bridge_write(poe, 1, {3}), done);
    EXPECT_EQ(head(board.bridge_eeprom(4, 5, 0x52), 2), (bytes{1, 3}));
}

TEST(sim_bridge, each_command_is_logged_in_one_operation)
{
    sim::board board(chassis());
    bridge_write(poe, 8, {0xAB, 0xCD});
    bridge_read(backplane, 0, 2);
    const auto log = bridge_log(board);
    ASSERT_EQ(log.size(), 2U);
    EXPECT_EQ(log[0].path, "/dev/fpga0");
    EXPECT_EQ(log[0].bus, 4);
    EXPECT_EQ(log[0].channel, 5);
    EXPECT_EQ(log[0].address, 0x52);
    EXPECT_EQ(log[0].offset, 8U);
    EXPECT_EQ(log[0].length, 2U);
    EXPECT_EQ(log[0].data, (bytes{0xAB, 0xCD}));
    EXPECT_EQ(log[0].result, 0);
    EXPECT_EQ(log[0].arguments,
              "write bus=4 channel=5 address=0x52 offset=0x8 length=2 data=abcd outcome=done");
    EXPECT_EQ(log[1].arguments,
              "read bus=4 channel=0 address=0x52 offset=0x0 length=2 data=1122 outcome=done");
}

TEST(sim_bridge, a_power_cut_stops_a_write_between_two_bytes)
{
    sim::board board(chassis());
    set_header(poe, 0, 3);
    for (const uint8_t number : {uint8_t{1}, uint8_t{2}, uint8_t{3}}) {
        set_register(0x13F + number, number);
    }
    board.cut_after(2);
    const int fd = open("/dev/fpga0", O_RDWR);
    EXPECT_EQ(pwrite(fd, &writing, 1, 0x105), -1);
    close(fd);
    EXPECT_FALSE(board.powered());
    EXPECT_EQ(head(board.bridge_eeprom(4, 5, 0x52), 3), (bytes{1, 2, 0xFF}));
}

TEST(sim_bridge_protection, the_backplane_takes_writes_only_while_register_00C_is_0)
{
    sim::board board(chassis());
    EXPECT_TRUE(board.is_protected(4, 0, 0x52));
    EXPECT_EQ(bridge_write(backplane, 0, {0xAA}), done) << "it answers, and ignores what comes";
    EXPECT_EQ(board.bridge_eeprom(4, 0, 0x52)[0], 0x11);
    set_register(0x00C, 0);
    EXPECT_FALSE(board.is_protected(4, 0, 0x52));
    EXPECT_EQ(bridge_write(backplane, 0, {0xAB}), done);
    EXPECT_EQ(board.bridge_eeprom(4, 0, 0x52)[0], 0xAB);
    set_register(0x00C, 3);
    EXPECT_EQ(bridge_write(backplane, 0, {0xAC}), done);
    EXPECT_EQ(board.bridge_eeprom(4, 0, 0x52)[0], 0xAB);
}

TEST(sim_bridge_protection, the_device_beside_a_fan_lifts_and_restores_its_protection)
{
    sim::board board(chassis());
    EXPECT_TRUE(board.is_protected(3, 2, 0x56));
    EXPECT_EQ(bridge_read(fan_protection, 0x0E, 1), bytes{1});
    EXPECT_EQ(bridge_write(fan, 0, {0xAA}), done);
    EXPECT_EQ(board.bridge_eeprom(3, 2, 0x56)[0], 0xFF);
    EXPECT_EQ(bridge_write(fan_protection, 0x0E, {0}), done);
    EXPECT_FALSE(board.is_protected(3, 2, 0x56));
    EXPECT_EQ(bridge_write(fan, 0, {0xAB}), done);
    EXPECT_EQ(board.bridge_eeprom(3, 2, 0x56)[0], 0xAB);
    EXPECT_EQ(bridge_write(fan_protection, 0x0D, {1}), done);
    EXPECT_FALSE(board.is_protected(3, 2, 0x56)) << "another register of the device";
    EXPECT_EQ(bridge_write(fan_protection, 0x0E, {1}), done);
    EXPECT_TRUE(board.is_protected(3, 2, 0x56));
    EXPECT_EQ(bridge_write(fan_protection, 0x10, {0}), failed) << "it has 16 registers";
}

TEST(sim_bridge_protection, is_of_each_channel_alone)
{
    sim::board board(
        {.fpga = sim::fpga{
             .eeproms = {
                 {.bus = 3, .channel = 0, .address = 0x56, .kind = sim::bridge_eeprom::fan},
                 {.bus = 3, .channel = 1, .address = 0x56, .kind = sim::bridge_eeprom::fan}}}});
    EXPECT_EQ(bridge_write({3, 0, 0x68}, 0x0E, {0}), done);
    EXPECT_FALSE(board.is_protected(3, 0, 0x56));
    EXPECT_TRUE(board.is_protected(3, 1, 0x56));
}

TEST(sim_bridge_supply, answers_with_its_blocks)
{
    sim::board board(chassis());
    EXPECT_EQ(bridge_read(supply, 0x9B, 5), (bytes{3, 'A', '0', '0', 0xFF}));
    EXPECT_EQ(bridge_read(supply, 0x9E, 5), (bytes{4, 'P', 'S', '0', '1'}));
}

TEST(sim_bridge_supply, stores_the_blocks_that_are_written)
{
    sim::board board(chassis());
    EXPECT_EQ(bridge_write(supply, 0x9B, {4, 'A', '0', '1', 0}), done);
    EXPECT_EQ(bridge_write(supply, 0x9E, block("2102350ABC0001" + std::string(1, 'B'))), done);
    EXPECT_EQ(bridge_read(supply, 0x9B, 5), (bytes{4, 'A', '0', '1', 0}));
    EXPECT_EQ(bridge_read(supply, 0x9E, 16), block("2102350ABC0001B"));
    const auto stored = board.bridge_supply(1, 0x59);
    EXPECT_EQ(stored.revision, "A01") << "without the NUL at its end";
    EXPECT_EQ(stored.serial, "2102350ABC0001B");
    EXPECT_TRUE(stored.present);
}

TEST(sim_bridge_supply, keeps_a_block_that_is_not_written_whole)
{
    sim::board board(chassis());
    EXPECT_EQ(bridge_write(supply, 0x9E, {5, 'X', 'Y'}), done);
    EXPECT_EQ(board.bridge_supply(1, 0x59).serial, "PS01");
}

TEST(sim_bridge_supply, refuses_other_commands_and_blocks_of_more_than_32_bytes)
{
    sim::board board(chassis());
    EXPECT_EQ(bridge_write(supply, 0x9A, block("A")), failed);
    EXPECT_EQ(bridge_write(supply, 0x9E, block(std::string(33, 'A'))), failed);
    EXPECT_EQ(board.bridge_supply(1, 0x59).serial, "PS01");
    EXPECT_EQ(bridge_write(supply, 0x9E, block(std::string(32, 'A'))), done);
    EXPECT_EQ(board.bridge_supply(1, 0x59).serial, std::string(32, 'A'));
    EXPECT_EQ(bridge_log(board)[0].arguments, "write bus=4 channel=1 address=0x59 offset=0x9a "
                                              "length=2 data=0141 outcome=refused");
}

TEST(sim_bridge_supply, is_not_there_when_it_is_absent)
{
    sim::board board(chassis());
    EXPECT_THROW(board.bridge_supply(1, 0x5F), std::out_of_range);
}

TEST(sim_bridge_trouble, busy_is_done_after_so_many_polls)
{
    sim::board board(chassis());
    board.trouble(
        {.bus = 4, .channel = 0, .address = 0x52, .what = sim::bridge_trouble::busy, .polls = 2});
    set_header(backplane, 0, 2);
    set_register(0x105, reading);
    EXPECT_EQ(data_in(2), (bytes{0, 0})) << "nothing has come yet";
    EXPECT_EQ(get_register(status_register), busy);
    EXPECT_EQ(get_register(status_register), busy);
    EXPECT_EQ(get_register(status_register), done);
    EXPECT_EQ(data_in(2), (bytes{0x11, 0x22}));
    EXPECT_EQ(bridge_log(board)[0].arguments, "read bus=4 channel=0 address=0x52 offset=0x0 "
                                              "length=2 data=1122 busy=2 outcome=done");
}

TEST(sim_bridge_trouble, fail_does_nothing_and_can_be_busy_before)
{
    sim::board board(chassis());
    board.trouble(
        {.bus = 4, .channel = 5, .address = 0x52, .what = sim::bridge_trouble::fail, .polls = 1});
    EXPECT_EQ(bridge_write(poe, 0, {1}), busy);
    EXPECT_EQ(get_register(status_register), failed);
    EXPECT_EQ(get_register(status_register), failed);
    EXPECT_EQ(board.bridge_eeprom(4, 5, 0x52)[0], 0xFF);
    EXPECT_EQ(bridge_log(board)[0].result, 1);
    EXPECT_EQ(bridge_write(poe, 0, {1}), done) << "once only";
}

TEST(sim_bridge_trouble, stick_stays_busy_until_the_next_command)
{
    sim::board board(chassis());
    board.trouble({.bus = 4, .channel = 5, .address = 0x52, .what = sim::bridge_trouble::stick});
    EXPECT_EQ(bridge_write(poe, 0, {1}), busy);
    for (int i = 0; i < 6000; ++i) {
        ASSERT_EQ(get_register(status_register), busy);
    }
    EXPECT_EQ(board.bridge_eeprom(4, 5, 0x52)[0], 0xFF);
    EXPECT_EQ(bridge_log(board)[0].result, 2);
    EXPECT_EQ(bridge_read(backplane, 0, 1), bytes{0x11});
}

TEST(sim_bridge_trouble, strikes_the_commands_it_is_about)
{
    sim::board board(chassis());
    board.trouble({.bus = 4, .channel = 5, .address = 0x52, .call = 2, .times = 2});
    bytes seen;
    for (int i = 0; i < 4; ++i) {
        seen.push_back(bridge_write(poe, 0, {1}));
        EXPECT_EQ(bridge_write(fan, 0, {1}), done) << "another place";
    }
    EXPECT_EQ(seen, (bytes{done, failed, failed, done}));
    board.trouble({.bus = 4, .channel = 5, .address = 0x52, .call = 3, .times = 0});
    seen.clear();
    for (int i = 0; i < 5; ++i) {
        seen.push_back(bridge_write(poe, 0, {1}));
    }
    EXPECT_EQ(seen, (bytes{done, done, failed, failed, failed})) << "for ever";
}

TEST(sim_bridge_trouble, can_be_described)
{
    auto description = chassis();
    description.fpga->troubles = {{.bus = 4, .channel = 5, .address = 0x52}};
    sim::board board(description);
    EXPECT_EQ(bridge_write(poe, 0, {1}), failed);
    EXPECT_EQ(bridge_write(poe, 0, {1}), done);
}

TEST(sim_bridge_trouble, must_make_sense)
{
    sim::board board(chassis());
    EXPECT_THROW(board.trouble({.call = 0}), std::invalid_argument);
    EXPECT_THROW(board.trouble({.what = sim::bridge_trouble::busy}), std::invalid_argument);
}

TEST(sim_bridge, a_description_that_cannot_be_is_refused)
{
    using eeproms = std::vector<sim::bridge_eeprom>;
    using supplies = std::vector<sim::bridge_supply>;
    const auto is_refused = [](const sim::fpga &what) {
        EXPECT_THROW(sim::board({.fpga = what}), std::invalid_argument);
    };
    const sim::bridge_eeprom one = {.bus = 4, .channel = 0, .address = 0x58};
    is_refused({.eeproms = {one, one}});
    is_refused({.eeproms = {one}, .supplies = {{.channel = 0, .address = 0x58}}});
    is_refused({.eeproms = {{.bus = 3, .address = 0x68},
                            {.bus = 3, .address = 0x56, .kind = sim::bridge_eeprom::fan}}});
    is_refused({.eeproms = eeproms{{.address = 0x78}}});
    is_refused({.eeproms = eeproms{{.address = 0x50, .content = bytes(257, 0)}}});
    is_refused({.supplies = supplies{{.address = 0x57}}});
    is_refused({.supplies = supplies{{.channel = 0xE5, .address = 0x58}}});
    is_refused({.supplies = supplies{{.serial = std::string(33, 'A')}}});
    is_refused({.registers = {{uint16_t{0x400}, uint8_t{0}}}});
}
