#include <csignal>

#include <linux/capability.h>
#include <sys/prctl.h>

#include <gtest/gtest.h>

// The entry of every executable of tests.

namespace {

/**
 * Tests end, interrupt and stop the programs that they start. A program inherits which signals are
 * ignored, so it would ignore them where the tests run under nohup or in the background of a
 * script.
 */
void take_signals_as_usual()
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGPIPE, SIGXFSZ, SIGXCPU,
                             SIGALRM, SIGUSR1, SIGUSR2}) {
        signal(number, SIG_DFL);
    }
}

/**
 * The switch programs poll their console at the highest priority that they can have. Several of
 * them at once, as tests run them, would keep the PC's side of each exchange from the processor
 * until its time limits have passed. Without this capability in reach they stay at the priority of
 * all others.
 */
void keep_programs_at_one_priority()
{
    prctl(PR_CAPBSET_DROP, CAP_SYS_NICE, 0, 0, 0); // fails where nobody could raise it anyway
}

} // namespace

int main(int argc, char **argv)
{
    take_signals_as_usual();
    keep_programs_at_one_priority();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
