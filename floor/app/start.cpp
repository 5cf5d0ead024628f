#include <cstdio>
#include <thread>

#include "floor/app/commands.h"
#include "floor/server/client.h"

namespace shopfloor {

namespace {

constexpr int exit_failed = 1;
constexpr int exit_refused = 3;
constexpr std::chrono::milliseconds between_polls{500};

int tell_refusal(const refusal &why)
{
    std::fprintf(stderr, "setmac-floor: %s (%s)\n", why.reason.c_str(), why.code.c_str());
    if (!why.advice.empty()) {
        std::fprintf(stderr, "What to do: %s.\n", why.advice.c_str());
    }
    return exit_refused;
}

std::string text_or_dash(const json &run, const char *key)
{
    return run[key].is_string() ? run[key].get<std::string>() : "-";
}

void tell_begin(const json &slot)
{
    const auto &run = slot["run"];
    std::printf("Label %s in slot %d: serial number %s, MAC address %s.\n",
                text_or_dash(run, "label").c_str(), slot["slot"].get<int>(),
                text_or_dash(run, "serial").c_str(), text_or_dash(run, "mac").c_str());
    std::fflush(stdout);
}

/** The slot as it is now; nothing where it has gone on to another label. */
json slot_of(const client &floor, const start_request &wanted)
{
    const auto state = floor.state();
    for (const auto &each : state.content["slots"]) {
        if (each["slot"] == wanted.slot && each["run"].is_object() &&
            each["run"]["label"] == wanted.label) {
            return each;
        }
    }
    return nullptr;
}

int wait_for_end(const client &floor, const start_request &wanted)
{
    while (true) {
        const auto slot = slot_of(floor, wanted);
        if (slot.is_null()) {
            std::fprintf(stderr, "setmac-floor: the slot works on another label by now\n");
            return exit_failed;
        }
        const auto &run = slot["run"];
        if (!run["outcome"].is_null()) {
            const auto verdict =
                run["verdict"].is_null() ? "Stopped" : text_or_dash(run, "verdict");
            std::printf("%s: %s: %s.\n", verdict.c_str(), text_or_dash(run, "outcome").c_str(),
                        text_or_dash(run, "reason").c_str());
            return run["verdict"] == "PASS" ? 0 : exit_failed;
        }
        std::this_thread::sleep_for(between_polls);
    }
}

} // namespace

int start_unit(const choices &chosen)
{
    const client floor(chosen.address, chosen.port);
    const auto begun = floor.start(chosen.wanted);
    if (begun.refused) {
        return tell_refusal(*begun.refused);
    }
    tell_begin(begun.content);
    return chosen.wait ? wait_for_end(floor, chosen.wanted) : 0;
}

} // namespace shopfloor
