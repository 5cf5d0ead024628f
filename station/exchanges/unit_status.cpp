#include "station/exchanges/unit_status.h"

#include "station/exchanges/exchange.h"

namespace station {

namespace {

// Far more than the statuses of all units: a line that never ends, or no line of a switch.
constexpr std::size_t longest_text = 4096;
constexpr std::size_t most_heard = 64;

} // namespace

bytes status_report::hear(std::uint8_t asks_again, conversation::milliseconds limit,
                          conversation::milliseconds request_settles)
{
    const auto last = talk_.now() + limit;
    auto deadline = last;
    auto heard_at = last; // the last 0x06, or a first byte
    try {
        while (talk_.now() < deadline) {
            const auto byte = talk_.next_byte(deadline);
            if (!byte) {
                break;
            }
            take(*byte);
            if (line_ >= most_heard) {
                break;
            }
            if (*byte == '\r' && last_words_stand_behind_the_06()) {
                program_has_ended_ = true;
                break;
            }
            if (*byte == units_over || heard_.size() == 1) {
                heard_at = talk_.now();
            }
            deadline = over_ != 0                    ? heard_at + statuses_settle
                       : heard_ == bytes{asks_again} ? heard_at + request_settles
                                                     : last;
        }
    } catch (const line_closed &) {
        // A program that ends when it has said everything.
        if (over_ == 0) {
            throw;
        }
        program_has_ended_ = true;
    }
    if (over_ != 0) {
        show(over_);
    }
    return heard_;
}

bool status_report::last_words_stand_behind_the_06() const
{
    const std::string behind(heard_.begin() + static_cast<std::ptrdiff_t>(over_), heard_.end());
    return over_ != 0 && holds_last_words(behind);
}

void status_report::take(std::uint8_t byte)
{
    heard_.push_back(byte);
    if (byte == units_over) {
        over_ = heard_.size();
    }
    if (!is_console_text(byte)) {
        line_ = heard_.size();
    } else if ((byte == '\n' && heard_.size() - line_ > 1) ||
               heard_.size() - line_ > longest_text) {
        show(line_);
    }
}

void status_report::show(std::size_t from)
{
    for (auto at = from; at < heard_.size(); ++at) {
        talk_.keep_text(heard_[at]);
    }
    talk_.show_text();
    heard_.resize(from);
}

} // namespace station
