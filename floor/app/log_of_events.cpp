#include "floor/app/log_of_events.h"

#include <chrono>
#include <utility>

namespace shopfloor {

namespace {

constexpr std::chrono::milliseconds between_looks{250};
constexpr std::size_t most_at_once = 1000;

std::string text_of(const json &slot, const char *key)
{
    const auto &value = slot[key];
    return value.is_string() ? value.get<std::string>() : "";
}

} // namespace

log_of_events::log_of_events(event_log &events, const log &to)
    : events_(events), to_(to), thread_([this] { follow(); })
{
}

log_of_events::~log_of_events()
{
    {
        const std::lock_guard lock(guard_);
        ending_ = true;
    }
    news_.notify_all();
    thread_.join();
}

void log_of_events::follow()
{
    std::unique_lock lock(guard_);
    do {
        catch_up();
        news_.wait_for(lock, between_looks, [this] { return ending_; });
    } while (!ending_);
    catch_up();
}

void log_of_events::catch_up()
{
    while (told_ < events_.last()) {
        const auto news = events_.after(told_, most_at_once);
        if (!news) {
            to_.tell(priority::warning, "events came faster than they can be logged");
            told_ = events_.last();
            return;
        }
        for (const auto &each : *news) {
            tell(each);
            told_ = each.number;
        }
    }
}

void log_of_events::tell(const event &news)
{
    const auto content = json::parse(news.content);
    if (news.kind == "slot") {
        tell_slot(content);
    } else if (news.kind == "ledger") {
        const bool usable = content["usable"].get<bool>();
        to_.tell(usable ? priority::notice : priority::error,
                 usable ? "the ledger can be used"
                        : "the ledger cannot be used: " + text_of(content, "reason"));
    }
}

void log_of_events::tell_slot(const json &slot)
{
    const auto state = text_of(slot, "state");
    const auto before = std::exchange(states_[slot["slot"].get<int>()], state);
    if (state == before) {
        return;
    }
    const auto name = "slot " + std::to_string(slot["slot"].get<int>()) + ": ";
    if (state == "unplugged") {
        to_.tell(priority::warning, name + text_of(slot, "trouble"));
    }
    const auto &run = slot["run"];
    if (state == "running") {
        to_.tell(priority::info, name + "label " + text_of(run, "label") + " begins");
    } else if (before == "running") {
        const bool passed = text_of(run, "verdict") == "PASS";
        to_.tell(passed ? priority::info : priority::warning,
                 name + "label " + text_of(run, "label") + " ends as " + text_of(run, "outcome") +
                     ": " + text_of(run, "reason"));
    }
}

} // namespace shopfloor
