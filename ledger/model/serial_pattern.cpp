#include "ledger/model/serial_pattern.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "ledger/model/error.h"
#include "ledger/model/texts.h"

namespace ledger {

namespace {

constexpr std::string_view alphanumeric = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view without_i_and_o = "0123456789ABCDEFGHJKLMNPQRSTUVWXYZ";

std::string_view digits_of_base(std::string_view base)
{
    if (base == "10") {
        return alphanumeric.substr(0, 10);
    }
    if (base == "16") {
        return alphanumeric.substr(0, 16);
    }
    if (base == "34") {
        return without_i_and_o;
    }
    return base == "36" ? alphanumeric : std::string_view();
}

std::string number_text(std::int64_t number, std::string_view digits, std::size_t width)
{
    const auto base = static_cast<std::int64_t>(digits.size());
    std::string text(width, digits[0]);
    for (auto at = text.rbegin(); at != text.rend(); ++at, number /= base) {
        *at = digits[static_cast<std::size_t>(number % base)];
    }
    return text;
}

std::optional<std::int64_t> read_number(std::string_view text, std::string_view digits)
{
    std::int64_t number = 0;
    for (const char each : text) {
        const auto digit = digits.find(each);
        if (digit == std::string_view::npos) {
            return std::nullopt;
        }
        number =
            number * static_cast<std::int64_t>(digits.size()) + static_cast<std::int64_t>(digit);
    }
    return number;
}

} // namespace

char check_character(std::string_view text)
{
    constexpr int modulus = 36;
    int product = modulus;
    for (const char each : text) {
        const auto upper = static_cast<char>(std::toupper(static_cast<unsigned char>(each)));
        const auto place = alphanumeric.find(upper);
        if (place == std::string_view::npos) {
            continue;
        }
        int sum = (product + static_cast<int>(place)) % modulus;
        sum = sum == 0 ? modulus : sum;
        product = 2 * sum % (modulus + 1);
    }
    return alphanumeric[static_cast<std::size_t>((modulus + 1 - product) % modulus)];
}

serial_pattern::serial_pattern(std::string_view text) : text_(text)
{
    while (!text.empty()) {
        const auto open = text.find('{');
        if (open != 0) {
            const auto literal = text.substr(0, open);
            parts_.push_back({kind::text, literal.size(), std::string(literal)});
            text.remove_prefix(literal.size());
            continue;
        }
        const auto close = text.find('}');
        if (close == std::string_view::npos) {
            refuse("serial pattern \"" + text_ + "\": a \"{\" without its \"}\"");
        }
        parts_.push_back(read_part(text.substr(1, close - 1)));
        text.remove_prefix(close + 1);
    }
    check_parts();
}

serial_pattern::part serial_pattern::read_part(std::string_view inside) const
{
    if (inside == "yy" || inside == "yyyy") {
        return {kind::year, inside.size()};
    }
    if (inside == "mm") {
        return {kind::month, 2};
    }
    if (inside == "dd") {
        return {kind::day, 2};
    }
    if (inside == "ww") {
        return {kind::week, 2};
    }
    if (inside == "check") {
        return {kind::check, 1};
    }
    if (inside.starts_with("n:")) {
        return read_counter(inside.substr(2));
    }
    refuse("serial pattern \"" + text_ + "\": {" + std::string(inside) +
           "} is not known: there are {yy} {yyyy} {mm} {dd} {ww} {n:WIDTH} {n:WIDTH:BASE} {check}");
}

serial_pattern::part serial_pattern::read_counter(std::string_view widths) const
{
    constexpr std::size_t widest = 11;
    const auto colon = widths.find(':');
    const auto width_text = widths.substr(0, colon);
    const auto base = colon == std::string_view::npos ? "10" : widths.substr(colon + 1);
    std::size_t width = 0;
    const auto *end = width_text.data() + width_text.size();
    const auto [stop, failure] = std::from_chars(width_text.data(), end, width);
    if (failure != std::errc() || stop != end || width < 1 || width > widest) {
        refuse("serial pattern \"" + text_ + "\": the counter's width is a number from 1 to 11");
    }
    const auto digits = digits_of_base(base);
    if (digits.empty()) {
        refuse("serial pattern \"" + text_ + "\": the counter's base is 10, 16, 34 or 36");
    }
    return {kind::counter, width, std::string(digits)};
}

void serial_pattern::check_parts()
{
    const auto is_counter = [](const part &each) { return each.what == kind::counter; };
    if (std::count_if(parts_.begin(), parts_.end(), is_counter) != 1) {
        refuse("serial pattern \"" + text_ + "\": it needs one counter, as in {n:5}");
    }
    std::string sample;
    for (const auto &each : parts_) {
        if (each.what == kind::check && &each != &parts_.back()) {
            refuse("serial pattern \"" + text_ + "\": {check} stands at the end");
        }
        by_week_ = by_week_ || each.what == kind::week;
        sample += each.what == kind::text ? each.text : std::string(each.width, '0');
        if (is_counter(each)) {
            last_counter_ = *read_number(std::string(each.width, each.text.back()), each.text);
        }
    }
    check_serial(sample);
}

std::int64_t serial_pattern::date_value(kind what, const calendar_day &day) const
{
    switch (what) {
    case kind::year:
        return by_week_ ? day.iso_year : day.year;
    case kind::month:
        return day.month;
    case kind::day:
        return day.day;
    default:
        return day.iso_week;
    }
}

std::string serial_pattern::serial(std::int64_t counter, const calendar_day &day) const
{
    std::string made;
    for (const auto &each : parts_) {
        if (each.what == kind::text) {
            made += each.text;
        } else if (each.what == kind::counter) {
            made += number_text(counter, each.text, each.width);
        } else if (each.what == kind::check) {
            made += check_character(made);
        } else {
            made += number_text(date_value(each.what, day), alphanumeric.substr(0, 10), each.width);
        }
    }
    return made;
}

bool serial_pattern::fits(const part &each, std::string_view serial, std::size_t at) const
{
    const auto piece = serial.substr(at, each.width);
    switch (each.what) {
    case kind::text:
        return piece == each.text;
    case kind::counter:
        return read_number(piece, each.text).has_value();
    case kind::check:
        return piece[0] == check_character(serial.substr(0, at));
    default:
        return read_number(piece, alphanumeric.substr(0, 10)).has_value();
    }
}

std::optional<std::int64_t> serial_pattern::counter_of(std::string_view serial) const
{
    std::size_t at = 0;
    std::optional<std::int64_t> counter;
    for (const auto &each : parts_) {
        if (serial.size() < at + each.width || !fits(each, serial, at)) {
            return std::nullopt;
        }
        if (each.what == kind::counter) {
            counter = read_number(serial.substr(at, each.width), each.text);
        }
        at += each.width;
    }
    return at == serial.size() ? counter : std::nullopt;
}

} // namespace ledger
