#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ledger/model/time.h"

namespace ledger {

/**
 * How serial numbers of a pool look: "ABCD{yy}{ww}{n:5}". In braces stand {yy} or {yyyy} (with
 * {ww}, the year that the week is counted in), {mm}, {dd}, {ww} (ISO week), {n:WIDTH} or
 * {n:WIDTH:BASE} (the counter; base 10, 16, 36, or 34 for digits and letters without I and O), and,
 * at the end, {check}: a check character by ISO/IEC 7064, MOD 37,36, over the letters and digits
 * before it. Every part has a fixed width. The counter never starts anew, so that serial numbers
 * differ whatever the date is.
 */
class serial_pattern {
public:
    /** Refuses what is no pattern, and says why. */
    explicit serial_pattern(std::string_view text);

    std::string serial(std::int64_t counter, const calendar_day &day) const;

    /** The counter in a serial number of this pattern; none where it is no such number. */
    std::optional<std::int64_t> counter_of(std::string_view serial) const;

    std::int64_t last_counter() const { return last_counter_; }

private:
    enum class kind { text, year, month, day, week, counter, check };
    struct part {
        kind what = kind::text;
        std::size_t width = 0;
        std::string text = {}; // of a text; the digits of a counter
    };

    part read_part(std::string_view inside) const;
    part read_counter(std::string_view widths) const;
    void check_parts();
    std::int64_t date_value(kind what, const calendar_day &day) const;
    bool fits(const part &each, std::string_view serial, std::size_t at) const;

    std::string text_;
    std::vector<part> parts_;
    std::int64_t last_counter_ = 0;
    bool by_week_ = false;
};

/** The check character by ISO/IEC 7064, MOD 37,36; other than letters and digits is passed over. */
char check_character(std::string_view text);

} // namespace ledger
