#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "station/app/display.h"
#include "station/product/run.h"

namespace station {

// What the program shows of a run of a product.

/** What the ledger holds of a run. */
struct registered_end {
    std::string label = {};
    std::int64_t attempt = 0; // among those of the unit; 0: none was begun
    std::string state = {};   // of the unit
    std::string trouble = {}; // why the end is not entered; empty where it is
};

/**
 * The exit status for each end; wrong input ends with 2, what a ledger refuses with 7, and a run
 * whose end did not get into its ledger with 8.
 */
int exit_status_of(run_end end, const std::optional<registered_end> &registered = {});

/** "name=value" texts as they were given. Throws job_error for one that is none. */
given_values given_by(const std::vector<std::string> &texts);

/** An ending for logs on the switch that was not used before. */
std::string fresh_log_ending();

/** Shows a run to the operator. */
class run_display : public run_observer {
public:
    run_display(std::FILE *out, display::style how, std::string place)
        : shown_(out, how, std::move(place))
    {
    }

    void waiting() override { shown_.waiting(); }
    void attempt(int number, int of) override { shown_.attempt(number, of); }
    void answered(const reply &given) override { shown_.answered(given); }
    void sent(std::size_t done, std::size_t total) override { shown_.sent(done, total); }
    void console(std::string_view text) override { shown_.console(text); }
    void retrying(std::string_view reason) override { shown_.retrying(reason); }
    void phase(std::string_view what) override;
    void step_begins(std::size_t number, std::size_t of, const step_record &step) override;
    void step_ended(const step_record &step) override;

    void finish() { shown_.finish(); }

private:
    display shown_;
};

/** The steps, the records and the end in a sentence, for people. */
void print_run_text(std::FILE *out, const plan &what, const run_result &result,
                    const std::optional<registered_end> &registered = {});

/** The same as a JSON object, for programs. */
void print_run_json(std::FILE *out, const plan &what, const run_result &result,
                    const std::optional<registered_end> &registered = {});

} // namespace station
