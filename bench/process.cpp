#include "process.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

void discard_output()
{
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
}

/** Of the line "totals: 558893". */
double total_of(const std::filesystem::path &profile)
{
    std::ifstream file(profile);
    for (std::string word; file >> word;) {
        double total = 0;
        if (word == "totals:" && file >> total) {
            return total;
        }
    }
    throw std::runtime_error("no total in " + profile.string());
}

} // namespace

void execute(const command &what)
{
    std::vector<char *> arguments;
    for (const std::string &argument : what) {
        arguments.push_back(const_cast<char *>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

void become(const command &what, const std::filesystem::path &folder)
{
    if (chdir(folder.c_str()) != 0) {
        _exit(127);
    }
    setenv("LD_PRELOAD", BENCH_PRELOAD, 1);
    setenv("SIMBOARD_DIR", folder.c_str(), 1);
    execute(what);
}

cost run(const command &what, const std::filesystem::path &folder)
{
    using clock = std::chrono::steady_clock;
    const clock::time_point start = clock::now();
    const pid_t child = fork();
    if (child == 0) {
        discard_output();
        become(what, folder);
    }
    int status = 0;
    rusage used{};
    wait4(child, &status, 0, &used);
    const std::chrono::duration<double> elapsed = clock::now() - start;
    if (status != 0) {
        throw std::runtime_error(what.front() + " failed");
    }
    return {elapsed.count(), used.ru_maxrss, used.ru_minflt};
}

double instructions(const command &what, const std::filesystem::path &folder)
{
    const std::filesystem::path profile = folder / "callgrind.out";
    command counted = {"valgrind", "--tool=callgrind", "--callgrind-out-file=" + profile.string()};
    counted.insert(counted.end(), what.begin(), what.end());
    run(counted, folder);
    return total_of(profile);
}

} // namespace bench
