#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <utility>

#include "station/exchanges/conversation.h"

namespace station {

/** What the operator chooses for an exchange. */
struct exchange_options {
    using milliseconds = std::chrono::milliseconds;
    std::optional<milliseconds> wait; // for the switch to show up; none: for ever
    int attempts = 1;
    milliseconds store{120000}; // how long the switch may take for what it has received
    // Silence after which a byte is offered: to a console that still talks it would be a
    // disturbance, and to a program that is still starting a key.
    milliseconds quiet_before_probe{1000};
};

/** The search for a switch that has not shown up yet, with its time limit. */
class search {
public:
    /** The conversation must outlive the search; without a limit it lasts for ever. */
    search(conversation &talk, const exchange_options &options);

    /** Tells the listener that the station waits; false once the time is over. */
    bool goes_on();

    bool may_probe_after(conversation::time_point::duration silence) const
    {
        return silence >= quiet_before_probe_;
    }

private:
    conversation &talk_;
    std::chrono::milliseconds quiet_before_probe_;
    std::optional<conversation::time_point> end_;
};

/** How a search ended. */
enum class found {
    nothing,          // its time was over
    ready,            // the switch waits for the first byte of the exchange
    hand_shaken,      // the switch has already answered that
    another_operation // the switch waits for an exchange of another kind
};

/** A way to search. */
struct finder {
    std::function<found(conversation &, search &)> find;
    const char *missed = ""; // what a search without success has not seen, in words
};

/**
 * Searches for the switch. Does not throw for what goes wrong on the line: where the switch cannot
 * be used, the outcome tells why, and only then it means something.
 */
std::pair<found, outcome> find_switch(conversation &talk, const finder &how,
                                      const exchange_options &options);

/** What shows that a switch is ready which tells by a banner what it waits for. */
struct banner_signs {
    std::span<const std::string_view> own; // texts of its banner; each is enough
    std::string_view last; // text after which nothing of the banner can pass for an answer
    std::span<const std::string_view> others; // texts of banners that it must not be
    bytes probe;             // offered where the banner was printed before the station came
    std::uint8_t answer = 0; // to that
};

/**
 * Searches for a banner; where the line stays silent, for an answer to the probe. A switch that is
 * ready has said all of its banner, or the line has been quiet since.
 */
found find_by_banner(conversation &talk, search &looking, const banner_signs &signs);

/** After an attempt that failed, or bytes that were not answered: takes what is left of it. */
void wait_for_quiet(conversation &talk);

/** Whether a text holds what a switch says when the program of an operation ends. */
bool holds_last_words(std::string_view text);

/**
 * Listens until a switch has said that, has been quiet for so long, or the limit is over. Throws
 * line_error.
 */
void hear_last_words(conversation &talk, exchange_options::milliseconds quiet,
                     exchange_options::milliseconds limit);

/**
 * What the operator should read of two attempts: where the later one got no answer at all, that is
 * the consequence of how the earlier one ended.
 */
outcome joined(const outcome &earlier, const outcome &later, int attempts);

/** What an attempt at an exchange keeps: the answers, and how it ends. */
class attempt {
protected:
    /** The conversation must outlive the attempt. */
    explicit attempt(conversation &talk) : talk_(talk) {}

    /** Notes an answer and tells the listener of it; the meaning is of static storage. */
    void note(std::uint8_t byte, std::string_view meaning);

    /** Always false, so that a step that ends the attempt can return it. */
    bool end_with(ending end, std::string reason);

    conversation &talk_;
    outcome result_;
};

} // namespace station
