#pragma once

#include <array>
#include <optional>
#include <string>

#include "station/base/outcome.h"
#include "station/lines/line.h"

namespace station {

/** Whether a byte is of the kind that a console shows: printable ASCII, tab, CR, LF, escape. */
bool is_console_text(std::uint8_t byte);

/**
 * A line on which a switch's console text and the exchange's bytes come mixed: reads single bytes
 * and sorts the text out.
 */
class conversation {
public:
    using time_point = line::time_point;
    using milliseconds = line::milliseconds;

    /** Both must outlive the conversation. */
    conversation(line &far, listener &observer) : far_(far), observer_(observer) {}

    /** Sends all bytes. Throws line_error, as all that follow do. */
    void send(std::span<const std::uint8_t> data);

    /** The next byte, whatever it is; none when the deadline passes first. */
    std::optional<std::uint8_t> next_byte(time_point deadline);

    /**
     * The next byte that is not console text, which many replies are not; text on the way there
     * goes to the listener.
     */
    std::optional<std::uint8_t> next_reply(time_point deadline);

    /**
     * The same, but none as soon as some text has come and nothing more of it is there: for whoever
     * waits for a text.
     */
    std::optional<std::uint8_t> next_reply_or_text(time_point deadline);

    /**
     * The next of these replies among lines of text that may hold any byte: one that begins a line,
     * or one that nothing follows. All that comes before goes to the listener.
     */
    std::optional<std::uint8_t> next_reply_at_line_start(std::span<const std::uint8_t> replies,
                                                         time_point deadline);

    /** Takes a byte that came from next_byte() for console text. */
    void keep_text(std::uint8_t byte);

    /** Hands the text kept so far to the listener. */
    void show_text();

    /** Takes all that comes until the line was quiet for so long, or the limit is over. */
    void drain(milliseconds quiet, milliseconds limit);

    /** The last text that the console showed since forget_shown(), some lines of it. */
    std::string_view shown() const { return recent_; }
    bool has_shown(std::string_view text) const;

    /** How many texts the console has shown, in whatever pieces. */
    std::uint64_t texts_shown() const { return texts_shown_; }

    /** From here on only what comes later counts as shown. */
    void forget_shown() { recent_.clear(); }

    /** When the last byte arrived or, when none has, when the conversation began. */
    time_point last_arrival() const { return last_arrival_; }

    bool raw() const { return far_.raw(); }
    time_point now() const { return far_.now(); }
    listener &observer() { return observer_; }

private:
    bool fill(time_point deadline);
    bool nothing_follows();

    line &far_;
    listener &observer_;
    std::array<std::uint8_t, 1024> buffer_{};
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    time_point last_arrival_ = far_.now();
    time_point late_for_{}; // the deadline that was last read behind
    std::string text_;      // not yet shown
    std::string recent_;    // shown lately
    std::uint64_t texts_shown_ = 0;
};

} // namespace station
