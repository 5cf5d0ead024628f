#include "table.h"

#include <array>
#include <cstdio>

namespace bench {
namespace {

std::string figure(double value, int decimals)
{
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    return text.data();
}

/** "<= 1.00, yes" */
std::string verdict(double ratio, const wish &wanted)
{
    if (wanted.kind == wish::nothing) {
        return "-";
    }
    const bool at_most = wanted.kind == wish::at_most;
    const bool met = at_most ? ratio <= wanted.ratio : ratio >= wanted.ratio;
    return (at_most ? "<= " : ">= ") + figure(wanted.ratio, 2) + (met ? ": yes" : ": no");
}

} // namespace

void print_heads()
{
    std::puts("| What | Ours | Against | Theirs | Unit | Ratio | Wanted |");
    std::puts("|---|---:|---|---:|---|---:|---|");
}

void print(const comparison &row)
{
    const double ratio = row.ours / row.other;
    std::printf("| %s | %s | %s | %s | %s | %.2f | %s |\n", row.what.c_str(),
                figure(row.ours, row.decimals).c_str(), row.other_name.c_str(),
                figure(row.other, row.decimals).c_str(), row.unit.c_str(), ratio,
                verdict(ratio, row.wanted).c_str());
    std::fflush(stdout);
}

} // namespace bench
