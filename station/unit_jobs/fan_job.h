#pragma once

#include "station/unit_jobs/unit_job.h"

namespace station {

/** A job for the fans of a switch. */
unit_job read_fan_job(const job_table &job, mistakes &wrong);

/** A job for its PoE units. */
unit_job read_poe_job(const job_table &job, mistakes &wrong);

} // namespace station
