#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "framed.h"

namespace station {

/** What the operator chooses for a framed exchange. */
struct framed_options {
    std::optional<std::chrono::milliseconds> wait; // for the switch to show up; none: for ever
    int attempts = 1;
    framed_limits limits{};
};

/** The search for a switch that has not shown up yet, with its time limit. */
class search {
public:
    /** The conversation must outlive the search; without a limit it lasts for ever. */
    search(conversation &talk, std::optional<std::chrono::milliseconds> limit);

    /** Tells the listener that the station waits; false once the time is over. */
    bool goes_on();

private:
    conversation &talk_;
    std::optional<conversation::time_point> end_;
};

/** How a search ended. */
enum class found {
    nothing,    // its time was over
    ready,      // the switch waits for the hand sign
    hand_shaken // the switch has already accepted the hand sign
};

/** What tells one kind of framed exchange from another. */
struct framed_kind {
    framed_message message;
    std::function<found(conversation &, search &)> find;
    bool find_each_time = false; // the switch takes one attempt only, then it is started again
    const char *missed = "";     // what a search without success has not seen, in words
};

/**
 * Finds the switch and attempts the exchange until it succeeds, no more attempts are allowed or the
 * line is gone. Does not throw for what goes wrong on the line: the outcome tells it.
 */
outcome run_framed(conversation &talk, const framed_kind &kind, const framed_options &options);

} // namespace station
