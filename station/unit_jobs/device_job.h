#pragma once

#include "station/unit_jobs/unit_job.h"

namespace station {

/** A job for the fans, power supplies and cards of a chassis. */
unit_job read_device_job(const job_table &job, mistakes &wrong);

} // namespace station
