#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "station/product/plan.h"

namespace station {

/** How a run of a product ended. */
enum class run_end {
    verified,       // what the switch holds was read back and is what was to be stored
    stored,         // the switch says that it has stored it, but not all could be read back
    failed,         // it is not stored, or something else is
    other_identity, // the switch holds another unit's identity and was left as it is
    not_reached,    // no prompt of the switch
    cancelled       // somebody wanted it to end
};

/** One word for each end, as in "other_identity". */
std::string_view name_of(run_end end);

/** What became of a step. */
enum class step_end {
    not_run, // the run ended before it
    done,    // and confirmed: by what the switch sent back, or by its log
    unseen,  // the switch says so, but what it received was not seen
    skipped, // failed, and may
    failed
};

std::string_view name_of(step_end end);

struct step_record {
    std::string operation;
    std::string job;
    bool optional = false;
    step_end end = step_end::not_run;
    std::string reason; // why it is not done; empty where it is
    int starts = 0;     // of the operation on the switch
    outcome last;       // of its exchange
    table items;
    double seconds = 0;
};

/** A record as it should be, as it was found, and as it was read back. */
struct record_read {
    std::string name;
    std::string wanted;
    std::optional<std::string> before;
    std::optional<std::string> after;
    bool checked = false; // two readings agree that it is as wanted
};

/** All that came out of a run. */
struct run_result {
    run_end end = run_end::failed;
    std::string reason;  // in words
    std::string advice;  // what to do next
    std::string held;    // "nothing", "this identity", "another identity", or empty: not looked at
    std::string console; // where the console was left, in words
    given_values values; // that were to be stored
    std::vector<step_record> steps;
    std::vector<record_read> records;
    bool may_have_stored = false; // the switch, of what was sent to it
    std::string transcript;       // of the console; control characters are as they came
    double seconds = 0;
};

/** Is told of each step as it happens; called on the thread of the run. */
class run_observer : public listener {
public:
    /** A part of the run begins, in words: "waits for the console". */
    virtual void phase(std::string_view /*what*/) {}
    virtual void step_begins(std::size_t /*number*/, std::size_t /*of*/, const step_record &) {}
    virtual void step_ended(const step_record &) {}
};

/** What whoever is told of a run can do next, in the words of what it was started with. */
struct next_steps {
    std::string_view compare = "run --only-check";
    std::string_view write = "run it without --only-check";
    std::string_view replace = "--replace overwrites what it holds";
};

/** What the operator chooses for a run. */
struct run_options {
    using milliseconds = std::chrono::milliseconds;
    std::optional<std::string> password;
    std::optional<milliseconds> wait;   // for a prompt; none: as long as the product says
    milliseconds store{120000};         // how long the switch may take for what it has received
    bool replace = false;               // also another unit's identity
    bool only_check = false;            // write nothing
    std::string log_ending = "station"; // of logs on the switch; best one that was never used
    next_steps next;
};

/**
 * Takes a switch from power-on to verified. Does not throw for what goes wrong on the line. Keeps
 * nothing outside of its arguments, so runs on several lines can go on at once. When a stop is
 * requested, from whatever thread, the run ends soon after, and brings the console to a prompt if
 * that can be had within seconds.
 */
run_result provision(line &far, const plan &what, const run_options &options,
                     run_observer &observer, std::stop_token stop);

} // namespace station
