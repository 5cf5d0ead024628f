#include "fuzz/pc/station_run.h"

// What a switch answers to the framed exchange: both operations, in both flavours.

namespace {

constexpr fuzz::station_job jobs[] = {
    {"setmac", false, "switch.toml"},
    {"setmac", true, "eeprom.toml"},
    {"setsn", false, "serial.toml"},
    {"setsn", true, "serial.toml"},
};

constexpr std::string_view serial = "ABCDEFGHJ1234"; // of serial.toml
constexpr uint8_t stored = 0x06;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::input in(data, size);
    const auto &job = jobs[in.choice() % std::size(jobs)];
    const auto result = fuzz::run_station(job, in);
    if (result.ok()) {
        fuzz::require(result.replies.back().byte == stored, "the switch's last word is \"stored\"");
        fuzz::require(job.command != "setsn" || std::equal(result.echo.begin(), result.echo.end(),
                                                           serial.begin(), serial.end()),
                      "the switch has sent back what it was sent");
    }
    return 0;
}
