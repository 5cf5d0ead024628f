#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace ledger {

using time_point = std::chrono::system_clock::time_point;

/** "2026-11-21T23:28:00.123Z": UTC, so that texts are in the order of the times. */
std::string time_text(time_point when);

/** Back from there, to the second. */
std::optional<time_point> read_time(const std::string &text);

/**
 * A limit as people write it, "2026-11-21", "2026-11-21T23:28" or longer, with or without a "Z"
 * behind the time, as the texts of such times begin. None where it is another text, or no such day
 * or time.
 */
std::optional<std::string> read_time_limit(std::string text);

/** The day in UTC, as serial numbers show it. */
struct calendar_day {
    int year = 0;
    int month = 0;
    int day = 0;
    int iso_year = 0; // the year that the week is counted in
    int iso_week = 0;
};

calendar_day day_of(time_point when);

} // namespace ledger
