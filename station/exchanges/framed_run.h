#pragma once

#include "station/exchanges/exchange.h"
#include "station/exchanges/framed.h"

namespace station {

/** What tells one kind of framed exchange from another. */
struct framed_kind {
    framed_message message;
    finder find;
    bool find_each_time = false; // the switch takes one attempt only, then it is started again
};

/**
 * Finds the switch and attempts the exchange until it succeeds, no more attempts are allowed or the
 * line is gone. Does not throw for what goes wrong on the line: the outcome tells it.
 */
outcome run_framed(conversation &talk, const framed_kind &kind, const exchange_options &options);

} // namespace station
