#include <algorithm>
#include <array>

#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/pc_side.h"

// "prov_setmac setmac" at a terminal with the PC at its other end: whole exchanges, byte by byte.

namespace {

using e2e::applied;
using e2e::bytes;
using e2e::frame;
using e2e::nor_board_holding;
using e2e::nor_holds;
using e2e::outcome;
using e2e::product_image;
using e2e::saved_on_terminal;
using e2e::send_frame;
using e2e::setmac_banner;
using e2e::terminal_session;

const std::string no_records = product_image(0xAAC184F9, {});
const std::string mac_records =
    product_image(0x67236E1B, {"ProductInfo=0B0EFACE", "ethaddr=00:1A:2B:3C:4D:5E"});

const std::string log_of_one_exchange =
    "[SETMAC <com_read_timeout>:<54>] Get char count:1 time:N \r\n"
    "[SETMAC <smp_recv>:<124>] \r\nRead the First sign OK"
    "[SETMAC <com_read_timeout>:<54>] Get char count:7 time:N \r\n"
    "[SETMAC <setmac_crc32>:<71>] crc is 0x0 \r\n"
    "[SETMAC <smp_recv>:<137>] \r\nWrite the Hand Sign"
    "[SETMAC <com_read_timeout>:<54>] Get char count:1 time:N \r\n"
    "[SETMAC <com_read_timeout>:<54>] Get char count:4 time:N \r\n"
    "[SETMAC <smp_recv>:<164>] \r\nRead the length 31 \n"
    "[SETMAC <com_read_timeout>:<54>] Get char count:31 time:N \r\n"
    "[SETMAC <smp_recv>:<176>] \r\n"
    "[SETMAC <setmac_crc32>:<71>] crc is 0x0 \r\n"
    "[SETMAC <smp_recv>:<184>] \r\n write pre sucess"
    "[SETMAC <apply_data>:<479>] \r\nFlag at 0 Bytes"
    "[SETMAC <apply_data>:<490>] \r\nnPartLen:22"
    "[SETMAC <apply_property>:<127>] \r\nName:MacAddress,Type:2,Len:6,Value:P"
    "[SETMAC <smp_recv>:<195>] \r\nSetMac Success";

/** Without the time-outs at its front, of which a slow PC gets more than a fast one. */
std::string from_first_sign(const std::string &log)
{
    const std::string time_out = "[SETMAC <smp_recv>:<104>] \r\nRead the First sign error-Timeout";
    std::size_t at = 0;
    while (log.compare(at, time_out.size(), time_out) == 0) {
        at += time_out.size();
    }
    return log.substr(at);
}

TEST(prov_setmac, provisions_a_mac_address_byte_by_byte)
{
    const auto board = nor_board_holding(no_records);
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {"prov_setmac", "setmac", log.string()});
    session.expect("Setmac Model setup ...\r\n"
                   "Disconnect your console terminal first \r\n"
                   " Using your PC SetMac program to perform Setmac Operation ...\r\n");
    session.send(bytes({0x15, 0x18, 0x03, 0x10, 0xBD, 0x3D, 0x0E, 0x81}));
    session.expect(bytes({0x15}));
    session.send(bytes({0x01}));
    session.expect(bytes({0x01}));
    session.send(bytes({0x00, 0x00, 0x00, 0x1F}));
    session.send(bytes({0x02, 0x00, 0x00, 0x00, 0x1B, 0x4D, 0x61, 0x63, 0x41, 0x64, 0x64,
                        0x72, 0x65, 0x73, 0x73, 0x00, 0x02, 0x00, 0x00, 0x00, 0x06, 0x00,
                        0x1A, 0x2B, 0x3C, 0x4D, 0x5E, 0x9F, 0x5A, 0xE4, 0x89}));
    session.expect(bytes({0x07}));
    session.expect(bytes({0x06}));
    EXPECT_EQ(session.finish(), (outcome{.output = "Save product info success.\r\r\n"}));
    EXPECT_TRUE(e2e::same_settings(session.settings(), session.settings_before()));
    EXPECT_EQ(from_first_sign(e2e::settled_log(log)), log_of_one_exchange);
    EXPECT_TRUE(nor_holds(board, mac_records));
    // Saved by the payload; the two saves that follow find nothing changed.
    EXPECT_EQ(board.changes(),
              (std::vector<std::string>{"erase /dev/mtd1 start=0x0 length=0x3000 = 0",
                                        "write /dev/mtd1 offset=0x0 length=8192 = 8192"}));
}

TEST(prov_setmac, prepares_the_driver_library_after_the_records_are_loaded)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect(setmac_banner);
    session.send(bytes({0x00}));
    EXPECT_EQ(session.finish(), saved_on_terminal);
    const auto done = board.operations();
    const auto loaded = std::ranges::find(done, "read /dev/mtd1 offset=0x0 length=12288 = 12288");
    const auto prepared = std::find_if(loaded, done.end(), [](const std::string &operation) {
        return operation.starts_with("dev_drv_init ");
    });
    ASSERT_NE(prepared, done.end());
    EXPECT_EQ(std::ranges::count_if(done,
                                    [](const std::string &operation) {
                                        return operation.starts_with("dev_drv_init ");
                                    }),
              1);
}

TEST(prov_setmac, goes_on_whatever_the_driver_library_answers)
{
    const e2e::board_folder board(std::string(e2e::nor_board) + "[driver]\ninit_result = -1\n",
                                  {{e2e::product_info_file, e2e::nor_content(no_records)}});
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect(setmac_banner);
    send_frame(session, e2e::mac_frame);
    session.expect(applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(board, mac_records));
}

TEST(prov_setmac, writes_nothing_when_the_payload_is_stored_already)
{
    const auto board = nor_board_holding(mac_records);
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect(setmac_banner);
    send_frame(session, e2e::mac_frame);
    session.expect(applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(e2e::untouched_nor_holds(board, mac_records));
}

TEST(prov_setmac, keeps_the_records_that_the_payload_does_not_name)
{
    const auto board =
        nor_board_holding(product_image(0x2A273480, {"SerialNO=ABCDEFGHJ1234", "ethaddr=none"}));
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect(setmac_banner);
    send_frame(session, e2e::mac_frame);
    session.expect(applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(
        board, product_image(0x6E7790BF, {"SerialNO=ABCDEFGHJ1234", "ethaddr=00:1A:2B:3C:4D:5E",
                                          "ProductInfo=0B0EFACE"})));
}

TEST(prov_setmac, takes_the_bytes_that_a_terminal_treats_specially_as_they_are)
{
    // Text and binary of 0D 11 13 FF 0A, after 03 and 11 and 15 in lengths and signs.
    const frame payload = {
        bytes({0x00, 0x00, 0x00, 0x26}),
        bytes({0x02, 0x00, 0x00, 0x00, 0x22}) + "Line" +
            bytes({0x00, 0x01, 0x00, 0x00, 0x00, 0x05, 0x0D, 0x11, 0x13, 0xFF, 0x0A}) + "Hex" +
            bytes({0x00, 0x02, 0x00, 0x00, 0x00, 0x05, 0x0D, 0x11, 0x13, 0xFF, 0x0A}) +
            bytes({0xE0, 0xD3, 0xE9, 0x34}),
    };
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect(setmac_banner);
    send_frame(session, payload);
    session.expect(applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(
        board, product_image(0x4E8561ED, {"ProductInfo=0B0EFACE", "Line=\x0D\x11\x13\xFF\x0A",
                                          "Hex=0D1113FF0A"})));
}

TEST(prov_setmac, takes_a_payload_byte_by_byte_in_as_many_writes)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect(setmac_banner);
    e2e::sign_in(session);
    for (const char byte : e2e::mac_frame.length + e2e::mac_frame.value) {
        session.send(std::string(1, byte));
    }
    session.expect(applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(board, mac_records));
}

TEST(prov_setmac, stores_only_the_marker_of_an_empty_payload)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect(setmac_banner);
    send_frame(session, e2e::empty_frame);
    session.expect(applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(board, product_image(0x1AA76094, {"ProductInfo=0B0EFACE"})));
}

/** A skipped part of all byte values over and over, and the part of mac_frame: 131068 bytes. */
frame largest_frame()
{
    std::string value = bytes({0x01, 0x00, 0x01, 0xFF, 0xE1});
    for (int i = 0; i < 131036; ++i) {
        value += static_cast<char>(i % 256);
    }
    value += e2e::mac_frame.value.substr(0, 27) + bytes({0xC6, 0x46, 0x5B, 0x1B});
    return {bytes({0x00, 0x02, 0x00, 0x00}), value};
}

TEST(prov_setmac, takes_a_value_of_131072_bytes)
{
    const auto largest = largest_frame();
    ASSERT_EQ(largest.value.size(), 131072U);
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect(setmac_banner);
    send_frame(session, largest);
    session.expect(applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(board, mac_records));
}

TEST(prov_setmac, takes_a_hand_sign_whose_other_bytes_differ_under_a_right_crc)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect(setmac_banner);
    send_frame(session, e2e::mac_frame, bytes({0x15, 0x00, 0x0D, 0x0A, 0xA2, 0x77, 0x53, 0x9B}));
    session.expect(applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
}

TEST(prov_setmac, starts_on_a_blank_partition_with_a_warning_and_fills_it)
{
    const e2e::board_folder board(e2e::nor_board);
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect("!!!Warning: CRC check failed.\r\r\n");
    session.expect(setmac_banner);
    send_frame(session, e2e::mac_frame);
    session.expect(applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(nor_holds(board, mac_records));
}

TEST(prov_setmac, works_over_pipes_as_over_a_terminal)
{
    const auto board = nor_board_holding(no_records);
    const std::string sent =
        e2e::setmac_sign + e2e::version_1 + e2e::mac_frame.length + e2e::mac_frame.value;
    EXPECT_EQ(e2e::run_on_board(board, {"prov_setmac", "setmac"}, sent),
              (outcome{.output = std::string(setmac_banner) + bytes({0x15, 0x01, 0x07, 0x06}) +
                                 "Save product info success.\r\n"}));
    EXPECT_TRUE(nor_holds(board, mac_records));
}

} // namespace
