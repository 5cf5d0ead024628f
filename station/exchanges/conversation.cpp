#include "station/exchanges/conversation.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace station {

namespace {

using namespace std::chrono_literals;

// The switch itself waits no longer than 50 ms for each byte of a value.
constexpr auto write_limit_a_byte = 50ms;
constexpr auto write_limit_base = 2s;

// The switch hands out a line as one piece.
constexpr auto longest_gap_in_a_line = 500ms;
constexpr std::size_t recent_limit = 512;
constexpr std::size_t longest_text = 4096; // that is kept until its end comes

} // namespace

bool is_console_text(std::uint8_t byte)
{
    return (byte >= 0x20 && byte < 0x7F) || byte == '\t' || byte == '\r' || byte == '\n' ||
           byte == 0x1B;
}

void conversation::send(std::span<const std::uint8_t> data)
{
    const auto count = static_cast<milliseconds::rep>(data.size());
    far_.write(data, write_limit_base + count * write_limit_a_byte);
}

bool conversation::fill(time_point deadline)
{
    begin_ = 0;
    end_ = 0;
    // What has come in time but is read late counts; a line that never falls silent must not.
    if (now() > deadline && std::exchange(late_for_, deadline) == deadline) {
        return false;
    }
    const auto left = std::chrono::ceil<milliseconds>(deadline - now());
    try {
        end_ = far_.read(buffer_, std::max(left, milliseconds(0)));
    } catch (const line_error &) {
        show_text();
        throw;
    }
    if (end_ > 0) {
        last_arrival_ = now();
    }
    return end_ > 0;
}

std::optional<std::uint8_t> conversation::next_byte(time_point deadline)
{
    if (begin_ == end_ && !fill(deadline)) {
        return std::nullopt;
    }
    return buffer_[begin_++];
}

std::optional<std::uint8_t> conversation::next_reply(time_point deadline)
{
    auto byte = next_byte(deadline);
    while (byte && is_console_text(*byte)) {
        keep_text(*byte);
        // A console that never stops talking must not hold the deadline up.
        const bool late = begin_ == end_ && now() >= deadline;
        byte = late ? std::nullopt : next_byte(deadline);
    }
    show_text();
    return byte;
}

std::optional<std::uint8_t> conversation::next_reply_or_text(time_point deadline)
{
    auto byte = next_byte(deadline);
    while (byte && is_console_text(*byte)) {
        keep_text(*byte);
        byte = begin_ == end_ ? std::nullopt : next_byte(deadline);
    }
    show_text();
    return byte;
}

std::optional<std::uint8_t>
conversation::next_reply_at_line_start(std::span<const std::uint8_t> replies, time_point deadline)
{
    bool line_begins = true;
    auto byte = next_byte(deadline);
    for (; byte; byte = next_byte(deadline)) {
        const bool reply = std::find(replies.begin(), replies.end(), *byte) != replies.end();
        if (reply && (line_begins || nothing_follows())) {
            break;
        }
        keep_text(*byte);
        line_begins = *byte == '\n';
        if (line_begins) {
            show_text();
        }
        // A console that never stops talking must not hold the deadline up.
        if (begin_ == end_ && now() >= deadline) {
            byte.reset();
            break;
        }
    }
    show_text();
    return byte;
}

bool conversation::nothing_follows()
{
    if (begin_ != end_) {
        return false;
    }
    try {
        return !fill(now() + longest_gap_in_a_line);
    } catch (const line_closed &) {
        return true;
    }
}

void conversation::keep_text(std::uint8_t byte)
{
    text_ += static_cast<char>(byte);
    if (text_.size() == longest_text) {
        show_text();
    }
}

void conversation::show_text()
{
    if (text_.empty()) {
        return;
    }
    recent_ += text_;
    recent_.erase(0, recent_.size() - std::min(recent_.size(), recent_limit));
    ++texts_shown_;
    observer_.console(text_);
    text_.clear();
}

bool conversation::has_shown(std::string_view text) const
{
    return memmem(recent_.data(), recent_.size(), text.data(), text.size()) != nullptr;
}

void conversation::drain(milliseconds quiet, milliseconds limit)
{
    const auto end = now() + limit;
    while (now() < end) {
        next_reply(std::min(end, now() + quiet));
        if (now() - last_arrival_ >= quiet) {
            return;
        }
    }
}

} // namespace station
