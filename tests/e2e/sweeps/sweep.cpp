#include "sweep.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <tuple>

#include "e2e/support/bytes.h"
#include "e2e/support/terminal_session.h"

namespace e2e {
namespace {

/** Of a sweep, unless all are asked for. The sanitizers make each run slow. */
#ifdef E2E_SANITIZED
constexpr std::size_t most_runs = 6;
#else
constexpr std::size_t most_runs = 120;
#endif

/** The runs of a sweep by their class. */
class tally {
public:
    void add(const std::string &name) { ++counts_[name]; }

    void print(const std::string &what, std::size_t operations) const
    {
        std::size_t runs = 0;
        std::string classes;
        for (const auto &[name, count] : counts_) {
            runs += count;
            classes += ", " + std::to_string(count) + " " + name;
        }
        std::cout << "swept " << what << ": " << operations << " operations, " << runs << " runs"
                  << classes << std::endl;
    }

private:
    std::map<std::string, std::size_t> counts_;
};

/** Bridge commands are logged beside the register accesses that start them; those can fail. */
void keep_operations(const board_folder &board, trial &done)
{
    for (std::string &one : board.operations()) {
        (one.starts_with("bridge ") ? done.bridge : done.operations).push_back(std::move(one));
    }
}

/** Whether a descriptor came of it. */
bool is_successful_open(const std::string &operation)
{
    return operation.starts_with("open ") && operation.find(" = -1") == operation.npos;
}

bool is_close(const std::string &operation)
{
    return operation.starts_with("close ");
}

std::string word_behind(const std::string &operation, std::string_view name)
{
    const auto at = operation.find(name);
    return at == operation.npos ? "" : operation.substr(at + name.size());
}

/** Where a command of the bridge went, in terms of board.toml. */
std::string place_of(const std::string &command)
{
    const auto from = command.find("bus=");
    std::string place;
    for (const char letter : command.substr(from, command.find(" offset=") - from) + " ") {
        place += letter == ' ' ? "\n" : letter == '=' ? " = " : std::string(1, letter);
    }
    return place;
}

bool moves_something(const std::string &operation)
{
    return operation.starts_with("read ") || operation.starts_with("write ") ||
           operation.starts_with("transfer ");
}

/** Half of what an operation of the log moved: bytes, or messages of a transfer. */
int half_of(const std::string &operation)
{
    return operation.starts_with("transfer ")
               ? 1
               : std::atoi(word_behind(operation, " = ").c_str()) / 2;
}

std::string fault_at(std::size_t call, const std::string &what)
{
    return "\n[[fault]]\noperation = \"any\"\ncall = " + std::to_string(call) + "\n" + what + "\n";
}

/** The faults of a kind on the call-th operation, which a good run logged so. */
std::vector<std::string> faults_on(const std::string &operation, std::size_t call, fault_kind kind)
{
    switch (kind) {
    case fault_kind::error:
        return {fault_at(call, "error = \"EIO\"")};
    case fault_kind::broken:
        return {fault_at(call, "error = \"EIO\"\ntimes = 0")};
    case fault_kind::short_move:
        break;
    }
    if (!moves_something(operation)) {
        return {};
    }
    std::vector<std::string> faults = {fault_at(call, "short = 0")};
    if (half_of(operation) > 0) {
        faults.push_back(fault_at(call, "short = " + std::to_string(half_of(operation))));
    }
    return faults;
}

std::map<std::string, std::string> memories_in(const std::filesystem::path &folder)
{
    std::map<std::string, std::string> all;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".bin") {
            all[entry.path().filename().string()] = read_file(entry.path());
        }
    }
    return all;
}

/** Puts the memories of a folder as they are now into another, which is empty. */
void keep_memories(const std::filesystem::path &from, const std::filesystem::path &where)
{
    for (const auto &[file, content] : memories_in(from)) {
        write_file(where / file, content);
    }
}

void run_at_terminal(const sweep_case &swept, const board_folder &board,
                     const environment &variables, trial &done)
{
    const pc_reaction react = swept.new_pc();
    const scratch_folder when_stopped;
    terminal_session session(board, swept.command,
                             {.typed_ahead = swept.typed_ahead,
                              .variables = variables,
                              .while_stopped = [&board, &when_stopped] {
                                  keep_memories(board.path(), when_stopped.path());
                              }});
    session.send(swept.input);
    std::string all;
    std::string heard;
    std::string part;
    while (session.hear(part)) {
        all += part;
        heard += part;
        part.clear();
        if (const auto answer = react(heard)) {
            session.send(*answer);
            heard.clear();
        }
    }
    done.end = session.finish();
    done.end.output.insert(0, all);
    done.stops = session.stops();
    done.memories_when_stopped = memories_in(when_stopped.path());
    expect_restored(session);
}

/**
 * What the next start finds. That depends on the board and its memories alone: where those are as
 * they were behind another run, it has been seen.
 */
const outcome &next_start(const sweep_case &swept, const board_folder &board, const trial &done)
{
    using start = std::tuple<std::string, command_line, std::map<std::string, std::string>>;
    static std::map<start, outcome> seen;
    const start now(swept.board, swept.looker, done.memories);
    auto place = seen.find(now);
    if (place == seen.end()) {
        write_file(board.path() / "board.toml", swept.board);
        place = seen.emplace(now, run(swept.looker, joined(sleepless, on_board(board)))).first;
    }
    return place->second;
}

/** One run with these faults and variables. */
trial run_once(const sweep_case &swept, const std::string &faults, const environment &more = {})
{
    const board_folder board(swept.board + faults);
    for (const auto &[file, content] : swept.memories) {
        write_file(board.path() / file, content);
    }
    environment variables = sleepless;
    variables.insert(more.begin(), more.end());
    trial done;
    if (swept.new_pc) {
        run_at_terminal(swept, board, variables, done);
    } else {
        done.end = run(swept.command, joined(variables, on_board(board)), swept.input);
    }
    keep_operations(board, done);
    done.memories = memories_in(board.path());
    done.next_start = next_start(swept, board, done);
    return done;
}

/** One run that ends by itself, and closes what it opened. */
trial run_to_end(const sweep_case &swept, const std::string &faults, const environment &more = {})
{
    trial done = run_once(swept, faults, more);
    EXPECT_GE(done.end.status, 0) << "ended by a signal";
    EXPECT_EQ(std::ranges::count_if(done.operations, is_successful_open),
              std::ranges::count_if(done.operations, is_close));
    return done;
}

void judge(const sweep_case &swept, const trial &done, const std::string &what, tally &all)
{
    const verdict found = swept.judge(done);
    all.add(found.name);
    EXPECT_TRUE(found.allowed) << found.name << ", with " << what << "\nit gave " << done.end
                               << "\nthe next start finds " << done.next_start;
}

trial run_well(const sweep_case &swept)
{
    trial good = run_to_end(swept, "");
    const verdict found = swept.judge(good);
    EXPECT_EQ(found.name, "new") << good.end << "\nthe next start finds " << good.next_start;
    return good;
}

/** Every so many-th operation is made to fail. An odd number: accesses to registers take four. */
std::size_t stride_of(std::size_t operations)
{
    const char *wish = std::getenv("SETMAC_SWEEP");
    if (wish != nullptr && std::string_view(wish) == "all") {
        return 1;
    }
    return (operations + most_runs - 1) / most_runs | 1U;
}

// Signals.

struct ending_signal {
    int number;
    const char *symbol;
};

constexpr ending_signal signals[] = {{SIGINT, "SIGINT"},
                                     {SIGTERM, "SIGTERM"},
                                     {SIGHUP, "SIGHUP"},
                                     {SIGQUIT, "SIGQUIT"},
                                     {SIGTSTP, "SIGTSTP"}};

/** What a memory holds that lasts. Of the FPGA that is what protects the backplane's EEPROMs. */
std::string lasting(const std::string &file, const std::string &content)
{
    constexpr std::size_t write_control = 0x00C;
    return file == "fpga0.bin"      ? content.substr(write_control, 1)
           : file == "i2c-busy.bin" ? ""
                                    : content;
}

/** What memories hold, between what they held before and after the whole command. */
verdict judge_memories(const std::map<std::string, std::string> &memories, const trial &before,
                       const trial &whole, bool in_steps)
{
    bool all_old = true;
    bool all_new = true;
    for (const auto &[file, content] : memories) {
        const bool is_old = lasting(file, content) == lasting(file, before.memories.at(file));
        const bool is_new = lasting(file, content) == lasting(file, whole.memories.at(file));
        if (!is_old && !is_new) {
            return {"damaged " + file, false};
        }
        all_old &= is_old;
        all_new &= is_new;
    }
    return all_new   ? verdict{"new"}
           : all_old ? verdict{"old"}
                     : verdict{"one of several", in_steps};
}

/** A program that SIGTSTP stopped, and that was told to go on. */
verdict judge_stop(const trial &done, const trial &before, const trial &whole, bool in_steps)
{
    if (done.stops != 1 || done.memories_when_stopped.size() != done.memories.size()) {
        return {"not stopped once", false};
    }
    const verdict stopped = judge_memories(done.memories_when_stopped, before, whole, in_steps);
    if (!stopped.allowed) {
        return {stopped.name + " while stopped", false};
    }
    const verdict found = judge_memories(done.memories, before, whole, in_steps);
    const bool went_on = done.end.status == whole.end.status;
    return {found.name + ", went on", went_on && found.name == "new"};
}

verdict judge_signal(const trial &done, int number, const trial &before, const trial &whole,
                     bool in_steps)
{
    if (number == SIGTSTP) {
        return judge_stop(done, before, whole, in_steps);
    }
    const verdict found = judge_memories(done.memories, before, whole, in_steps);
    return done.end.status == -number ? found : verdict{found.name + ", not ended by it", false};
}

} // namespace

std::function<pc_reaction()> pc_with_steps(const std::vector<pc_step> &steps)
{
    return [steps] {
        const auto next = std::make_shared<std::size_t>(0);
        return [=](std::string_view heard) -> std::optional<std::string> {
            if (*next == steps.size()) {
                return std::nullopt;
            }
            const pc_step &step = steps[*next];
            const bool due =
                step.ending.empty() ? heard.size() >= step.count : heard.ends_with(step.ending);
            if (!due) {
                return std::nullopt;
            }
            ++*next;
            return step.send;
        };
    };
}

std::string_view trial::first_struck() const
{
    return struck.empty() ? std::string_view() : struck[0];
}

bool trial::struck_on(std::string_view path) const
{
    return std::ranges::any_of(struck, [&](const std::string &one) {
        return one.substr(one.find(' ') + 1).starts_with(path);
    });
}

std::string name_of(fault_kind kind)
{
    switch (kind) {
    case fault_kind::error:
        return "error";
    case fault_kind::short_move:
        return "short";
    case fault_kind::broken:
        return "broken";
    }
    return "";
}

void sweep_faults(const sweep_case &swept, fault_kind kind)
{
    const trial good = run_well(swept);
    const std::size_t count = good.operations.size();
    ASSERT_GT(count, 0U);
    tally all;
    for (std::size_t i = 0; i < count; i += stride_of(count)) {
        for (const std::string &fault : faults_on(good.operations[i], i + 1, kind)) {
            trial done = run_to_end(swept, fault);
            // All before the struck one is as in the good run.
            ASSERT_GT(done.operations.size(), i);
            ASSERT_NE(done.operations[i], good.operations[i]) << fault;
            const auto first = done.operations.begin() + static_cast<std::ptrdiff_t>(i);
            done.struck.assign(first,
                               kind == fault_kind::broken ? done.operations.end() : first + 1);
            judge(swept, done, done.struck[0] + " struck", all);
        }
    }
    all.print(swept.name + ", " + name_of(kind), count);
}

void sweep_bridge(const sweep_case &swept, const std::string &trouble)
{
    const trial good = run_well(swept);
    ASSERT_FALSE(good.bridge.empty());
    std::map<std::string, int> calls;
    tally all;
    for (std::size_t i = 0; i < good.bridge.size(); ++i) {
        const std::string place = place_of(good.bridge[i]);
        const std::string call = std::to_string(++calls[place]);
        trial done = run_to_end(swept, "\n[[fpga.trouble]]\n" + place + "what = \"" + trouble +
                                           "\"\ncall = " + call + "\n");
        ASSERT_GT(done.bridge.size(), i);
        ASSERT_NE(done.bridge[i], good.bridge[i]);
        done.struck = {done.bridge[i]};
        judge(swept, done, done.struck[0] + " struck", all);
    }
    all.print(swept.name + ", bridge " + trouble, good.bridge.size());
}

void sweep_signals(const sweep_case &swept)
{
    sweep_case at_terminal = swept;
    if (!swept.new_pc) {
        at_terminal.new_pc = pc_with_steps({});
    }
    sweep_case idle = swept;
    idle.command = swept.looker;
    idle.new_pc = nullptr;
    const trial before = run_to_end(idle, "");
    const trial whole = run_to_end(at_terminal, "");
    const std::size_t count = whole.operations.size();
    ASSERT_GT(count, 0U);
    tally all;
    std::size_t runs = 0;
    for (std::size_t i = 0; i < count; i += stride_of(count)) {
        const auto [number, symbol] = signals[runs++ % std::size(signals)];
        const std::string sent = std::string("signal = \"") + symbol + "\"";
        const trial done = run_once(at_terminal, fault_at(i + 1, sent));
        const verdict found = judge_signal(done, number, before, whole, swept.in_steps);
        all.add(found.name);
        EXPECT_TRUE(found.allowed) << found.name << ", with " << symbol << " at "
                                   << whole.operations[i] << "\nit gave " << done.end;
    }
    all.print(swept.name + ", signal", count);
}

void sweep_allocations(const sweep_case &swept, bool for_good)
{
    run_well(swept);
    const scratch_folder scratch;
    const auto report = scratch.path() / "failed";
    tally all;
    std::size_t count = 0;
    while (true) {
        const environment failing = {{"PRESSURE_FAIL_ALLOCATION", std::to_string(count + 1)},
                                     {"PRESSURE_KEEP_FAILING", for_good ? "1" : "0"},
                                     {"PRESSURE_REPORT", report.string()}};
        const trial done = run_to_end(swept, "", failing);
        if (!std::filesystem::remove(report)) {
            break; // it makes no more allocations than this
        }
        ++count;
        judge(swept, done, "allocation " + std::to_string(count) + " failing", all);
    }
    EXPECT_GT(count, 0U);
    all.print(swept.name + (for_good ? ", no memory" : ", allocations"), count);
}

void PrintTo(const sweep_case &swept, std::ostream *out)
{
    *out << swept.name;
}

std::string test_name(const testing::TestParamInfo<sweep_case> &info)
{
    return info.param.name;
}

} // namespace e2e
