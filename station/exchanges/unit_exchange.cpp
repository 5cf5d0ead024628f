#include "station/exchanges/unit_exchange.h"

#include <algorithm>
#include <iterator>

#include "station/exchanges/unit_status.h"

namespace station {

namespace {

using namespace std::chrono_literals;

enum unit_byte : std::uint8_t {
    header = 0x01,
    end_of_operation = 0x03,
    acknowledge = 0x06,
    request = 0x20, // asks for a list again, or offers to send it back
    too_long = 0x28,
    bad_head = 0x29,
    bad_supply = 0x2A,
    bad_fan = 0x2B,
};

// The switch takes a new start byte 500 ms after it has acknowledged one in vain.
constexpr auto start_limit = 600ms;
constexpr int start_offers = 3;

// What comes between the acknowledgement and the list is of the line's making: a second
// acknowledgement would pass for the answer to the list. The switch waits 500 ms for the header.
constexpr auto quiet_before_list = 20ms;
constexpr auto longest_drain_before_list = 200ms;

// The switch looks for the acknowledgement 20 times, which takes it longer than this.
constexpr auto acknowledge_limit = 1s;
constexpr int acknowledge_offers = 3;

constexpr auto byte_limit = 1s;
constexpr std::size_t piece_size = 256;
constexpr std::size_t most_statuses = 2;
constexpr int most_silent_guesses = 3; // one after the other, of a switch that may wait for lists

// A guess that fails is answered by one byte, and hundreds may have to be made. Where that byte was
// a status after all, the operation is over, and nobody is told otherwise.
constexpr auto failed_guess_settles = 0ms;

constexpr std::string_view banners[] = {
    unit_banner::backplane, unit_banner::fans,    unit_banner::poe,
    unit_banner::supplies,  unit_banner::devices, "perform Setmac Operation",
};

/** What the switch may say to a list. */
constexpr std::uint8_t verdicts[] = {acknowledge, request, too_long, bad_head, bad_supply, bad_fan};

std::string_view meaning_of_verdict(std::uint8_t byte)
{
    switch (byte) {
    case acknowledge:
        return "list taken, units written";
    case request:
        return "list damaged, once more";
    case too_long:
        return "refused: length out of range";
    case bad_head:
        return "refused: bad head or too many units";
    default:
        return "refused: a unit of another kind";
    }
}

const char *reason_of_refusal(std::uint8_t byte)
{
    switch (byte) {
    case too_long:
        return "the switch refuses the list: its length was damaged on the way, or the switch runs "
               "an operation of another kind";
    case bad_head:
        return "the switch refuses the list: it has no room for so many units, or runs an "
               "operation of another kind";
    default:
        return "the switch refuses the list: it runs an operation on units of another kind";
    }
}

/** A list for one operation is not for another, though most begin with the same bytes. */
found find_operation(conversation &talk, search &looking, const unit_operation &operation)
{
    std::vector<std::string_view> others;
    std::remove_copy(std::begin(banners), std::end(banners), std::back_inserter(others),
                     operation.banner);
    return find_by_banner(talk, looking,
                          {{&operation.banner, 1},
                           operation.banner, // only dots or an end of line follow
                           others,
                           {operation.start},
                           acknowledge});
}

/** One attempt at one list, from the start byte to the last reply. */
class unit_attempt : private attempt {
public:
    /**
     * All arguments must outlive the attempt. sum is what the switch has added up of the attempts
     * before, and of this one afterwards.
     */
    unit_attempt(conversation &talk, const unit_operation &operation, const unit_list &list,
                 conversation::milliseconds store, std::uint8_t &sum)
        : attempt(talk), operation_(operation), list_(list), store_(store), sum_(sum)
    {
    }

    /**
     * Begins with a switch that is ready or, after a failure, on a line on which bytes may be left.
     * The count of attempts is left to the caller.
     */
    outcome run(bool after_failure);

private:
    bool offer_start(bool after_failure);
    void send_list();
    bool hear_verdict();
    bool ask_for_list();
    bool hear_list();
    bool hear_piece(bytes &piece, std::size_t size);
    bool hear_statuses();
    bool waits_for_list();
    bool ask_again(std::uint8_t byte);

    const unit_operation &operation_;
    const unit_list &list_;
    conversation::milliseconds store_;
    std::uint8_t &sum_;
};

outcome unit_attempt::run(bool after_failure)
{
    talk_.forget_shown();
    try {
        if (offer_start(after_failure)) {
            send_list();
            const bool listed = operation_.report == unit_report::list;
            if (listed ? hear_verdict() && ask_for_list() && hear_list() : hear_statuses()) {
                result_.end = ending::stored;
            }
        }
    } catch (const line_error &error) {
        end_with(ending::broken, error.what());
    }
    return result_;
}

bool unit_attempt::offer_start(bool after_failure)
{
    for (int offer = 0; offer < start_offers; ++offer) {
        if (offer > 0 || after_failure) {
            wait_for_quiet(talk_);
        }
        talk_.send(bytes{operation_.start});
        const auto deadline = talk_.now() + start_limit;
        while (const auto byte = talk_.next_reply(deadline)) {
            if (*byte == acknowledge) {
                note(*byte, "ready for a list");
                talk_.drain(quiet_before_list, longest_drain_before_list);
                return true;
            }
        }
    }
    return end_with(ending::silent, "the switch does not answer the start byte");
}

void unit_attempt::send_list()
{
    result_.taken = true;
    bytes message{header};
    message.insert(message.end(), list_.length.begin(), list_.length.end());
    message.insert(message.end(), list_.payload.begin(), list_.payload.end());
    message.push_back(static_cast<std::uint8_t>(sum_ + sum_of(list_.payload)));
    for (std::size_t done = 0; done < message.size();) {
        const auto piece = std::min(piece_size, message.size() - done);
        talk_.send(std::span(message).subspan(done, piece));
        done += piece;
        talk_.observer().sent(done, message.size());
    }
}

/**
 * The switch goes on with its sum from list to list until one is right. What of a list that it has
 * asked for again it has added is all that was sent; of one that it has never answered it is
 * nothing, if it has missed the header, or else something that cannot be known from here.
 */
bool unit_attempt::ask_again(std::uint8_t byte)
{
    note(byte, meaning_of_verdict(request));
    sum_ = static_cast<std::uint8_t>(sum_ + sum_of(list_.payload) + operation_.guess);
    result_.taken = false;
    return end_with(ending::damaged, "the list did not reach the switch intact");
}

bool unit_attempt::hear_verdict()
{
    const auto byte = talk_.next_reply_at_line_start(verdicts, talk_.now() + store_);
    if (!byte) {
        return end_with(ending::silent, "the switch does not answer the list");
    }
    if (*byte == request) {
        return ask_again(*byte);
    }
    note(*byte, meaning_of_verdict(*byte));
    sum_ = 0;
    if (*byte != acknowledge) {
        result_.taken = false;
        return end_with(ending::refused, reason_of_refusal(*byte));
    }
    return true;
}

bool unit_attempt::ask_for_list()
{
    constexpr std::uint8_t offers[] = {request};
    const auto offer = talk_.next_reply_at_line_start(offers, talk_.now() + byte_limit);
    if (!offer) {
        return end_with(ending::silent,
                        "the switch took the list, but does not offer to send it back");
    }
    note(*offer, "offers the list with the outcomes");
    for (int asked = 0; asked < acknowledge_offers; ++asked) {
        talk_.send(bytes{acknowledge});
        const auto deadline = talk_.now() + acknowledge_limit;
        while (const auto byte = talk_.next_reply(deadline)) {
            if (*byte == header) {
                note(*byte, "sends the list");
                return true;
            }
        }
    }
    return end_with(ending::silent, "the switch took the list, but does not send it back");
}

bool unit_attempt::hear_piece(bytes &piece, std::size_t size)
{
    while (piece.size() < size) {
        const auto byte = talk_.next_byte(talk_.now() + byte_limit);
        if (!byte) {
            return end_with(ending::silent, "the list that the switch sends back is cut off");
        }
        piece.push_back(*byte);
    }
    return true;
}

bool unit_attempt::hear_list()
{
    bytes length;
    bytes payload;
    bytes sum;
    if (!hear_piece(length, list_.length.size())) {
        return false;
    }
    if (length != list_.length) {
        return end_with(ending::unexpected, "the switch announces a list of another length than "
                                            "was sent: " +
                                                to_hex(length) + " for " + to_hex(list_.length));
    }
    if (!hear_piece(payload, list_.payload.size()) || !hear_piece(sum, 1)) {
        return false;
    }
    if (sum.front() != sum_of(payload)) {
        return end_with(ending::unexpected, "the list that the switch sent back was damaged on the "
                                            "way");
    }
    result_.echo = std::move(payload);
    try {
        talk_.send(bytes{acknowledge});
    } catch (const line_error &) {
        // The switch does without: it has told everything.
    }
    return true;
}

bool unit_attempt::hear_statuses()
{
    status_report report(talk_);
    auto heard = report.hear(operation_.start, store_,
                             operation_.guess == 0 ? statuses_settle : failed_guess_settles);
    if (heard.empty()) {
        return end_with(ending::silent, "the switch does not answer the list");
    }
    if (heard == bytes{operation_.start}) {
        return ask_again(heard.front());
    }
    if (heard.back() != units_over || heard.size() > most_statuses + 1) {
        return end_with(ending::unexpected,
                        "the answer " + to_hex(heard) + " does not belong here");
    }
    for (const auto status : std::span(heard).first(heard.size() - 1)) {
        note(status, "a unit could not be written");
    }
    if (heard.size() == 1 && !report.program_has_ended() && waits_for_list()) {
        return end_with(ending::unexpected, "the switch seemed to have taken the list, but waits "
                                            "for one again");
    }
    note(units_over, "list taken, all units tried");
    result_.echo = std::move(heard);
    return true;
}

/**
 * Whether the 06 was not the end: a switch that has lost its place in a list takes any start byte
 * in the rest of it for one, and acknowledges that with the same 06. It does so again now, while to
 * a console the byte is Ctrl-U, which does no harm there.
 */
bool unit_attempt::waits_for_list()
{
    try {
        talk_.send(bytes{operation_.start});
        const auto deadline = talk_.now() + start_limit;
        while (const auto byte = talk_.next_reply(deadline)) {
            if (*byte == acknowledge || *byte == operation_.start) {
                return true;
            }
        }
    } catch (const line_closed &) {
        // The program has ended, as it does after a list.
    }
    return false;
}

/** Whether another attempt is of no use: most operations end with a refusal. */
bool is_final(const unit_operation &operation, const outcome &latest)
{
    return latest.ok() || latest.end == ending::broken ||
           (latest.end == ending::refused && !operation.ended_by_station);
}

/** Attempts a list until it succeeds, no more attempts are allowed or another one is of no use. */
outcome carry_out(conversation &talk, const unit_operation &operation, const unit_list &list,
                  const exchange_options &options)
{
    std::uint8_t sum = 0;
    int silent = 0;
    outcome result;
    for (int number = 1; number <= options.attempts; ++number) {
        talk.observer().attempt(number, options.attempts);
        const auto latest = unit_attempt(talk, operation, list, options.store, sum).run(number > 1);
        const bool taken = result.taken || latest.taken;
        result = joined(result, latest, number);
        result.taken = taken;
        silent = latest.end == ending::silent ? silent + 1 : 0;
        if (is_final(operation, latest) ||
            (operation.guess != 0 && silent == most_silent_guesses)) {
            return result;
        }
        if (number < options.attempts) {
            talk.observer().retrying(latest.reason);
        }
    }
    if (result.end == ending::damaged && options.attempts > 1) {
        result.reason +=
            ". The switch adds up all that it receives: after a byte was lost or changed on "
            "the way, it takes no list until its operation is started again";
    }
    return result;
}

/** Puts the outcome of a list behind those of the lists before it. */
void append(outcome &whole, outcome latest)
{
    const int attempts = std::max(whole.attempts, latest.attempts);
    latest.echo.insert(latest.echo.begin(), whole.echo.begin(), whole.echo.end());
    latest.replies.insert(latest.replies.begin(), whole.replies.begin(), whole.replies.end());
    whole = std::move(latest);
    whole.attempts = attempts;
}

void end_operation(conversation &talk, outcome &result)
{
    try {
        talk.send(bytes{end_of_operation});
    } catch (const line_error &error) {
        if (result.ok()) {
            result.end = ending::broken;
            result.reason = error.what();
        }
    }
}

} // namespace

outcome run_units(conversation &talk, const unit_operation &operation,
                  const exchange_options &options)
{
    const auto find = [&](conversation &far, search &looking) {
        return find_operation(far, looking, operation);
    };
    const auto [seen, missing] =
        find_switch(talk, {find, "neither its banner nor an answer to the start byte"}, options);
    if (seen != found::ready && seen != found::hand_shaken) {
        return missing;
    }
    outcome result;
    for (const auto &list : operation.lists) {
        auto latest = carry_out(talk, operation, list, options);
        append(result, std::move(latest));
        if (!result.ok()) {
            break;
        }
    }
    if (operation.ended_by_station && result.end != ending::broken) {
        end_operation(talk, result);
    }
    return result;
}

} // namespace station
