#pragma once

#include <functional>
#include <string>

#include "station/product/run.h"

namespace station {

/** One step of a product on a console that is at its prompt. Throws line_error, as the line does.
 */
class operation_run {
public:
    using milliseconds = std::chrono::milliseconds;

    /** All must outlive this. */
    operation_run(line &far, console &shell, run_observer &observer, milliseconds store)
        : far_(far), shell_(shell), observer_(observer), store_(store)
    {
    }

    /**
     * Starts the operation on the switch and does its exchange, again where it went wrong on the
     * line; fetches and compares the operation's log where the switch sends nothing back. reach
     * brings the console back to its prompt after whatever went wrong, and makes sure that it is
     * that of the same switch, or throws; waits is set where the switch is known to wait for a list
     * that only end_blindly() can give it. The record tells what became of the step.
     */
    void carry_out(const product &what, const planned_step &step, const std::string &log_ending,
                   const std::function<void(bool waits)> &reach, step_record &record);

    /**
     * Satisfies a switch that waits in the step's operation and has added up something unknown;
     * false where it still asks for a list after more than all sums there are.
     */
    bool end_blindly(const planned_step &step);

private:
    outcome exchange(const planned_step &step, bool blindly);
    milliseconds answer_limit(const planned_step &step, bool blindly) const;
    std::string compare_log(const std::string &log, const std::vector<std::string> &expected,
                            std::size_t columns);

    line &far_;
    console &shell_;
    run_observer &observer_;
    milliseconds store_;
};

} // namespace station
