#pragma once

#include "station/unit_jobs/unit_job.h"

namespace station {

/** A job for the power supplies of a switch. */
unit_job read_supply_job(const job_table &job, mistakes &wrong);

} // namespace station
