#include "console/com_data_provider.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <regex>

#include <fcntl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "console_fixture.h"
#include "unit/switch/support.h"

namespace {

using support::clock_type;
using support::console;
using support::elapsed_ms;
using support::late_pc;
using support::raw_mode;
using support::trace_log;

TEST_F(console, raw_mode_changes_the_settings_that_bytes_meet_and_no_others)
{
    termios before = found();
    before.c_iflag |= IXON | IXOFF | ICRNL | INLCR | IGNBRK;
    before.c_lflag |= IEXTEN | TOSTOP | ECHOPRT | NOFLSH | ECHONL;
    tcsetattr(terminal(), TCSANOW, &before);
    before = settings();
    const raw_mode raw;
    const termios now = settings();
    EXPECT_EQ(now.c_iflag, before.c_iflag & ~static_cast<tcflag_t>(IXON | IXOFF | ICRNL));
    EXPECT_NE(now.c_iflag & INLCR, 0U);
    EXPECT_EQ(now.c_oflag, 0U);
    EXPECT_EQ(now.c_cflag, before.c_cflag);
    EXPECT_EQ(now.c_lflag, before.c_lflag & ~tcflag_t{0xEFB});
    EXPECT_NE(now.c_lflag & IEXTEN, 0U);
    for (int index = 0; index <= 16; ++index) {
        EXPECT_EQ(now.c_cc[index], index == VMIN ? 1 : 0) << "control character " << index;
    }
    EXPECT_EQ(memcmp(now.c_cc + 17, before.c_cc + 17, NCCS - 17), 0);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
}

TEST_F(console, restoring_leaves_exactly_what_was_found)
{
    const int flags = fcntl(STDIN_FILENO, F_GETFL);
    tty_opts_ctrl(1);
    tty_opts_ctrl(0);
    const termios after = settings();
    EXPECT_EQ(after.c_iflag, found().c_iflag);
    EXPECT_EQ(after.c_oflag, found().c_oflag);
    EXPECT_EQ(after.c_cflag, found().c_cflag);
    EXPECT_EQ(after.c_lflag, found().c_lflag);
    EXPECT_EQ(memcmp(after.c_cc, found().c_cc, NCCS), 0);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFL), flags);
}

TEST_F(console, restoring_sends_what_is_waiting_while_it_is_still_raw)
{
    tty_opts_ctrl(1);
    serial_putc_raw('\n');
    tty_opts_ctrl(0);
    EXPECT_EQ(received(), std::vector<uint8_t>{'\n'});
}

TEST_F(console, keeps_a_descriptor_that_was_non_blocking_so)
{
    const int flags = fcntl(STDIN_FILENO, F_GETFL) | O_NONBLOCK;
    fcntl(STDIN_FILENO, F_SETFL, flags);
    tty_opts_ctrl(1);
    tty_opts_ctrl(0);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFL), flags);
}

TEST_F(console, every_byte_arrives_unchanged)
{
    const raw_mode raw;
    std::vector<uint8_t> all(256);
    for (size_t i = 0; i < all.size(); ++i) {
        all[i] = static_cast<uint8_t>(i);
    }
    send(all);
    std::vector<uint8_t> got(all.size());
    EXPECT_EQ(com_read_timeout(got.data(), got.size(), 2000), 0);
    EXPECT_EQ(got, all);
    EXPECT_TRUE(received().empty()) << "nothing is echoed";
}

TEST_F(console, every_byte_leaves_unchanged)
{
    const raw_mode raw;
    std::vector<uint8_t> all(256);
    for (size_t i = 0; i < all.size(); ++i) {
        all[i] = static_cast<uint8_t>(i);
    }
    EXPECT_EQ(com_write_complete(all.data(), all.size()), 0);
    com_flush();
    EXPECT_EQ(received(), all);
}

TEST_F(console, output_waits_for_a_slow_pc_and_loses_nothing)
{
    const raw_mode raw;
    std::vector<uint8_t> all(200000);
    for (size_t i = 0; i < all.size(); ++i) {
        all[i] = static_cast<uint8_t>(i * 31);
    }
    late_pc slow(pc(), all.size());
    com_write_complete(all.data(), all.size());
    com_flush();
    EXPECT_EQ(slow.received(), all);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
}

TEST_F(console, a_write_of_nothing_writes_nothing)
{
    const raw_mode raw;
    EXPECT_EQ(com_write_complete(nullptr, 0), 0);
    com_flush();
    EXPECT_TRUE(received().empty());
}

TEST_F(console, a_read_of_nothing_succeeds_whatever_the_limit)
{
    const raw_mode raw;
    const trace_log log;
    EXPECT_EQ(com_read_timeout(nullptr, 0, 0), 0);
    EXPECT_EQ(com_read_timeout(nullptr, 0, -5), 0);
    EXPECT_EQ(log.text(), "[SETMAC <com_read_timeout>:<54>] Get char count:0 time:0 \r\n"
                          "[SETMAC <com_read_timeout>:<54>] Get char count:0 time:0 \r\n");
}

TEST_F(console, a_read_without_time_takes_nothing)
{
    const raw_mode raw;
    send({'x'});
    uint8_t byte = 0;
    EXPECT_EQ(com_read_timeout(&byte, 1, 0), 1);
    EXPECT_EQ(com_read_timeout(&byte, 1, -1), 1);
    EXPECT_EQ(com_read_timeout(&byte, 1, 2000), 0);
    EXPECT_EQ(byte, 'x');
}

TEST_F(console, a_read_keeps_to_its_limit_and_keeps_what_came)
{
    const raw_mode raw;
    send({0xFF, 0x11});
    std::array<uint8_t, 3> got{};
    const auto start = clock_type::now();
    EXPECT_EQ(com_read_timeout(got.data(), got.size(), 200), 1);
    EXPECT_GE(elapsed_ms(start), 199);
    EXPECT_LT(elapsed_ms(start), 5000);
    EXPECT_EQ(got, (std::array<uint8_t, 3>{0xFF, 0x11, 0}));
}

TEST_F(console, a_read_takes_just_the_bytes_it_was_asked_for)
{
    const raw_mode raw;
    send({1, 2, 3});
    std::array<uint8_t, 2> two{};
    EXPECT_EQ(com_read_timeout(two.data(), two.size(), 2000), 0);
    EXPECT_EQ(two, (std::array<uint8_t, 2>{1, 2}));
    EXPECT_EQ(serial_recv(2000), 3);
}

TEST_F(console, a_read_sends_first_what_was_written)
{
    const raw_mode raw;
    serial_putc_raw(0x15);
    uint8_t byte = 0;
    EXPECT_EQ(com_read_timeout(&byte, 1, 1), 1);
    EXPECT_EQ(received(), std::vector<uint8_t>{0x15});
}

TEST_F(console, a_read_logs_its_count_and_time)
{
    const raw_mode raw;
    const trace_log log;
    send({1, 2, 3, 4});
    std::array<uint8_t, 4> got{};
    ASSERT_EQ(com_read_timeout(got.data(), got.size(), 2000), 0);
    EXPECT_TRUE(std::regex_match(
        log.text(),
        std::regex("\\[SETMAC <com_read_timeout>:<54>\\] Get char count:4 time:[0-9]+ \r\n")))
        << log.text();
}

TEST_F(console, a_single_byte_is_its_value_or_nothing)
{
    const raw_mode raw;
    send({0xFF});
    EXPECT_EQ(serial_recv(2000), 0xFF);
    EXPECT_EQ(serial_recv(10), -1);
}

TEST_F(console, a_key_is_taken_without_waiting)
{
    const raw_mode raw;
    EXPECT_EQ(getkey(), -1);
    send({0xFF, '{'});
    EXPECT_EQ(kbhit(900000), 1);
    EXPECT_EQ(getkey(), 0xFF);
    EXPECT_EQ(getkey(), '{');
    EXPECT_EQ(getkey(), -1);
}

TEST_F(console, input_is_ready_also_when_it_is_queued_already)
{
    const raw_mode raw;
    EXPECT_EQ(kbhit(0), 0);
    send({1, 2});
    EXPECT_EQ(kbhit(900000), 1);
    EXPECT_EQ(getkey(), 1);
    EXPECT_EQ(kbhit(0), 1);
}

TEST_F(console, waiting_for_input_ends_with_its_time)
{
    const raw_mode raw;
    const auto start = clock_type::now();
    EXPECT_EQ(kbhit(100000), 0);
    EXPECT_GE(elapsed_ms(start), 99);
}

TEST_F(console, is_not_gone_while_it_is_silent)
{
    const raw_mode raw;
    EXPECT_FALSE(console_is_gone());
    EXPECT_EQ(serial_recv(10), -1);
    EXPECT_FALSE(console_is_gone());
}

TEST_F(console, that_was_hung_up_keeps_time_limits_and_is_gone)
{
    const raw_mode raw;
    hang_up();
    uint8_t byte = 0;
    const auto start = clock_type::now();
    EXPECT_EQ(com_read_timeout(&byte, 1, 100), 1);
    EXPECT_GE(elapsed_ms(start), 99);
    EXPECT_TRUE(console_is_gone());
}

TEST_F(console, whose_reads_fail_is_gone_and_restored_like_any_other)
{
    // The far side of a terminal, where nobody is at the near one any more.
    int far = -1;
    int near = -1;
    ASSERT_EQ(openpty(&far, &near, nullptr, nullptr, nullptr), 0);
    dup2(far, STDIN_FILENO);
    close(near);
    close(far);
    char byte = 0;
    ASSERT_EQ(read(STDIN_FILENO, &byte, 1), -1);
    ASSERT_EQ(errno, EIO);
    termios before{};
    tcgetattr(STDIN_FILENO, &before);
    const int flags = fcntl(STDIN_FILENO, F_GETFL);
    tty_opts_ctrl(1);
    EXPECT_FALSE(console_is_gone());
    EXPECT_EQ(serial_recv(10), -1);
    EXPECT_TRUE(console_is_gone());
    termios during{};
    tcgetattr(STDIN_FILENO, &during);
    EXPECT_NE(during.c_lflag, before.c_lflag);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFL), flags | O_NONBLOCK);
    tty_opts_ctrl(0);
    termios after{};
    tcgetattr(STDIN_FILENO, &after);
    EXPECT_EQ(after.c_iflag, before.c_iflag);
    EXPECT_EQ(after.c_oflag, before.c_oflag);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(memcmp(after.c_cc, before.c_cc, NCCS), 0);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFL), flags);
}

TEST_F(console, that_ends_is_gone_when_its_bytes_are_taken)
{
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    dup2(ends[0], STDIN_FILENO);
    ASSERT_EQ(write(ends[1], "ab", 2), 2);
    close(ends[0]);
    close(ends[1]);
    const raw_mode raw;
    EXPECT_EQ(serial_recv(2000), 'a');
    EXPECT_FALSE(console_is_gone());
    EXPECT_EQ(serial_recv(2000), 'b');
    EXPECT_FALSE(console_is_gone());
    EXPECT_EQ(serial_recv(10), -1);
    EXPECT_TRUE(console_is_gone());
}

TEST_F(console, is_there_again_for_the_next_operation)
{
    tty_opts_ctrl(1);
    hang_up();
    EXPECT_EQ(serial_recv(10), -1);
    tty_opts_ctrl(0);
    const raw_mode raw;
    EXPECT_FALSE(console_is_gone());
}

/** Ends a child in raw mode with `signal_number` and tells how the child ended. */
int end_in_raw_mode(int signal_number)
{
    const pid_t child = fork();
    if (child == 0) {
        tty_opts_ctrl(1);
        kill(getpid(), signal_number);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

TEST_F(console, is_restored_when_a_signal_ends_the_process)
{
    const int flags = fcntl(STDIN_FILENO, F_GETFL);
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGABRT}) {
        const int status = end_in_raw_mode(signal_number);
        ASSERT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), signal_number);
        EXPECT_EQ(settings().c_lflag, found().c_lflag);
        EXPECT_EQ(settings().c_oflag, found().c_oflag);
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFL), flags);
    }
}

TEST_F(console, a_signal_that_was_ignored_stays_ignored)
{
    struct sigaction ignore {};
    struct sigaction before {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGHUP, &ignore, &before);
    const int status = end_in_raw_mode(SIGHUP);
    sigaction(SIGHUP, &before, nullptr);
    EXPECT_TRUE(WIFEXITED(status));
}

TEST_F(console, signals_have_their_old_actions_after_restoring)
{
    tty_opts_ctrl(1);
    tty_opts_ctrl(0);
    struct sigaction now {};
    sigaction(SIGTERM, nullptr, &now);
    EXPECT_EQ(now.sa_handler, SIG_DFL);
}

} // namespace
