#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/support/board_folder.h"
#include "e2e/support/program.h"

namespace e2e {

// Sweeps: a command is run again and again on the same board, each time with another one of its
// operations on the hardware, or of its allocations, going wrong.

/**
 * The PC of a run. Is asked whenever the program has said something, with all that it has said
 * since the PC last sent something, and gives what to send now; nothing: it listens on.
 */
using pc_reaction = std::function<std::optional<std::string>(std::string_view heard)>;

/** A step of a PC: it has heard a text that ends so, or else so many bytes, and sends this. */
struct pc_step {
    std::string ending = {};
    std::size_t count = 0;
    std::string send = {};
};

/** A PC that takes these steps one after the other. */
std::function<pc_reaction()> pc_with_steps(const std::vector<pc_step> &steps);

/** A run of a swept command, and what it left behind. */
struct trial {
    outcome end = {};                         // all that it said, and its status
    int stops = 0;                            // how often it was stopped, and went on
    std::vector<std::string> operations = {}; // on the board, as many as can be made to fail
    std::vector<std::string> bridge = {};     // commands of the FPGA's bridge among them
    std::vector<std::string> struck = {};     // those of both that were
    std::map<std::string, std::string> memories = {}; // the board's memories afterwards, by file
    std::map<std::string, std::string> memories_when_stopped = {}; // and while it was
    outcome next_start = {}; // of the case's `looker`, on sound hardware

    /** The first of those; of a failing allocation there is none. */
    std::string_view first_struck() const;
    /** Whether one of the operations on this path, or all paths that begin so, was struck. */
    bool struck_on(std::string_view path) const;
};

/** The variables of a program for which the pauses of hardware take no time. */
inline const environment sleepless = {{"LD_PRELOAD", E2E_PRESSURE}, {"PRESSURE_SLEEPLESS", "1"}};

/** What a case says of a trial: the class it belongs to, or why it must not be. */
struct verdict {
    std::string name = {};
    bool allowed = true;
};

/** A command, the board it works on, and what may become of it. */
struct sweep_case {
    std::string name = {};
    std::string board = {};                                         // board.toml
    std::vector<std::pair<std::string, std::string>> memories = {}; // {"mtd1.bin", bytes}
    command_line command = {};
    std::string input = {};                   // of an operator; it comes through a pipe
    std::function<pc_reaction()> new_pc = {}; // of a PC at a terminal; none: an operator
    std::string typed_ahead = {};
    command_line looker = {}; // what the next start finds is what this prints
    std::function<verdict(const trial &)> judge = {};
    bool in_steps = false; // it stores more than one identity, one after the other
};

/** How operations go wrong: each in a run of its own. */
enum class fault_kind {
    error,      // fails with EIO, once
    short_move, // moves no byte (message), and in another run half of them, once
    broken      // fails with EIO, and so does every operation after it
};

std::string name_of(fault_kind kind);

/**
 * Runs the case without a fault, which must be of the class "new", and then with each operation
 * failing. Every run must end by itself, restore the console, close what it opened, and be allowed.
 * Prints how many runs were of which class. Of a case with very many operations some are left out,
 * unless the variable SETMAC_SWEEP is "all".
 */
void sweep_faults(const sweep_case &swept, fault_kind kind);

/**
 * The same for the commands of the FPGA's bridge, all of them: each comes to this trouble, "fail"
 * or "stick".
 */
void sweep_bridge(const sweep_case &swept, const std::string &trouble);

/**
 * The same with a signal at each operation, SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGTSTP in turn,
 * at a terminal. The signal must end the program, but for SIGTSTP, after which it goes on as if
 * nothing had been. Behind it, and while SIGTSTP has it stopped, each memory must hold what it
 * held before or what the whole command stores: what was begun is written, and what protects it is
 * set again.
 */
void sweep_signals(const sweep_case &swept);

/** The same for the program's allocations, all of them: each fails alone, or all that follow too.
 */
void sweep_allocations(const sweep_case &swept, bool for_good);

void PrintTo(const sweep_case &swept, std::ostream *out);

/** A case as one test for each kind of fault, one for signals and one for allocations. */
class swept_case : public testing::TestWithParam<sweep_case> {};

/** The name of its tests. */
std::string test_name(const testing::TestParamInfo<sweep_case> &info);

} // namespace e2e

/** The tests of cases, which are given as a vector: "records_sweep/setsn_on_nor.error". */
#define SWEEP_TESTS(group, cases)                                                                  \
    class group : public e2e::swept_case {};                                                       \
    TEST_P(group, survives_any_failure_of_the_hardware)                                            \
    {                                                                                              \
        e2e::sweep_faults(GetParam(), e2e::fault_kind::error);                                     \
    }                                                                                              \
    TEST_P(group, survives_any_transfer_that_is_cut_short)                                         \
    {                                                                                              \
        e2e::sweep_faults(GetParam(), e2e::fault_kind::short_move);                                \
    }                                                                                              \
    TEST_P(group, survives_hardware_that_breaks_down_at_any_moment)                                \
    {                                                                                              \
        e2e::sweep_faults(GetParam(), e2e::fault_kind::broken);                                    \
    }                                                                                              \
    TEST_P(group, survives_a_signal_at_any_moment)                                                 \
    {                                                                                              \
        e2e::sweep_signals(GetParam());                                                            \
    }                                                                                              \
    SWEEP_ALLOCATIONS(group)                                                                       \
    INSTANTIATE_TEST_SUITE_P(sweep, group, testing::ValuesIn(cases), e2e::test_name)

// The sanitizers bring an allocator of their own, which nothing can be put in front of.
#ifdef E2E_SANITIZED
#define SWEEP_ALLOCATIONS(group)
#else
#define SWEEP_ALLOCATIONS(group)                                                                   \
    TEST_P(group, survives_any_allocation_that_fails)                                              \
    {                                                                                              \
        e2e::sweep_allocations(GetParam(), false);                                                 \
    }                                                                                              \
    TEST_P(group, survives_memory_that_runs_out_for_good)                                          \
    {                                                                                              \
        e2e::sweep_allocations(GetParam(), true);                                                  \
    }
#endif
