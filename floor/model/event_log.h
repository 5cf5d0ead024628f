#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace shopfloor {

/** Something that happened, in its order. */
struct event {
    std::uint64_t number = 0; // from 1, without gaps
    std::string kind = {};    // "slot", "ledger", "operator"
    std::string content = {}; // JSON, in one line
};

/** The last events of a floor. All functions may be called from any thread. */
class event_log {
public:
    explicit event_log(std::size_t keep = 10000) : keep_(keep) {}

    /** Returns its number. */
    std::uint64_t add(std::string kind, std::string content);

    std::uint64_t last() const;

    /** The events after a number, at most so many; nothing where some of them are no longer kept,
     * or the number was never given. */
    std::optional<std::vector<event>> after(std::uint64_t number, std::size_t at_most) const;

    /** Is called after each add(), on the adding thread; must not wait. Only one at a time. */
    void call_on_news(std::function<void()> listener);

private:
    mutable std::mutex guard_;
    std::deque<event> events_;
    std::uint64_t last_ = 0;
    std::size_t keep_;
    std::function<void()> listener_;
};

} // namespace shopfloor
