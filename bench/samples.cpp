#include "samples.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace bench {

std::optional<figure> figure_of(samples all)
{
    constexpr double widest = 1.0 / 3;
    std::ranges::sort(all);
    if (all.empty() || !(all.front() > 0)) {
        return std::nullopt;
    }
    const std::size_t last = all.size() - 1;
    const figure found = {all[last / 2], all[last / 4], all[last - last / 4]};
    return found.upper - found.lower <= widest * found.median ? std::optional(found) : std::nullopt;
}

std::vector<samples> in_turns(int rounds, const std::vector<std::function<double()>> &measures)
{
    std::vector<samples> all(measures.size());
    for (int i = 0; i < rounds; ++i) {
        for (std::size_t at = 0; at < measures.size(); ++at) {
            all[at].push_back(measures[at]());
        }
    }
    return all;
}

both_sides alternate(int rounds, const std::function<double()> &ours,
                     const std::function<double()> &other)
{
    auto both = in_turns(rounds, {ours, other});
    return {std::move(both[0]), std::move(both[1])};
}

double mean_of(int calls, const std::function<double()> &measure)
{
    double sum = 0;
    for (int i = 0; i < calls; ++i) {
        sum += measure();
    }
    return sum / calls;
}

} // namespace bench
