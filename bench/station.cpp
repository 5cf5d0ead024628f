#include "station.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "process.h"
#include "table.h"

namespace bench {
namespace {

constexpr int rounds = 11;

/** An operation of the station and the program of the switch that is its other side. */
struct operation {
    std::string name;
    command words; // of the station
    std::string program;
    std::string job; // its file
};

const operation operations[] = {
    {"setmac", {"setmac"}, BENCH_BIN_FOLDER "/prov_setmac", BENCH_EXAMPLES "/switch.toml"},
    {"setmac --tlv",
     {"setmac", "--tlv"},
     BENCH_BIN_FOLDER "/tlv/prov_setmac",
     BENCH_EXAMPLES "/eeprom.toml"},
};

/** Milliseconds of one run, from the start of the switch's program on. */
struct run_times {
    double whole = 0;
    double floor = 0; // the bytes on the line, and its silence until the switch spoke or ended
};

/** What the line reports of a run, in nanoseconds. */
std::map<std::string, double> read_report(const std::filesystem::path &file)
{
    std::map<std::string, double> report;
    std::ifstream in(file);
    std::string name;
    for (double value = 0; in >> name >> value;) {
        report[name] = value;
    }
    if (report.empty()) {
        throw std::runtime_error("the paced line has not reported");
    }
    return report;
}

double nanoseconds_now()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<double>(std::chrono::nanoseconds(now).count());
}

/** The switch's program on the board, behind a line of that speed. */
command paced(const operation &what, const std::filesystem::path &folder)
{
    return {BENCH_PACED_LINE,
            "115200",
            folder / "line.report",
            "/usr/bin/env",
            "LD_PRELOAD=" BENCH_PRELOAD,
            "SIMBOARD_DIR=" + folder.string(),
            what.program,
            "setmac"};
}

command station_words(const operation &what)
{
    command words = {BENCH_BIN_FOLDER "/setmac-station"};
    words.insert(words.end(), what.words.begin(), what.words.end());
    words.push_back(what.job);
    return words;
}

/** Starts a program with these descriptors as its input, output and error. */
pid_t start(const command &what, const std::array<int, 3> &descriptors)
{
    const pid_t child = fork();
    if (child == 0) {
        for (int number = 0; number < 3; ++number) {
            dup2(descriptors.at(static_cast<std::size_t>(number)), number);
        }
        execute(what);
    }
    return child;
}

/** Waits for the end of a program, which must be a good one; when that was, in nanoseconds. */
double end_of(pid_t child, const std::string &name)
{
    int status = 0;
    waitpid(child, &status, 0);
    const double end = nanoseconds_now();
    if (status != 0) {
        throw std::runtime_error(name + " failed");
    }
    return end;
}

run_times run_on_program(const operation &what, const std::filesystem::path &folder)
{
    std::string line = "exec";
    for (const std::string &word : paced(what, folder)) {
        line += " '" + word + "'";
    }
    command station = station_words(what);
    station.insert(station.end(), {"--quiet", "--exec", line});
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    const double end = end_of(start(station, {nowhere, nowhere, nowhere}), "setmac-station");
    close(nowhere);
    const auto report = read_report(folder / "line.report");
    return {(end - report.at("began")) / 1e6,
            (report.at("busy") + report.at("program") + report.at("end")) / 1e6};
}

/** Reads what a program says until it waits for the switch. */
void await_waiting(int from)
{
    std::string said;
    while (said.find("Waiting for the switch") == std::string::npos) {
        std::array<char, 256> part{};
        const ssize_t count = read(from, part.data(), part.size());
        if (count <= 0) {
            throw std::runtime_error("the station does not wait for the switch");
        }
        said.append(part.data(), static_cast<std::size_t>(count));
    }
}

run_times run_on_port(const operation &what, const std::filesystem::path &folder)
{
    int here = -1;
    int there = -1;
    std::array<char, 64> port{};
    termios raw{};
    cfmakeraw(&raw);
    int said[2];
    if (openpty(&here, &there, port.data(), &raw, nullptr) != 0 || pipe2(said, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pseudo-terminal");
    }
    fcntl(here, F_SETFD, FD_CLOEXEC);
    fcntl(there, F_SETFD, FD_CLOEXEC);
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    command station = {"/usr/bin/env", "LD_PRELOAD=" BENCH_PTY_AS_PORT};
    const command words = station_words(what);
    station.insert(station.end(), words.begin(), words.end());
    station.insert(station.end(), {"--port", port.data()});
    const pid_t pc = start(station, {nowhere, nowhere, said[1]});
    await_waiting(said[0]);
    const pid_t line = start(paced(what, folder), {here, here, nowhere});
    const double end = end_of(pc, "setmac-station");
    end_of(line, "the switch's program");
    for (const int descriptor : {here, there, said[0], said[1], nowhere}) {
        close(descriptor);
    }
    const auto report = read_report(folder / "line.report");
    return {(end - report.at("began")) / 1e6, (report.at("busy") + report.at("program")) / 1e6};
}

void make_board(const std::filesystem::path &folder)
{
    std::ofstream(folder / "board.toml")
        << "[[partition]]\nname = \"product_info\"\nerase_size = 0x1000\nblocks = 2\n"
           "[[eeprom]]\naddress = 0x56\n";
}

void compare(const std::string &name, const operation &what, const std::filesystem::path &folder,
             run_times (*run_one)(const operation &, const std::filesystem::path &))
{
    samples whole;
    samples floor;
    for (int i = 0; i < rounds; ++i) {
        const run_times one = run_one(what, folder);
        whole.push_back(one.whole);
        floor.push_back(one.floor);
    }
    print({"Station at 115200 baud, " + name,
           whole,
           "bytes and the switch's pauses",
           floor,
           "ms",
           1,
           {wish::at_most, 1.15}});
}

} // namespace

void compare_station(const std::filesystem::path &scratch)
{
    make_board(scratch);
    for (const operation &what : operations) {
        compare(what.name + " --exec", what, scratch, run_on_program);
        compare(what.name + " --port", what, scratch, run_on_port);
    }
}

} // namespace bench
