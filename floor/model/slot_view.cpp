#include "floor/model/slot_view.h"

#include <array>
#include <string_view>

#include "floor/model/tenths.h"

namespace shopfloor {

namespace {

template <class kind>
json or_null(const std::optional<kind> &value)
{
    return value ? json(*value) : json(nullptr);
}

std::string_view name_of(slot_state state)
{
    constexpr std::array<std::string_view, 5> names{"unplugged", "idle", "preparing", "running",
                                                    "ended"};
    return names.at(static_cast<std::size_t>(state));
}

double seconds_of(const run_view &run)
{
    const std::chrono::duration<double> so_far = run_view::clock::now() - run.begun;
    return in_tenths(run.seconds.value_or(so_far.count()));
}

json verdict_of(const run_view &run)
{
    // A run that somebody stopped says nothing of the unit.
    if (!run.outcome || *run.outcome == "cancelled") {
        return nullptr;
    }
    return *run.outcome == "verified" ? "PASS" : "FAIL";
}

json json_of(const step_view &step)
{
    return {{"operation", step.operation},
            {"state", step.state},
            {"sent", step.sent},
            {"of", step.of},
            {"reason", step.reason}};
}

json json_of(const run_view &run)
{
    auto steps = json::array();
    for (const auto &each : run.steps) {
        steps.push_back(json_of(each));
    }
    return {{"attempt", or_null(run.attempt)},
            {"label", run.label},
            {"product", run.product},
            {"serial", or_null(run.serial)},
            {"mac", or_null(run.mac)},
            {"mac_count", run.mac_count},
            {"operator", run.operator_badge},
            {"only_check", run.only_check},
            {"started", run.started},
            {"ended", or_null(run.ended)},
            {"phase", run.phase},
            {"steps", steps},
            {"label_back", or_null(run.label_back)},
            {"label_code", or_null(run.label_code)},
            {"outcome", or_null(run.outcome)},
            {"verdict", verdict_of(run)},
            {"reason", run.reason},
            {"advice", run.advice},
            {"retries", run.retries},
            {"seconds", seconds_of(run)}};
}

} // namespace

json json_of(const slot_view &slot)
{
    const auto &health = slot.health;
    return {
        {"slot", slot.number},
        {"place", slot.place},
        {"products", slot.products},
        {"state", name_of(slot.state)},
        {"trouble", slot.trouble},
        {"run", slot.run ? json_of(*slot.run) : json(nullptr)},
        {"fault", or_null(slot.fault)},
        {"health",
         {{"runs", health.runs},
          {"verified", health.verified},
          {"retries", health.retries},
          {"damaged", health.damaged},
          {"seconds", health.verified == 0 ? 0 : in_tenths(health.seconds / health.verified)}}}};
}

} // namespace shopfloor
