#include "ledger/model/time.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

namespace ledger {

namespace chrono = std::chrono;

namespace {

/** The Monday that the ISO year's first week begins on: the week of the 4th of January. */
chrono::sys_days first_monday(chrono::year year)
{
    const chrono::sys_days fourth = year / chrono::January / 4;
    return fourth - (chrono::weekday(fourth) - chrono::Monday);
}

} // namespace

std::string time_text(time_point when)
{
    const auto days = chrono::floor<chrono::days>(when);
    const chrono::year_month_day date(days);
    const chrono::hh_mm_ss time(chrono::floor<chrono::milliseconds>(when - days));
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                  static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()),
                  static_cast<int>(time.subseconds().count()));
    return text.data();
}

std::optional<time_point> read_time(const std::string &text)
{
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    // NOLINTNEXTLINE(cert-err34-c): the count tells whether all of them were numbers
    if (std::sscanf(text.c_str(), "%4d-%2u-%2uT%2d:%2d:%2d", &year, &month, &day, &hours, &minutes,
                    &seconds) != 6) {
        return std::nullopt;
    }
    const chrono::sys_days date = chrono::year(year) / chrono::month(month) / chrono::day(day);
    return date + chrono::hours(hours) + chrono::minutes(minutes) + chrono::seconds(seconds);
}

std::optional<std::string> read_time_limit(std::string text)
{
    constexpr std::string_view form = "2000-01-01T00:00:00.000";
    constexpr std::array<std::size_t, 4> lengths{10, 16, 19, 23};
    constexpr std::size_t to_the_second = lengths[2];
    if (text.size() > lengths[1] && text.back() == 'Z') {
        text.pop_back();
    }
    const auto fits = [](char is, char wanted) {
        return wanted >= '0' && wanted <= '9' ? is >= '0' && is <= '9' : is == wanted;
    };
    if (std::find(lengths.begin(), lengths.end(), text.size()) == lengths.end() ||
        !std::equal(text.begin(), text.end(), form.begin(), fits)) {
        return std::nullopt;
    }
    const auto when = read_time(text + std::string(form.substr(text.size())));
    // Days and times that are none come back as others.
    if (!when || !time_text(*when).starts_with(text.substr(0, to_the_second))) {
        return std::nullopt;
    }
    return text;
}

calendar_day day_of(time_point when)
{
    const auto days = chrono::floor<chrono::days>(when);
    const chrono::year_month_day date(days);
    auto year = date.year() + chrono::years(1);
    while (first_monday(year) > days) {
        --year;
    }
    const auto week = (days - first_monday(year)).count() / 7 + 1;
    return {static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
            static_cast<int>(static_cast<unsigned>(date.day())), static_cast<int>(year),
            static_cast<int>(week)};
}

} // namespace ledger
