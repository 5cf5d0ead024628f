#include "ledger/model/time.h"

#include <array>
#include <cstdio>

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
