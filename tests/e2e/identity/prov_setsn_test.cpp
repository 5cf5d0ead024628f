#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/pc_side.h"

// "prov_setmac setsn" at a terminal. The PC has sent its start byte when the program begins, as it
// repeats it until it is answered; the terminal, still cooked, echoes it.

namespace {

using e2e::bytes;
using e2e::nor_board_holding;
using e2e::nor_holds;
using e2e::outcome;
using e2e::product_image;
using e2e::saved_on_terminal;
using e2e::send_frame;
using e2e::serial_frame;
using e2e::setsn_sign;
using e2e::terminal_session;
using e2e::untouched_nor_holds;

const std::string no_records = product_image(0xAAC184F9, {});
const std::string serial_records = product_image(0x2C57E7AB, {"SerialNO=ABCDEFGHJ1234"});

/** What is left of a run that came to no result: nothing said, nothing saved. */
const outcome given_up = {.status = 0};

/** A board without records on which "prov_setmac setsn" has answered the start byte. */
class started_switch : public testing::Test {
protected:
    void SetUp() override { session.expect("}"); }

    e2e::board_folder board = nor_board_holding(no_records);
    std::filesystem::path log = board.path() / "trace.log";
    terminal_session session{board, {"prov_setmac", "setsn", log.string()}, {.typed_ahead = "{"}};
};

TEST_F(started_switch, stores_a_serial_number_byte_by_byte)
{
    session.send(bytes({0x10, 0x03, 0x18, 0x15, 0xF3, 0xB4, 0x6D, 0x0B}));
    session.expect(bytes({0x10}));
    session.send(bytes({0x01}));
    session.expect(bytes({0x01}));
    session.send(bytes({0x00, 0x00, 0x00, 0x11}));
    session.send(bytes({0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x4A, 0x31, 0x32, 0x33,
                        0x34, 0xBC, 0x52, 0x7E, 0xA8}));
    session.expect(bytes({0x07, 0x06, 0x0D}) + "ABCDEFGHJ1234" + bytes({0x06}));
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(e2e::same_settings(session.settings(), session.settings_before()));
    EXPECT_EQ(session.flags_after(), session.flags_before());
    EXPECT_TRUE(nor_holds(board, serial_records));
    EXPECT_EQ(board.changes(),
              (std::vector<std::string>{"erase /dev/mtd1 start=0x0 length=0x3000 = 0",
                                        "write /dev/mtd1 offset=0x0 length=8192 = 8192"}));
    EXPECT_EQ(e2e::settled_log(log),
              "[SETMAC <enter_setsn>:<299>] enter setsn \r\n"
              "[SETMAC <com_read_timeout>:<54>] Get char count:1 time:N \r\n"
              "[SETMAC <smp_recv>:<124>] \r\nRead the First sign OK"
              "[SETMAC <com_read_timeout>:<54>] Get char count:7 time:N \r\n"
              "[SETMAC <setmac_crc32>:<71>] crc is 0x0 \r\n"
              "[SETMAC <smp_recv>:<137>] \r\nWrite the Hand Sign"
              "[SETMAC <com_read_timeout>:<54>] Get char count:1 time:N \r\n"
              "[SETMAC <com_read_timeout>:<54>] Get char count:4 time:N \r\n"
              "[SETMAC <smp_recv>:<164>] \r\nRead the length 17 \n"
              "[SETMAC <com_read_timeout>:<54>] Get char count:17 time:N \r\n"
              "[SETMAC <smp_recv>:<176>] \r\n"
              "[SETMAC <setmac_crc32>:<71>] crc is 0x0 \r\n"
              "[SETMAC <smp_recv>:<184>] \r\n write pre sucess"
              "[SETMAC <smp_recv>:<195>] \r\nSetMac Success");
}

TEST_F(started_switch, echoes_the_bytes_that_a_terminal_treats_specially_as_they_are)
{
    const std::string serial = bytes({0x0D, 0x11, 0x13, 0xFF, 0x0A, 0x7B, 0x03, 0x1A});
    send_frame(session, {bytes({0x00, 0x00, 0x00, 0x0C}), serial + bytes({0x87, 0x08, 0xBA, 0x44})},
               setsn_sign);
    session.expect(bytes({0x07, 0x06, 0x08}) + serial + bytes({0x06}));
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(
        nor_holds(board, product_image(0xFA4801F7, {"SerialNO=\x0D\x11\x13\xFF\x0A{\x03\x1A"})));
}

TEST_F(started_switch, keeps_63_characters_and_fills_the_echo_up_with_zeros)
{
    send_frame(
        session,
        {bytes({0x00, 0x00, 0x00, 0x4A}), std::string(70, 'S') + bytes({0x06, 0x80, 0x8A, 0xF2})},
        setsn_sign);
    session.expect(bytes({0x07, 0x06, 0x46}) + std::string(63, 'S') + e2e::repeated(7, 0x00) +
                   bytes({0x06}));
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(
        board, product_image(
                   0x00E51A56,
                   {"SerialNO=SSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSS"})));
}

TEST_F(started_switch, stores_an_empty_number_of_an_empty_payload)
{
    send_frame(session, e2e::empty_frame, setsn_sign);
    session.expect(bytes({0x07, 0x06, 0x00, 0x06}));
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(board, product_image(0xA84C8812, {"SerialNO="})));
}

TEST_F(started_switch, gives_up_after_one_exchange_that_fails)
{
    session.send("Z");
    EXPECT_EQ(session.finish(), given_up);
    EXPECT_TRUE(untouched_nor_holds(board, no_records));
    EXPECT_TRUE(e2e::settled_log(log).ends_with(
        "[SETMAC <smp_recv>:<119>] \r\nRead the First sign error-char:5a"));
}

TEST_F(started_switch, gives_up_when_the_hand_sign_does_not_come)
{
    EXPECT_EQ(session.finish(), given_up);
    EXPECT_TRUE(untouched_nor_holds(board, no_records));
    EXPECT_TRUE(e2e::settled_log(log).ends_with(
        "[SETMAC <smp_recv>:<104>] \r\nRead the First sign error-Timeout"));
}

TEST_F(started_switch, gives_up_at_another_version)
{
    session.send(setsn_sign);
    session.expect(e2e::accepted_serial_sign);
    session.send(bytes({0x02}));
    session.expect(e2e::version_1);
    EXPECT_EQ(session.finish(), given_up);
}

TEST_F(started_switch, answers_0x14_to_a_value_that_is_too_slow_and_gives_up)
{
    e2e::sign_in(session, setsn_sign);
    session.send(bytes({0x00, 0x00, 0x00, 0x05}) + "ABCD");
    session.expect(e2e::bad_value);
    EXPECT_EQ(session.finish(), given_up);
    EXPECT_TRUE(untouched_nor_holds(board, no_records));
}

TEST_F(started_switch, answers_0x14_to_a_value_of_a_wrong_crc_and_ends_well)
{
    send_frame(session, e2e::damaged(serial_frame), setsn_sign);
    session.expect(e2e::bad_value);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(untouched_nor_holds(board, no_records));
}

TEST_F(started_switch, refuses_the_hand_sign_of_the_other_command)
{
    session.send(e2e::setmac_sign);
    EXPECT_EQ(session.finish(), given_up);
}

TEST(setsn_start, may_be_repeated_before_and_after_the_answer)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"prov_setmac", "setsn"}, {.typed_ahead = "{{{"});
    session.expect("}");
    session.send("{{");
    send_frame(session, serial_frame, setsn_sign);
    session.expect(bytes({0x07, 0x06, 0x0D}) + "ABCDEFGHJ1234" + bytes({0x06}));
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(board, serial_records));
}

TEST(setsn_start, may_follow_other_bytes)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"prov_setmac", "setsn"}, {.typed_ahead = "noise{"});
    session.expect("}");
    send_frame(session, serial_frame, setsn_sign);
    session.expect(bytes({0x07, 0x06, 0x0D}) + "ABCDEFGHJ1234" + bytes({0x06}));
    EXPECT_EQ(session.finish(), saved_on_terminal);
}

TEST(setsn_start, fails_on_a_silent_line)
{
    const auto board = nor_board_holding(no_records);
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {"prov_setmac", "setsn", log.string()});
    EXPECT_EQ(session.finish(), (outcome{.status = 1}));
    EXPECT_EQ(e2e::read_file(log), "");
    EXPECT_TRUE(untouched_nor_holds(board, no_records));
}

TEST(setsn_start, is_missed_among_other_bytes_without_a_failure)
{
    const auto board = nor_board_holding(no_records);
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {"prov_setmac", "setsn", log.string()},
                             {.typed_ahead = "noise"});
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_EQ(e2e::read_file(log), "[SETMAC <enter_setsn>:<299>] enter setsn \r\n"
                                   "[SETMAC <enter_setsn>:<312>] Not get setsn char.\r\n");
    EXPECT_TRUE(untouched_nor_holds(board, no_records));
}

TEST(setsn_save, writes_nothing_when_the_number_is_stored_already)
{
    const auto board = nor_board_holding(serial_records);
    terminal_session session(board, {"prov_setmac", "setsn"}, {.typed_ahead = "{"});
    session.expect("}");
    send_frame(session, serial_frame, setsn_sign);
    session.expect(bytes({0x07, 0x06, 0x0D}) + "ABCDEFGHJ1234" + bytes({0x06}));
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(untouched_nor_holds(board, serial_records));
}

TEST(setsn_save, that_fails_is_answered_with_0x12_and_no_echo)
{
    const e2e::board_folder board(std::string(e2e::nor_board) +
                                      "[[fault]]\noperation = \"erase\"\nerror = \"EIO\"\n",
                                  {{e2e::product_info_file, e2e::nor_content(no_records)}});
    terminal_session session(board, {"prov_setmac", "setsn"}, {.typed_ahead = "{"});
    session.expect("}");
    send_frame(session, serial_frame, setsn_sign);
    session.expect(e2e::failed);
    EXPECT_EQ(session.finish(), given_up);
    EXPECT_TRUE(nor_holds(board, no_records));
}

} // namespace
