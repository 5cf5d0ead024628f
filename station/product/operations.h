#pragma once

#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "station/base/report.h"
#include "station/exchanges/exchange.h"
#include "station/jobs/job_file.h"
#include "station/unit_jobs/unit_job.h"

namespace station {

/** A job that was read and found right: how to run it, and how its items came out. */
struct prepared_job {
    std::function<outcome(conversation &, const exchange_options &)> run;
    std::function<table(const outcome &)> items;
    /**
     * Of the operation of which the switch sends nothing back: the same with a switch that waits in
     * it and has added up something unknown already.
     */
    std::function<outcome(conversation &, const exchange_options &)> run_blindly;
    logged_job logged;
};

/** A command of the station: the other side of the command of that name on the switch. */
struct command {
    const char *name;
    const char *summary;
    int attempts; // unless the operator says otherwise
    prepared_job (*prepare)(const job_table &job, mistakes &wrong);
    /** The same for a switch that keeps its identity in the system EEPROM; null: no difference. */
    prepared_job (*prepare_tlv)(const job_table &job, mistakes &wrong);
};

std::span<const command> all_commands();

/** The station's commands by the operations of the switch whose other side they are. */
std::map<std::string_view, const command *> operations_of(bool tlv);

/** What a switch lists of its identity after a setmac job. */
struct preview {
    std::vector<std::string> lines; // "name=value"
    std::string remark;             // why something is not listed; empty where all is
};

preview preview_of(const job_table &job, mistakes &wrong);

/** The same for a switch that keeps its identity in the system EEPROM. */
preview preview_of_tlv(const job_table &job, mistakes &wrong);

} // namespace station
