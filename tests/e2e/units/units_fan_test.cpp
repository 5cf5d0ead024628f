#include "e2e/support/units_session.h"

// "prov_setmac setfansn" and "setpoesn": records of units go into the EEPROM of each and come back
// with the outcome.

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

constexpr std::string_view fan_greeting =
    "Disconnect your console terminal first\r\n"
    " Using your PC SetFanSn program to perform SetFanSn Operation ......";
constexpr std::string_view poe_greeting =
    "Disconnect your console terminal first\r\n"
    " Using your PC SetPOESn program to perform SetPOESn Operation ......";

std::string fan_at(int channel)
{
    return "[[fpga.eeprom]]\nbus = 3\nchannel = " + std::to_string(channel) +
           "\naddress = 0x56\nkind = \"fan\"\n";
}

std::string trouble_at(int bus, int channel, const std::string &address, const std::string &what)
{
    return "[[fpga.trouble]]\nbus = " + std::to_string(bus) +
           "\nchannel = " + std::to_string(channel) + "\naddress = " + address + "\nwhat = \"" +
           what + "\"\n";
}

const std::string two_fans = fan_at(0) + fan_at(5);

std::string record(int index, int flag, int type, int channel, std::string_view sn,
                   std::string_view hw)
{
    return bytes({index, flag, type, channel}) + e2e::field(sn, 14) + e2e::field(hw, 5);
}

std::string element(int index, int flag, int channel)
{
    return e2e::unit_element(4, record(index, flag, 0x20, channel, "FAN", "1.00"));
}

const std::string image_of_element = bytes({0x20}) + "FAN" + repeated(10, 0x00) + bytes({1, 0});

/** An EEPROM that held nothing but this image. */
std::string chip_holding(std::string_view image)
{
    return std::string(image) + repeated(256 - image.size(), 0xFF);
}

const std::string blank_chip = repeated(256, 0xFF);

/** Fans 1 and 2 on channels 0 and 5; both flags are those that are given. */
std::string two_fan_list(int first_flag, int second_flag)
{
    return bytes({0x02, 0x03, 0x32}) + bytes({0x04, 0x17, 0x01, first_flag, 0x21, 0x00}) +
           "FAN0123456789" + bytes({0x00}) + "1.23" + bytes({0x00}) +
           bytes({0x04, 0x17, 0x02, second_flag, 0x22, 0x05}) + "ABCDEFGHIJKLMN" + "2.0A" +
           bytes({0x00});
}

const std::string two_fan_message = bytes({0x01, 0x35}) + two_fan_list(0x00, 0x00) + bytes({0x18});
const std::string first_image = bytes({0x21}) + "FAN0123456789" + bytes({0x01, 0x32});
const std::string second_image = bytes({0x22}) + "ABCDEFGHIJKLM" + bytes({0x02, 0xA0});

/** The start, and a message that is all right; the answer is this list. */
void expect_answer(unit_session &pc, std::string_view message, std::string_view list)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(message, unit_answer_offer);
    pc.exchange(unit_acknowledge, unit_message(list));
    pc.session.send(unit_acknowledge);
    pc.expect_saved();
}

/** A switch with fans on channels 0 and 5. */
class setfansn : public testing::Test {
protected:
    void expect_error(std::string_view message, int error)
    {
        pc.exchange(unit_start, unit_acknowledge);
        pc.exchange(message, bytes({error}));
        pc.expect_saved();
        expect_untouched();
    }

    void expect_untouched()
    {
        EXPECT_EQ(pc.board.operations("bridge "), std::vector<std::string>{});
    }

    void expect_programmed()
    {
        EXPECT_TRUE(memory_is(pc.board, "bridge-3-0-56.bin", chip_holding(first_image)));
        EXPECT_TRUE(memory_is(pc.board, "bridge-3-5-56.bin", chip_holding(second_image)));
    }

    unit_session pc{two_fans, "setfansn", fan_greeting};
};

TEST_F(setfansn, programs_two_fans_byte_by_byte)
{
    pc.session.send(bytes({0x20}));
    pc.session.expect(bytes({0x06}));
    pc.session.send(bytes({0x01}));
    pc.session.send(bytes({0x35}));
    pc.session.send(bytes({0x02, 0x03, 0x32}));
    pc.session.send(bytes({0x04, 0x17, 0x01, 0x00, 0x21, 0x00}) + "FAN0123456789" +
                    bytes({0x00, 0x31, 0x2E, 0x32, 0x33, 0x00}));
    pc.session.send(bytes({0x04, 0x17, 0x02, 0x00, 0x22, 0x05}) + "ABCDEFGHIJKLMN" +
                    bytes({0x32, 0x2E, 0x30, 0x41, 0x00}));
    pc.session.send(bytes({0x18}));
    pc.session.expect(bytes({0x06, 0x20}));
    pc.session.send(bytes({0x06}));
    pc.session.expect(bytes({0x01, 0x35, 0x02, 0x03, 0x32}) +
                      bytes({0x04, 0x17, 0x01, 0x00, 0x21, 0x00}) + "FAN0123456789" +
                      bytes({0x00, 0x31, 0x2E, 0x32, 0x33, 0x00}) +
                      bytes({0x04, 0x17, 0x02, 0x00, 0x22, 0x05}) + "ABCDEFGHIJKLMN" +
                      bytes({0x32, 0x2E, 0x30, 0x41, 0x00}) + bytes({0x18}));
    pc.session.send(bytes({0x06}));
    pc.expect_saved();
    expect_programmed();
    EXPECT_EQ(pc.steps(), "[SETMAC <set_fanpoe_info>:<N>] Fan index 1\r\n"
                          "[SETMAC <set_fanpoe_info>:<N>] Fan flag 0\r\n"
                          "[SETMAC <set_fanpoe_info>:<N>] Fan type 33\r\n"
                          "[SETMAC <set_fanpoe_info>:<N>] Fan channel 0\r\n"
                          "[SETMAC <set_fanpoe_info>:<N>] Fan sn FAN0123456789\r\n"
                          "[SETMAC <set_fanpoe_info>:<N>] Fan hw 1.23\r\n"
                          "[SETMAC <set_fanpoe_info>:<N>] Fan index 2\r\n"
                          "[SETMAC <set_fanpoe_info>:<N>] Fan flag 0\r\n"
                          "[SETMAC <set_fanpoe_info>:<N>] Fan type 34\r\n"
                          "[SETMAC <set_fanpoe_info>:<N>] Fan channel 5\r\n"
                          "[SETMAC <set_fanpoe_info>:<N>] Fan sn ABCDEFGHIJKLMN\r\n"
                          "[SETMAC <set_fanpoe_info>:<N>] Fan hw 2.0A\r\n");
}

TEST_F(setfansn, ends_a_second_after_its_answer_when_the_pc_is_silent)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(two_fan_message, unit_answer_offer);
    pc.exchange(unit_acknowledge, unit_message(two_fan_list(0x00, 0x00)));
    pc.session.expect_silence(600);
    pc.expect_saved();
}

TEST_F(setfansn, answers_a_list_of_none_with_its_head)
{
    pc.exchange(bytes({0x20}), bytes({0x06}));
    pc.exchange(bytes({0x01, 0x03, 0x00, 0x03, 0x00, 0x03}), bytes({0x06, 0x20}));
    pc.exchange(bytes({0x06}), bytes({0x01, 0x03, 0x00, 0x03, 0x00, 0x03}));
    pc.session.send(bytes({0x06}));
    pc.expect_saved();
    expect_untouched();
}

TEST_F(setfansn, refuses_a_length_of_251_with_0x28)
{
    expect_error(bytes({0x01, 0xFB}), 0x28);
}

TEST_F(setfansn, refuses_a_head_without_3_in_its_middle_with_0x29)
{
    expect_error(bytes({0x01, 0x03, 0x00, 0x04, 0x00, 0x04}), 0x29);
}

TEST_F(setfansn, refuses_an_empty_payload_with_0x29)
{
    expect_error(bytes({0x01, 0x00, 0x00}), 0x29);
}

TEST_F(setfansn, refuses_an_element_of_another_type_with_0x2B_and_programs_none_before_it)
{
    std::string list = two_fan_list(0x00, 0x00);
    list[28] = 0x05;
    expect_error(bytes({0x01, 0x35}) + list + bytes({0x19}), 0x2B);
}

TEST_F(setfansn, refuses_an_element_of_another_length_with_0x2B)
{
    std::string list = two_fan_list(0x00, 0x00);
    list[4] = 0x16;
    expect_error(bytes({0x01, 0x35}) + list + bytes({0x17}), 0x2B);
}

TEST_F(setfansn, asks_for_a_list_of_a_wrong_sum_again_and_goes_on_adding_up)
{
    const std::string list = bytes({0x01, 0x35}) + two_fan_list(0x00, 0x00);
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(list + bytes({0x19}), bytes({0x20}));
    pc.exchange(unit_start, unit_acknowledge);
    // The sum of this attempt alone is not the one any more.
    pc.exchange(list + bytes({0x18}), bytes({0x20}));
    // Three times 0x18.
    expect_answer(pc, list + bytes({0x48}), two_fan_list(0x00, 0x00));
    expect_programmed();
}

TEST_F(setfansn, asks_again_when_the_sum_does_not_come_though_it_is_0xFF)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(bytes({0x01, 0x03, 0x00, 0x03, 0xFC}), bytes({0x20}));
    pc.exchange(unit_start, unit_acknowledge);
    // FF + 00 + 03 + FD
    pc.exchange(bytes({0x01, 0x03, 0x00, 0x03, 0xFD, 0xFF}), unit_answer_offer);
    pc.exchange(unit_acknowledge, bytes({0x01, 0x03, 0x00, 0x03, 0x00, 0x03}));
    pc.session.send(unit_acknowledge);
    pc.expect_saved();
}

TEST_F(setfansn, starts_again_after_a_time_out_with_what_it_has_added_up)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.session.send(bytes({0x01, 0x35, 0x02, 0x03, 0x32, 0x04}));
    pc.session.expect_silence(700);
    // 02 + 03 + 32 + 04 + 18
    expect_answer(pc, bytes({0x01, 0x35}) + two_fan_list(0x00, 0x00) + bytes({0x53}),
                  two_fan_list(0x00, 0x00));
    expect_programmed();
}

TEST_F(setfansn, starts_again_when_no_header_follows_the_start)
{
    pc.exchange(bytes({0x15, 0x03, 0x20}), bytes({0x06}));
    pc.session.send(bytes({0x02}));
    expect_answer(pc, two_fan_message, two_fan_list(0x00, 0x00));
}

TEST_F(setfansn, answers_when_the_20th_byte_acknowledges)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(two_fan_message, unit_answer_offer);
    pc.exchange(repeated(19, 0x15) + bytes({0x06}), unit_message(two_fan_list(0x00, 0x00)));
    pc.session.send(unit_acknowledge);
    pc.expect_saved();
}

TEST_F(setfansn, ends_without_its_answer_when_20_bytes_do_not_acknowledge)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(two_fan_message, unit_answer_offer);
    pc.session.send(repeated(20, 0x15) + bytes({0x06}));
    pc.expect_saved();
    expect_programmed();
}

TEST_F(setfansn, counts_half_a_second_of_silence_as_a_byte_that_does_not_acknowledge)
{
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(two_fan_message, unit_answer_offer);
    pc.session.send(repeated(19, 0x15));
    pc.expect_saved();
}

// Lists of as many units as there can be.

std::string nine_elements()
{
    std::string all;
    for (int k = 0; k < 9; ++k) {
        all += element(k + 1, 0x00, k);
    }
    return all;
}

std::string nine_fans()
{
    std::string all;
    for (int channel = 0; channel < 9; ++channel) {
        all += fan_at(channel);
    }
    return all;
}

TEST(setfansn_list, of_nine_fans_and_250_bytes_is_programmed)
{
    unit_session pc(nine_fans(), "setfansn", fan_greeting);
    const std::string list = unit_list(9, nine_elements());
    ASSERT_EQ(list.size(), 228U);
    expect_answer(pc, unit_message(list + repeated(22, 0x04)), list);
    for (int channel = 0; channel < 9; ++channel) {
        const auto file = "bridge-3-" + std::to_string(channel) + "-56.bin";
        EXPECT_TRUE(memory_is(pc.board, file, chip_holding(image_of_element)));
    }
}

TEST(setfansn_list, that_claims_more_than_it_holds_is_cut_in_the_answer_too)
{
    unit_session pc(two_fans, "setfansn", fan_greeting);
    const std::string one = element(1, 0x00, 0);
    expect_answer(pc, unit_message(unit_list(2, one + bytes({0x04, 0x17, 0x02}))),
                  bytes({0x01, 0x03, 0x19}) + one);
    EXPECT_TRUE(memory_is(pc.board, "bridge-3-5-56.bin", blank_chip));
}

// Units that fail: the others are programmed.

TEST(setfansn_flag, is_1_for_a_fan_that_is_not_there)
{
    unit_session pc(fan_at(5), "setfansn", fan_greeting);
    expect_answer(pc, two_fan_message, two_fan_list(0x01, 0x00));
    EXPECT_TRUE(memory_is(pc.board, "bridge-3-5-56.bin", chip_holding(second_image)));
}

TEST(setfansn_flag, is_1_for_a_fan_that_fails_which_is_protected_again)
{
    unit_session pc(two_fans + trouble_at(3, 0, "0x56", "fail"), "setfansn", fan_greeting);
    expect_answer(pc, two_fan_message, two_fan_list(0x01, 0x00));
    EXPECT_TRUE(memory_is(pc.board, "bridge-3-0-56.bin", blank_chip));
    EXPECT_TRUE(memory_is(pc.board, "bridge-3-5-56.bin", chip_holding(second_image)));
    const std::string fan = "bridge /dev/fpga0 write bus=3 channel=0 address=";
    EXPECT_EQ(pc.board.operations("bridge /dev/fpga0 write bus=3 channel=0 "),
              (std::vector<std::string>{
                  fan + "0x68 offset=0xe length=1 data=00 outcome=done = 0",
                  fan + "0x56 offset=0x0 length=8 data=2146414e30313233 outcome=failed = 1",
                  fan + "0x68 offset=0xe length=1 data=01 outcome=done = 0"}));
}

TEST(setfansn_flag, is_0_for_a_fan_whose_protection_stays_as_its_eeprom_does_not_tell)
{
    unit_session pc(two_fans + trouble_at(3, 5, "0x68", "fail") + "times = 0\n", "setfansn",
                    fan_greeting);
    expect_answer(pc, two_fan_message, two_fan_list(0x00, 0x00));
    EXPECT_TRUE(memory_is(pc.board, "bridge-3-0-56.bin", chip_holding(first_image)));
    EXPECT_TRUE(memory_is(pc.board, "bridge-3-5-56.bin", blank_chip));
}

TEST(setfansn_flag, is_the_status_of_a_bridge_that_stays_busy)
{
    unit_session pc(two_fans + trouble_at(3, 0, "0x56", "stick"), "setfansn", fan_greeting);
    expect_answer(pc, two_fan_message, two_fan_list(0x02, 0x00));
}

TEST(setfansn_flag, replaces_the_one_that_the_pc_sent)
{
    unit_session pc(two_fans, "setfansn", fan_greeting);
    expect_answer(pc, bytes({0x01, 0x35}) + two_fan_list(0x77, 0x01) + bytes({0x90}),
                  two_fan_list(0x00, 0x00));
}

// PoE units: another bus and address, and no protection.

constexpr std::string_view poe_unit = R"toml(
[[fpga.eeprom]]
bus = 4
channel = 2
address = 0x52
)toml";

/** Unit 1 on channel 2. */
std::string poe_list(int flag)
{
    return bytes({0x01, 0x03, 0x19, 0x04, 0x17, 0x01, flag, 0x31, 0x02}) + "POE0123456789" +
           bytes({0x00}) + "1.05" + bytes({0x00});
}

const std::string poe_message = bytes({0x01, 0x1C}) + poe_list(0x00) + bytes({0x21});

TEST(setpoesn, programs_a_unit_without_a_protection_byte_by_byte)
{
    unit_session pc(poe_unit, "setpoesn", poe_greeting);
    pc.exchange(bytes({0x20}), bytes({0x06}));
    pc.exchange(bytes({0x01, 0x1C, 0x01, 0x03, 0x19, 0x04, 0x17, 0x01, 0x00, 0x31, 0x02,
                       0x50, 0x4F, 0x45, 0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37,
                       0x38, 0x39, 0x00, 0x31, 0x2E, 0x30, 0x35, 0x00, 0x21}),
                bytes({0x06, 0x20}));
    pc.exchange(bytes({0x06}),
                bytes({0x01, 0x1C, 0x01, 0x03, 0x19, 0x04, 0x17, 0x01, 0x00, 0x31, 0x02,
                       0x50, 0x4F, 0x45, 0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37,
                       0x38, 0x39, 0x00, 0x31, 0x2E, 0x30, 0x35, 0x00, 0x21}));
    pc.session.send(bytes({0x06}));
    pc.expect_saved();
    EXPECT_TRUE(memory_is(pc.board, "bridge-4-2-52.bin",
                          chip_holding(bytes({0x31}) + "POE0123456789" + bytes({0x01, 0x50}))));
    EXPECT_EQ(pc.board.operations("bridge ").size(), 2U);
    EXPECT_TRUE(pc.steps().starts_with("[SETMAC <set_fanpoe_info>:<N>] Fan index 1\r\n"));
}

TEST(setpoesn, tells_of_a_unit_that_fails_in_its_second_half)
{
    unit_session pc(std::string(poe_unit) + trouble_at(4, 2, "0x52", "fail") + "call = 2\n",
                    "setpoesn", poe_greeting);
    expect_answer(pc, poe_message, poe_list(0x01));
    EXPECT_TRUE(memory_is(pc.board, "bridge-4-2-52.bin", chip_holding(bytes({0x31}) + "POE0123")));
}

TEST(setpoesn, tells_of_a_unit_that_is_not_there)
{
    unit_session pc("[fpga]\n", "setpoesn", poe_greeting);
    expect_answer(pc, poe_message, poe_list(0x01));
}

TEST(setpoesn, tells_of_a_status_that_cannot_be_read)
{
    unit_session pc("", "setpoesn", poe_greeting);
    expect_answer(pc, poe_message, poe_list(0xFF));
}

TEST(setpoesn, asks_for_a_list_of_a_wrong_sum_again_and_goes_on_adding_up)
{
    unit_session pc(poe_unit, "setpoesn", poe_greeting);
    pc.exchange(unit_start, unit_acknowledge);
    pc.exchange(bytes({0x01, 0x1C}) + poe_list(0x00) + bytes({0x20}), bytes({0x20}));
    expect_answer(pc, bytes({0x01, 0x1C}) + poe_list(0x00) + bytes({0x42}), poe_list(0x00));
}

TEST(setpoesn, refuses_what_setfansn_refuses)
{
    const std::pair<std::string, int> refused[] = {
        {bytes({0x01, 0xFF}), 0x28},
        {bytes({0x01, 0x03, 0x00, 0x02, 0x00, 0x02}), 0x29},
        {unit_message(unit_list(1, e2e::unit_element(5, e2e::field("", 23)))), 0x2B},
    };
    for (const auto &[message, error] : refused) {
        unit_session pc(poe_unit, "setpoesn", poe_greeting);
        pc.exchange(unit_start, unit_acknowledge);
        pc.exchange(message, bytes({error}));
        pc.expect_saved();
        EXPECT_EQ(pc.board.operations("bridge "), std::vector<std::string>{});
    }
}

} // namespace
