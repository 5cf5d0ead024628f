#include "station/exchanges/framed_run.h"

namespace station {

outcome run_framed(conversation &talk, const framed_kind &kind, const exchange_options &options)
{
    framed_limits limits;
    limits.store = options.store;
    outcome result;
    for (int number = 1; number <= options.attempts; ++number) {
        auto from = attempt_start::failure;
        if (number == 1 || kind.find_each_time) {
            const auto [seen, missing] = find_switch(talk, kind.find, options);
            if (seen != found::ready && seen != found::hand_shaken) {
                return joined(result, missing, number - 1);
            }
            from = seen == found::hand_shaken ? attempt_start::hand_shaken : attempt_start::ready;
        }
        talk.observer().attempt(number, options.attempts);
        const auto latest = framed_attempt(talk, kind.message, limits).run(from);
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
