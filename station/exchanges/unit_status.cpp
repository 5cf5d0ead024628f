#include "station/exchanges/unit_status.h"

namespace station {

namespace {

using namespace std::chrono_literals;

// The switch gives the second unit up after half a second.
constexpr auto settling_time = 1s;

} // namespace

bytes status_report::hear(std::uint8_t asks_again, conversation::milliseconds limit)
{
    const auto last = talk_.now() + limit;
    auto deadline = last;
    auto settled = last;
    try {
        while (talk_.now() < deadline) {
            const auto byte = talk_.next_byte(deadline);
            if (!byte) {
                break;
            }
            take(*byte);
            if (*byte == units_over || heard_.size() == 1) {
                settled = talk_.now() + settling_time;
            }
            deadline = over_ != 0 || heard_ == bytes{asks_again} ? settled : last;
        }
    } catch (const line_closed &) {
        // A program that ends when it has said everything.
        if (over_ == 0) {
            throw;
        }
    }
    if (over_ != 0) {
        show(over_);
    }
    return heard_;
}

void status_report::take(std::uint8_t byte)
{
    heard_.push_back(byte);
    if (byte == units_over) {
        over_ = heard_.size();
    }
    if (!is_console_text(byte)) {
        line_ = heard_.size();
    } else if (byte == '\n' && heard_.size() - line_ > 1) {
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
