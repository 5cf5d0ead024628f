// Prints what the programs cost beside others that do the same, as a table. Arguments: an empty
// folder, and the stripped program of the switch's processor.

#include <cstdio>
#include <exception>
#include <filesystem>

#include "commands.h"
#include "framed.h"
#include "station.h"
#include "table.h"

namespace {

void print_size(const std::filesystem::path &program)
{
    bench::print({"Stripped executable, arm64",
                  {static_cast<double>(std::filesystem::file_size(program)) / 1024},
                  "the limit",
                  {150},
                  "KiB",
                  1,
                  {bench::wish::at_most, 1.0}});
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fputs("usage: bench FOLDER PROGRAM\n", stderr);
        return 2;
    }
    try {
        const std::filesystem::path scratch = std::filesystem::canonical(argv[1]);
        bench::print_heads();
        bench::compare_commands(scratch);
        bench::compare_throughput(scratch);
        bench::compare_latency(scratch);
        bench::compare_with_eeprom(scratch);
        bench::compare_station(scratch);
        print_size(argv[2]);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
