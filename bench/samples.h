#pragma once

#include <functional>
#include <optional>
#include <vector>

namespace bench {

/** The same thing measured several times: one figure each, in one unit. */
using samples = std::vector<double>;

/** What many samples come to: the middle one, and the two between which the middle half lies. */
struct figure {
    double median = 0;
    double lower = 0;
    double upper = 0;
};

/**
 * Nothing where the samples do not tell: there are none, one is no positive number, or the middle
 * half of them lies further apart than a third of the median.
 */
std::optional<figure> figure_of(samples all);

/**
 * Takes a sample of each in turn, so many times, so that whatever disturbs the machine disturbs
 * all. A sample should be the work of a millisecond or more: a sum or a mean where one piece of
 * work is less.
 */
std::vector<samples> in_turns(int rounds, const std::vector<std::function<double()>> &measures);

/** Samples of ours and of what it is compared with. */
struct both_sides {
    samples ours;
    samples other;
};

/** The same for these two. */
both_sides alternate(int rounds, const std::function<double()> &ours,
                     const std::function<double()> &other);

/** The mean of what so many calls return. */
double mean_of(int calls, const std::function<double()> &measure);

} // namespace bench
