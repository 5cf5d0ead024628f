#include "units/set_power_sn.h"

#include <algorithm>
#include <cerrno>

#include "units_fixture.h"

namespace {

using support::acknowledged;
using support::byte_list;
using support::bytes;
using support::field;
using support::list_answer;
using support::list_message;
using support::operator+;
using support::trace_log;
using support::with_sum;

const byte_list banner =
    bytes("Disconnect your console terminal first\r\n"
          " Using your PC SetPowerSn program to perform SetPowerSn Operation ......");

byte_list record(uint8_t index, uint8_t channel, uint8_t address, std::string_view sn,
                 std::string_view hw, uint8_t flag = 0)
{
    return byte_list{index, channel, address} + field(sn, 14) + field(hw, 5) + byte_list{flag};
}

byte_list list(const std::vector<byte_list> &records)
{
    return support::record_list(5, records);
}

class powers : public support::unit_command {
protected:
    void SetUp() override
    {
        fit({.fpga = sim::fpga{.supplies = {{.channel = 0, .address = 0x58},
                                            {.channel = 1, .address = 0x59},
                                            {.channel = 2, .address = 0x58, .present = false}}}});
        unit_command::SetUp();
    }

    /** Registers and values written up to and with each command. */
    std::vector<std::vector<std::pair<uint64_t, int>>> commands()
    {
        std::vector<std::vector<std::pair<uint64_t, int>>> all(1);
        for (const auto &done : board().log()) {
            if (done.name == "write") {
                all.back().emplace_back(done.offset, done.data.at(0));
                if (done.offset == 0x105) {
                    all.emplace_back();
                }
            }
        }
        all.pop_back();
        return all;
    }
};

TEST_F(powers, short_list_after_a_damaged_full_one_holds_nothing_of_that)
{
    auto full = list({record(1, 0, 0x58, "PSSN000000001", "A01")});
    full.resize(250, 0);
    auto damaged = list_message(full);
    damaged.back() ^= 0xFF;
    const uint8_t sum = list_message(full).back();
    EXPECT_EQ(run(set_pwr_info, damaged + list_message({}, sum) + acknowledged),
              banner + (byte_list{0x06, 0x20}) + (list_answer({0, 3, 0})))
        << "the count of the first list is not that of the second";
    EXPECT_EQ(board().count("write"), 0U);
}

TEST_F(powers, are_written_read_back_and_sent_back)
{
    const auto sent =
        list({record(1, 0, 0x58, "PWR0000000001", "A01"), record(2, 1, 0x59, "PWR2", "B123")});
    const trace_log log;
    EXPECT_EQ(run(set_pwr_info, list_message(sent) + acknowledged), banner + list_answer(sent));
    const auto said = log.unnumbered();
    EXPECT_NE(said.find("[SETMAC <set_pwr_info>:<N>] Set 2 powers. \r\n"
                        "[SETMAC <set_pwr_info>:<N>] Power set index 1. \r\n"
                        "[SETMAC <set_pwr_info>:<N>] Power set channel 0. \r\n"
                        "[SETMAC <set_pwr_info>:<N>] Power set dev addr 88. \r\n"
                        "[SETMAC <set_pwr_info>:<N>] Power set sn PWR0000000001. \r\n"
                        "[SETMAC <set_pwr_info>:<N>] Power set hw A01. \r\n"
                        "[SETMAC <set_pwr_info>:<N>] Power set flag 0. \r\n"),
              std::string::npos);
    EXPECT_NE(said.find("[SETMAC <set_pwr_info>:<N>] Power get sn PWR2. \r\n"
                        "[SETMAC <set_pwr_info>:<N>] Power get hw B123. \r\n"
                        "[SETMAC <set_pwr_info>:<N>] Power get flag 0. \r\n"),
              std::string::npos);
}

TEST_F(powers, get_their_blocks_register_by_register)
{
    run(set_pwr_info, list_message(list({record(1, 1, 0x59, "PWR2", "A01")})) + acknowledged);
    const auto done = commands();
    ASSERT_EQ(done.size(), 4U);
    EXPECT_EQ(done[0], (std::vector<std::pair<uint64_t, int>>{{0x100, 4},
                                                              {0x101, 1},
                                                              {0x102, 0x59},
                                                              {0x103, 0x9B},
                                                              {0x104, 5},
                                                              {0x140, 4},
                                                              {0x141, 'A'},
                                                              {0x142, '0'},
                                                              {0x143, '1'},
                                                              {0x144, 0},
                                                              {0x105, 2}}));
    EXPECT_EQ(done[1].at(3), (std::pair<uint64_t, int>{0x103, 0x9E}));
    EXPECT_EQ(done[1].at(4), (std::pair<uint64_t, int>{0x104, 16}));
    EXPECT_EQ(done[1].at(5), (std::pair<uint64_t, int>{0x140, 15}));
    EXPECT_EQ(done[1].at(6), (std::pair<uint64_t, int>{0x141, 'P'}));
    EXPECT_EQ(done[1].at(10), (std::pair<uint64_t, int>{0x145, 0}));
    EXPECT_EQ(done[1].at(20), (std::pair<uint64_t, int>{0x14F, 0}));
    EXPECT_EQ(done[2],
              (std::vector<std::pair<uint64_t, int>>{
                  {0x100, 4}, {0x101, 1}, {0x102, 0x59}, {0x103, 0x9B}, {0x104, 5}, {0x105, 3}}));
    EXPECT_EQ(done[3].at(4), (std::pair<uint64_t, int>{0x104, 16}));
}

TEST_F(powers, serial_of_14_characters_carries_the_first_of_the_revision)
{
    const auto sent = list({record(1, 0, 0x58, "PWR00000000014", "A01")});
    const auto back = list({record(1, 0, 0x58, "PWR0000000001", "A01")});
    EXPECT_EQ(run(set_pwr_info, list_message(sent) + acknowledged), banner + list_answer(back))
        << "13 characters come back";
    EXPECT_EQ(commands()[1].at(20), (std::pair<uint64_t, int>{0x14F, 'A'}));
}

TEST_F(powers, serial_of_13_characters_carries_nothing_of_the_revision)
{
    run(set_pwr_info,
        list_message(list({record(1, 0, 0x58, "PWR0000000001", "A01")})) + acknowledged);
    EXPECT_EQ(commands()[1].at(20), (std::pair<uint64_t, int>{0x14F, 0}));
}

TEST_F(powers, absent_one_is_not_addressed)
{
    const auto sent = list({record(1, 2, 0x58, "PWR0000000001", "A01", 9)});
    const auto back = list({record(1, 2, 0x58, "PWR0000000001", "A01", 3)});
    const trace_log log;
    EXPECT_EQ(run(set_pwr_info, list_message(sent) + acknowledged), banner + list_answer(back));
    EXPECT_TRUE(commands().empty());
    EXPECT_NE(log.unnumbered().find("[SETMAC <set_pwr_info>:<N>] Power 1 is not present. \r\n"),
              std::string::npos);
    const auto &operations = board().log();
    const auto read =
        std::ranges::find_if(operations, [](const auto &done) { return done.name == "read"; });
    ASSERT_NE(read, operations.end());
    EXPECT_EQ(read->offset, 0x1DU);
}

TEST_F(powers, presence_bit_is_counted_from_58_modulo_32)
{
    for (const uint8_t address : byte_list{0x57, 0x00, 0x78, 0xFF}) {
        board().clear_log();
        const auto sent = list({record(1, 2, address, "P", "A", 0)});
        const auto back = list({record(1, 2, address, "P", "A", 3)});
        EXPECT_EQ(run(set_pwr_info, list_message(sent) + acknowledged), banner + list_answer(back));
    }
}

TEST_F(powers, flag_is_left_as_it_came_when_all_is_well)
{
    const auto sent = list({record(1, 0, 0x58, "PWR0000000001", "A01", 0x77)});
    EXPECT_EQ(run(set_pwr_info, list_message(sent) + acknowledged), banner + list_answer(sent));
}

TEST_F(powers, write_that_is_never_done_is_told_in_the_flag)
{
    board().trouble({.bus = 4, .channel = 0, .address = 0x58, .what = sim::bridge_trouble::stick});
    const auto sent = list(
        {record(1, 0, 0x58, "PWR0000000001", "A01"), record(2, 1, 0x59, "PWR0000000002", "A02")});
    const auto back = list({record(1, 0, 0x58, "PWR0000000001", "A01", 1),
                            record(2, 1, 0x59, "PWR0000000002", "A02")});
    const trace_log log;
    EXPECT_EQ(run(set_pwr_info, list_message(sent) + acknowledged), banner + list_answer(back));
    EXPECT_NE(log.unnumbered().find("[SETMAC <set_pwr_info>:<N>] Power 1 set info fail. \r\n"),
              std::string::npos);
}

TEST_F(powers, status_of_1_does_not_end_the_poll)
{
    board().trouble({.bus = 4, .channel = 0, .address = 0x58, .what = sim::bridge_trouble::fail});
    power_command block{};
    block.command = 0x9B;
    block.address = 0x58;
    block.length = 5;
    EXPECT_EQ(pwr_cmd_write(&block), 1);
    EXPECT_EQ(board().count("read", "/dev/fpga0"), 5000U);
}

TEST_F(powers, failed_read_back_is_told_in_the_flag)
{
    // The fourth command, the reading of the serial number, never comes to an end.
    board().trouble(
        {.bus = 4, .channel = 0, .address = 0x58, .call = 4, .what = sim::bridge_trouble::stick});
    const auto sent = list({record(1, 0, 0x58, "PWR0000000001", "A01")});
    const auto back = list({record(1, 0, 0x58, "PWR0000000001", "A01", 2)});
    const trace_log log;
    EXPECT_EQ(run(set_pwr_info, list_message(sent) + acknowledged), banner + list_answer(back));
    EXPECT_NE(log.unnumbered().find("[SETMAC <set_pwr_info>:<N>] Power 1 get info fail. \r\n"),
              std::string::npos);
}

TEST_F(powers, serial_is_read_though_the_revision_cannot_be)
{
    board().trouble(
        {.bus = 4, .channel = 0, .address = 0x58, .call = 3, .what = sim::bridge_trouble::stick});
    const auto sent = list({record(1, 0, 0x58, "PWR0000000001", "A01")});
    const auto back = list({record(1, 0, 0x58, "PWR0000000001", "A01", 2)});
    EXPECT_EQ(run(set_pwr_info, list_message(sent) + acknowledged), banner + list_answer(back));
    EXPECT_EQ(commands().size(), 4U);
}

TEST_F(powers, of_none_give_an_empty_list)
{
    EXPECT_EQ(run(set_pwr_info, list_message({0, 0, 0}) + acknowledged),
              banner + (byte_list{0x06, 0x06, 0x20, 0x01, 3, 0, 3, 0, 3}));
}

TEST_F(powers, list_longer_than_250_is_refused)
{
    EXPECT_EQ(run(set_pwr_info, {0x20, 0x01, 251}, 40), banner + (byte_list{0x06, 0x28}));
}

TEST_F(powers, more_than_8_are_refused)
{
    EXPECT_EQ(run(set_pwr_info, list_message({9, 0, 0}), 41), banner + (byte_list{0x06, 0x29}));
}

TEST_F(powers, eight_are_taken)
{
    const std::vector<byte_list> eight(8, record(1, 0, 0x58, "PWR0000000001", "A01"));
    EXPECT_EQ(run(set_pwr_info, list_message(list(eight)) + acknowledged),
              banner + list_answer(list(eight)));
}

TEST_F(powers, malformed_or_missing_element_is_refused_before_any_is_written)
{
    const trace_log log;
    for (const size_t at : {28U, 29U}) {
        auto sent = list({record(1, 0, 0x58, "PWR0000000001", "A01"),
                          record(2, 1, 0x59, "PWR0000000002", "A02")});
        sent[at] ^= 1;
        EXPECT_EQ(run(set_pwr_info, list_message(sent), 42), banner + (byte_list{0x06, 0x2A}));
    }
    auto missing = list({record(1, 0, 0x58, "PWR0000000001", "A01")});
    missing[0] = 2;
    EXPECT_EQ(run(set_pwr_info, list_message(missing), 42), banner + (byte_list{0x06, 0x2A}));
    EXPECT_TRUE(commands().empty());
    EXPECT_NE(
        log.unnumbered().find("[SETMAC <set_pwr_info>:<N>] Power has invalid data in 1. \r\n"),
        std::string::npos);
}

TEST_F(powers, answer_is_kept_back_from_a_pc_that_never_acknowledges)
{
    EXPECT_EQ(run(set_pwr_info, list_message({0, 0, 0}) + byte_list(20, 0x55)),
              banner + (byte_list{0x06, 0x06, 0x20}));
}

TEST_F(powers, checksum_goes_on_over_a_resend)
{
    EXPECT_EQ(run(set_pwr_info, byte_list{0x20, 0x01, 3, 0, 3, 0, 0x55} +
                                    list_message({0, 3, 0}, 3) + acknowledged),
              banner + (byte_list{0x06, 0x20, 0x06, 0x06, 0x20, 0x01, 3, 0, 3, 0, 3}));
}

} // namespace
