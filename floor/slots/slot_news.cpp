#include "floor/slots/slot_news.h"

#include "ledger/model/texts.h"

namespace shopfloor {

namespace {

using namespace std::chrono_literals;

constexpr auto between_news_of_bytes = 100ms;

bool is_stored(station::step_end end)
{
    return end == station::step_end::done || end == station::step_end::unseen;
}

} // namespace

std::vector<step_view> steps_of(const station::plan &what)
{
    std::vector<step_view> steps;
    for (const auto &each : what.steps) {
        steps.push_back({.operation = each.what.operation});
    }
    return steps;
}

void slot_news::phase(std::string_view what)
{
    to_.change(slot_, [&](slot_view &slot) { slot.run->phase = what; });
}

void slot_news::step_begins(std::size_t number, std::size_t of, const station::step_record &step)
{
    step_ = number - 1;
    steps_ = of;
    to_.change(slot_, [&](slot_view &slot) {
        slot.run->phase = step.operation;
        slot.run->steps.at(step_).state = "running";
    });
}

void slot_news::step_ended(const station::step_record &step)
{
    to_.change(slot_, [&](slot_view &slot) {
        auto &shown = slot.run->steps.at(step_);
        // A step that somebody or the line broke off has no end of its own.
        const bool has_ended = step.end != station::step_end::not_run;
        shown.state = has_ended ? station::name_of(step.end) : "failed";
        shown.reason = ledger::kept_text(step.reason);
    });
    if (step_ + 1 == steps_ && is_stored(step.end)) {
        all_stored_();
    }
}

void slot_news::answered(const station::reply &given)
{
    if (given.meaning.find("damaged") != std::string_view::npos) {
        to_.change(
            slot_, [](slot_view &slot) { ++slot.health.damaged; }, showing::telling::with_the_next);
    }
}

void slot_news::sent(std::size_t done, std::size_t total)
{
    const bool is_due = done == total || clock::now() - sent_told_ >= between_news_of_bytes;
    if (is_due) {
        sent_told_ = clock::now();
    }
    to_.change(
        slot_,
        [&](slot_view &slot) {
            auto &shown = slot.run->steps.at(step_);
            shown.sent = done;
            shown.of = total;
        },
        is_due ? showing::telling::now : showing::telling::with_the_next);
}

void slot_news::retrying(std::string_view reason)
{
    to_.change(slot_, [&](slot_view &slot) {
        ++slot.run->retries;
        ++slot.health.retries;
        slot.run->steps.at(step_).reason = ledger::kept_text(reason);
    });
}

} // namespace shopfloor
