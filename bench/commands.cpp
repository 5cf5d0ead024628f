#include "commands.h"

#include <fstream>
#include <string>

#include "process.h"
#include "table.h"

namespace bench {
namespace {

constexpr int rounds = 41;
constexpr int runs_of_sample = 10;
constexpr wish not_above = {wish::at_most, 1.0};

const std::string listing = BENCH_BIN_FOLDER "/prodinfo";
const std::string set_record = BENCH_BIN_FOLDER "/fw_setmac";

/** Two programs that do the same. */
struct pair {
    std::string what;
    command ours;
    std::string other_name;
    command other;
};

/** Flash of 8 KiB, which both sides take for theirs: its format is the same. */
void make_board(const std::filesystem::path &folder)
{
    std::ofstream(folder / "board.toml")
        << "[[partition]]\nname = \"product_info\"\nerase_size = 0x1000\nblocks = 2\n";
    std::ofstream(folder / "env.config") << "/dev/mtd0 0x0 0x2000 0x1000 2\n";
}

/** About as many records as a switch has. */
void fill_store(const std::filesystem::path &folder)
{
    for (int i = 0; i < 24; ++i) {
        run({set_record, "record_" + std::to_string(i), "a value of some length"}, folder);
    }
}

/** What the runs of one program cost. */
struct costs {
    samples ms; // means of several runs
    samples peak_kib;
    samples page_faults;
};

/** A sample of the time is several runs: one is not much more than a start. */
void add_runs(costs &to, const command &what, const std::filesystem::path &folder)
{
    to.ms.push_back(mean_of(runs_of_sample, [&] {
        const cost one = run(what, folder);
        to.peak_kib.push_back(static_cast<double>(one.peak_kib));
        to.page_faults.push_back(static_cast<double>(one.page_faults));
        return one.seconds * 1000;
    }));
}

/** They alternate, so that whatever disturbs the machine disturbs both. */
void compare_runs(const pair &both, const std::filesystem::path &folder)
{
    costs ours;
    costs other;
    for (int i = 0; i < rounds; ++i) {
        add_runs(ours, both.ours, folder);
        add_runs(other, both.other, folder);
    }
    print({both.what + ": time", ours.ms, both.other_name, other.ms, "ms", 3, not_above});
    print({both.what + ": peak memory", ours.peak_kib, both.other_name, other.peak_kib, "KiB", 0,
           not_above});
    print({both.what + ": pages touched", ours.page_faults, both.other_name, other.page_faults,
           "pages", 0});
}

void compare_instructions(const pair &both, const std::filesystem::path &folder)
{
    const double ours = instructions(both.ours, folder) / 1000;
    const double other = instructions(both.other, folder) / 1000;
    run(both.ours, folder); // so that there is something to change again
    print(
        {both.what + ": instructions", {ours}, both.other_name, {other}, "thousand", 0, not_above});

    // Ours binds all its symbols at the start, so that the table of them can be read-only from then
    // on.
    setenv("LD_BIND_NOW", "1", 1);
    const double bound = instructions(both.other, folder) / 1000;
    unsetenv("LD_BIND_NOW");
    print({both.what + ": instructions",
           {ours},
           both.other_name + ", symbols bound at start",
           {bound},
           "thousand",
           0});
}

} // namespace

void compare_commands(const std::filesystem::path &scratch)
{
    make_board(scratch);
    fill_store(scratch);
    const std::string config = scratch / "env.config";
    const std::string value_a(100, 'a');
    const std::string value_b(100, 'b');
    const pair pairs[] = {
        {"Start, load, list, exit", {listing}, "fw_printenv", {"fw_printenv", "-c", config}},
        {"Set one field",
         {set_record, "changing", value_a},
         "fw_setenv",
         {"fw_setenv", "-c", config, "changing", value_b}},
    };
    for (const pair &both : pairs) {
        compare_runs(both, scratch);
        compare_instructions(both, scratch);
    }
}

} // namespace bench
