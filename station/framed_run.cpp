#include "framed_run.h"

#include <sstream>
#include <utility>

namespace station {

namespace {

using namespace std::chrono_literals;

outcome without_answer(ending end, std::string reason)
{
    outcome result;
    result.end = end;
    result.reason = std::move(reason);
    return result;
}

outcome not_found(const framed_options &options, const char *missed)
{
    const auto tenths = options.wait.value_or(0ms) / 100ms;
    std::ostringstream reason;
    reason << "no switch within " << static_cast<double>(tenths) / 10 << " s: " << missed;
    return without_answer(ending::silent, reason.str());
}

/**
 * What the operator should read of two attempts: where the later one got no answer at all, that is
 * the consequence of how the earlier one ended.
 */
outcome joined(const outcome &earlier, const outcome &later, int attempts)
{
    const bool consequence = !earlier.replies.empty() && later.replies.empty() && !later.ok();
    outcome result = consequence ? earlier : later;
    if (consequence) {
        result.reason += "; after that: " + later.reason;
    }
    result.attempts = attempts;
    return result;
}

std::pair<found, outcome> find(conversation &talk, const framed_kind &kind,
                               const framed_options &options)
{
    try {
        search looking(talk, options.wait);
        const auto seen = kind.find(talk, looking);
        return {seen, seen == found::nothing ? not_found(options, kind.missed) : outcome{}};
    } catch (const line_error &error) {
        return {found::nothing, without_answer(ending::broken, error.what())};
    }
}

} // namespace

search::search(conversation &talk, std::optional<std::chrono::milliseconds> limit) : talk_(talk)
{
    if (limit) {
        end_ = talk.now() + *limit;
    }
}

bool search::goes_on()
{
    talk_.observer().waiting();
    return !end_ || talk_.now() < *end_;
}

outcome run_framed(conversation &talk, const framed_kind &kind, const framed_options &options)
{
    outcome result;
    for (int number = 1; number <= options.attempts; ++number) {
        auto how = found::ready;
        if (number == 1 || kind.find_each_time) {
            const auto [seen, missing] = find(talk, kind, options);
            if (seen == found::nothing) {
                return joined(result, missing, number - 1);
            }
            how = seen;
        }
        talk.observer().attempt(number, options.attempts);
        const auto latest =
            framed_attempt(talk, kind.message, options.limits).run(how == found::hand_shaken);
        result = joined(result, latest, number);
        if (latest.ok() || latest.end == ending::broken) {
            return result;
        }
        if (number < options.attempts) {
            talk.observer().retrying(latest.reason);
        }
    }
    return result;
}

} // namespace station
