#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>

#include "e2e/console/console_session.h"

// The PC's end of a console, and the console's own end.

namespace {

namespace fs = std::filesystem;

using e2e::at_prompt;
using e2e::board_folder;
using e2e::console_session;
using e2e::line_end;
using e2e::nor_board;
using e2e::open_port;
using e2e::quick_boot;
using e2e::with;

/** The line that a console with a port prints first. */
std::string port_of(console_session &session)
{
    std::string line;
    while (!line.ends_with('\n')) {
        line += session.line().next();
    }
    line.pop_back();
    return line;
}

/** A command that runs for long. */
void start_sleeper(console_session &session)
{
    session.send("sleep 1000 & echo $! >pid; echo\r");
    session.expect("sleep 1000 & echo $! >pid; echo\r\n\r\nswitch# ");
}

pid_t sleeper_of(const board_folder &board)
{
    return std::stoi(e2e::read_file(board.path() / "home/pid"));
}

} // namespace

TEST(console_ends, with_the_line_and_leaves_no_process)
{
    const board_folder board(nor_board);
    console_session session(board, at_prompt);
    start_sleeper(session);
    ASSERT_TRUE(e2e::is_running(sleeper_of(board)));
    session.line().shut();
    EXPECT_EQ(session.status(), 0);
    e2e::wait_for_end(sleeper_of(board));
}

TEST(console_ends, with_its_input_from_a_pipe)
{
    const board_folder board(nor_board);
    console_session session(board, at_prompt, console_session::pipes);
    start_sleeper(session);
    session.line().shut();
    EXPECT_EQ(session.status(), 0);
    e2e::wait_for_end(sleeper_of(board));
}

TEST(console_ends, by_a_signal_and_leaves_no_process)
{
    const board_folder board(nor_board);
    console_session session(board, at_prompt);
    start_sleeper(session);
    session.interrupt(SIGTERM);
    EXPECT_EQ(session.status(), 0);
    e2e::wait_for_end(sleeper_of(board));
}

TEST(console_ends, with_the_switch_when_that_is_switched_off)
{
    const board_folder board(nor_board);
    console_session session(board, at_prompt);
    session.send("poweroff\r");
    EXPECT_EQ(session.line().rest(), "poweroff\r\n\r\nreboot: Power down\r\n");
    EXPECT_EQ(session.status(), 0);
}

TEST(console_ends, kill_what_runs_when_the_switch_restarts)
{
    const board_folder board(nor_board);
    console_session session(board, with(at_prompt, quick_boot));
    start_sleeper(session);
    session.send("reboot\r");
    session.expect("reboot\r\n\r\nreboot: Restarting system\r\n\r\nswitch login: ");
    e2e::wait_for_end(sleeper_of(board));
}

TEST(console_port, is_opened_and_opened_again)
{
    const board_folder board(nor_board);
    console_session session(board, with(at_prompt, {"--pty"}), console_session::pipes);
    const std::string path = port_of(session);
    for (int time = 0; time < 2; ++time) {
        const int port = open_port(path);
        line_end line(port, port);
        line.send("echo one\r");
        line.expect("echo one\r\none\r\nswitch# ");
        // The rest is left behind: not for the next one who opens the port.
        line.send("echo two\r");
        line.expect("e");
        line.shut();
        session.line().expect_silence(200);
    }
}

TEST(console_port, loses_what_is_sent_to_nobody)
{
    const board_folder board(nor_board);
    console_session session(board, with(quick_boot, {"--pty"}), console_session::pipes);
    const std::string path = port_of(session);
    session.line().expect_silence(200); // meanwhile it asks for a login
    const int port = open_port(path);
    line_end line(port, port);
    line.send("\r");
    line.expect("\r\nswitch login: ");
    line.expect_silence(50);
}

TEST(console_port, has_a_link_as_long_as_it_lasts)
{
    const board_folder board(nor_board);
    const fs::path link = board.path() / "port";
    fs::create_symlink("/dev/pts/of-a-run-before", link);
    console_session session(board, with(at_prompt, {"--link", link.string()}),
                            console_session::pipes);
    const std::string path = port_of(session);
    EXPECT_EQ(fs::read_symlink(link), path);
    {
        const int port = open_port(link);
        line_end line(port, port);
        line.send("\r");
        line.expect("\r\nswitch# ");
    }
    session.interrupt(SIGTERM);
    EXPECT_EQ(session.status(), 0);
    EXPECT_FALSE(fs::is_symlink(link));
}

TEST(console_port, takes_the_place_of_no_other_file)
{
    const board_folder board(nor_board);
    const fs::path file = board.path() / "notes";
    e2e::write_file(file, "mine");
    const auto refused =
        e2e::run({"simboard", "console", board.path().string(), "--link", file.string()}, {});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.errors,
              "simboard: " + file.string() + " cannot be made a link to the port: File exists\n");
    EXPECT_EQ(e2e::read_file(file), "mine");
}
