#include <algorithm>

#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/tlv_board.h"

// How "prov_setmac setmac" of the TLV flavour programs the system EEPROM: transfers and pauses, the
// write enable around them, and what is left when that goes wrong.

namespace {

using e2e::applied_by_default;
using e2e::board_folder;
using e2e::board_with_eeprom;
using e2e::bytes;
using e2e::default_image;
using e2e::eeprom_content;
using e2e::eeprom_holds;
using e2e::failed_by_default;
using e2e::framed;
using e2e::memory_is;
using e2e::outcome;
using e2e::protected_tlv_board;
using e2e::repeated;
using e2e::send_frame;
using e2e::setmac_banner;
using e2e::system_eeprom_file;
using e2e::terminal_session;
using e2e::tlv_board;
using e2e::tlv_node;
using e2e::tlv_part;
using e2e::tlv_prov_setmac;

using operation_list = std::vector<std::string>;

const e2e::command_line set_mac = {tlv_prov_setmac, "setmac"};
const std::string blank = repeated(256, 0xFF);

/** What says the register that write-enables the EEPROM, and nothing else. */
e2e::frame register_frame(int number, uint32_t crc)
{
    return framed(tlv_part(2, tlv_node("e2_write_en_reg", bytes({number}))), crc);
}

const auto register_31_frame = register_frame(0x31, 0x418A7B97);

/** A board with a blank EEPROM. */
board_folder blank_board(const std::string &description)
{
    return board_with_eeprom(description, blank);
}

/** One that makes the transfers fail from that write of the EEPROM on, so many times. */
std::string failing_from(int write, int times)
{
    const int reads_before = 1; // the header, at the start
    return "[[fault]]\noperation = \"transfer\"\npath = \"/dev/i2c-0\"\nerror = \"EIO\"\ncall = " +
           std::to_string(reads_before + write) + "\ntimes = " + std::to_string(times) + "\n";
}

/** The PC's side of one exchange, on a board with a blank EEPROM: it gets this answer. */
void exchange(terminal_session &session, const e2e::frame &payload, const std::string &answer)
{
    session.expect(e2e::blank_eeprom_on_terminal);
    session.expect(setmac_banner);
    send_frame(session, payload);
    session.expect(answer);
}

/** An exchange that ends the operation. */
void provision(const board_folder &board, const e2e::frame &payload)
{
    terminal_session session(board, set_mac);
    exchange(session, payload, applied_by_default);
    EXPECT_EQ(session.finish(), outcome{});
}

/** One that fails, after which the PC gives up. */
void fail_to_provision(const board_folder &board, const e2e::frame &payload)
{
    terminal_session session(board, set_mac);
    exchange(session, payload, failed_by_default);
    session.send(bytes({0x00}));
    EXPECT_EQ(session.finish(), outcome{});
}

operation_list register_writes(const board_folder &board)
{
    return board.operations("write /dev/cpld0 ");
}

TEST(tlv_programming, takes_32_transfers_of_a_page_each_in_order)
{
    const auto board = blank_board(tlv_board);
    provision(board, e2e::empty_frame);
    const auto writes = e2e::eeprom_writes(board);
    ASSERT_EQ(writes.size(), 32U);
    const std::string_view image_bytes[] = {
        "00546c76496e666f00", "0801003e2b0674616c", "107665782c02636e2d", "180674616c7665782e",
        "2001302f0130220430", "283030302907303030", "303030303026010127", "380230302806783836",
        "402d3634fe04ed7d65", "487e00000000000000"};
    for (std::size_t page = 0; page < writes.size(); ++page) {
        constexpr std::string_view digits = "0123456789abcdef";
        const std::string offset = {digits[page / 2], page % 2 == 0 ? '0' : '8'};
        const std::string sent = page < std::size(image_bytes) ? std::string(image_bytes[page])
                                                               : offset + "0000000000000000";
        EXPECT_EQ(writes[page], "transfer /dev/i2c-0 address=0x56 write=" + sent + " = 2");
    }
}

TEST(tlv_programming, pauses_10_ms_after_every_transfer)
{
    const auto board = blank_board(protected_tlv_board);
    provision(board, e2e::empty_frame);
    const auto all = board.timed_operations();
    int pauses = 0;
    for (std::size_t i = 0; i + 2 < all.size(); ++i) {
        const bool is_write = all[i].what.starts_with("transfer /dev/i2c-0 address=0x56 write=") &&
                              all[i].what.find(" read=") == std::string::npos;
        if (!is_write) {
            continue;
        }
        // The device is closed at once, and what opens next does it after the pause.
        EXPECT_EQ(all[i + 1].what, "close /dev/i2c-0 = 0");
        EXPECT_GE(all[i + 2].time_us - all[i + 1].time_us, 10000) << all[i + 2].what;
        EXPECT_TRUE(all[i + 2].what.starts_with("open /dev/")) << all[i + 2].what;
        ++pauses;
    }
    EXPECT_EQ(pauses, 32);
    EXPECT_EQ(board.operations("open /dev/cpld0 ").size(), 2U);
}

TEST(tlv_programming, suits_an_eeprom_that_needs_the_whole_pause)
{
    const auto board = blank_board(tlv_board + "write_cycle_ms = 10\n");
    provision(board, e2e::empty_frame);
    EXPECT_TRUE(eeprom_holds(board, default_image));
    EXPECT_EQ(e2e::eeprom_writes(board).size(), 32U);
}

TEST(tlv_programming, waits_for_an_eeprom_that_is_busy_for_longer)
{
    const auto board = blank_board(tlv_board + "write_cycle_ms = 35\n");
    provision(board, e2e::empty_frame);
    EXPECT_TRUE(eeprom_holds(board, default_image));
    EXPECT_GT(e2e::eeprom_writes(board).size(), 32U);
}

TEST(tlv_programming, gives_up_an_eeprom_that_does_not_come_back)
{
    const auto board = blank_board(tlv_board + "write_cycle_ms = 60000\n");
    fail_to_provision(board, e2e::empty_frame);
    EXPECT_TRUE(
        memory_is(board, system_eeprom_file, default_image.substr(0, 8) + repeated(248, 0xFF)));
    // The first page, and five attempts at the second.
    EXPECT_EQ(e2e::eeprom_writes(board).size(), 6U);
}

TEST(tlv_programming, enables_by_the_default_register_before_and_disables_after)
{
    const auto board = blank_board(protected_tlv_board);
    provision(board, e2e::empty_frame);
    EXPECT_TRUE(eeprom_holds(board, default_image));
    EXPECT_EQ(register_writes(board),
              (operation_list{"write /dev/cpld0 offset=0x25 length=1 data=fb = 1",
                              "write /dev/cpld0 offset=0x25 length=1 data=ff = 1"}));
    const auto all = board.operations();
    const auto is_register_write = [](const std::string &one) {
        return one.starts_with("write /dev/cpld0 ");
    };
    const auto enabled = std::ranges::find_if(all, is_register_write);
    const auto first =
        std::ranges::find(all, "transfer /dev/i2c-0 address=0x56 write=00546c76496e666f00 = 2");
    const auto last =
        std::ranges::find(all, "transfer /dev/i2c-0 address=0x56 write=f80000000000000000 = 2");
    ASSERT_NE(last, all.end());
    EXPECT_LT(enabled, first);
    EXPECT_EQ(std::find_if(first, last, is_register_write), last);
    EXPECT_NE(std::find_if(last, all.end(), is_register_write), all.end());
    EXPECT_TRUE(memory_is(board, "cpld0.bin", blank));
}

TEST(tlv_programming, enables_by_the_register_of_the_payload_with_another_value)
{
    const auto board = blank_board(protected_tlv_board);
    provision(board, register_31_frame);
    EXPECT_TRUE(eeprom_holds(board, default_image));
    EXPECT_EQ(register_writes(board),
              (operation_list{"write /dev/cpld0 offset=0x31 length=1 data=00 = 1",
                              "write /dev/cpld0 offset=0x31 length=1 data=ff = 1"}));
}

TEST(tlv_programming, enables_by_the_last_register_of_several)
{
    const auto board = blank_board(protected_tlv_board);
    const auto nodes = tlv_node("e2_write_en_reg", bytes({0x44})) +
                       tlv_node("e2_write_en_reg", bytes({0x31, 0x44}));
    provision(board, framed(tlv_part(2, nodes), 0x68757A6B));
    EXPECT_TRUE(eeprom_holds(board, default_image));
    EXPECT_EQ(register_writes(board),
              (operation_list{"write /dev/cpld0 offset=0x31 length=1 data=00 = 1",
                              "write /dev/cpld0 offset=0x31 length=1 data=ff = 1"}));
}

TEST(tlv_programming, enables_by_the_default_register_when_the_payload_names_register_0)
{
    const auto board = blank_board(protected_tlv_board);
    provision(board, register_frame(0x00, 0x91790BB0));
    EXPECT_TRUE(eeprom_holds(board, default_image));
    EXPECT_EQ(register_writes(board).at(0), "write /dev/cpld0 offset=0x25 length=1 data=fb = 1");
}

TEST(tlv_programming, remembers_the_register_of_a_payload_that_was_refused)
{
    const auto board = blank_board(protected_tlv_board);
    terminal_session session(board, set_mac);
    const auto part = tlv_part(2, tlv_node("e2_write_en_reg", bytes({0x31})));
    exchange(session, framed(part + bytes({0x00}), 0xBA3CFAC0), e2e::failed);
    EXPECT_EQ(register_writes(board), operation_list{});
    send_frame(session, e2e::empty_frame);
    session.expect(applied_by_default);
    EXPECT_EQ(session.finish(), outcome{});
    EXPECT_EQ(register_writes(board).at(0), "write /dev/cpld0 offset=0x31 length=1 data=00 = 1");
    EXPECT_TRUE(eeprom_holds(board, default_image));
}

TEST(tlv_programming, takes_an_eeprom_that_stays_protected_for_programmed)
{
    // It acknowledges what it ignores, and nothing reads it back.
    const std::string no_cpld = "[[fault]]\noperation = \"open\"\npath = \"/dev/cpld0\"\n"
                                "times = 0\nerror = \"ENOENT\"\n";
    const auto board = blank_board(protected_tlv_board + no_cpld);
    provision(board, e2e::empty_frame);
    EXPECT_TRUE(memory_is(board, system_eeprom_file, blank));
    EXPECT_EQ(e2e::eeprom_writes(board).size(), 32U);
    EXPECT_EQ(register_writes(board), operation_list{});
    EXPECT_EQ(board.operations("open /dev/cpld0 "),
              operation_list(2, "open /dev/cpld0 = -1 ENOENT"));
    EXPECT_EQ(e2e::listed(board).output.substr(0, 44),
              "read_eeprom: can't find productinfo.\r\n!!!War");

    const auto other_register = blank_board(protected_tlv_board);
    provision(other_register, register_frame(0x32, 0x4CC95D4E));
    EXPECT_TRUE(memory_is(other_register, system_eeprom_file, blank));
}

TEST(tlv_programming, goes_on_after_four_failures_in_a_row)
{
    const auto board = blank_board(tlv_board + failing_from(6, 4));
    provision(board, e2e::empty_frame);
    EXPECT_TRUE(eeprom_holds(board, default_image));
}

TEST(tlv_programming, that_fails_in_the_middle_leaves_the_pages_before_and_the_enable)
{
    const auto board = blank_board(protected_tlv_board + failing_from(6, 5));
    fail_to_provision(board, e2e::empty_frame);
    EXPECT_TRUE(
        memory_is(board, system_eeprom_file, default_image.substr(0, 40) + repeated(216, 0xFF)));
    EXPECT_EQ(register_writes(board),
              (operation_list{"write /dev/cpld0 offset=0x25 length=1 data=fb = 1"}));
    EXPECT_EQ(board.memory("cpld0.bin").at(0x25), '\xFB');
    // The payload was whole, so its end mark is set; the next start tells the image is not.
    EXPECT_TRUE(e2e::nor_holds(board, e2e::marked_complete));
    EXPECT_EQ(e2e::listed(board), e2e::damaged_listing);
    EXPECT_EQ(e2e::checked(board.memory(system_eeprom_file)).errors,
              "not valid: records: 0xff runs past the end\n");
}

TEST(tlv_programming, that_fails_leaves_the_pc_another_attempt)
{
    const auto board = blank_board(protected_tlv_board + failing_from(6, 5));
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {tlv_prov_setmac, "setmac", log.string()});
    session.expect(e2e::blank_eeprom_on_terminal);
    session.expect(setmac_banner);
    send_frame(session, e2e::empty_frame);
    session.expect(failed_by_default);
    send_frame(session, e2e::empty_frame);
    session.expect(applied_by_default);
    EXPECT_EQ(session.finish(), outcome{});
    EXPECT_TRUE(eeprom_holds(board, default_image));
    EXPECT_EQ(register_writes(board),
              (operation_list{"write /dev/cpld0 offset=0x25 length=1 data=fb = 1",
                              "write /dev/cpld0 offset=0x25 length=1 data=fb = 1",
                              "write /dev/cpld0 offset=0x25 length=1 data=ff = 1"}));
    EXPECT_NE(e2e::unnumbered_log(log).find(
                  "[SETMAC <dfd_write_e2prom>:<N>] Failed to get e2prom info: dev /dev/i2c-0 0x56, "
                  "offset: 40(ret -1)\r\n"
                  "[SETMAC <prog_eeprom>:<N>] Save product info failed.\n"
                  "[SETMAC <tlv_data_apply>:<N>] \r\nprog err!\r\n"
                  "[SETMAC <smp_recv>:<N>] \r\nSetMac Fail:write"),
              std::string::npos)
        << e2e::read_file(log);
}

TEST(tlv_programming, that_fails_over_another_image_leaves_none_of_the_two)
{
    const auto held = e2e::tlv_image(
        e2e::default_records +
            e2e::tlv_record(0xFD, bytes({0x00, 0x00, 0x7E, 0xD9, 0x44, 0x02, 0x41, 0x31})),
        0xF7BE91D1);
    const auto board =
        board_with_eeprom(tlv_board + "[[fault]]\noperation = \"transfer\"\nerror = \"EIO\"\n"
                                      "call = 5\ntimes = 5\n",
                          eeprom_content(held, 0xFF));
    terminal_session session(board, set_mac);
    session.expect(setmac_banner);
    send_frame(session, e2e::empty_frame);
    session.expect(failed_by_default);
    session.send(bytes({0x00}));
    EXPECT_EQ(session.finish(), outcome{});
    EXPECT_TRUE(memory_is(board, system_eeprom_file,
                          default_image.substr(0, 16) + eeprom_content(held, 0xFF).substr(16)));
    EXPECT_EQ(e2e::listed(board), e2e::damaged_listing);
}

TEST(tlv_programming, that_fails_behind_the_image_has_written_it_all)
{
    // The eleventh page holds nothing of it.
    const auto board = blank_board(tlv_board + failing_from(11, 5));
    fail_to_provision(board, e2e::empty_frame);
    EXPECT_TRUE(memory_is(board, system_eeprom_file,
                          default_image + repeated(7, 0x00) + repeated(176, 0xFF)));
    EXPECT_EQ(e2e::checked(board.memory(system_eeprom_file)).status, 0);
    EXPECT_EQ(e2e::listed(board), (outcome{.output = "ProductInfo=0B0EFACE\r\n", .status = 1}));
}

} // namespace
