#include <chrono>

#include <gtest/gtest.h>

#include "e2e/console/console_session.h"
#include "e2e/support/board_checks.h"
#include "e2e/support/pc_side.h"

// What can be ordered to go wrong on the console of a simulated switch.

namespace {

using e2e::at_prompt;
using e2e::board_folder;
using e2e::bytes;
using e2e::console_session;
using e2e::nor_board;
using e2e::quick_boot;
using e2e::quick_greeting;
using e2e::with;

const std::string no_records = e2e::product_image(0xAAC184F9, {});

board_folder blank_board()
{
    return e2e::nor_board_holding(no_records);
}

/** A console at its prompt that boots quickly when it has to, with a fault. */
std::vector<std::string> prompt_with(const std::string &fault)
{
    return with(with(at_prompt, quick_boot), {"--fault", fault});
}

void log_in(console_session &session)
{
    session.expect(quick_greeting);
    session.send("root\r");
    session.expect("root\r\nswitch# ");
}

void begin_setmac(console_session &session)
{
    session.send("prov_setmac setmac\r");
    session.expect("prov_setmac setmac\r\n");
    session.expect(e2e::setmac_banner);
}

std::string all_of_boot(const board_folder &board, const std::string &seed)
{
    console_session session(board,
                            {"--set", "boot_lines=40", "--set", "boot_ms=0", "--set", "noise=50",
                             "--set", "seed=" + seed, "--fault", "hang_up,sent=1500"});
    return session.line().rest();
}

} // namespace

TEST(console_faults, echo_can_be_off)
{
    const board_folder board(nor_board);
    console_session session(board, with(quick_boot, {"--set", "echo=false"}));
    session.expect(quick_greeting);
    session.send("root\r");
    session.expect("\r\nswitch# ");
    session.send("echo one\r");
    session.expect("one\r\nswitch# ");
}

TEST(console_faults, long_lines_can_be_wrapped)
{
    const auto board = blank_board();
    console_session session(board, with(at_prompt, {"--set", "wrap=20"}));
    session.send("echo 123456789012345678\r");
    session.expect("echo 1234567 \r89012345678\r\n123456789012345678\r\nswitch# ");
    // Bytes of an operation are not the shell's.
    session.send("prov_setmac setmac\r");
    session.expect("prov_setmac  \rsetmac\r\n");
    session.expect(e2e::setmac_banner);
    session.send(e2e::setmac_sign);
    session.expect(bytes({0x15}));
    session.line().expect_silence(50);
}

TEST(console_faults, the_kernel_can_print_into_everything_by_bytes)
{
    const board_folder board(nor_board);
    console_session session(board,
                            with(quick_boot, {"--set", "kernel_every_bytes=10", "--set",
                                              "kernel_lines=2", "--set", "kernel_text=eth0 up"}));
    session.expect("\r\nswitch l[  100.000001] eth0 up\r\nogin: ");
    session.send("root\r");
    session.expect("root[  100.000002] eth0 up\r\n\r\nswitch# ");
}

TEST(console_faults, the_kernel_can_print_into_everything_by_time)
{
    const auto board = blank_board();
    console_session session(board,
                            with(at_prompt, {"--set", "running=prov_setmac setmac", "--set",
                                             "kernel_every_ms=20", "--set", "kernel_lines=2"}));
    session.expect("[  100.000001] eth0: link is not ready\r\n"
                   "[  100.000002] eth0: link is not ready\r\n");
    session.send(e2e::setmac_sign);
    session.expect(bytes({0x15}));
}

TEST(console_faults, reboots_before_a_command)
{
    const board_folder board(nor_board);
    console_session session(board, prompt_with("reboot,command=2"));
    session.send("echo one\r");
    session.expect("echo one\r\none\r\nswitch# ");
    session.send("  \r"); // is none
    session.expect("  \r\nswitch# ");
    session.send("echo two");
    session.expect("echo two");
    session.send("\r");
    session.expect("\r\nreboot: Restarting system\r\n");
    log_in(session);
    session.send("echo three\r");
    session.expect("echo three\r\nthree\r\nswitch# ");
}

TEST(console_faults, reboots_at_a_byte_that_it_receives_in_a_command)
{
    const auto board = blank_board();
    console_session session(board, prompt_with("reboot,command=1,received=5"));
    begin_setmac(session);
    session.send(e2e::setmac_sign.substr(0, 4));
    session.line().expect_silence(50);
    session.send(e2e::setmac_sign.substr(4, 1));
    session.expect("\r\nreboot: Restarting system\r\n");
    log_in(session);
}

TEST(console_faults, reboots_at_a_byte_that_it_sends)
{
    const board_folder board(nor_board);
    // The echo and the end of its line are 10 bytes. What was said before the start does not count.
    console_session session(board, prompt_with("reboot,sent=12"));
    session.send("echo one\r");
    session.expect("echo one\r\no\r\nreboot: Restarting system\r\n");
    log_in(session);
}

TEST(console_faults, loses_power_without_a_word)
{
    const auto board = blank_board();
    console_session session(board, prompt_with("power_cut,command=1,received=9"));
    begin_setmac(session);
    session.send(e2e::setmac_sign);
    session.expect(bytes({0x15}));
    session.send(e2e::version_1);
    log_in(session);
    EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records));
}

TEST(console_faults, loses_power_in_the_middle_of_programming_once)
{
    const auto board = blank_board();
    console_session session(board, prompt_with("power_cut,programmed=100"));
    session.send("setsn ABCDEFGHJ1234\r");
    session.expect("setsn ABCDEFGHJ1234\r\n");
    log_in(session);
    EXPECT_EQ(board.operations("power_cut ").size(), 1U);
    session.send("setsn ABCDEFGHJ1234\r");
    session.expect("setsn ABCDEFGHJ1234\r\n!!!Warning: CRC check failed.\r\r\n"
                   "Save product info success.\r\r\nswitch# ");
}

TEST(console_faults, goes_on_behind_a_line_that_is_cut)
{
    const board_folder board(nor_board);
    console_session session(board, prompt_with("cut,sent=6"));
    session.send("echo one >file\r");
    session.expect("echo ");
    while (!std::filesystem::exists(board.path() / "home/file")) {
        session.line().expect_silence(20);
    }
    session.send("echo two >file2\r");
    session.line().expect_silence(200);
    EXPECT_FALSE(std::filesystem::exists(board.path() / "home/file2"));
}

TEST(console_faults, hangs_up)
{
    const board_folder board(nor_board);
    console_session session(board, prompt_with("hang_up,sent=6"));
    session.send("echo one\r");
    EXPECT_EQ(session.line().rest(), "echo ");
    EXPECT_EQ(session.status(), 0);
}

TEST(console_faults, lies_about_bytes_to_the_pc)
{
    const board_folder board(nor_board);
    console_session session(board, with(prompt_with("change,sent=1"),
                                        {"--fault", "drop,sent=2", "--fault", "twice,sent=3"}));
    session.send("echo one\r");
    session.expect("dhho one\r\none\r\nswitch# ");
}

TEST(console_faults, lies_about_bytes_from_the_pc)
{
    const board_folder board(nor_board);
    console_session session(board,
                            with(prompt_with("change,received=6,bits=0x20"),
                                 {"--fault", "drop,received=7", "--fault", "twice,received=8"}));
    session.send("echo one\r");
    session.expect("echo Oee\r\nOee\r\nswitch# ");
}

TEST(console_faults, lies_by_seed)
{
    const board_folder board(nor_board);
    const std::string one = all_of_boot(board, "1");
    EXPECT_GT(one.size(), 1000U);
    EXPECT_EQ(all_of_boot(board, "1"), one);
    EXPECT_NE(all_of_boot(board, "2"), one);
}

TEST(console_faults, bytes_take_their_time_at_a_rate)
{
    const board_folder board(nor_board);
    const auto start = std::chrono::steady_clock::now();
    console_session session(board, with(quick_boot, {"--set", "baud=300"}));
    session.expect(quick_greeting);
    // 16 bytes of 10 bits.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(533));
}
