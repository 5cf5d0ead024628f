#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/pc_side.h"

// Exchanges that fail, what the PC is told, and the exchange after them.

namespace {

using e2e::applied;
using e2e::bad_value;
using e2e::board_folder;
using e2e::bytes;
using e2e::failed;
using e2e::frame;
using e2e::mac_frame;
using e2e::nor_board_holding;
using e2e::nor_holds;
using e2e::outcome;
using e2e::product_image;
using e2e::saved_on_terminal;
using e2e::send_frame;
using e2e::setmac_banner;
using e2e::setmac_sign;
using e2e::sign_in;
using e2e::terminal_session;
using e2e::wait_for_log;

const std::string no_records = product_image(0xAAC184F9, {});
const std::string mac_records =
    product_image(0x67236E1B, {"ProductInfo=0B0EFACE", "ethaddr=00:1A:2B:3C:4D:5E"});

const std::string zero_sign = bytes({0x00});
const outcome not_saved_on_terminal = {.output = "Save product info failed.\r\r\n", .status = 1};

/** A board without records in which "prov_setmac setmac" waits for the first sign. */
class waiting_switch : public testing::Test {
protected:
    void SetUp() override { session.expect(setmac_banner); }

    /** An exchange that succeeds, and all that follows it. */
    void expect_good_exchange()
    {
        send_frame(session, mac_frame);
        session.expect(applied);
        EXPECT_EQ(session.finish(), saved_on_terminal);
        EXPECT_TRUE(nor_holds(board, mac_records));
    }

    board_folder board = nor_board_holding(no_records);
    std::filesystem::path log = board.path() / "trace.log";
    terminal_session session{board, {"prov_setmac", "setmac", log.string()}};
};

TEST_F(waiting_switch, keeps_waiting_through_silence)
{
    wait_for_log(log, "[SETMAC <smp_recv>:<104>] \r\nRead the First sign error-Timeout", 3);
    expect_good_exchange();
}

TEST_F(waiting_switch, passes_over_a_wrong_first_sign)
{
    session.send("{\x0A\x18");
    wait_for_log(log, "[SETMAC <smp_recv>:<119>] \r\nRead the First sign error-char:7b");
    wait_for_log(log, "[SETMAC <smp_recv>:<119>] \r\nRead the First sign error-char:a");
    wait_for_log(log, "[SETMAC <smp_recv>:<119>] \r\nRead the First sign error-char:18");
    expect_good_exchange();
}

TEST_F(waiting_switch, ends_and_saves_at_0x00_as_first_sign)
{
    session.send(zero_sign);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records));
}

TEST_F(waiting_switch, does_not_answer_a_hand_sign_that_stays_short)
{
    session.send(setmac_sign.substr(0, 7));
    wait_for_log(log, "[SETMAC <smp_recv>:<127>] \r\nRead the hand sign error-timeout");
    expect_good_exchange();
}

TEST_F(waiting_switch, does_not_answer_a_hand_sign_of_a_wrong_crc)
{
    std::string sign = setmac_sign;
    sign[7] = '\x80';
    session.send(sign);
    wait_for_log(log, "[SETMAC <smp_recv>:<132>] \r\nRead the hand sign error-CRC");
    expect_good_exchange();
}

TEST_F(waiting_switch, answers_another_version_with_its_own_and_starts_again)
{
    session.send(setmac_sign);
    session.expect(e2e::accepted_sign);
    session.send(bytes({0x02}));
    session.expect(e2e::version_1);
    wait_for_log(log, "[SETMAC <smp_recv>:<151>] \r\nRead the hand sign error-value:2");
    expect_good_exchange();
}

TEST_F(waiting_switch, reads_a_length_that_came_in_part_anew)
{
    sign_in(session);
    session.send(bytes({0x7F, 0x7F}));
    wait_for_log(log, "[SETMAC <smp_recv>:<157>] \r\nRead the length error-timeout");
    session.send(mac_frame.length);
    session.send(mac_frame.value);
    session.expect(applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(board, mac_records));
}

TEST_F(waiting_switch, answers_0x14_to_a_value_that_is_too_slow)
{
    sign_in(session);
    session.send(e2e::flag_3_frame.length);
    session.send(e2e::flag_3_frame.value.substr(0, 8));
    session.expect(bad_value);
    wait_for_log(log, "[SETMAC <smp_recv>:<169>] \r\nRead the value error-timeout");
    expect_good_exchange();
}

TEST_F(waiting_switch, answers_0x14_to_a_length_above_131072_without_reading_on)
{
    for (const std::string &length :
         {bytes({0x00, 0x02, 0x00, 0x01}), bytes({0x7F, 0xFF, 0xFF, 0xFF})}) {
        sign_in(session);
        session.send(length);
        session.expect(bad_value);
    }
    wait_for_log(log, "[SETMAC <smp_recv>:<164>] \r\nRead the length 131073 \n");
    expect_good_exchange();
}

TEST_F(waiting_switch, answers_0x14_to_a_length_below_0)
{
    sign_in(session);
    session.send(bytes({0xFF, 0xFF, 0xFF, 0xFF}));
    session.expect(bad_value);
    wait_for_log(log, "[SETMAC <smp_recv>:<164>] \r\nRead the length -1 \n");
    expect_good_exchange();
}

TEST_F(waiting_switch, answers_0x12_to_a_part_of_another_flag)
{
    send_frame(session, e2e::flag_3_frame);
    session.expect(failed);
    wait_for_log(log, "[SETMAC <apply_data>:<501>] \r\nflag error:3");
    wait_for_log(log, "[SETMAC <smp_recv>:<200>] \r\nSetMac Fail:write");
    expect_good_exchange();
}

TEST_F(waiting_switch, answers_0x12_to_a_byte_that_is_no_part_and_logs_it)
{
    send_frame(session, {bytes({0x00, 0x00, 0x00, 0x05}), bytes({0x07, 0x50, 0x4F, 0xEF, 0xB1})});
    session.expect(failed);
    wait_for_log(log, "[SETMAC <apply_data>:<479>] \r\nFlag at 0 Bytes"
                      "[SETMAC <apply_data>:<501>] \r\nflag error:7");
    expect_good_exchange();
}

TEST_F(waiting_switch, answers_0x12_to_an_empty_skipped_part)
{
    send_frame(session, {bytes({0x00, 0x00, 0x00, 0x09}),
                         bytes({0x01, 0x00, 0x00, 0x00, 0x05, 0x19, 0xD8, 0xB7, 0x7A})});
    session.expect(failed);
    expect_good_exchange();
}

TEST_F(waiting_switch, takes_a_good_payload_after_any_number_of_failures)
{
    for (int i = 0; i < 5; ++i) {
        send_frame(session, e2e::flag_3_frame);
        session.expect(failed);
    }
    expect_good_exchange();
}

TEST_F(waiting_switch, saves_what_a_failed_payload_left_with_the_marker_of_an_incomplete_one)
{
    // The part of mac_frame, and then one of flag 3.
    send_frame(session, {bytes({0x00, 0x00, 0x00, 0x24}),
                         mac_frame.value.substr(0, 27) +
                             bytes({0x03, 0x00, 0x00, 0x00, 0x05, 0xE7, 0xBE, 0xF0, 0xD1})});
    session.expect(failed);
    EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records));
    session.send(zero_sign);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(
        board, product_image(0xEA362245, {"ProductInfo=0A0A0A0A", "ethaddr=00:1A:2B:3C:4D:5E"})));
}

TEST_F(waiting_switch, ends_at_a_value_of_a_wrong_crc)
{
    send_frame(session, e2e::damaged(mac_frame));
    session.expect(bad_value);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records));
    EXPECT_TRUE(
        e2e::settled_log(log).ends_with("[SETMAC <smp_recv>:<178>] \r\nRead the value error-CRC"));
}

TEST_F(waiting_switch, ends_at_a_value_of_no_bytes)
{
    sign_in(session);
    session.send(bytes({0x00, 0x00, 0x00, 0x00}));
    session.expect(bad_value);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records));
}

TEST(damaged_value, is_followed_by_a_save)
{
    const board_folder board(e2e::nor_board);
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect("!!!Warning: CRC check failed.\r\r\n");
    session.expect(setmac_banner);
    send_frame(session, e2e::damaged(mac_frame));
    session.expect(bad_value);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(board, no_records));
}

board_folder board_with_fault(std::string_view description, const std::string &fault)
{
    return board_folder(std::string(description) + "\n[[fault]]\n" + fault,
                        {{e2e::product_info_file, e2e::nor_content(no_records)}});
}

TEST(failed_save, is_made_good_by_the_retry)
{
    for (const std::string operation : {"erase", "write"}) {
        const auto board = board_with_fault(e2e::nor_board,
                                            "operation = \"" + operation + "\"\nerror = \"EIO\"\n");
        const auto log = board.path() / "trace.log";
        terminal_session session(board, {"prov_setmac", "setmac", log.string()});
        session.expect(setmac_banner);
        send_frame(session, mac_frame);
        session.expect(failed);
        wait_for_log(log, "[SETMAC <apply_data>:<511>] \r\n"
                          "Save product informat to flash error:-1");
        EXPECT_FALSE(nor_holds(board, mac_records));
        send_frame(session, mac_frame);
        session.expect(applied);
        EXPECT_TRUE(nor_holds(board, mac_records)) << "when the PC reads 0x06";
        EXPECT_EQ(session.finish(), saved_on_terminal);
        EXPECT_TRUE(nor_holds(board, mac_records));
    }
}

TEST(failed_save, is_answered_with_0x12_as_long_as_it_fails)
{
    const auto board =
        board_with_fault(e2e::nor_board, "operation = \"write\"\ntimes = 0\nerror = \"EIO\"\n");
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect(setmac_banner);
    for (int i = 0; i < 3; ++i) {
        send_frame(session, mac_frame);
        session.expect(failed);
    }
    session.send(zero_sign);
    EXPECT_EQ(session.finish(), not_saved_on_terminal);
    EXPECT_TRUE(e2e::memory_is(board, e2e::product_info_file, e2e::repeated(12288, 0xFF)));
}

TEST(failed_save, is_made_good_on_the_mirror_too)
{
    const auto board = board_with_fault(
        std::string(e2e::nor_board) +
            "[[partition]]\nname = \"product_info_other\"\nerase_size = 8192\nblocks = 1\n",
        "operation = \"write\"\npath = \"/dev/mtd2\"\nerror = \"EIO\"\n");
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {"prov_setmac", "setmac", log.string()});
    session.expect(setmac_banner);
    send_frame(session, mac_frame);
    session.expect(failed);
    send_frame(session, mac_frame);
    session.expect(applied);
    EXPECT_TRUE(nor_holds(board, mac_records));
    EXPECT_TRUE(e2e::memory_is(board, "mtd2.bin", mac_records));
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_NE(e2e::unnumbered_log(log).find("[SETMAC <save_product_info>:<N>] \r\nSync Failed"),
              std::string::npos);
}

/** A payload of one part of one property: e2type, a number of 4 bytes. */
frame card_type_frame(const std::string &type, const std::string &crc)
{
    return {bytes({0x00, 0x00, 0x00, 0x19}), bytes({0x02, 0x00, 0x00, 0x00, 0x15}) + "e2type" +
                                                 bytes({0x00, 0x02, 0x00, 0x00, 0x00, 0x04}) +
                                                 type + crc};
}

const frame for_card_5 =
    card_type_frame(bytes({0x00, 0x00, 0x00, 0x05}), bytes({0x64, 0x46, 0x0E, 0x7E}));
const frame for_card_14 =
    card_type_frame(bytes({0x00, 0x00, 0x00, 0x0E}), bytes({0x4F, 0x0D, 0xC5, 0x1F}));
const frame for_card_15 =
    card_type_frame(bytes({0x00, 0x00, 0x00, 0x0F}), bytes({0x4B, 0xCC, 0xD8, 0xA8}));
const frame for_card_42 =
    card_type_frame(bytes({0x00, 0x00, 0x00, 0x2A}), bytes({0xC4, 0x2A, 0x05, 0x23}));
const frame for_card_300 =
    card_type_frame(bytes({0x00, 0x00, 0x01, 0x2C}), bytes({0x0C, 0xB5, 0x89, 0x4D}));

const std::string card_5_records =
    product_image(0x3C04EB11, {"ProductInfo=0B0EFACE", "e2type=00000005"});
const std::string card_14_records =
    product_image(0xEF945352, {"ProductInfo=0B0EFACE", "e2type=0000000E"});
const std::string card_15_records =
    product_image(0x327224B7, {"ProductInfo=0B0EFACE", "e2type=0000000F"});
const std::string card_42_records =
    product_image(0x86BB409F, {"ProductInfo=0B0EFACE", "e2type=0000002A"});
const std::string card_300_records =
    product_image(0xFDF7F256, {"ProductInfo=0B0EFACE", "e2type=0000012C"});

/** A board without records whose card EEPROM begins with these hexadecimal digits. */
board_folder board_of_card(const std::string &content)
{
    return board_folder(std::string(e2e::nor_board) + "[[eeprom]]\naddress = 0x57\ncontent = \"" +
                            content + "\"\n",
                        {{e2e::product_info_file, e2e::nor_content(no_records)}});
}

TEST(card_type, lets_only_payloads_for_this_board_in)
{
    struct card {
        std::string content;
        const frame &wrong;
        const frame &right;
        const std::string &records;
    };
    const std::string zeros_to_64(120, '0'); // 60 bytes
    const card cards[] = {
        // The type in the TLV area of a record with checksum, and in its type byte.
        {"01 7e 00 f1 00 06 06 04 00 00 00 0e 01 8e", for_card_5, for_card_14, card_14_records},
        {"01 7e 00 05 00 03 aa bb cc 02 b8", for_card_14, for_card_5, card_5_records},
        // Format 2, where no checksum is looked at.
        {"02 7e 00 f1 00 00 00 00 00 06 06 04 00 00 00 0e", for_card_5, for_card_14,
         card_14_records},
        // Without the flag.
        {"01 ff 00 9e", for_card_14, for_card_42, card_42_records},
        {"01 00 00 9c" + zeros_to_64 + "01", for_card_14, for_card_15, card_15_records},
        {"02 00 00 ff 00 00 00 2d", for_card_14, for_card_300, card_300_records},
    };
    for (const card &one : cards) {
        const auto board = board_of_card(one.content);
        terminal_session session(board, {"prov_setmac", "setmac"});
        session.expect(setmac_banner);
        send_frame(session, one.wrong);
        session.expect(e2e::refused_board);
        EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records));
        send_frame(session, one.right);
        session.expect(applied);
        EXPECT_EQ(session.finish(), saved_on_terminal) << one.content;
        EXPECT_TRUE(nor_holds(board, one.records)) << one.content;
    }
}

TEST(card_type, of_a_record_with_a_wrong_checksum_lets_no_payload_in)
{
    const auto board = board_of_card("01 7e 00 f1 00 06 06 04 00 00 00 0e 01 8f");
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {"prov_setmac", "setmac", log.string()});
    session.expect(setmac_banner);
    send_frame(session, for_card_14);
    session.expect(e2e::refused_board);
    session.send(zero_sign);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    const auto traced = e2e::unnumbered_log(log);
    for (const std::string line :
         {"[SETMAC <dfd_check_e2prom_info>:<N>] ERROR:old checksum:399, new checksum:398.\n",
          "[SETMAC <setmac_check_eeprom_type>:<N>] \r\nError eeprom read type:-1"}) {
        EXPECT_NE(traced.find(line), std::string::npos) << traced;
    }
}

TEST(card_type, is_not_checked_where_there_is_no_card_eeprom)
{
    const auto board = nor_board_holding(no_records);
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {"prov_setmac", "setmac", log.string()});
    session.expect(setmac_banner);
    send_frame(session, for_card_14);
    session.expect(applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(board, card_14_records));
    EXPECT_NE(e2e::unnumbered_log(log).find(
                  "[SETMAC <setmac_check_eeprom_type>:<N>] \r\nSkip eeprom check."),
              std::string::npos);
}

} // namespace
