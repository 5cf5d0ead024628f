#include <array>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/support/program.h"

// What every executable of tests has from its start.

namespace {

/** All that tests end, interrupt or stop programs with, but SIGPIPE: each program gets that anew.
 */
constexpr std::array ending_signals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};

TEST(executable_of_tests, has_what_ends_a_program_at_its_default)
{
    for (const int number : ending_signals) {
        struct sigaction now {};
        sigaction(number, nullptr, &now);
        EXPECT_EQ(now.sa_handler, SIG_DFL) << strsignal(number);
    }
}

TEST(executable_of_tests, has_it_so_where_all_of_it_was_ignored_at_its_start)
{
    std::vector<struct sigaction> before(ending_signals.size());
    struct sigaction ignored {};
    ignored.sa_handler = SIG_IGN;
    for (std::size_t i = 0; i < ending_signals.size(); ++i) {
        sigaction(ending_signals[i], &ignored, &before[i]);
    }
    const auto self = std::filesystem::read_symlink("/proc/self/exe").string();
    const auto another = e2e::run(
        {self, "--gtest_filter=executable_of_tests.has_what_ends_a_program_at_its_default"}, {});
    for (std::size_t i = 0; i < ending_signals.size(); ++i) {
        sigaction(ending_signals[i], &before[i], nullptr);
    }
    EXPECT_EQ(another.status, 0) << another;
    EXPECT_NE(another.output.find("[  PASSED  ] 1 test."), std::string::npos) << another;
}

} // namespace
