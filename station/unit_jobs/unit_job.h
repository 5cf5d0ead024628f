#pragma once

#include <initializer_list>
#include <utility>

#include "station/base/report.h"
#include "station/exchanges/unit_exchange.h"
#include "station/jobs/job_file.h"

namespace station {

/** How a unit came out. */
struct unit_result {
    bool well = false;
    std::string words;
};

/** What the log of an operation has to hold of a job, where the switch sends nothing back. */
struct logged_job {
    std::vector<std::string> lines; // in their order, each once
    std::string not_logged; // what the log does not tell, in words; empty where it tells all
};

/** A job for units, found right. */
struct unit_job {
    unit_operation operation;
    table units; // what the job says of each unit, without how it came out
    /** The results of all units that the switch has answered for, in the order of the rows. */
    std::function<std::vector<unit_result>(const outcome &)> judge;
    logged_job logged;
};

/** Runs the job; the outcome is a success only where each unit is well. */
outcome run_unit_job(conversation &talk, const unit_job &job, const exchange_options &options);

/** The units with their results. */
table unit_table(const unit_job &job, const outcome &result);

/** The bytes of one unit in a list. */
using unit_bytes = std::span<const std::uint8_t>;

/** Tells how a unit came out from what was sent of it and what came back. */
using unit_judge = unit_result (*)(unit_bytes sent, unit_bytes back);

/** A job's judge where the switch sends the lists back: behind its head, a list is all units. */
std::function<std::vector<unit_result>(const outcome &)>
judge_of_lists(const unit_operation &operation, std::size_t head_size, std::size_t unit_size,
               unit_judge judge);

/** A part of a unit's bytes: where it begins, and its size. */
using unit_part = std::pair<std::size_t, std::size_t>;

/** Whether both are the same unit: whether they agree outside of the parts. */
bool same_unit(unit_bytes sent, unit_bytes back, std::initializer_list<unit_part> outside);

/** Words for a text that is read back as something else than was sent; empty for the same text. */
std::string difference(std::string_view name, unit_bytes sent, unit_bytes back,
                       const unit_part &where);

/** What is told of a unit that came back as another one. */
unit_result sent_back_changed();

/** What is told of a unit that was read back, with its differences. */
unit_result read_back_with(const std::string &differences);

} // namespace station
