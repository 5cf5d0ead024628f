#include "station/exchanges/framed.h"

#include <algorithm>

namespace station {

namespace {

using namespace std::chrono_literals;

enum reply_byte : std::uint8_t {
    protocol_version = 0x01,
    success = 0x06,
    value_intact = 0x07,
    serial_hand_sign = 0x10,
    not_applied = 0x12,
    value_damaged = 0x14,
    property_hand_sign = 0x15,
    not_for_this_board = 0x19,
};

constexpr auto value_limit_a_byte = 50ms;
constexpr std::size_t piece_size = 256;

/** What the switch may say once it has taken the value. */
constexpr std::uint8_t last_replies[] = {success, not_applied, not_for_this_board};

// The switch answers an intact version within milliseconds, a lost one after its 10 s. In the
// second case it is back at the hand sign, where the first zero byte of a length would end its
// operation.
constexpr auto version_was_lost = 9500ms;

} // namespace

std::string_view meaning_of(std::uint8_t reply_byte)
{
    switch (reply_byte) {
    case protocol_version:
        return "protocol version 1";
    case success:
        return "stored";
    case value_intact:
        return "value arrived intact, the switch stores it";
    case serial_hand_sign:
        return "hand sign accepted, for a serial number";
    case not_applied:
        return "failed: not applied or not stored";
    case value_damaged:
        return "value late or damaged";
    case property_hand_sign:
        return "hand sign accepted";
    case not_for_this_board:
        return "refused: not for this type of board";
    default:
        return "no answer of this protocol";
    }
}

bytes hand_sign_block(const std::array<std::uint8_t, 4> &hand_sign)
{
    return with_crc(hand_sign);
}

outcome framed_attempt::run(attempt_start from)
{
    talk_.forget_shown();
    try {
        if (offer_hand_sign(from) && agree_on_version() && send_value() && hear_result()) {
            result_.end = ending::stored;
        }
    } catch (const line_error &error) {
        end_with(ending::broken, error.what());
    }
    return result_;
}

bool framed_attempt::offer_hand_sign(attempt_start from)
{
    if (from == attempt_start::hand_shaken) {
        record(message_.hand_sign[0]);
        return true;
    }
    const auto block = hand_sign_block(message_.hand_sign);
    for (int offer = 0; offer < message_.hand_sign_offers; ++offer) {
        if (offer > 0 || from == attempt_start::failure) {
            wait_for_quiet(talk_);
        }
        talk_.send(block);
        const auto deadline = talk_.now() + limits_.hand_sign;
        while (const auto byte = hear(deadline)) {
            if (*byte == message_.hand_sign[0]) {
                return true;
            }
        }
    }
    return end_with(ending::silent, "the switch does not answer the hand sign");
}

bool framed_attempt::agree_on_version()
{
    const auto sent = talk_.now();
    talk_.send(bytes{protocol_version});
    const auto byte = hear(sent + limits_.version);
    if (!byte) {
        return end_with(ending::silent, "the switch does not answer the version");
    }
    if (*byte == message_.hand_sign[1]) {
        return end_with(ending::unexpected,
                        "the line sends back what is sent: no switch, but a terminal that echoes "
                        "or a bridged plug");
    }
    if (*byte != protocol_version) {
        return end_with_reply(*byte);
    }
    if (talk_.now() - sent > version_was_lost) {
        return end_with(ending::silent, "the version got lost on the way to the switch");
    }
    return true;
}

bool framed_attempt::send_value()
{
    const auto value = with_crc(message_.payload);
    bytes length;
    put_be32(length, static_cast<std::uint32_t>(value.size()));
    const auto start = talk_.now();
    talk_.send(length);
    for (std::size_t done = 0; done < value.size();) {
        const auto piece = std::min(piece_size, value.size() - done);
        talk_.send(std::span(value).subspan(done, piece));
        done += piece;
        talk_.observer().sent(done, value.size());
    }
    // Anything sent earlier would still be taken as part of a value that lost bytes on the way.
    const auto patience =
        limits_.value +
        static_cast<framed_limits::milliseconds::rep>(value.size()) * value_limit_a_byte;
    return expect(value_intact, start + patience, "the switch does not answer the value");
}

bool framed_attempt::hear_result()
{
    const char *silent = "the switch took the value, but does not say whether it stored it";
    if (message_.echoed && !(expect(success, talk_.now() + limits_.store, silent) && hear_echo())) {
        return false;
    }
    const auto deadline = talk_.now() + limits_.store;
    const auto last = message_.tabled ? hear_last(deadline) : hear(deadline);
    return judge(last, success, silent) && compare_echo();
}

bool framed_attempt::hear_echo()
{
    const auto length = talk_.next_byte(talk_.now() + limits_.echo);
    if (!length) {
        return end_with(ending::silent, "the switch does not send the serial number back");
    }
    if (*length != static_cast<std::uint8_t>(message_.payload.size())) {
        return end_with(ending::mismatch,
                        "the switch sends " + std::to_string(*length) + " bytes back, " +
                            std::to_string(message_.payload.size()) + " were sent");
    }
    while (result_.echo.size() < message_.payload.size()) {
        const auto byte = talk_.next_byte(talk_.now() + limits_.echo);
        if (!byte) {
            return end_with(ending::silent, "the serial number that the switch sends back ends "
                                            "after " +
                                                std::to_string(result_.echo.size()) + " bytes");
        }
        result_.echo.push_back(*byte);
    }
    return true;
}

bool framed_attempt::compare_echo()
{
    if (!message_.echoed || result_.echo == message_.payload) {
        return true;
    }
    const bool zeros = std::all_of(result_.echo.begin(), result_.echo.end(),
                                   [](std::uint8_t byte) { return byte == 0; });
    if (zeros && message_.echo_of_zeros != nullptr) {
        return end_with(ending::mismatch, message_.echo_of_zeros);
    }
    return end_with(ending::mismatch, "the switch holds \"" + printable(result_.echo) +
                                          "\", but \"" + printable(message_.payload) +
                                          "\" was sent");
}

std::optional<std::uint8_t> framed_attempt::hear(time_point deadline)
{
    const auto byte = talk_.next_reply(deadline);
    if (byte) {
        record(*byte);
    }
    return byte;
}

std::optional<std::uint8_t> framed_attempt::hear_last(time_point deadline)
{
    const auto byte = talk_.next_reply_at_line_start(last_replies, deadline);
    if (byte) {
        record(*byte);
    }
    return byte;
}

bool framed_attempt::expect(std::uint8_t wanted, time_point deadline, const char *while_silent)
{
    return judge(hear(deadline), wanted, while_silent);
}

bool framed_attempt::judge(std::optional<std::uint8_t> byte, std::uint8_t wanted,
                           const char *while_silent)
{
    if (!byte) {
        return end_with(ending::silent, while_silent);
    }
    return *byte == wanted || end_with_reply(*byte);
}

void framed_attempt::record(std::uint8_t byte)
{
    const bool before_echo = byte == success && message_.echoed && result_.echo.empty();
    result_.taken = result_.taken || byte == value_intact;
    note(byte, before_echo ? "stored, and sent back:" : meaning_of(byte));
}

bool framed_attempt::end_with_reply(std::uint8_t byte)
{
    auto reason = reason_of(byte);
    if (byte == value_damaged && message_.hand_sign_offers > 1) {
        reason += ". Late, it waits for the next attempt; damaged, it has ended its operation";
    }
    const auto end = ending_of(byte);
    result_.taken = result_.taken && end != ending::refused;
    return end_with(end, std::move(reason));
}

ending framed_attempt::ending_of(std::uint8_t byte) const
{
    switch (byte) {
    case not_applied:
        return ending::failed;
    case value_damaged:
        return ending::damaged;
    case not_for_this_board:
        return message_.checks_board ? ending::refused : ending::unexpected;
    default:
        return ending::unexpected;
    }
}

std::string framed_attempt::reason_of(std::uint8_t byte) const
{
    switch (ending_of(byte)) {
    case ending::failed:
        return message_.not_applied;
    case ending::damaged:
        return "the value did not reach the switch intact, or not in time: it does not tell which";
    case ending::refused:
        return "the switch refused the payload: \"e2type\" names another type of board";
    default:
        return "the answer " + hex_number(byte) + " (" + std::string(meaning_of(byte)) +
               ") does not belong here";
    }
}

} // namespace station
