#pragma once

#include "station/exchanges/conversation.h"

namespace station {

/** The byte that comes last of all that a switch says of its units. */
constexpr std::uint8_t units_over = 0x06;

/**
 * A unit that is stuck takes the switch about a second. What it says later than this meets the
 * start byte that it is asked with then.
 */
constexpr conversation::milliseconds statuses_settle{1000};

/**
 * Hears a switch that reports by status bytes: one of any value but 0 for each unit that it could
 * not write, then 0x06; or the byte that asks for everything once more. Since a status may be each
 * of these two, they only count as what they are once nothing follows for a while, or the words
 * with which the switch's program ends.
 */
class status_report {
public:
    /** The conversation must outlive this. */
    explicit status_report(conversation &talk) : talk_(talk) {}

    /**
     * The bytes up to the last 0x06, or what came without any. Lines of the console's text between
     * them go to the listener. limit is for the first 0x06. A byte that asks again is taken for a
     * status where a 0x06 follows within request_settles. Throws line_error.
     */
    bytes hear(std::uint8_t asks_again, conversation::milliseconds limit,
               conversation::milliseconds request_settles = statuses_settle);

    /** Whether the switch's program was heard to end behind the 0x06. */
    bool program_has_ended() const { return program_has_ended_; }

private:
    bool last_words_stand_behind_the_06() const;
    void take(std::uint8_t byte);
    void show(std::size_t from);

    conversation &talk_;
    bytes heard_;
    std::size_t line_ = 0; // where a line of text may have begun
    std::size_t over_ = 0; // behind the last 0x06
    bool program_has_ended_ = false;
};

} // namespace station
