#include <gtest/gtest.h>

#include "e2e/console/console_session.h"
#include "e2e/support/board_checks.h"
#include "e2e/support/pc_side.h"
#include "e2e/support/tlv_board.h"

// The way from power-on to a prompt, and what a prompt is good for.

namespace {

using e2e::at_prompt;
using e2e::board_folder;
using e2e::console_session;
using e2e::nor_board;
using e2e::quick_boot;
using e2e::quick_greeting;
using e2e::setmac_banner;
using e2e::with;

const std::string no_records = e2e::product_image(0xAAC184F9, {});
const std::string mac_records =
    e2e::product_image(0x67236E1B, {"ProductInfo=0B0EFACE", "ethaddr=00:1A:2B:3C:4D:5E"});

board_folder blank_board()
{
    return e2e::nor_board_holding(no_records);
}

/** An exchange by a PC that finds prov_setmac waiting, up to the prompt behind it. */
void exchange_mac(console_session &session)
{
    session.send(e2e::setmac_sign);
    session.expect(e2e::bytes({0x15}));
    session.send(e2e::version_1);
    session.expect(e2e::version_1);
    session.send(e2e::mac_frame.length + e2e::mac_frame.value);
    session.expect(e2e::applied);
    session.expect("Save product info success.\r\r\nswitch# ");
}

} // namespace

TEST(console, boots_and_asks_for_a_login)
{
    const board_folder board(nor_board);
    console_session session(board, {"--set", "boot_lines=2", "--set", "boot_ms=20"});
    session.expect("[    0.000000] Booting Linux on physical CPU 0x0\r\n"
                   "[    0.010000] Memory: 979200K/1048576K available\r\n"
                   "\r\nSimulated switch\r\nswitch login: ");
    session.send("root\r");
    session.expect("root\r\nswitch# ");
}

TEST(console, is_configured_by_the_board_file)
{
    const board_folder board(std::string(nor_board) +
                             "[console]\nboot_lines = 0\nboot_ms = 0\nissue = \"\"\n"
                             "login_prompt = \"name? \"\nprompt = \"sw> \"\n");
    console_session session(board, {"--set", "prompt=other> "});
    session.expect("\r\nname? ");
    session.send("root\r");
    session.expect("root\r\nother> ");
}

TEST(console, is_silent_after_power_on_for_as_long_as_ordered)
{
    const board_folder board(nor_board);
    console_session session(board, with(quick_boot, {"--set", "silence_ms=300"}));
    session.line().expect_silence(100);
    session.expect(quick_greeting);
}

TEST(console, lets_in_with_the_right_password_only)
{
    const board_folder board(nor_board);
    console_session session(
        board, with(quick_boot, {"--set", "password=let me in", "--set", "motd=\"Welcome\\n\""}));
    session.expect(quick_greeting);
    session.send("root\r");
    session.expect("root\r\nPassword: ");
    session.send("let me out\r");
    session.expect("\r\n\r\nLogin incorrect\r\nswitch login: ");
    session.send("root\r");
    session.expect("root\r\nPassword: ");
    session.send("let me in\r");
    session.expect("\r\nWelcome\r\nswitch# ");
}

TEST(console, takes_its_time_over_a_refusal)
{
    const board_folder board(nor_board);
    console_session session(
        board, with(quick_boot, {"--set", "password=secret", "--set", "refusal_ms=300"}));
    session.expect(quick_greeting);
    session.send("root\r");
    session.expect("root\r\nPassword: ");
    session.send("wrong\r");
    session.expect("\r\n");
    session.line().expect_silence(100);
    session.expect("\r\nLogin incorrect\r\nswitch login: ");
}

TEST(console, can_ask_for_enter_and_for_no_login)
{
    const board_folder board(nor_board);
    console_session session(
        board, with(quick_boot, {"--set", "user=", "--set", "activate=Press Enter: "}));
    session.expect("\r\nPress Enter: ");
    session.send("x\r");
    session.expect("\r\nswitch# ");
    session.send("exit\r");
    session.expect("exit\r\nswitch# ");
}

TEST(console, asks_for_a_login_again_after_the_shell)
{
    const board_folder board(nor_board);
    console_session session(board, with(at_prompt, {"--set", "issue="}));
    session.send("exit\r");
    session.expect("exit\r\n\r\nswitch login: ");
}

TEST(console, runs_the_programs_of_the_board)
{
    const auto board = blank_board();
    console_session session(board, at_prompt);
    session.send("setsn ABCDEFGHJ1234\r");
    session.expect("setsn ABCDEFGHJ1234\r\nSave product info success.\r\r\nswitch# ");
    session.send("prodinfo; echo $?\r");
    session.expect("prodinfo; echo $?\r\nSerialNO=ABCDEFGHJ1234\r\r\n0\r\nswitch# ");
    session.send("cat /sys/class/mtd/mtd1/name\r");
    session.expect("cat /sys/class/mtd/mtd1/name\r\nproduct_info\r\nswitch# ");
}

TEST(console, keeps_files_in_the_folder_of_the_board)
{
    const board_folder board(nor_board);
    console_session session(board, at_prompt);
    session.send("echo one >trace; cat trace\r");
    session.expect("echo one >trace; cat trace\r\none\r\nswitch# ");
    EXPECT_EQ(e2e::read_file(board.path() / "home/trace"), "one\n");
    session.send("rm trace; cat trace\r");
    session.expect("rm trace; cat trace\r\ncat: trace: No such file or directory\r\nswitch# ");
}

TEST(console, carries_an_exchange_byte_by_byte)
{
    const auto board = blank_board();
    console_session session(board, quick_boot);
    session.expect(quick_greeting);
    session.send("root\r");
    session.expect("root\r\nswitch# ");
    session.send("prov_setmac setmac\r");
    session.expect("prov_setmac setmac\r\n");
    session.expect(setmac_banner);
    exchange_mac(session);
    EXPECT_TRUE(e2e::nor_holds(board, mac_records));
}

TEST(console, carries_an_exchange_over_pipes)
{
    const auto board = blank_board();
    console_session session(board, at_prompt, console_session::pipes);
    session.send("prov_setmac setmac\r");
    session.expect("prov_setmac setmac\r\n");
    session.expect(setmac_banner);
    exchange_mac(session);
    EXPECT_TRUE(e2e::nor_holds(board, mac_records));
}

TEST(console, can_begin_at_its_login)
{
    const board_folder board(nor_board);
    console_session session(board, {"--set", "start=login"});
    session.line().expect_silence(50);
    session.send("\r");
    session.expect("\r\nswitch login: ");
    session.send("root\r");
    session.expect("root\r\nswitch# ");
}

TEST(console, can_begin_at_its_prompt)
{
    const board_folder board(nor_board);
    console_session session(board, at_prompt);
    session.line().expect_silence(50);
    session.send("\r");
    session.expect("\r\nswitch# ");
}

TEST(console, can_begin_with_an_operation_that_waits)
{
    const auto board = blank_board();
    console_session session(board, with(at_prompt, {"--set", "running=prov_setmac setmac"}));
    exchange_mac(session);
    EXPECT_TRUE(e2e::nor_holds(board, mac_records));
}

TEST(console, can_begin_with_an_operation_for_units_that_waits)
{
    const std::pair<std::string, const char *> starts[] = {{"setfansn", "\x20"},
                                                           {"setbackplane", "\x15"}};
    for (const auto &[operation, start] : starts) {
        const board_folder board(nor_board);
        console_session session(board,
                                with(at_prompt, {"--set", "running=prov_setmac " + operation}));
        session.send("\x03"); // a byte like any other: the terminal is raw
        session.send(start);
        session.expect("\x06");
    }
}

TEST(console, finds_the_programs_of_the_boards_flavour)
{
    const board_folder board(nor_board);
    const std::string folder = E2E_BIN_FOLDER;
    {
        console_session session(board, with(at_prompt, {"--set", "flavour=tlv"}));
        session.send("command -v prov_setmac\r");
        session.expect("command -v prov_setmac\r\n" + folder + "/tlv/prov_setmac\r\nswitch# ");
    }
    console_session session(board, at_prompt);
    session.send("command -v prov_setmac\r");
    session.expect("command -v prov_setmac\r\n" + folder + "/prov_setmac\r\nswitch# ");
}

TEST(console, boots_again_when_it_is_told_to)
{
    const auto board = blank_board();
    console_session session(board, with(at_prompt, quick_boot));
    session.send("setsn ABCDEFGHJ1234\r");
    session.expect("setsn ABCDEFGHJ1234\r\nSave product info success.\r\r\nswitch# ");
    session.send("reboot\r");
    session.expect("reboot\r\n\r\nreboot: Restarting system\r\n");
    session.expect(quick_greeting);
    session.send("root\r");
    session.expect("root\r\nswitch# ");
    session.send("prodinfo\r");
    session.expect("prodinfo\r\nSerialNO=ABCDEFGHJ1234\r\r\nswitch# ");
}

TEST(console, refuses_what_it_does_not_understand)
{
    const board_folder board(nor_board);
    const auto wrong =
        e2e::run({"simboard", "console", board.path().string(), "--set", "boot_lines=few"}, {});
    EXPECT_EQ(wrong.output, "");
    EXPECT_EQ(wrong.errors,
              "simboard: \"boot_lines=few\":1: boot_lines must be a whole number from "
              "0 to 1000000\n");
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(
        e2e::run({"simboard", "console", board.path().string(), "--fault", "explode,sent=1"}, {})
            .errors,
        "simboard: \"explode,sent=1\":1: what must be \"reboot\", \"power_cut\", \"cut\", "
        "\"hang_up\", \"change\", \"drop\" or \"twice\"\n");
}
