#pragma once

#include <string_view>

#include "fuzz/input.h"
#include "station/product/run.h"

namespace fuzz {

/** A command of the station with a job for it, from the folder of examples. */
struct station_job {
    std::string_view command;
    bool tlv;
    const char *example;
};

/**
 * Runs a job against a switch that sends what is left of the input, with its silences, on a clock
 * of its own; the first byte chooses how the line is and ends. Requires of every outcome what holds
 * for all of them, and tells it in both forms of a report.
 */
station::outcome run_station(const station_job &job, input &in);

/** The same with a run of a product, whose file is in the folder of examples. */
station::run_result run_product(const char *example, input &in);

/** The results of the items of a job, in the last column of their table. */
std::vector<std::string> item_results(const station_job &job, const station::outcome &result);

} // namespace fuzz
