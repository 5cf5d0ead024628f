#include <array>
#include <csignal>

#include <sys/wait.h>

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
