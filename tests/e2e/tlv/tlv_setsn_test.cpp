#include <algorithm>

#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/tlv_board.h"

// "prov_setmac setsn" of the TLV flavour: the serial number in the system EEPROM. The PC has sent
// its start byte when the program begins; the terminal, still cooked, echoes it.

namespace {

using e2e::board_folder;
using e2e::board_with_eeprom;
using e2e::bytes;
using e2e::eeprom_content;
using e2e::frame;
using e2e::framed;
using e2e::memory_is;
using e2e::outcome;
using e2e::protected_tlv_board;
using e2e::repeated;
using e2e::serial_frame;
using e2e::setsn_sign;
using e2e::system_eeprom_file;
using e2e::terminal_session;
using e2e::tlv_image;
using e2e::tlv_record;

using operation_list = std::vector<std::string>;

const std::string model = tlv_record(0x21, "ES24");
const std::string extension =
    tlv_record(0xFD, bytes({0x00, 0x00, 0x7E, 0xD9, 0x44, 0x02, 0x41, 0x31}));

const std::string held =
    eeprom_content(tlv_image(model + tlv_record(0x23, "OLDSERIAL") + extension, 0x691FE312), 0xA5);

/** The image after a new serial number: it has moved to the end. */
std::string image_of(std::string_view serial, uint32_t crc)
{
    return tlv_image(model + extension + tlv_record(0x23, serial), crc);
}

const operation_list lifted = {"dev_drv_init libdev_drv answer=0 = 0",
                               "drv_set_e2_wr_pro libdev_drv index=0 protect=0 answer=0 = 0"};
const operation_list lifted_and_restored = {
    lifted[0], lifted[1], "drv_set_e2_wr_pro libdev_drv index=0 protect=1 answer=0 = 0"};

bool is_driver_call(const std::string &operation)
{
    return operation.find(" libdev_drv ") != std::string::npos;
}

operation_list driver_calls(const board_folder &board)
{
    auto all = board.operations();
    std::erase_if(all, [](const std::string &one) { return !is_driver_call(one); });
    return all;
}

/** One exchange about a serial number, and the program's end; the store in flash is no part of it.
 */
outcome exchange(const board_folder &board, const frame &payload, const std::string &answer,
                 const std::string &start = "")
{
    terminal_session session(board, {e2e::tlv_prov_setmac, "setsn"}, {.typed_ahead = "{"});
    session.expect(start + "}");
    send_frame(session, payload, setsn_sign);
    session.expect(answer);
    const outcome end = session.finish();
    EXPECT_TRUE(e2e::same_settings(session.settings(), session.settings_before()));
    EXPECT_EQ(session.flags_after(), session.flags_before());
    EXPECT_TRUE(e2e::nor_holds(board, e2e::no_product_records));
    EXPECT_EQ(board.changes(), operation_list{});
    return end;
}

/** Nothing was written to the EEPROM, and the driver library was left alone. */
void expect_untouched(const board_folder &board, std::string_view content)
{
    EXPECT_EQ(e2e::eeprom_writes(board), operation_list{});
    EXPECT_EQ(driver_calls(board), operation_list{});
    EXPECT_TRUE(memory_is(board, system_eeprom_file, content));
}

TEST(tlv_setsn, replaces_the_serial_number_byte_by_byte)
{
    const auto board = board_with_eeprom(protected_tlv_board, held);
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {e2e::tlv_prov_setmac, "setsn", log.string()},
                             {.typed_ahead = "{"});
    session.expect("}");
    session.send(bytes({0x10, 0x03, 0x18, 0x15, 0xF3, 0xB4, 0x6D, 0x0B}));
    session.expect(bytes({0x10}));
    session.send(bytes({0x01}));
    session.expect(bytes({0x01}));
    session.send(bytes({0x00, 0x00, 0x00, 0x11}));
    session.send(bytes({0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x4A, 0x31, 0x32, 0x33,
                        0x34, 0xBC, 0x52, 0x7E, 0xA8}));
    session.expect(bytes({0x07, 0x06, 0x0D}) + "ABCDEFGHJ1234" + bytes({0x06}));
    // Not a word about a save: flash is not touched.
    EXPECT_EQ(session.finish(), outcome{});
    EXPECT_TRUE(e2e::same_settings(session.settings(), session.settings_before()));
    EXPECT_TRUE(e2e::untouched_nor_holds(board, e2e::no_product_records));
    EXPECT_TRUE(e2e::eeprom_holds(board, image_of("ABCDEFGHJ1234", 0x7C770636)));
    EXPECT_EQ(e2e::unnumbered_log(log),
              "[SETMAC <enter_setsn>:<N>] enter setsn \r\n"
              "[SETMAC <com_read_timeout>:<N>] Get char count:1 time:N \r\n"
              "[SETMAC <smp_recv>:<N>] \r\nRead the First sign OK"
              "[SETMAC <com_read_timeout>:<N>] Get char count:7 time:N \r\n"
              "[SETMAC <setmac_crc32>:<N>] crc is 0x0 \r\n"
              "[SETMAC <smp_recv>:<N>] \r\nWrite the Hand Sign"
              "[SETMAC <com_read_timeout>:<N>] Get char count:1 time:N \r\n"
              "[SETMAC <com_read_timeout>:<N>] Get char count:4 time:N \r\n"
              "[SETMAC <smp_recv>:<N>] \r\nRead the length 17 \n"
              "[SETMAC <com_read_timeout>:<N>] Get char count:17 time:N \r\n"
              "[SETMAC <smp_recv>:<N>] \r\n"
              "[SETMAC <setmac_crc32>:<N>] crc is 0x0 \r\n"
              "[SETMAC <smp_recv>:<N>] \r\n write pre sucess"
              "[SETMAC <tlvinfo_add_tlv>:<N>] new_tlv_len is:13\r\n"
              "[SETMAC <prog_eeprom>:<N>] Save product info success.\n"
              "[SETMAC <smp_recv>:<N>] \r\nSetMac Success");
}

TEST(tlv_setsn, has_the_protection_lifted_by_the_driver_library_around_the_write)
{
    const auto board = board_with_eeprom(protected_tlv_board, held);
    EXPECT_EQ(
        exchange(board, serial_frame, bytes({0x07, 0x06, 0x0D}) + "ABCDEFGHJ1234" + bytes({0x06})),
        outcome{});
    operation_list steps = board.operations();
    // The start has read the image; from the driver library on, what matters is left.
    steps.erase(steps.begin(), std::ranges::find_if(steps, is_driver_call));
    std::erase_if(steps, [](const std::string &one) {
        return one.starts_with("open ") || one.starts_with("close ");
    });
    ASSERT_EQ(steps.size(), 35U);
    EXPECT_EQ(driver_calls(board), lifted_and_restored);
    EXPECT_EQ(operation_list(steps.begin(), steps.begin() + 2), lifted);
    EXPECT_EQ(steps[2], "transfer /dev/i2c-0 address=0x56 write=00546c76496e666f00 = 2");
    EXPECT_EQ(steps[33], "transfer /dev/i2c-0 address=0x56 write=f80000000000000000 = 2");
    EXPECT_EQ(steps[34], lifted_and_restored[2]);
    // The registers have no part in this.
    EXPECT_EQ(board.operations("open /dev/cpld0 "), operation_list{});
}

TEST(tlv_setsn, keeps_63_characters_and_fills_the_echo_up_with_zeros)
{
    const auto board = board_with_eeprom(protected_tlv_board, held);
    EXPECT_EQ(exchange(board, framed(std::string(70, 'S'), 0x06808AF2),
                       bytes({0x07, 0x06, 0x46}) + std::string(63, 'S') + repeated(7, 0x00) +
                           bytes({0x06})),
              outcome{});
    EXPECT_TRUE(e2e::eeprom_holds(board, image_of(std::string(63, 'S'), 0x5A634E7B)));
}

TEST(tlv_setsn, leaves_old_bytes_behind_a_shorter_image)
{
    const auto board = board_with_eeprom(protected_tlv_board, held);
    EXPECT_EQ(exchange(board, framed("Z9", 0x8DE1D3E0), bytes({0x07, 0x06, 0x02}) + "Z9\x06"),
              outcome{});
    const auto written =
        image_of("Z9", 0x2B32AC6F) + bytes({0x31, 0xFE, 0x04, 0x69, 0x1F, 0xE3, 0x12});
    EXPECT_TRUE(memory_is(board, system_eeprom_file, eeprom_content(written, 0x00)));
    EXPECT_EQ(e2e::checked(board.memory(system_eeprom_file)),
              (outcome{.output = "0x21 45533234\n0xFD 00007ed944024131\n  enterprise 32473\n"
                                 "  0x44 4131\n0x23 5a39\n0xFE 2b32ac6f\n"}));
}

TEST(tlv_setsn, stores_an_empty_number_of_an_empty_payload)
{
    const auto board = board_with_eeprom(protected_tlv_board, held);
    EXPECT_EQ(exchange(board, e2e::empty_frame, bytes({0x07, 0x06, 0x00, 0x06})), outcome{});
    const auto told = e2e::checked(board.memory(system_eeprom_file));
    EXPECT_TRUE(told.output.ends_with("0x23\n0xFE 358fe8ae\n")) << told;
}

TEST(tlv_setsn, is_refused_by_an_image_without_a_serial_number)
{
    const auto without = eeprom_content(tlv_image(model + extension, 0x3760E92D), 0xA5);
    const auto board = board_with_eeprom(protected_tlv_board, without);
    EXPECT_EQ(exchange(board, serial_frame, e2e::failed), outcome{});
    expect_untouched(board, without);
}

TEST(tlv_setsn, is_refused_by_a_blank_eeprom)
{
    const auto board = board_with_eeprom(protected_tlv_board, repeated(256, 0xFF));
    EXPECT_EQ(
        exchange(board, serial_frame, e2e::failed, std::string(e2e::blank_eeprom_on_terminal)),
        outcome{});
    expect_untouched(board, repeated(256, 0xFF));
}

TEST(tlv_setsn, is_refused_by_an_image_whose_crc_record_cannot_be_right)
{
    // Three CRC records, the last of which is right. An edit updates the first that is left when
    // the serial number has taken the place of one, and a start looks at the last.
    const auto no_crc = tlv_record(0xFE, repeated(4, 0x00));
    const auto crafted =
        eeprom_content(tlv_image(tlv_record(0x23, "OLD1") + no_crc + no_crc, 0xFBBCFC60), 0xA5);
    const auto board = board_with_eeprom(protected_tlv_board, crafted);
    EXPECT_EQ(exchange(board, framed("NEW1", 0xE9A877A1), e2e::failed), outcome{});
    expect_untouched(board, crafted);
}

TEST(tlv_setsn, makes_no_second_attempt)
{
    const auto board = board_with_eeprom(protected_tlv_board, held);
    EXPECT_EQ(exchange(board, e2e::damaged(serial_frame), e2e::bad_value), outcome{});
    expect_untouched(board, held);
}

TEST(tlv_setsn, leaves_the_protection_lifted_when_programming_fails)
{
    // The second page fails for good: two reads at the start, one write, five attempts.
    const auto board = board_with_eeprom(
        protected_tlv_board + "[[fault]]\noperation = \"transfer\"\nerror = \"EIO\"\n"
                              "call = 4\ntimes = 5\n",
        held);
    EXPECT_EQ(exchange(board, serial_frame, e2e::failed), outcome{});
    EXPECT_EQ(driver_calls(board), lifted);
    EXPECT_EQ(board.memory("driver.bin"), bytes({0x00}));
    // The first page is the same in every image.
    EXPECT_TRUE(memory_is(board, system_eeprom_file, held));
}

TEST(tlv_setsn, that_fails_in_the_middle_leaves_an_image_known_as_damaged)
{
    const auto board = board_with_eeprom(
        protected_tlv_board + "[[fault]]\noperation = \"transfer\"\nerror = \"EIO\"\n"
                              "call = 7\ntimes = 5\n",
        held);
    EXPECT_EQ(exchange(board, serial_frame, e2e::failed), outcome{});
    EXPECT_TRUE(memory_is(board, system_eeprom_file,
                          image_of("ABCDEFGHJ1234", 0x7C770636).substr(0, 32) + held.substr(32)));
    EXPECT_EQ(e2e::listed(board), e2e::damaged_listing);
}

TEST(tlv_setsn, takes_an_eeprom_that_stays_protected_for_programmed)
{
    const auto board = board_with_eeprom(
        protected_tlv_board + "[driver]\ninit_result = -1\ne2_wr_pro_result = -1\n", held);
    // The echo is that of the image in memory.
    EXPECT_EQ(
        exchange(board, serial_frame, bytes({0x07, 0x06, 0x0D}) + "ABCDEFGHJ1234" + bytes({0x06})),
        outcome{});
    EXPECT_EQ(driver_calls(board),
              (operation_list{"dev_drv_init libdev_drv answer=-1 = 0",
                              "drv_set_e2_wr_pro libdev_drv index=0 protect=0 answer=-1 = 0",
                              "drv_set_e2_wr_pro libdev_drv index=0 protect=1 answer=-1 = 0"}));
    EXPECT_EQ(e2e::eeprom_writes(board).size(), 32U);
    EXPECT_TRUE(memory_is(board, system_eeprom_file, held));
}

TEST(tlv_setsn, shows_by_a_zero_echo_that_there_was_no_room)
{
    const auto long_model = tlv_record(0x21, std::string(234, 'M'));
    const auto full = tlv_image(long_model + tlv_record(0x23, "1"), 0xADD1FED6);
    ASSERT_EQ(full.size(), 256U);
    const auto board = board_with_eeprom(protected_tlv_board, full);
    EXPECT_EQ(exchange(board, serial_frame,
                       bytes({0x07, 0x06, 0x0D}) + repeated(13, 0x00) + bytes({0x06})),
              outcome{});
    EXPECT_TRUE(memory_is(board, system_eeprom_file,
                          tlv_image(long_model, 0xE3A52849) + bytes({0xD1, 0xFE, 0xD6})));
    EXPECT_EQ(e2e::checked(board.memory(system_eeprom_file)).status, 0);
}

TEST(tlv_setsn, needs_the_start_byte_of_the_pc)
{
    const auto board = board_with_eeprom(protected_tlv_board, held);
    terminal_session silent(board, {e2e::tlv_prov_setmac, "setsn"});
    EXPECT_EQ(silent.finish(), (outcome{.status = 1}));
    EXPECT_TRUE(e2e::same_settings(silent.settings(), silent.settings_before()));

    terminal_session other(board, {e2e::tlv_prov_setmac, "setsn"}, {.typed_ahead = "xyz"});
    EXPECT_EQ(other.finish(), outcome{});
    EXPECT_TRUE(e2e::same_settings(other.settings(), other.settings_before()));
    expect_untouched(board, held);
}

TEST(tlv_setsn, works_over_pipes_as_over_a_terminal)
{
    const auto board = board_with_eeprom(protected_tlv_board, held);
    const std::string sent =
        "{" + setsn_sign + e2e::version_1 + serial_frame.length + serial_frame.value;
    EXPECT_EQ(e2e::run_on_board(board, {e2e::tlv_prov_setmac, "setsn"}, sent),
              (outcome{.output = "}" + bytes({0x10, 0x01, 0x07, 0x06, 0x0D}) + "ABCDEFGHJ1234" +
                                 bytes({0x06})}));
    EXPECT_TRUE(e2e::eeprom_holds(board, image_of("ABCDEFGHJ1234", 0x7C770636)));
}

} // namespace
