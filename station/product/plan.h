#pragma once

#include <string>
#include <vector>

#include "station/product/operations.h"
#include "station/product/product_file.h"

namespace station {

/** A step whose job was filled with the values of a unit and found right. */
struct planned_step {
    product_step what;
    prepared_job job;
    int attempts = 1; // that a single start of the operation on the switch is good for
};

/** A record by which a unit is told from others, and what it shall hold. */
struct planned_identity {
    identity_record record;
    std::string wanted;
};

/** All that is needed to provision one unit; nothing in it can still turn out wrong. */
struct plan {
    product what;
    given_values values; // in the form in which they are stored
    std::vector<planned_identity> identity;
    std::vector<planned_step> steps;
    std::vector<std::string> lines; // "name=value": what the switch lists afterwards
    std::string not_listed;         // why something is not listed, in words; empty where all is
};

/**
 * Puts the values of a unit into the jobs of its product. today is a date, as in "2024-01-31".
 * Throws job_error with the mistakes of all files.
 */
plan make_plan(const product &what, const given_values &given, const std::string &today);

/** The date of today, here. */
std::string date_of_today();

} // namespace station
