// What the ledger knows of the slots from before this start of the floor.

#include "floor/slots/floor_control.h"

namespace shopfloor {

namespace {

constexpr auto ended_with_floor = "the floor ended before the run did";

/** What the reason of the ledger begins with where a run told how it ended, and its rest. */
std::pair<std::string, std::string> parts_of_reason(const std::string &reason)
{
    for (const auto end : {station::run_end::verified, station::run_end::stored,
                           station::run_end::failed, station::run_end::other_identity,
                           station::run_end::not_reached, station::run_end::cancelled}) {
        const auto begin = std::string(station::name_of(end)) + ": ";
        if (reason.starts_with(begin)) {
            return {std::string(station::name_of(end)), reason.substr(begin.size())};
        }
    }
    return {"", reason};
}

run_view run_of(const ledger::listed_attempt &last, const std::optional<ledger::unit> &of)
{
    run_view run;
    run.attempt = last.of.id;
    run.label = last.label;
    run.product = last.product;
    run.operator_badge = last.of.start.operator_name;
    run.started = last.of.started_at;
    run.ended = last.of.ended_at;
    run.seconds = 0;
    if (of) {
        run.serial = of->serial;
        run.mac = of->mac ? std::optional(ledger::mac_text(*of->mac)) : std::nullopt;
        run.mac_count = of->mac_count;
    }
    const auto begun = ledger::read_time(last.of.started_at);
    const auto ended = ledger::read_time(last.of.ended_at.value_or(""));
    if (begun && ended) {
        run.seconds = std::chrono::duration<double>(*ended - *begun).count();
    }
    const auto [word, reason] = parts_of_reason(last.of.reason);
    run.reason = reason;
    if (last.of.outcome == ledger::attempt_outcome::in_doubt || word.empty()) {
        run.outcome = "in_doubt";
        run.advice = "scan the label again: the switch gets the same identity";
    } else {
        run.outcome = word;
    }
    return run;
}

} // namespace

/** Runs of an earlier start that nobody has ended are in doubt, and shown so. */
void floor_control::restore(ledger::book &in)
{
    if (restored_) {
        return;
    }
    for (const auto &each : in.open_attempts(floor_.station)) {
        // Other programs of this station go on.
        if (each.of.start.program_version.starts_with(program)) {
            in.end_attempt(each.of.id, ledger::attempt_outcome::in_doubt, ended_with_floor, {});
        }
    }
    for (const auto &each : floor_.slots) {
        show_last_attempt(in, each.number);
    }
    restored_ = true;
}

void floor_control::show_last_attempt(ledger::book &in, int slot)
{
    const auto last = in.last_attempt(floor_.station, std::to_string(slot));
    if (!last || !last->of.start.program_version.starts_with(program)) {
        return;
    }
    const auto run = run_of(*last, in.find(last->label, ledger::search::label));
    shown_.show_earlier(slot, run);
}

} // namespace shopfloor
