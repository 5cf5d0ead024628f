#include "e2e/support/units_session.h"

// "prov_setmac setpwrsn": revision and serial number go into each power supply over PMBus, are read
// back, and come back with the outcome.

namespace {

using e2e::bytes;
using e2e::memory_is;
using e2e::repeated;
using e2e::unit_acknowledge;
using e2e::unit_answer_offer;
using e2e::unit_list;
using e2e::unit_message;
using e2e::unit_session;
using e2e::unit_start;

constexpr std::string_view greeting =
    "Disconnect your console terminal first\r\n"
    " Using your PC SetPowerSn program to perform SetPowerSn Operation ......";

constexpr std::string_view first_supply = R"toml(
[[fpga.supply]]
channel = 0
address = 0x58
serial = "OLD"
revision = "R0"
)toml";

constexpr std::string_view second_supply = R"toml(
[[fpga.supply]]
channel = 1
address = 0x5A
)toml";

const std::string two_supplies = std::string(first_supply).append(second_supply);

/** What goes wrong with a command to the first supply. */
std::string trouble(int call, const std::string &what)
{
    return "[[fpga.trouble]]\nbus = 4\nchannel = 0\naddress = 0x58\ncall = " +
           std::to_string(call) + "\nwhat = \"" + what + "\"\n";
}

std::string element(int index, int channel, int address, std::string_view sn, std::string_view hw,
                    int flag)
{
    return e2e::unit_element(5, bytes({index, channel, address}) + e2e::field(sn, 14) +
                                    e2e::field(hw, 5) + bytes({flag}));
}

/** What a supply holds: two blocks of a count and at most 32 bytes. */
std::string supply_holding(std::string_view revision, std::string_view serial)
{
    return e2e::field(revision, 33) + e2e::field(serial, 33);
}

const std::string as_delivered = supply_holding(bytes({0x02}) + "R0", bytes({0x03}) + "OLD");
const std::string first_blocks =
    supply_holding(bytes({0x04}) + "A01" + bytes({0x00}), bytes({0x0F}) + "PSU0123456789");
const std::string second_blocks =
    supply_holding(bytes({0x04}) + "B123", bytes({0x0F}) + "ABCDEFGHIJKLMNB");

/** Supplies 1 and 2; the second's serial number has 14 characters, and comes back with 13. */
const std::string first_element = bytes({0x05, 0x17, 0x01, 0x00, 0x58}) + "PSU0123456789" +
                                  bytes({0x00, 0x41, 0x30, 0x31, 0x00, 0x00, 0x00});
const std::string second_element_sent = bytes({0x05, 0x17, 0x02, 0x01, 0x5A}) + "ABCDEFGHIJKLMN" +
                                        bytes({0x42, 0x31, 0x32, 0x33, 0x00, 0x00});
const std::string second_element_read = bytes({0x05, 0x17, 0x02, 0x01, 0x5A}) + "ABCDEFGHIJKLM" +
                                        bytes({0x00, 0x42, 0x31, 0x32, 0x33, 0x00, 0x00});

const std::string two_supply_list = bytes({0x02, 0x03, 0x32}) + first_element + second_element_sent;
const std::string two_supply_message = bytes({0x01, 0x35}) + two_supply_list + bytes({0x8D});
const std::string two_supply_answer =
    bytes({0x01, 0x35, 0x02, 0x03, 0x32}) + first_element + second_element_read + bytes({0x3F});

/** A list of the first supply alone; with a flag in the answer. */
std::string one_supply_list(int flag)
{
    std::string list = bytes({0x01, 0x03, 0x19}) + first_element;
    list.back() = static_cast<char>(flag);
    return list;
}

/** The start, and a message that is all right; what is answered to it. */
void expect_answer(unit_session &pc, std::string_view message, std::string_view answer)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(message, unit_answer_offer);
    pc.exchange(unit_acknowledge, answer);
    pc.session.send(unit_acknowledge);
    pc.expect_saved();
}

/** A switch with supplies on channels 0 and 1. */
class setpwrsn : public testing::Test {
protected:
    void expect_error(std::string_view message, int error)
    {
        pc.exchange(unit_start, unit_acknowledge);
        pc.exchange(message, bytes({error}));
        pc.expect_unsaved();
        EXPECT_EQ(pc.board.operations("bridge "), std::vector<std::string>{});
    }

    void expect_programmed()
    {
        EXPECT_TRUE(memory_is(pc.board, "bridge-4-0-58.bin", first_blocks));
        EXPECT_TRUE(memory_is(pc.board, "bridge-4-1-5a.bin", second_blocks));
    }

    unit_session pc{two_supplies, "setpwrsn", greeting};
};

TEST_F(setpwrsn, programs_two_supplies_byte_by_byte_and_reads_them_back)
{
    pc.session.send(bytes({0x20}));
    pc.session.expect(bytes({0x06}));
    pc.session.send(bytes({0x01}));
    pc.session.send(bytes({0x35}));
    pc.session.send(bytes({0x02, 0x03, 0x32}));
    pc.session.send(bytes({0x05, 0x17, 0x01, 0x00, 0x58}) + "PSU0123456789" +
                    bytes({0x00, 0x41, 0x30, 0x31, 0x00, 0x00, 0x00}));
    pc.session.send(bytes({0x05, 0x17, 0x02, 0x01, 0x5A}) + "ABCDEFGHIJKLMN" +
                    bytes({0x42, 0x31, 0x32, 0x33, 0x00, 0x00}));
    pc.session.send(bytes({0x8D}));
    pc.session.expect(bytes({0x06, 0x20}));
    pc.session.send(bytes({0x06}));
    pc.session.expect(bytes({0x01, 0x35, 0x02, 0x03, 0x32}) +
                      bytes({0x05, 0x17, 0x01, 0x00, 0x58}) + "PSU0123456789" +
                      bytes({0x00, 0x41, 0x30, 0x31, 0x00, 0x00, 0x00}) +
                      bytes({0x05, 0x17, 0x02, 0x01, 0x5A}) + "ABCDEFGHIJKLM" +
                      bytes({0x00, 0x42, 0x31, 0x32, 0x33, 0x00, 0x00}) + bytes({0x3F}));
    pc.session.send(bytes({0x06}));
    pc.expect_saved();
    expect_programmed();
    EXPECT_EQ(pc.steps(), "[SETMAC <set_pwr_info>:<N>] Set 2 powers. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set index 1. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set channel 0. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set dev addr 88. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set sn PSU0123456789. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set hw A01. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set flag 0. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set index 2. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set channel 1. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set dev addr 90. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set sn ABCDEFGHIJKLMN. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set hw B123. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power set flag 0. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get index 1. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get channel 0. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get dev addr 88. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get sn PSU0123456789. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get hw A01. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get flag 0. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get index 2. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get channel 1. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get dev addr 90. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get sn ABCDEFGHIJKLM. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get hw B123. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power get flag 0. \r\n");
}

TEST_F(setpwrsn, answers_a_list_of_none_with_its_head_whatever_else_the_pc_put_there)
{
    pc.exchange(bytes({0x20}), bytes({0x06}));
    pc.exchange(bytes({0x01, 0x03, 0x00, 0x77, 0x88, 0xFF}), bytes({0x06, 0x20}));
    pc.exchange(bytes({0x06}), bytes({0x01, 0x03, 0x00, 0x03, 0x00, 0x03}));
    pc.session.send(bytes({0x06}));
    pc.expect_saved();
    EXPECT_EQ(pc.board.operations("bridge "), std::vector<std::string>{});
}

TEST_F(setpwrsn, leaves_the_flag_of_a_supply_that_is_well_as_it_came)
{
    expect_answer(pc, unit_message(one_supply_list(0x55)), unit_message(one_supply_list(0x55)));
}

TEST_F(setpwrsn, refuses_a_length_of_251_with_0x28_and_saves_nothing)
{
    expect_error(bytes({0x01, 0xFB}), 0x28);
}

TEST_F(setpwrsn, refuses_nine_supplies_with_0x29_and_saves_nothing)
{
    expect_error(bytes({0x01, 0x03, 0x09, 0x03, 0xE1, 0xED}), 0x29);
}

TEST_F(setpwrsn, refuses_an_element_of_another_type_with_0x2A_and_saves_nothing)
{
    std::string list = two_supply_list;
    list[28] = 0x04;
    expect_error(bytes({0x01, 0x35}) + list + bytes({0x8C}), 0x2A);
    EXPECT_EQ(pc.steps(), "[SETMAC <set_pwr_info>:<N>] Set 2 powers. \r\n"
                          "[SETMAC <set_pwr_info>:<N>] Power has invalid data in 1. \r\n");
}

TEST_F(setpwrsn, refuses_an_element_of_another_length_with_0x2A)
{
    std::string list = two_supply_list;
    list[4] = 0x18;
    expect_error(bytes({0x01, 0x35}) + list + bytes({0x8E}), 0x2A);
}

TEST_F(setpwrsn, refuses_an_element_that_did_not_come_with_0x2A)
{
    expect_error(unit_message(unit_list(2, first_element)), 0x2A);
}

TEST_F(setpwrsn, asks_for_a_list_of_a_wrong_sum_again_and_goes_on_adding_up)
{
    const std::string list = bytes({0x01, 0x35}) + two_supply_list;
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(list + bytes({0x8E}), bytes({0x20}));
    pc.exchange(unit_start, unit_acknowledge);
    // The sum of this attempt alone is not the one any more.
    pc.exchange(list + bytes({0x8D}), bytes({0x20}));
    // Three times 0x8D.
    expect_answer(pc, list + bytes({0xA7}), two_supply_answer);
    expect_programmed();
}

TEST_F(setpwrsn, starts_again_after_a_time_out_with_what_it_has_added_up)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.session.send(bytes({0x01, 0x35, 0x02, 0x03, 0x32, 0x05}));
    pc.session.expect_silence(700);
    // 02 + 03 + 32 + 05 + 8D
    expect_answer(pc, bytes({0x01, 0x35}) + two_supply_list + bytes({0xC9}), two_supply_answer);
    expect_programmed();
}

TEST_F(setpwrsn, ends_well_without_its_answer_when_20_bytes_do_not_acknowledge)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(two_supply_message, unit_answer_offer);
    pc.session.send(repeated(20, 0x20) + bytes({0x06}));
    pc.expect_saved();
    expect_programmed();
}

TEST(setpwrsn_list, of_eight_supplies_is_programmed)
{
    std::string supplies;
    std::string elements;
    for (int address = 0x58; address < 0x60; ++address) {
        supplies += "[[fpga.supply]]\nchannel = 2\naddress = " + std::to_string(address) + "\n";
        elements += element(address - 0x57, 2, address, "PSU", "C001", 0x00);
    }
    unit_session pc(supplies, "setpwrsn", greeting);
    const std::string list = unit_list(8, elements);
    ASSERT_EQ(list.size(), 203U);
    expect_answer(pc, unit_message(list), unit_message(list));
    for (const char last : std::string("89abcdef")) {
        EXPECT_TRUE(memory_is(pc.board, std::string("bridge-4-2-5") + last + ".bin",
                              supply_holding(bytes({0x04}) + "C001", bytes({0x0F}) + "PSU")));
    }
}

// Supplies that fail: the others are programmed.

TEST(setpwrsn_flag, is_3_for_a_supply_that_is_not_there_and_nothing_is_sent_to_it)
{
    unit_session pc(first_supply, "setpwrsn", greeting);
    std::string answer = two_supply_list;
    answer.back() = 0x03;
    expect_answer(pc, two_supply_message, bytes({0x01, 0x35}) + answer + bytes({0x90}));
    EXPECT_TRUE(memory_is(pc.board, "bridge-4-0-58.bin", first_blocks));
    EXPECT_EQ(pc.board.operations("bridge ").size(), 4U);
    EXPECT_TRUE(pc.steps().ends_with("[SETMAC <set_pwr_info>:<N>] Power 2 is not present. \r\n"));
}

TEST(setpwrsn_flag, is_3_for_an_address_below_those_of_supplies)
{
    unit_session pc(two_supplies, "setpwrsn", greeting);
    const auto list = [](int flag) {
        return unit_list(1, element(1, 0, 0x57, "PSU", "A01", flag));
    };
    expect_answer(pc, unit_message(list(0x00)), unit_message(list(0x03)));
    EXPECT_EQ(pc.board.operations("bridge "), std::vector<std::string>{});
}

TEST(setpwrsn_flag, is_3_for_all_without_the_fpga)
{
    unit_session pc("", "setpwrsn", greeting);
    expect_answer(pc, unit_message(one_supply_list(0x00)), unit_message(one_supply_list(0x03)));
}

TEST(setpwrsn_flag, is_1_for_a_supply_that_fails_at_its_first_block)
{
    unit_session pc(two_supplies + trouble(1, "fail"), "setpwrsn", greeting);
    std::string answer = bytes({0x02, 0x03, 0x32}) + first_element + second_element_read;
    answer[27] = 0x01;
    expect_answer(pc, two_supply_message, bytes({0x01, 0x35}) + answer + bytes({0x40}));
    EXPECT_TRUE(memory_is(pc.board, "bridge-4-0-58.bin", as_delivered));
    EXPECT_TRUE(memory_is(pc.board, "bridge-4-1-5a.bin", second_blocks));
    EXPECT_EQ(pc.board.operations("bridge ").size(), 5U);
}

TEST(setpwrsn_flag, is_1_for_a_supply_that_stays_busy_at_its_second_block)
{
    unit_session pc(std::string(first_supply) + trouble(2, "stick"), "setpwrsn", greeting);
    expect_answer(pc, unit_message(one_supply_list(0x00)), unit_message(one_supply_list(0x01)));
    EXPECT_TRUE(
        memory_is(pc.board, "bridge-4-0-58.bin",
                  supply_holding(bytes({0x04}) + "A01" + bytes({0x00}), bytes({0x03}) + "OLD")));
    EXPECT_TRUE(pc.steps().ends_with("[SETMAC <set_pwr_info>:<N>] Power 1 set info fail. \r\n"));
}

TEST(setpwrsn_flag, is_2_when_the_revision_is_not_read_back_and_the_serial_number_is)
{
    unit_session pc(std::string(first_supply) + trouble(3, "fail"), "setpwrsn", greeting);
    // What stays as sent is told by the fifth byte, which is not written.
    const auto list = [](std::string_view sn, int flag) {
        return unit_list(1, element(1, 0, 0x58, sn, "A0123", flag));
    };
    expect_answer(pc, unit_message(list("ABCDEFGHIJKLMN", 0x00)),
                  unit_message(list("ABCDEFGHIJKLM", 0x02)));
    EXPECT_TRUE(
        memory_is(pc.board, "bridge-4-0-58.bin",
                  supply_holding(bytes({0x04}) + "A012", bytes({0x0F}) + "ABCDEFGHIJKLMNA")));
    EXPECT_NE(pc.steps().find("[SETMAC <set_pwr_info>:<N>] Power 1 get info fail. \r\n"
                              "[SETMAC <set_pwr_info>:<N>] Power get index 1. \r\n"),
              std::string::npos);
    EXPECT_TRUE(pc.steps().ends_with("[SETMAC <set_pwr_info>:<N>] Power get flag 2. \r\n"));
}

} // namespace
