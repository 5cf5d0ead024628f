#include "fuzz/pc/station_run.h"

// What a switch answers to the operations on units.

namespace {

constexpr fuzz::station_job jobs[] = {
    {"setbackplane", false, "backplane.toml"}, {"setfansn", false, "fans.toml"},
    {"setpoesn", false, "poe.toml"},           {"setpwrsn", false, "supplies.toml"},
    {"setdevice", false, "devices.toml"},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const auto &job = jobs[in.choice() % std::size(jobs)];
    const auto result = fuzz::run_station(job, in);
    if (result.ok()) {
        for (const auto &word : fuzz::item_results(job, result)) {
            fuzz::require(word.starts_with("written"), "every unit of a good run is written");
        }
    }
    return 0;
}
