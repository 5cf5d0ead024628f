#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <thread>

#include <fcntl.h>

#include <gtest/gtest.h>

#include "e2e/support/board_checks.h"
#include "e2e/support/pc_side.h"

// What "prov_setmac" does to the terminal that it is started on, and with its arguments.

namespace {

using e2e::bytes;
using e2e::expect_restored;
using e2e::nor_board_holding;
using e2e::outcome;
using e2e::product_image;
using e2e::saved_on_terminal;
using e2e::setmac_banner;
using e2e::terminal_session;

const std::string no_records = product_image(0xAAC184F9, {});
const std::string mac_records =
    product_image(0x67236E1B, {"ProductInfo=0B0EFACE", "ethaddr=00:1A:2B:3C:4D:5E"});

/** Settings that no program would come up with by itself. */
void make_peculiar(termios &settings)
{
    settings.c_iflag |= IXOFF | IXANY;
    settings.c_oflag |= OLCUC;
    settings.c_lflag |= NOFLSH | TOSTOP;
    settings.c_lflag &= ~static_cast<tcflag_t>(ECHOK);
    for (int i = 0; i <= VEOL2; ++i) {
        settings.c_cc[i] = static_cast<cc_t>(0x80 + i);
    }
    cfsetispeed(&settings, B9600);
    cfsetospeed(&settings, B9600);
}

/** What these settings are while the PC has the line. */
termios raw(termios settings)
{
    settings.c_iflag &= ~static_cast<tcflag_t>(ICRNL | IXON | IXOFF);
    settings.c_oflag = 0;
    settings.c_lflag &= ~static_cast<tcflag_t>(0xEFB);
    std::fill_n(settings.c_cc, 17, cc_t{0});
    settings.c_cc[VMIN] = 1;
    return settings;
}

/** Output makes the descriptor wait for a moment, so it need not be non-blocking at once. */
bool becomes_non_blocking(const terminal_session &session)
{
    const auto deadline = std::chrono::steady_clock::now() + e2e::patience;
    while (session.flags() != (session.flags_before() | O_NONBLOCK)) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

class console_of_prov_setmac : public testing::TestWithParam<void (*)(termios &)> {};

TEST_P(console_of_prov_setmac, is_raw_during_and_as_it_was_after)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"prov_setmac", "setmac"}, {.adjust = GetParam()});
    session.expect(setmac_banner);
    const auto during = session.settings();
    EXPECT_EQ(during.c_lflag & (ECHO | ICANON | ISIG), 0U);
    EXPECT_EQ(during.c_oflag & OPOST, 0U);
    EXPECT_TRUE(e2e::same_settings(during, raw(session.settings_before())));
    EXPECT_TRUE(becomes_non_blocking(session));
    e2e::send_frame(session, e2e::mac_frame);
    session.expect(e2e::applied);
    const auto end = session.finish();
    EXPECT_EQ(end.status, 0);
    expect_restored(session);
}

TEST_P(console_of_prov_setmac, is_as_it_was_after_a_signal_that_ends_it)
{
    for (const int signal_number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE, SIGABRT, SIGXFSZ,
                                    SIGXCPU, SIGALRM, SIGUSR1, SIGUSR2}) {
        const auto board = nor_board_holding(no_records);
        terminal_session session(board, {"prov_setmac", "setmac"}, {.adjust = GetParam()});
        session.expect(setmac_banner);
        EXPECT_FALSE(e2e::same_settings(session.settings(), session.settings_before()));
        e2e::sign_in(session);
        session.interrupt(signal_number);
        EXPECT_EQ(session.finish(), (outcome{.status = -signal_number}));
        expect_restored(session);
        EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records));
    }
}

TEST_P(console_of_prov_setmac, is_as_it_was_after_a_command_that_fails)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"prov_setmac", "setsn"}, {.adjust = GetParam()});
    EXPECT_EQ(session.finish(), (outcome{.status = 1}));
    expect_restored(session);
}

INSTANTIATE_TEST_SUITE_P(settings, console_of_prov_setmac, testing::Values(nullptr, make_peculiar),
                         [](const auto &one) { return one.index == 0 ? "cooked" : "peculiar"; });

TEST(waiting_prov_setmac, leaves_the_processor_to_other_simulated_switches)
{
    const auto board = nor_board_holding(no_records);
    terminal_session session(board, {"prov_setmac", "setmac"});
    session.expect(setmac_banner);
    const auto before = session.processor_time();
    constexpr std::chrono::seconds wait{1};
    session.expect_silence(static_cast<int>(std::chrono::milliseconds(wait).count()));
    EXPECT_LT(session.processor_time() - before, wait / 2.0);
}

TEST(prov_setmac_arguments, of_a_wrong_count_end_it_without_a_word)
{
    const auto board = nor_board_holding(no_records);
    const auto log = board.path() / "trace.log";
    const e2e::command_line commands[] = {{"prov_setmac"},
                                          {"prov_setmac", "setmac", log.string(), "more"}};
    for (const auto &command : commands) {
        terminal_session session(board, command, {.typed_ahead = "{"});
        EXPECT_EQ(session.finish(), (outcome{.status = 1}));
        expect_restored(session);
        EXPECT_EQ(e2e::run_on_board(board, command), (outcome{.status = 1}));
    }
    EXPECT_FALSE(std::filesystem::exists(log));
    EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records));
}

TEST(prov_setmac_arguments, of_an_unknown_command_end_it_without_a_word)
{
    const auto board = nor_board_holding(no_records);
    for (const std::string command : {"", "setma", "setmacs", "SETMAC", "setcountry"}) {
        terminal_session session(board, {"prov_setmac", command});
        EXPECT_EQ(session.finish(), (outcome{.status = 1})) << command;
        expect_restored(session);
    }
    EXPECT_TRUE(e2e::untouched_nor_holds(board, no_records));
}

TEST(prov_setmac_arguments, of_an_unknown_command_leave_an_empty_log)
{
    const auto board = nor_board_holding(no_records);
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {"prov_setmac", "setmacs", log.string()});
    EXPECT_EQ(session.finish(), (outcome{.status = 1}));
    EXPECT_EQ(e2e::read_file(log), "");
}

TEST(log_file, is_appended_to)
{
    const auto board = nor_board_holding(no_records);
    const auto log = board.path() / "trace.log";
    e2e::write_file(log, "what was there before\n");
    terminal_session session(board, {"prov_setmac", "setmac", log.string()});
    session.expect(setmac_banner);
    session.send(bytes({0x00}));
    EXPECT_EQ(session.finish(), saved_on_terminal);
    const auto text = e2e::settled_log(log);
    EXPECT_TRUE(text.starts_with("what was there before\n[SETMAC <")) << text;
    EXPECT_TRUE(text.ends_with("[SETMAC <com_read_timeout>:<54>] Get char count:1 time:N \r\n"
                               "[SETMAC <smp_recv>:<119>] \r\nRead the First sign error-char:0"))
        << text;
}

TEST(log_file, is_complete_up_to_the_signal_that_ends_the_program)
{
    const auto board = nor_board_holding(no_records);
    const auto log = board.path() / "trace.log";
    terminal_session session(board, {"prov_setmac", "setmac", log.string()});
    session.expect(setmac_banner);
    e2e::sign_in(session);
    session.interrupt(SIGTERM);
    EXPECT_EQ(session.finish(), (outcome{.status = -SIGTERM}));
    EXPECT_TRUE(e2e::settled_log(log).ends_with(
        "[SETMAC <smp_recv>:<137>] \r\nWrite the Hand Sign"
        "[SETMAC <com_read_timeout>:<54>] Get char count:1 time:N \r\n"));
}

TEST(log_file, that_cannot_be_opened_changes_nothing_else)
{
    const auto board = nor_board_holding(no_records);
    const auto log = board.path() / "missing" / "trace.log";
    terminal_session session(board, {"prov_setmac", "setmac", log.string()});
    session.expect(setmac_banner);
    e2e::send_frame(session, e2e::mac_frame);
    session.expect(e2e::applied);
    EXPECT_EQ(session.finish(), saved_on_terminal);
    EXPECT_TRUE(e2e::nor_holds(board, mac_records));
    EXPECT_FALSE(std::filesystem::exists(log.parent_path()));
}

} // namespace
