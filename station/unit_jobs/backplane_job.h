#pragma once

#include "station/unit_jobs/unit_job.h"

namespace station {

/** A job for the backplane of a switch, which keeps its identity in two EEPROMs. */
unit_job read_backplane_job(const job_table &job, mistakes &wrong);

} // namespace station
