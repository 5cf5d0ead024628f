#pragma once

#include <array>

#include "station/exchanges/exchange.h"

namespace station {

/** The most bytes a value may have, its CRC included: the switch's receive buffer. */
constexpr std::size_t largest_value = 131072;

/** What one framed exchange carries. */
struct framed_message {
    std::array<std::uint8_t, 4> hand_sign;
    bytes payload;
    bool echoed = false;       // the switch sends back what it stored, ahead of its last reply
    bool tabled = false;       // its console shows what it stores, ahead of its last reply
    bool checks_board = false; // it refuses what is not for its type of board
    int hand_sign_offers = 3;  // in one attempt; 1: the switch waits for it just once, and not long
    const char *not_applied = "the switch could not apply or store the payload";
    const char *echo_of_zeros = nullptr; // what it says, where it says more than a wrong echo does
};

/** How long the station waits for each answer. */
struct framed_limits {
    using milliseconds = std::chrono::milliseconds;
    milliseconds hand_sign{1000}; // the switch takes a new one 500 ms after a damaged one
    milliseconds version{11000};  // the switch answers after 10 s even when the version got lost
    milliseconds value{2000};     // on top of the 50 ms a byte that the switch waits itself
    milliseconds store{120000};   // erasing and writing flash
    milliseconds echo{2000};      // each byte of an echo
};

/** What precedes an attempt. */
enum class attempt_start {
    ready,       // the switch has shown that it waits for the hand sign
    hand_shaken, // it has already accepted one
    failure      // another attempt, of which bytes may be left on the line
};

/** One attempt at a framed exchange, from the hand sign to the last reply. */
class framed_attempt : private attempt {
public:
    /** All arguments must outlive the attempt. */
    framed_attempt(conversation &talk, const framed_message &message, const framed_limits &limits)
        : attempt(talk), message_(message), limits_(limits)
    {
    }

    /** The count of attempts is left to the caller. */
    outcome run(attempt_start from);

private:
    using time_point = conversation::time_point;

    bool offer_hand_sign(attempt_start from);
    bool agree_on_version();
    bool send_value();
    bool hear_result();
    bool hear_echo();
    bool compare_echo();

    std::optional<std::uint8_t> hear(time_point deadline);
    std::optional<std::uint8_t> hear_last(time_point deadline);
    bool expect(std::uint8_t wanted, time_point deadline, const char *while_silent);
    bool judge(std::optional<std::uint8_t> byte, std::uint8_t wanted, const char *while_silent);
    void record(std::uint8_t byte);
    bool end_with_reply(std::uint8_t byte);
    ending ending_of(std::uint8_t byte) const;
    std::string reason_of(std::uint8_t byte) const;

    const framed_message &message_;
    const framed_limits &limits_;
};

/** The hand sign followed by its CRC, as it goes over the line. */
bytes hand_sign_block(const std::array<std::uint8_t, 4> &hand_sign);

/** What a reply byte of the framed exchange means. */
std::string_view meaning_of(std::uint8_t reply_byte);

} // namespace station
