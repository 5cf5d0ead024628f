#include "table.h"

#include <array>
#include <cstdio>
#include <optional>

namespace bench {
namespace {

std::string digits(double value, int decimals)
{
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    return text.data();
}

/** "1.21 (1.19 to 1.25)", or without the spread where there is none to be seen. */
std::string cell(const std::optional<figure> &value, int decimals)
{
    if (!value.has_value()) {
        return "not measurable here";
    }
    const std::string lower = digits(value->lower, decimals);
    const std::string upper = digits(value->upper, decimals);
    const std::string spread = lower == upper ? "" : " (" + lower + " to " + upper + ")";
    return digits(value->median, decimals) + spread;
}

/** "<= 1.00: yes" */
std::string verdict(const std::optional<double> &ratio, const wish &wanted)
{
    if (wanted.kind == wish::nothing) {
        return "-";
    }
    const bool at_most = wanted.kind == wish::at_most;
    const std::string limit = (at_most ? "<= " : ">= ") + digits(wanted.ratio, 2);
    if (!ratio.has_value()) {
        return limit;
    }
    const bool met = at_most ? *ratio <= wanted.ratio : *ratio >= wanted.ratio;
    return limit + (met ? ": yes" : ": no");
}

} // namespace

void print_heads()
{
    std::puts("| What | Ours | Against | Theirs | Unit | Ratio | Wanted |");
    std::puts("|---|---:|---|---:|---|---:|---|");
}

void print(const comparison &row)
{
    const std::optional<figure> ours = figure_of(row.ours);
    const std::optional<figure> other = figure_of(row.other);
    std::optional<double> ratio;
    if (ours.has_value() && other.has_value()) {
        ratio = ours->median / other->median;
    }
    std::printf("| %s | %s | %s | %s | %s | %s | %s |\n", row.what.c_str(),
                cell(ours, row.decimals).c_str(), row.other_name.c_str(),
                cell(other, row.decimals).c_str(), row.unit.c_str(),
                ratio.has_value() ? digits(*ratio, 2).c_str() : "-",
                verdict(ratio, row.wanted).c_str());
    std::fflush(stdout);
}

} // namespace bench
