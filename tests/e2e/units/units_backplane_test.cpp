#include <algorithm>

#include "e2e/support/units_session.h"

// "prov_setmac setbackplane": a list of texts becomes one record in both backplane EEPROMs.

namespace {

using e2e::bytes;
using e2e::memory_is;
using e2e::repeated;
using e2e::unit_session;

constexpr std::string_view greeting = "Disconnect your console terminal first ...\r\n";

constexpr std::string_view first_eeprom = "bridge-4-0-52.bin";
constexpr std::string_view second_eeprom = "bridge-4-1-54.bin";
constexpr std::string_view first_of_driver = "backplane-1.bin";
constexpr std::string_view second_of_driver = "backplane-2.bin";

/** An element: its type, its length, its text with a NUL. */
std::string element(int type, std::string_view text)
{
    return bytes({type, static_cast<int>(text.size())}) + std::string(text) + bytes({0x00});
}

/** Header, payload and sum; the sum goes on from `before`. */
std::string message(int count, std::string_view payload, int before = 0)
{
    return bytes({0x01, static_cast<int>(payload.size()), count}) + std::string(payload) +
           e2e::sum_of(payload, before);
}

/** One element of each type: 85 bytes whose sum is 0xE1. */
const std::string all_elements =
    bytes({0x01, 0x0C}) + "00e0fc0a0b0c" + bytes({0x00, 0x02, 0x12}) + "BP2102351234567890" +
    bytes({0x00, 0x03, 0x02}) + "1F" + bytes({0x00, 0x04, 0x08}) + "VER-1.02" +
    bytes({0x00, 0x05, 0x01}) + "7" + bytes({0x00, 0x06, 0x02}) + "10" + bytes({0x00, 0x07, 0x04}) +
    "0xfe" + bytes({0x00, 0x08, 0x03}) + "1FF" + bytes({0x00, 0x09, 0x08}) + "DEADBEEF" +
    bytes({0x00});
const std::string whole_message = bytes({0x01, 0x55, 0x09}) + all_elements + bytes({0xE1});

const std::string whole_record =
    bytes({0x1F}) + "VER-1.02BP2102351234567890" + bytes({0x00}) +
    bytes({0x00, 0xE0, 0xFC, 0x0A, 0x0B, 0x0C, 0x07, 0x10, 0xFE, 0xFF, 0x00, 0x00}) +
    bytes({0xEF, 0xBE, 0xAD, 0xDE});

const std::string empty_record = repeated(44, 0x00);

/** An EEPROM that held nothing but this record. */
std::string chip_holding(std::string_view record)
{
    return std::string(record) + repeated(256 - record.size(), 0xFF);
}

void expect_on_both_chips(const unit_session &pc, std::string_view record)
{
    EXPECT_TRUE(memory_is(pc.board, first_eeprom, chip_holding(record)));
    EXPECT_TRUE(memory_is(pc.board, second_eeprom, chip_holding(record)));
}

/** A switch that waits for its list, with the EEPROMs behind the FPGA. */
class setbackplane : public testing::Test {
protected:
    /** The PC's start, and its list, with which all is well. */
    void expect_stored(std::string_view list, std::string_view record)
    {
        pc.exchange(bytes({0x15}), bytes({0x06}));
        pc.exchange(list, bytes({0x06}));
        pc.expect_saved();
        expect_on_both_chips(pc, record);
    }

    unit_session pc{e2e::backplane_eeproms, "setbackplane", greeting};
};

TEST_F(setbackplane, stores_every_element_in_both_eeproms_byte_by_byte)
{
    pc.session.send(bytes({0x15}));
    pc.session.expect(bytes({0x06}));
    pc.session.send(bytes({0x01}));
    pc.session.send(bytes({0x55}));
    pc.session.send(bytes({0x09}));
    pc.session.send(all_elements);
    pc.session.send(bytes({0xE1}));
    pc.session.expect(bytes({0x06}));
    pc.expect_saved();
    expect_on_both_chips(pc, whole_record);
    EXPECT_EQ(pc.steps(), "[SETMAC <set_backplane_info>:<N>] BP type 31 .\r\n"
                          "[SETMAC <set_backplane_info>:<N>] BP version "
                          "VER-1.02BP2102351234567890 .\r\n"
                          "[SETMAC <set_backplane_info>:<N>] BP serial_no "
                          "BP2102351234567890 .\r\n"
                          "[SETMAC <set_backplane_info>:<N>] BP mac_addr 00:E0:FC:0A:0B:0C .\r\n"
                          "[SETMAC <set_backplane_info>:<N>] BP serial_0 7 .\r\n"
                          "[SETMAC <set_backplane_info>:<N>] BP serial_1 16 .\r\n"
                          "[SETMAC <set_backplane_info>:<N>] BP serial_2 254 .\r\n"
                          "[SETMAC <set_backplane_info>:<N>] BP serial_3 255 .\r\n");
}

TEST_F(setbackplane, leaves_the_write_control_at_3_and_the_rest_of_the_eeproms_alone)
{
    expect_stored(whole_message, whole_record);
    EXPECT_EQ(pc.board.memory("fpga0.bin").substr(0x00C, 1), bytes({0x03}));
    EXPECT_EQ(pc.board.operations("bridge ").size(), 12U);
}

TEST_F(setbackplane, stores_a_record_of_zeros_for_a_list_of_none)
{
    expect_stored(bytes({0x01, 0x00, 0x00, 0x00}), empty_record);
}

TEST_F(setbackplane, takes_as_many_elements_as_a_message_holds)
{
    // 83 elements of no known type, without a text, and a version.
    std::string payload;
    for (int i = 0; i < 83; ++i) {
        payload += bytes({0x0A, 0x00, 0x00});
    }
    payload += bytes({0x04, 0x03}) + "1.0" + bytes({0x00});
    ASSERT_EQ(payload.size(), 255U);
    expect_stored(message(84, payload), bytes({0x00}) + "1.0" + repeated(40, 0x00));
}

TEST_F(setbackplane, skips_elements_that_did_not_come)
{
    expect_stored(message(255, element(3, "2")), bytes({0x02}) + repeated(43, 0x00));
}

TEST_F(setbackplane, cuts_texts_and_numbers_to_their_fields)
{
    const std::string payload =
        element(2, "ABCDEFGHIJKLMNOPQRSTUVWXYZ") + element(4, "123456789") + element(3, "1234");
    expect_stored(message(3, payload),
                  bytes({0x34}) + "12345678" + "ABCDEFGHIJKLMNOPQR" + repeated(17, 0x00));
}

TEST_F(setbackplane, ignores_a_mac_address_with_colons)
{
    expect_stored(message(1, element(1, "00:e0:fc:0a:0b:0c")), empty_record);
}

TEST_F(setbackplane, fills_a_mac_address_with_zeros_from_the_first_pair_that_is_not_hexadecimal)
{
    expect_stored(message(1, element(1, "00e0zz0a0b0c")),
                  repeated(28, 0x00) + bytes({0x00, 0xE0}) + repeated(14, 0x00));
}

TEST_F(setbackplane, asks_for_a_list_of_a_wrong_sum_again_and_goes_on_adding_up)
{
    pc.exchange(bytes({0x15}), bytes({0x06}));
    pc.exchange(bytes({0x01, 0x55, 0x09}) + all_elements + bytes({0xE0}), bytes({0x15}));
    pc.exchange(bytes({0x15}), bytes({0x06}));
    // The sum of this attempt alone is not the one any more.
    pc.exchange(whole_message, bytes({0x15}));
    pc.exchange(bytes({0x15}), bytes({0x06}));
    // Three times 0xE1.
    pc.exchange(bytes({0x01, 0x55, 0x09}) + all_elements + bytes({0xA3}), bytes({0x06}));
    pc.expect_saved();
    expect_on_both_chips(pc, whole_record);
}

TEST_F(setbackplane, takes_a_sum_of_0xFF_but_not_for_a_time_out)
{
    pc.exchange(bytes({0x15}), bytes({0x06}));
    pc.exchange(bytes({0x01, 0x03, 0x01, 0xFF, 0x00, 0x00}), bytes({0x15})); // without its sum
    pc.exchange(bytes({0x15}), bytes({0x06}));
    pc.exchange(bytes({0x01, 0x03, 0x01, 0x00, 0x00, 0x00, 0xFF}), bytes({0x06}));
    pc.expect_saved();
    expect_on_both_chips(pc, empty_record);
}

TEST_F(setbackplane, starts_again_after_a_time_out_with_what_it_has_added_up)
{
    pc.exchange(bytes({0x15}), bytes({0x06}));
    pc.session.send(bytes({0x01, 0x55, 0x09, 0x01, 0x0C, 0x30}));
    pc.session.expect_silence(700);
    pc.exchange(bytes({0x15}), bytes({0x06}));
    // 01 + 0C + 30 + E1
    pc.exchange(bytes({0x01, 0x55, 0x09}) + all_elements + bytes({0x1E}), bytes({0x06}));
    pc.expect_saved();
    expect_on_both_chips(pc, whole_record);
}

TEST_F(setbackplane, starts_again_when_no_header_follows_the_start)
{
    pc.exchange(bytes({0x15}), bytes({0x06}));
    pc.exchange(bytes({0x02, 0x15}), bytes({0x06}));
    pc.exchange(whole_message, bytes({0x06}));
    pc.expect_saved();
    expect_on_both_chips(pc, whole_record);
}

TEST_F(setbackplane, passes_over_the_start_byte_of_other_commands)
{
    pc.session.send(bytes({0x20, 0x03, 0x00, 0xFF}));
    pc.session.expect_silence(100);
    expect_stored(whole_message, whole_record);
}

// Chips and devices that fail: each tells its status in a byte before the last one.

void expect_statuses(unit_session &pc, std::string_view statuses)
{
    pc.exchange(bytes({0x15}), bytes({0x06}));
    pc.exchange(whole_message, std::string(statuses) + bytes({0x06}));
    pc.expect_saved();
}

TEST(setbackplane_failure, of_the_first_eeprom_is_told_and_the_second_is_written_yet)
{
    unit_session pc(std::string(e2e::backplane_eeproms) + R"toml(
[[fpga.trouble]]
bus = 4
channel = 0
address = 0x52
call = 2
what = "fail"
)toml",
                    "setbackplane", greeting);
    expect_statuses(pc, bytes({0x01}));
    // The first transfer had been done; nothing was tried after the second.
    EXPECT_TRUE(memory_is(pc.board, first_eeprom, chip_holding(whole_record.substr(0, 8))));
    EXPECT_TRUE(memory_is(pc.board, second_eeprom, chip_holding(whole_record)));
    EXPECT_EQ(pc.board.memory("fpga0.bin").substr(0x00C, 1), bytes({0x03}));
}

TEST(setbackplane_failure, of_both_eeproms_is_two_bytes)
{
    unit_session pc("[fpga]\n", "setbackplane", greeting);
    expect_statuses(pc, bytes({0x01, 0x01}));
}

TEST(setbackplane_failure, of_a_bridge_that_stays_busy_is_told_as_its_status)
{
    unit_session pc(std::string(e2e::backplane_eeproms) + R"toml(
[[fpga.trouble]]
bus = 4
channel = 1
address = 0x54
what = "stick"
)toml",
                    "setbackplane", greeting);
    expect_statuses(pc, bytes({0x02}));
    EXPECT_TRUE(memory_is(pc.board, first_eeprom, chip_holding(whole_record)));
    EXPECT_EQ(pc.board.operations("bridge ").size(), 7U);
}

TEST(setbackplane_bridge, may_be_busy_for_a_while)
{
    unit_session pc(std::string(e2e::backplane_eeproms) + R"toml(
[[fpga.trouble]]
bus = 4
channel = 0
address = 0x52
what = "busy"
polls = 100
)toml",
                    "setbackplane", greeting);
    expect_statuses(pc, "");
    expect_on_both_chips(pc, whole_record);
}

// A switch without the FPGA.

TEST(setbackplane_by_driver, stores_the_record_under_both_numbers)
{
    unit_session pc("", "setbackplane", greeting);
    expect_statuses(pc, "");
    EXPECT_TRUE(memory_is(pc.board, first_of_driver, whole_record));
    EXPECT_TRUE(memory_is(pc.board, second_of_driver, whole_record));
    EXPECT_TRUE(pc.steps().ends_with("[SETMAC <set_backplane_info>:<N>] BP serial_3 255 .\r\n"
                                     "[SETMAC <set_backplane_info>:<N>] Set backplane by "
                                     "dfd!\r\n"));
}

TEST(setbackplane_by_driver, is_prepared_once_before)
{
    unit_session pc("", "setbackplane", greeting);
    expect_statuses(pc, "");
    const auto done = pc.board.operations();
    ASSERT_EQ(pc.board.operations("dev_drv_init ").size(), 1U);
    ASSERT_EQ(pc.board.operations("drv_set_backplane_info ").size(), 2U);
    EXPECT_LT(std::ranges::find(done, pc.board.operations("dev_drv_init ")[0]),
              std::ranges::find(done, pc.board.operations("drv_set_backplane_info ")[0]));
}

TEST(setbackplane_by_driver, tells_the_low_byte_of_a_failure_and_stores_the_second_yet)
{
    unit_session pc("[[fault]]\noperation = \"drv_set_backplane_info\"\nresult = -2\n",
                    "setbackplane", greeting);
    expect_statuses(pc, bytes({0xFE}));
    EXPECT_TRUE(memory_is(pc.board, first_of_driver, repeated(44, 0xFF)));
    EXPECT_TRUE(memory_is(pc.board, second_of_driver, whole_record));
}

TEST(setbackplane_by_driver, tells_a_failure_of_0x100_as_0)
{
    unit_session pc("[[fault]]\noperation = \"drv_set_backplane_info\"\ntimes = 0\nresult = 256\n",
                    "setbackplane", greeting);
    expect_statuses(pc, bytes({0x00, 0x00}));
}

} // namespace
