#include <array>
#include <csignal>

#include <sys/wait.h>

#include "base/uninterrupted.h"
#include "unit/switch/console/console_fixture.h"

// Those signals that nobody types: of timers, limits and other programs.

namespace {

using support::console;

constexpr std::array untyped = {SIGABRT, SIGXFSZ, SIGXCPU, SIGALRM, SIGUSR1, SIGUSR2};

/** How a child ended that ran `action`. */
template <typename action>
int end_of_child(action run)
{
    const pid_t child = fork();
    if (child == 0) {
        run();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

TEST(ending_signals, of_timers_limits_and_programs_wait_until_the_outermost_write_is_done)
{
    for (const int number : untyped) {
        std::array<int, 2> report{};
        ASSERT_EQ(pipe(report.data()), 0);
        const int status = end_of_child([&] {
            const uninterrupted outer;
            {
                const uninterrupted inner;
                kill(getpid(), number);
            }
            const auto written = write(report[1], "whole", 5);
            static_cast<void>(written);
        });
        close(report[1]);
        std::array<char, 8> told{};
        EXPECT_EQ(read(report[0], told.data(), told.size()), 5) << number;
        close(report[0]);
        ASSERT_TRUE(WIFSIGNALED(status)) << number;
        EXPECT_EQ(WTERMSIG(status), number);
    }
}

TEST_F(console, is_restored_when_a_timer_a_limit_or_a_program_ends_the_process)
{
    const int flags = fcntl(STDIN_FILENO, F_GETFL);
    for (const int number : untyped) {
        const int status = end_of_child([&] {
            tty_opts_ctrl(1);
            kill(getpid(), number);
        });
        ASSERT_TRUE(WIFSIGNALED(status)) << number;
        EXPECT_EQ(WTERMSIG(status), number);
        EXPECT_EQ(settings().c_lflag, found().c_lflag) << number;
        EXPECT_EQ(settings().c_oflag, found().c_oflag) << number;
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFL), flags) << number;
    }
}

TEST_F(console, leaves_a_signal_to_whoever_handles_it_already)
{
    const int status = end_of_child([] {
        signal(SIGALRM, [](int) {});
        tty_opts_ctrl(1);
        kill(getpid(), SIGALRM);
    });
    EXPECT_TRUE(WIFEXITED(status));
}

} // namespace
