#include <csignal>

#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/tlv_board.h"

// What "prov_setmac" of the TLV flavour makes of its arguments and of its terminal.

namespace {

using e2e::board_folder;
using e2e::bytes;
using e2e::expect_restored;
using e2e::outcome;
using e2e::setmac_banner;
using e2e::terminal_session;
using e2e::tlv_prov_setmac;

using operation_list = std::vector<std::string>;

const std::string held = e2e::eeprom_content(e2e::default_image, 0xFF);

board_folder quiet_board()
{
    return e2e::board_with_eeprom(e2e::protected_tlv_board, held);
}

/** No memory is any different, and no register, no protection was touched. */
void expect_untouched(const board_folder &board)
{
    EXPECT_TRUE(e2e::untouched_nor_holds(board, e2e::no_product_records));
    EXPECT_EQ(e2e::eeprom_writes(board), operation_list{});
    EXPECT_EQ(board.operations("dev_drv_init "), operation_list{});
    EXPECT_EQ(board.operations("drv_"), operation_list{});
}

/** These arguments end the program without a word, and nothing was done. */
void expect_no_command(const e2e::command_line &arguments)
{
    const auto board = quiet_board();
    e2e::command_line command = {tlv_prov_setmac};
    command.insert(command.end(), arguments.begin(), arguments.end());
    terminal_session session(board, command);
    EXPECT_EQ(session.finish(), (outcome{.status = 1})) << testing::PrintToString(arguments);
    expect_restored(session);
    expect_untouched(board);
}

TEST(tlv_prov_setmac, knows_no_command_of_the_legacy_flavour_alone)
{
    expect_no_command({"setdevice_zk80chassis"});
    expect_no_command({"setpoesn"});
    expect_no_command({"setpwrsn"});
}

TEST(tlv_prov_setmac, compares_its_commands_whole)
{
    expect_no_command({"setma"});
    expect_no_command({"setmac2"});
    expect_no_command({"SETMAC"});
    expect_no_command({"setcountry"});
    expect_no_command({""});
}

TEST(tlv_prov_setmac, takes_a_command_and_at_most_a_log_file)
{
    expect_no_command({});
    expect_no_command({"setmac", "trace.log", "more"});
}

TEST(tlv_prov_setmac, opens_the_log_of_a_command_that_it_does_not_know)
{
    const auto board = quiet_board();
    const auto log = board.path() / "trace.log";
    EXPECT_EQ(e2e::run_on_board(board, {tlv_prov_setmac, "setpwrsn", log.string()}),
              (outcome{.status = 1}));
    EXPECT_EQ(e2e::read_file(log), "");
}

TEST(tlv_prov_setmac, goes_on_without_a_log_that_cannot_be_opened)
{
    const auto board = quiet_board();
    const auto log = board.path() / "missing" / "trace.log";
    terminal_session session(board, {tlv_prov_setmac, "setmac", log.string()});
    session.expect(setmac_banner);
    session.send(bytes({0x00}));
    EXPECT_EQ(session.finish(), outcome{});
    EXPECT_FALSE(std::filesystem::exists(log));
}

TEST(tlv_prov_setmac, has_the_console_raw_while_it_waits_and_restores_it)
{
    const auto board = quiet_board();
    terminal_session session(board, {tlv_prov_setmac, "setmac"});
    session.expect(setmac_banner);
    const auto during = session.settings();
    EXPECT_EQ(during.c_lflag & (ECHO | ICANON | ISIG), 0U);
    EXPECT_EQ(during.c_oflag & OPOST, 0U);
    session.send(bytes({0x00}));
    EXPECT_EQ(session.finish(), outcome{});
    expect_restored(session);
}

TEST(tlv_prov_setmac, restores_the_console_after_a_signal)
{
    for (const int signal_number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE, SIGABRT, SIGXFSZ,
                                    SIGXCPU, SIGALRM, SIGUSR1, SIGUSR2}) {
        const auto board = quiet_board();
        terminal_session session(board, {tlv_prov_setmac, "setmac"});
        session.expect(setmac_banner);
        e2e::sign_in(session);
        EXPECT_FALSE(e2e::same_settings(session.settings(), session.settings_before()));
        session.interrupt(signal_number);
        EXPECT_EQ(session.finish(), (outcome{.status = -signal_number}));
        expect_restored(session);
        expect_untouched(board);
    }
}

TEST(tlv_prov_setmac, restores_the_console_after_a_failed_write)
{
    const auto board = e2e::board_with_eeprom(
        e2e::tlv_board + "[[fault]]\noperation = \"transfer\"\nerror = \"EIO\"\n"
                         "call = 3\ntimes = 0\n",
        held);
    terminal_session session(board, {tlv_prov_setmac, "setmac"});
    session.expect(setmac_banner);
    send_frame(session, e2e::empty_frame);
    session.expect(e2e::failed_by_default);
    session.send(bytes({0x00}));
    EXPECT_EQ(session.finish(), outcome{});
    expect_restored(session);
}

TEST(tlv_prov_setmac, ends_without_an_operation_when_the_eeprom_cannot_be_read)
{
    const board_folder board(e2e::nor_board,
                             {{e2e::product_info_file, e2e::nor_content(e2e::no_product_records)}});
    terminal_session session(board, {tlv_prov_setmac, "setmac"});
    EXPECT_EQ(session.finish(), (outcome{.output = std::string(e2e::blank_eeprom_on_terminal) +
                                                   "Setmac e2prom read faile\r\n",
                                         .status = 1}));
    expect_restored(session);
    EXPECT_TRUE(e2e::untouched_nor_holds(board, e2e::no_product_records));
}

} // namespace
