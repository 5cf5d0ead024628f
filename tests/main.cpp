#include <csignal>

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
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGPIPE}) {
        signal(number, SIG_DFL);
    }
}

} // namespace

int main(int argc, char **argv)
{
    take_signals_as_usual();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
