#pragma once

#include "station/unit_jobs/unit_job.h"
#include "station/unit_jobs/unit_reader.h"

namespace station {

// Jobs for units that are a record of 23 bytes each: fans, PoE units and power supplies.

/** A unit of such a job. */
struct record_unit {
    bytes record;
    std::vector<std::string> cells; // of its row
};

/** What tells one kind of them from another. */
struct record_kind {
    std::string_view name; // as in [[name]]
    std::string_view banner;
    std::uint8_t element_type; // stands ahead of each record
    std::size_t most;          // that the switch takes in one list
    std::vector<std::string> columns;
    record_unit (*read)(unit_reader &unit, unit_places &places);
    unit_judge judge; // gets the record behind its type and its length
};

/** A job of that kind. */
unit_job read_record_job(const record_kind &kind, const job_table &job, mistakes &wrong);

} // namespace station
