#include "floor/model/event_log.h"

#include <utility>

namespace shopfloor {

std::uint64_t event_log::add(std::string kind, std::string content)
{
    std::function<void()> tell;
    std::uint64_t number = 0;
    {
        const std::lock_guard lock(guard_);
        number = ++last_;
        events_.push_back({number, std::move(kind), std::move(content)});
        if (events_.size() > keep_) {
            events_.pop_front();
        }
        tell = listener_;
    }
    if (tell) {
        tell();
    }
    return number;
}

std::uint64_t event_log::last() const
{
    const std::lock_guard lock(guard_);
    return last_;
}

std::optional<std::vector<event>> event_log::after(std::uint64_t number, std::size_t at_most) const
{
    const std::lock_guard lock(guard_);
    const std::uint64_t dropped = last_ - events_.size();
    if (number > last_ || number < dropped) {
        return std::nullopt;
    }
    std::vector<event> wanted;
    for (std::size_t at = number - dropped; at < events_.size() && wanted.size() < at_most; ++at) {
        wanted.push_back(events_[at]);
    }
    return wanted;
}

void event_log::call_on_news(std::function<void()> listener)
{
    const std::lock_guard lock(guard_);
    listener_ = std::move(listener);
}

} // namespace shopfloor
