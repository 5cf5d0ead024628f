#include "base/uninterrupted.h"

#include <array>
#include <csignal>
#include <cstring>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

/** How far a process came that a signal met, and what it came to then. */
struct meeting {
    std::string done = {};
    int status = 0;
};

void tell(int where, std::string_view what)
{
    if (write(where, what.data(), what.size()) != static_cast<ssize_t>(what.size())) {
        _exit(1);
    }
}

/** Gets the signal while it writes, and then also ends a part of the writing. */
[[noreturn]] void be_met_by(int signal_number, int where)
{
    setpgid(0, 0); // SIGTSTP stops only whose group has a parent outside, in the same session
    {
        const uninterrupted writing;
        kill(getpid(), signal_number);
        tell(where, "within ");
        {
            const uninterrupted a_part;
        }
        tell(where, "still within ");
    }
    tell(where, "behind");
    _exit(0);
}

std::string taken_from(int where)
{
    fcntl(where, F_SETFL, O_NONBLOCK); // a process that was stopped keeps its end open
    std::array<char, 64> all{};
    const ssize_t count = read(where, all.data(), all.size());
    return {all.data(), static_cast<std::size_t>(count > 0 ? count : 0)};
}

/** Until the process ends or is stopped, and that was all of it. */
meeting meet_within(int signal_number)
{
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    const pid_t process = fork();
    if (process == 0) {
        be_met_by(signal_number, ends[1]);
    }
    close(ends[1]);
    meeting met;
    waitpid(process, &met.status, WUNTRACED);
    met.done = taken_from(ends[0]);
    close(ends[0]);
    if (WIFSTOPPED(met.status)) {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    return met;
}

TEST(uninterrupted, puts_off_whatever_ends_a_program_until_the_outermost_is_over)
{
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGABRT, SIGXFSZ,
                                    SIGXCPU, SIGALRM, SIGUSR1, SIGUSR2}) {
        const meeting met = meet_within(signal_number);
        EXPECT_EQ(met.done, "within still within ") << strsignal(signal_number);
        EXPECT_TRUE(WIFSIGNALED(met.status)) << strsignal(signal_number);
        EXPECT_EQ(WTERMSIG(met.status), signal_number);
    }
}

TEST(uninterrupted, puts_off_what_stops_a_program_until_the_outermost_is_over)
{
    const meeting met = meet_within(SIGTSTP);
    EXPECT_EQ(met.done, "within still within ");
    EXPECT_TRUE(WIFSTOPPED(met.status));
    EXPECT_EQ(WSTOPSIG(met.status), SIGTSTP);
}

TEST(uninterrupted, leaves_blocked_what_was_blocked_before_it)
{
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, SIGTERM);
    sigset_t before;
    sigprocmask(SIG_BLOCK, &one, &before);
    {
        const uninterrupted writing;
    }
    sigset_t behind;
    sigprocmask(SIG_SETMASK, &before, &behind);
    EXPECT_EQ(sigismember(&behind, SIGTERM), 1);
    EXPECT_EQ(sigismember(&behind, SIGINT), 0);
}

} // namespace
