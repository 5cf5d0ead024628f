#include "units/set_fan_sn.h"

#include <algorithm>

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

const byte_list fan_banner =
    bytes("Disconnect your console terminal first\r\n"
          " Using your PC SetFanSn program to perform SetFanSn Operation ......");
const byte_list poe_banner =
    bytes("Disconnect your console terminal first\r\n"
          " Using your PC SetPOESn program to perform SetPOESn Operation ......");

byte_list record(uint8_t index, uint8_t flag, uint8_t type, uint8_t channel, std::string_view sn,
                 std::string_view hw)
{
    return byte_list{index, flag, type, channel} + field(sn, 14) + field(hw, 5);
}

byte_list list(const std::vector<byte_list> &records)
{
    return support::record_list(4, records);
}

class fans : public support::unit_command {
protected:
    void SetUp() override
    {
        sim::fpga fpga;
        for (uint8_t channel = 0; channel < 3; ++channel) {
            fpga.eeproms.push_back(
                {.bus = 3, .channel = channel, .address = 0x56, .kind = sim::bridge_eeprom::fan});
        }
        fpga.eeproms.push_back({.bus = 4, .channel = 5, .address = 0x52});
        fit({.fpga = fpga});
        unit_command::SetUp();
    }

    byte_list identity(uint8_t bus, uint8_t channel, uint8_t address)
    {
        const auto content = board().bridge_eeprom(bus, channel, address);
        return {content.begin(), content.begin() + 16};
    }

    std::vector<std::pair<uint64_t, int>> register_writes()
    {
        std::vector<std::pair<uint64_t, int>> writes;
        for (const auto &done : board().log()) {
            if (done.name == "write") {
                writes.emplace_back(done.offset, done.data.at(0));
            }
        }
        return writes;
    }
};

TEST_F(fans, are_programmed_and_sent_back)
{
    const auto sent = list({record(1, 0, 0x51, 0, "FAN0000000001", "1.23"),
                            record(2, 0, 0x52, 1, "FAN00000000002", "2.0A")});
    const trace_log log;
    EXPECT_EQ(run(set_fan_info, list_message(sent) + acknowledged), fan_banner + list_answer(sent));
    EXPECT_EQ(identity(3, 0, 0x56),
              byte_list{0x51} + bytes("FAN0000000001") + (byte_list{0x01, 0x32}));
    EXPECT_EQ(identity(3, 1, 0x56),
              byte_list{0x52} + bytes("FAN0000000000") + (byte_list{0x02, 0xA0}))
        << "13 characters of 14 are programmed";
    const auto said = log.unnumbered();
    EXPECT_NE(said.find("[SETMAC <set_fanpoe_info>:<N>] Fan index 1\r\n"
                        "[SETMAC <set_fanpoe_info>:<N>] Fan flag 0\r\n"
                        "[SETMAC <set_fanpoe_info>:<N>] Fan type 81\r\n"
                        "[SETMAC <set_fanpoe_info>:<N>] Fan channel 0\r\n"
                        "[SETMAC <set_fanpoe_info>:<N>] Fan sn FAN0000000001\r\n"
                        "[SETMAC <set_fanpoe_info>:<N>] Fan hw 1.23\r\n"
                        "[SETMAC <set_fanpoe_info>:<N>] Fan index 2\r\n"),
              std::string::npos);
    EXPECT_NE(said.find("Fan sn FAN00000000002\r\n"), std::string::npos);
}

TEST_F(fans, of_poe_are_reached_without_write_protection)
{
    const auto sent = list({record(1, 0, 0x77, 5, "POE0000000001", "3.45")});
    EXPECT_EQ(run(set_poe_info, list_message(sent) + acknowledged), poe_banner + list_answer(sent));
    EXPECT_EQ(identity(4, 5, 0x52),
              byte_list{0x77} + bytes("POE0000000001") + (byte_list{0x03, 0x54}));
    for (const auto &[reg, value] : register_writes()) {
        EXPECT_FALSE(reg == 0x102 && value == 0x68);
    }
}

TEST_F(fans, write_goes_between_lifting_and_setting_the_protection)
{
    const byte_list data = {0xAA, 0xBB};
    EXPECT_EQ(_write_fan_serial(0, 2, 8, data.data(), 2), 0);
    EXPECT_EQ(
        register_writes(),
        (std::vector<std::pair<uint64_t, int>>{
            {0x100, 3},    {0x101, 2},    {0x102, 0x68}, {0x103, 0x0E}, {0x104, 1}, {0x140, 0},
            {0x105, 2},    {0x100, 3},    {0x101, 2},    {0x102, 0x56}, {0x103, 8}, {0x104, 2},
            {0x140, 0xAA}, {0x141, 0xBB}, {0x105, 2},    {0x100, 3},    {0x101, 2}, {0x102, 0x68},
            {0x103, 0x0E}, {0x104, 1},    {0x140, 1},    {0x105, 2}}));
}

TEST_F(fans, failed_write_sets_the_protection_again_and_is_told_in_the_flag)
{
    board().trouble({.bus = 3, .channel = 0, .address = 0x56, .what = sim::bridge_trouble::fail});
    const auto sent = list({record(1, 9, 0x51, 0, "FAN0000000001", "1.23"),
                            record(2, 9, 0x52, 1, "FAN0000000002", "1.23")});
    const auto back = list({record(1, 1, 0x51, 0, "FAN0000000001", "1.23"),
                            record(2, 0, 0x52, 1, "FAN0000000002", "1.23")});
    EXPECT_EQ(run(set_fan_info, list_message(sent) + acknowledged), fan_banner + list_answer(back));
    const auto writes = register_writes();
    EXPECT_EQ(writes.at(writes.size() - 2), (std::pair<uint64_t, int>{0x140, 1}));
    EXPECT_EQ(identity(3, 0, 0x56)[0], 0xFF);
    EXPECT_EQ(identity(3, 1, 0x56)[0], 0x52);
}

TEST_F(fans, absent_one_is_told_in_its_flag)
{
    const auto sent = list({record(1, 0, 0x51, 9, "FAN0000000001", "1.23")});
    const auto back = list({record(1, 1, 0x51, 9, "FAN0000000001", "1.23")});
    EXPECT_EQ(run(set_fan_info, list_message(sent) + acknowledged), fan_banner + list_answer(back));
}

TEST_F(fans, stuck_write_is_given_up_after_600_polls)
{
    board().trouble({.bus = 3, .channel = 0, .address = 0x56, .what = sim::bridge_trouble::stick});
    const uint8_t byte = 1;
    EXPECT_EQ(_write_fan_serial(0, 0, 0, &byte, 1), 2);
    EXPECT_EQ(board().count("read", "/dev/fpga0"), 1U + 600U + 1U);
}

TEST_F(fans, stuck_or_failed_read_is_a_failure)
{
    byte_list got(8);
    board().trouble(
        {.bus = 3, .channel = 0, .address = 0x56, .call = 1, .what = sim::bridge_trouble::fail});
    EXPECT_EQ(_read_fan_serial(0, 0, 0, got.data(), 8), 1);
    board().trouble({.bus = 3, .channel = 1, .address = 0x56, .what = sim::bridge_trouble::stick});
    board().clear_log();
    EXPECT_EQ(_read_fan_serial(0, 1, 0, got.data(), 8), 1);
    EXPECT_EQ(board().count("read", "/dev/fpga0"), 5000U);
}

TEST_F(fans, protection_that_cannot_be_set_is_a_failure)
{
    EXPECT_EQ(write_protect(1, 0), 0);
    EXPECT_EQ(write_protect(1, 9), 1);
}

TEST_F(fans, of_none_gives_an_empty_list)
{
    EXPECT_EQ(run(set_fan_info, list_message({0, 3, 0}) + acknowledged),
              fan_banner + (byte_list{0x06, 0x06, 0x20, 0x01, 3, 0, 3, 0, 3}));
    EXPECT_EQ(board().count("write"), 0U);
}

TEST_F(fans, list_longer_than_250_is_refused)
{
    EXPECT_EQ(run(set_fan_info, {0x20, 0x01, 251}), fan_banner + (byte_list{0x06, 0x28}));
}

TEST_F(fans, list_without_its_mark_is_refused)
{
    EXPECT_EQ(run(set_fan_info, list_message({0, 4, 0})), fan_banner + (byte_list{0x06, 0x29}));
    EXPECT_EQ(run(set_fan_info, list_message({})), fan_banner + (byte_list{0x06, 0x29}));
}

TEST_F(fans, element_of_another_type_or_length_is_refused_before_any_is_programmed)
{
    for (const size_t at : {28U, 29U}) {
        auto sent = list({record(1, 0, 0x51, 0, "FAN0000000001", "1.23"),
                          record(2, 0, 0x52, 1, "FAN0000000002", "1.23")});
        sent[at] ^= 1;
        EXPECT_EQ(run(set_fan_info, list_message(sent)), fan_banner + (byte_list{0x06, 0x2B}));
    }
    EXPECT_EQ(board().count("write"), 0U);
}

TEST_F(fans, count_is_cut_to_what_was_received)
{
    auto sent = list({record(1, 0, 0x51, 0, "FAN0000000001", "1.23")});
    sent[0] = 7;
    const auto back = list({record(1, 0, 0x51, 0, "FAN0000000001", "1.23")});
    EXPECT_EQ(run(set_fan_info, list_message(sent) + acknowledged), fan_banner + list_answer(back));
    EXPECT_EQ(run(set_fan_info, list_message({200, 3}) + acknowledged),
              fan_banner + (byte_list{0x06, 0x06, 0x20, 0x01, 3, 0, 3, 0, 3}));
}

TEST_F(fans, nine_are_the_most_a_list_holds)
{
    std::vector<byte_list> nine;
    for (uint8_t i = 0; i < 9; ++i) {
        nine.push_back(record(i, 0, 0x51, static_cast<uint8_t>(i % 3), "FAN0000000001", "1.23"));
    }
    const auto sent = list(nine);
    EXPECT_EQ(sent.size(), 228U);
    EXPECT_EQ(run(set_fan_info, list_message(sent) + acknowledged), fan_banner + list_answer(sent));
}

TEST_F(fans, checksum_goes_on_over_a_resend)
{
    const byte_list payload = {0, 3, 0};
    EXPECT_EQ(run(set_fan_info, byte_list{0x20, 0x01, 3, 0, 3, 0, 0x55} + list_message(payload, 3) +
                                    acknowledged),
              fan_banner + (byte_list{0x06, 0x20, 0x06, 0x06, 0x20, 0x01, 3, 0, 3, 0, 3}));
}

TEST_F(fans, checksum_of_255_is_no_time_out)
{
    auto sent = list({record(0, 0, 0, 0, "", "")});
    uint8_t sum = 0;
    for (const uint8_t byte : sent) {
        sum = static_cast<uint8_t>(sum + byte);
    }
    sent[5] = static_cast<uint8_t>(0xFF - sum);
    ASSERT_EQ(with_sum(sent).back(), 0xFF);
    EXPECT_EQ(run(set_fan_info, list_message(sent) + acknowledged), fan_banner + list_answer(sent));
}

TEST_F(fans, time_out_in_the_payload_starts_again_with_the_sum_kept)
{
    EXPECT_EQ(run_with_pause(set_fan_info, {0x20, 0x01, 3, 0, 3},
                             list_message({0, 3, 0}, 3) + acknowledged),
              fan_banner + (byte_list{0x06, 0x06, 0x06, 0x20, 0x01, 3, 0, 3, 0, 3}));
}

TEST_F(fans, bytes_of_a_list_may_each_come_after_400_ms)
{
    EXPECT_EQ(run_timed(set_fan_info,
                        support::one_by_one(list_message({0, 3, 0}) + byte_list{0x06}, 400) +
                            support::timed_script{{900, {0x06}}}),
              fan_banner + (byte_list{0x06, 0x06, 0x20, 0x01, 3, 0, 3, 0, 3}));
}

TEST_F(fans, bytes_of_a_list_that_come_after_600_ms_are_too_late)
{
    EXPECT_EQ(run_timed(set_fan_info, {{0, {0x20}},
                                       {600, {0x01}}, // no header any more
                                       {0, {0x20, 0x01, 3, 0}},
                                       {600, {3}}, // no byte of the payload
                                       {0, {0x20, 0x01, 3, 0, 3, 0}},
                                       {600, {3}}, // no checksum, and so asked for again
                                       {0, list_message({0, 3, 0}, 3) + acknowledged}}),
              fan_banner +
                  (byte_list{0x06, 0x06, 0x06, 0x20, 0x06, 0x06, 0x20, 0x01, 3, 0, 3, 0, 3}));
}

TEST_F(fans, short_list_after_a_damaged_full_one_holds_nothing_of_that)
{
    auto full = list({record(1, 0, 0x51, 0, "FAN0000000001", "1.23")});
    full.resize(250, 0);
    auto damaged = list_message(full);
    damaged.back() ^= 0xFF;
    const uint8_t sum = list_message(full).back();
    EXPECT_EQ(run(set_fan_info, damaged + list_message({}, sum)),
              fan_banner + (byte_list{0x06, 0x20, 0x06, 0x29}))
        << "the mark of the first list is not that of the second";
    EXPECT_EQ(board().count("write"), 0U);
}

TEST_F(fans, answer_is_kept_back_from_a_pc_that_never_acknowledges)
{
    EXPECT_EQ(run(set_fan_info, list_message({0, 3, 0}) + byte_list(20, 0x55) + byte_list{0x06}),
              fan_banner + (byte_list{0x06, 0x06, 0x20}));
}

TEST_F(fans, acknowledge_may_be_the_20th_byte)
{
    EXPECT_EQ(run(set_fan_info, list_message({0, 3, 0}) + byte_list(19, 0x55) + acknowledged),
              fan_banner + (byte_list{0x06, 0x06, 0x20, 0x01, 3, 0, 3, 0, 3}));
}

TEST_F(fans, can_be_read_back_into_the_log)
{
    const auto sent = list({record(1, 0, 0x51, 0, "FAN0000000001", "1.2B")});
    run(set_fan_info, list_message(sent) + acknowledged);
    const trace_log log;
    EXPECT_EQ(print_fan_sn_info(0), 0);
    const auto said = log.unnumbered();
    EXPECT_EQ(said.substr(0, said.find("FAN2")),
              "[SETMAC <print_fan_sn_info>:<N>] FAN1 information...\r\n"
              "[SETMAC <print_fan_sn_info>:<N>]   Model            : 0x51\r\n"
              "[SETMAC <print_fan_sn_info>:<N>]   Serial Nummber   : FAN0000000001\r\n"
              "[SETMAC <print_fan_sn_info>:<N>]   Hardware Version : 1.2b\r\n\r\n"
              "[SETMAC <print_fan_sn_info>:<N>] ");
    EXPECT_NE(said.find("FAN10 information...\r\n"), std::string::npos);
}

} // namespace
