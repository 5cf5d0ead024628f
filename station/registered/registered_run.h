#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ledger/book/book.h"
#include "station/product/run.h"

namespace station {

// What stands between a run of a product and the ledger that its identity comes from, in the order
// of its use. None of it keeps anything or has a thread: each function is for the one that owns the
// ledger's connection, and the run itself needs no ledger.

/** A unit whose identity a ledger has given out, and all that is needed to provision it. */
struct registered_unit {
    ledger::reserved from; // the ledger's unit, durable
    plan what;
    std::string product_sha256;          // of the product file, in hexadecimal
    std::vector<std::string> job_sha256; // of the job file of each step
};

/** Names of the values of a product file that come from the ledger, and from nowhere else. */
inline constexpr const char *serial_value = "serial";
inline constexpr const char *mac_value = "mac";

/**
 * Gives a label its identity, and puts that into the jobs of the product: the serial number as the
 * value "serial", the first MAC address as "mac". Product names are the same here and there, so
 * wanted.product is not looked at. Other values are given. today is a date, as in "2024-01-31".
 * Throws ledger::error, and job_error for what does not fit together.
 */
registered_unit reserve_unit(ledger::book &in, const product &what, ledger::reservation wanted,
                             const given_values &given, const std::string &today);

/** The same for a label that has its identity; the ledger is not changed. */
registered_unit find_unit(ledger::book &in, const product &what, const ledger::reservation &wanted,
                          const given_values &given, const std::string &today);

/**
 * Enters that the unit is about to be written; the first byte may leave once this has returned.
 * where says who does it and where. Returns the attempt's number in the ledger.
 */
std::int64_t begin_run(ledger::book &in, const registered_unit &of, ledger::attempt_start where);

/**
 * What a run means for a unit: `in_doubt` where the switch may have stored something and nobody has
 * seen what.
 */
ledger::attempt_outcome outcome_of(const run_result &result);

/** What was sent and what was seen, as the ledger keeps it: JSON, and the console's text. */
ledger::attempt_evidence evidence_of(const registered_unit &of, const run_result &result);

/** Enters how a run has ended. Told twice, it is entered once. */
void finish_run(ledger::book &in, std::int64_t attempt, const registered_unit &of,
                const run_result &result);

} // namespace station
