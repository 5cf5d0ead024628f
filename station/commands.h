#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "framed_run.h"
#include "job_file.h"
#include "report.h"

namespace station {

/** A job that was read and found right: how to run it, and how its items came out. */
struct prepared_job {
    std::function<outcome(conversation &, const framed_options &)> run;
    std::function<table(const outcome &)> items;
};

/** A command of the station: the other side of the command of that name on the switch. */
struct command {
    const char *name;
    const char *summary;
    int attempts; // unless the operator says otherwise
    prepared_job (*prepare)(const job_table &job, mistakes &wrong);
};

std::span<const command> all_commands();

/** What a switch shows of the properties of a setmac job once it holds them: "name=value". */
std::vector<std::string> preview(const job_table &job, mistakes &wrong);

} // namespace station
