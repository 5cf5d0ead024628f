#include "floor/slots/transcript_line.h"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

#include "ledger/model/texts.h"

namespace shopfloor {

namespace {

constexpr std::size_t most_of_entry = 400;
constexpr std::size_t most_at_begin = std::size_t(256) * 1024;
constexpr std::size_t most_at_end = std::size_t(256) * 1024;

std::string_view text_of(std::span<const std::uint8_t> data)
{
    return {reinterpret_cast<const char *>(data.data()), data.size()};
}

std::string hidden(std::string_view text)
{
    std::string stars(text);
    std::replace_if(
        stars.begin(), stars.end(), [](char each) { return each != '\r' && each != '\n'; }, '*');
    return stars;
}

/** The end of a line, or of what one entry holds. */
std::size_t end_of_entry(std::string_view text, std::size_t held)
{
    const auto room = most_of_entry - held;
    const auto line = text.find('\n');
    return std::min({line == std::string_view::npos ? text.size() : line + 1, room, text.size()});
}

} // namespace

std::size_t transcript_line::read(std::span<std::uint8_t> buffer, milliseconds limit)
{
    const auto got = inner_.read(buffer, limit);
    const auto text = text_of(buffer.first(got));
    if (writes_to_hide_ > 0) {
        note(true, hidden(text));
    } else {
        note(true, text);
    }
    return got;
}

void transcript_line::write(std::span<const std::uint8_t> data, milliseconds limit)
{
    writes_to_hide_ = std::max(writes_to_hide_ - 1, 0);
    note(false, text_of(data));
    inner_.write(data, limit);
}

void transcript_line::write_secret(std::span<const std::uint8_t> data, milliseconds limit)
{
    note(false, std::string(data.size(), '*'));
    writes_to_hide_ = 2;
    inner_.write_secret(data, limit);
}

void transcript_line::note(bool from_switch, std::string_view text)
{
    while (!text.empty()) {
        if (from_switch != from_switch_) {
            end_entry();
        }
        if (entry_.empty()) {
            at_ = std::chrono::duration<double>(now() - start_).count();
            from_switch_ = from_switch;
        }
        const auto end = end_of_entry(text, entry_.size());
        entry_ += text.substr(0, end);
        text.remove_prefix(end);
        if (entry_.back() == '\n' || entry_.size() == most_of_entry) {
            end_entry();
        }
    }
}

void transcript_line::end_entry()
{
    if (entry_.empty()) {
        return;
    }
    const nlohmann::ordered_json entry{{"at", std::round(at_ * 1000) / 1000},
                                       {"from", from_switch_ ? "switch" : "station"},
                                       {"text", ledger::kept_text(entry_)}};
    entry_.clear();
    auto &kept = first_.size() < most_at_begin ? first_ : last_;
    kept += entry.dump() + "\n";
    if (last_.size() > 2 * most_at_end) {
        const auto cut = last_.find('\n', last_.size() - most_at_end) + 1;
        left_out_ += cut;
        last_.erase(0, cut);
    }
}

std::string transcript_line::text()
{
    end_entry();
    if (left_out_ == 0) {
        return first_ + last_;
    }
    const nlohmann::ordered_json gap{{"left_out", left_out_}};
    return first_ + gap.dump() + "\n" + last_;
}

} // namespace shopfloor
