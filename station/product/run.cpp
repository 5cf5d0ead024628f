#include "station/product/run.h"

#include <algorithm>

#include "station/base/bytes.h"
#include "station/console/console_text.h"
#include "station/lines/stoppable_line.h"
#include "station/product/listing.h"
#include "station/product/run_step.h"

namespace station {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t most_readings = 8;
constexpr int most_recoveries = 3;
constexpr auto leaving_limit = 15s;

/** What a run came to: ends it wherever it stands. */
struct run_over {
    run_end end;
    std::string reason;
    std::string advice;
};

/** Whether two values mean the same: addresses are the same in every way to write them. */
bool same_value(const std::string &one, const std::string &other)
{
    if (one == other) {
        return true;
    }
    constexpr std::size_t mac_size = 6;
    const auto first = bytes_of_hex(one);
    return first && first->size() == mac_size && first == bytes_of_hex(other);
}

std::string seconds_of(std::chrono::milliseconds limit)
{
    return std::to_string(std::chrono::ceil<std::chrono::seconds>(limit).count()) + " s";
}

/** Whether the switch may have stored something in a step: not where it refused all of it. */
bool may_have_stored(const step_record &step)
{
    const auto &last = step.last;
    return step.starts != 1 || last.end != ending::refused || last.taken || !last.echo.empty();
}

/** One run of a product. */
class run_of_product {
public:
    run_of_product(line &far, const plan &what, const run_options &options, run_observer &observer,
                   std::stop_token stop)
        : direct_(far), far_(far, std::move(stop)), plan_(what), options_(options),
          observer_(observer), console_(far_, settings(), observer)
    {
        result_.values = what.values;
        for (const auto &step : what.steps) {
            result_.steps.push_back({.operation = step.what.operation,
                                     .job = step.what.job,
                                     .optional = step.what.optional,
                                     .reason = {},
                                     .last = {},
                                     .items = {}});
        }
        for (const auto &line : what.lines) {
            const auto end = line.find('=');
            result_.records.push_back(
                {line.substr(0, end), line.substr(end + 1), std::nullopt, std::nullopt, false});
        }
    }

    run_result run()
    {
        const auto start = direct_.now();
        try {
            carry_out();
        } catch (const run_over &over) {
            conclude(over);
        } catch (const line_stopped &) {
            conclude({run_end::cancelled, "it was stopped",
                      "start it again: it looks what is stored first"});
            leave();
        } catch (const line_error &error) {
            conclude(line_broke(error.what()));
        }
        result_.transcript = console_.transcript() + result_.transcript;
        result_.seconds = std::chrono::duration<double>(direct_.now() - start).count();
        return std::move(result_);
    }

private:
    console_settings settings() const
    {
        auto settings = plan_.what.console;
        settings.password = options_.password;
        return settings;
    }

    void conclude(const run_over &over)
    {
        result_.end = over.end;
        result_.reason = over.reason;
        result_.advice = over.advice;
    }

    run_over line_broke(const std::string &how) const
    {
        if (!reached_) {
            return {run_end::not_reached, how, "look at the line and start again"};
        }
        if (all_steps_over_) {
            return {run_end::stored, "the line ended before all was read back: " + how,
                    std::string(options_.next.compare)};
        }
        return {run_end::failed, how, "look at the line and start again"};
    }

    void carry_out()
    {
        observer_.phase("waits for the console");
        reach(options_.wait.value_or(plan_.what.console.boot));
        reached_ = true;
        observer_.phase("reads what the switch holds");
        judge_identity(what_it_holds());
        if (options_.only_check) {
            conclude_check();
            return;
        }
        for (std::size_t at = 0; at < plan_.steps.size(); ++at) {
            carry_out_step(at);
        }
        all_steps_over_ = true;
        observer_.phase("reads back what the switch holds");
        judge_read_back(read_listing(true));
    }

    void reach(std::chrono::milliseconds limit)
    {
        auto where = console_.reach_prompt(limit);
        if (where == arrival::backplane) {
            where = end_backplane(limit);
        }
        result_.console = where == arrival::prompt ? "at the prompt" : "not known";
        switch (where) {
        case arrival::prompt:
            return;
        case arrival::wrong_password:
            throw run_over{run_end::not_reached, "the switch refuses the user or the password",
                           "correct what the product file names; it was not tried again"};
        case arrival::no_login:
            throw run_over{run_end::not_reached,
                           "the switch asks \"" + console_.shown() +
                               "\", and the product file has no answer to that",
                           "give a user and a password in the product file's [console]"};
        case arrival::other_prompt:
            throw run_over{run_end::not_reached,
                           "the console shows \"" + console_.shown() +
                               "\", which is none of the product's prompts",
                           "bring the switch to its shell, or correct the prompts of the product "
                           "file"};
        case arrival::backplane:
            throw run_over{run_end::not_reached,
                           "the switch waits for the list of a backplane, which cannot be called "
                           "off",
                           "switch it off and on"};
        case arrival::silence:
            break;
        }
        throw run_over{run_end::not_reached,
                       "no prompt within " + seconds_of(limit) +
                           (console_.shown().empty() ? ": the console shows nothing"
                                                     : ", last seen: \"" + console_.shown() + "\""),
                       "look whether the switch has power and the cable is right"};
    }

    /** The only way out of that operation is a good list: that of the step that does it anyway. */
    arrival end_backplane(std::chrono::milliseconds limit)
    {
        const auto step =
            std::find_if(plan_.steps.begin(), plan_.steps.end(),
                         [](const planned_step &each) { return bool(each.job.run_blindly); });
        if (step == plan_.steps.end() || options_.only_check || guessed_in_vain_) {
            return arrival::backplane;
        }
        give_backplane(*step);
        return console_.reach_prompt(limit);
    }

    void give_backplane(const planned_step &step)
    {
        observer_.phase("ends an operation that the switch waits in");
        result_.may_have_stored = true;
        gave_backplane_ = true;
        guessed_in_vain_ =
            !operation_run(far_, console_, observer_, options_.store).end_blindly(step);
    }

    /** What the command prints, from the second time on that it prints the same. */
    readings read_listing(bool until_right)
    {
        readings read;
        int recoveries = 0;
        while (read.count() < most_readings && !enough(read, until_right)) {
            const auto printed = console_.command(plan_.what.listing);
            if (printed) {
                read.add(listing::of(*printed, plan_.what.columns));
            } else if (++recoveries > most_recoveries) {
                break;
            } else {
                reach(plan_.what.console.boot);
                read = readings(); // it may have started again, and lost what it held
            }
        }
        return read;
    }

    bool enough(const readings &read, bool until_right) const
    {
        const bool right = until_right && !plan_.lines.empty() &&
                           std::all_of(plan_.lines.begin(), plan_.lines.end(),
                                       [&](const auto &line) { return read.agree_on(line); });
        return right || read.agreed() != nullptr;
    }

    /** What two readings agree on; where that is another unit's identity, two more agree. */
    listing what_it_holds()
    {
        auto held = agreed_reading();
        const auto others = others_in(held);
        if (!others.empty() && others_in(agreed_reading()) != others) {
            throw run_over{run_end::failed,
                           "what the switch holds cannot be read: it looks like another identity, "
                           "and then like a different one",
                           "look at the line, then start again"};
        }
        return held;
    }

    listing agreed_reading()
    {
        const auto read = read_listing(false);
        const auto *held = read.agreed();
        if (held == nullptr) {
            throw run_over{run_end::failed,
                           "what the switch holds cannot be read: of " +
                               std::to_string(read.count()) + " readings no two agree",
                           "look at the line, then start again"};
        }
        return *held;
    }

    void judge_identity(const listing &held)
    {
        for (auto &record : result_.records) {
            record.before = held.value(record.name);
            record.checked = held.has(record.name + "=" + record.wanted);
        }
        const auto others = others_in(held);
        const auto same_ones = static_cast<std::size_t>(
            std::count_if(plan_.identity.begin(), plan_.identity.end(), [&](const auto &each) {
                return same_value(held.value(each.record.name).value_or(""), each.wanted);
            }));
        result_.held = !others.empty()                     ? "another identity"
                       : same_ones == 0                    ? "nothing"
                       : same_ones < plan_.identity.size() ? "a part of this identity"
                                                           : "this identity";
        if (!others.empty() && (!options_.replace || options_.only_check)) {
            throw_other_identity("the switch holds " + others);
        }
        replaced_ = held;
    }

    /** What is neither blank nor of this unit, in words. */
    std::string others_in(const listing &held) const
    {
        std::string others;
        for (const auto &[record, wanted] : plan_.identity) {
            const auto value = held.value(record.name).value_or("");
            const bool blank =
                value.empty() ||
                std::any_of(record.blank.begin(), record.blank.end(),
                            [&](const auto &each) { return same_value(value, each); });
            if (!blank && !same_value(value, wanted)) {
                others += (others.empty() ? "" : ", ") + record.name + " \"" + printable(value) +
                          "\" and not \"" + printable(wanted) + "\"";
            }
        }
        return others;
    }

    [[noreturn]] void throw_other_identity(const std::string &reason) const
    {
        throw run_over{run_end::other_identity, reason,
                       "look whether cable and label belong to this switch; " +
                           std::string(options_.next.replace) +
                           (gave_backplane_ ? ". It waited in setbackplane and was given this "
                                              "unit's list: program its backplane again"
                                            : "")};
    }

    /** After something went wrong: what is there now may be another switch. */
    void reach_same_switch()
    {
        reach(plan_.what.console.boot);
        const auto others = others_in(what_it_holds());
        if (!others.empty() && others != others_in(replaced_)) {
            throw_other_identity("in the middle of the run the switch holds " + others);
        }
    }

    bool all_checked() const
    {
        return std::all_of(result_.records.begin(), result_.records.end(),
                           [](const record_read &each) { return each.checked; });
    }

    std::string differences() const
    {
        std::string out;
        for (const auto &each : result_.records) {
            if (!each.checked) {
                const auto &seen = all_steps_over_ ? each.after : each.before;
                out += (out.empty() ? "" : ", ") + each.name + " is " +
                       (seen ? "\"" + printable(*seen) + "\"" : std::string("missing")) +
                       " and not \"" + printable(each.wanted) + "\"";
            }
        }
        return out;
    }

    void conclude_check()
    {
        if (!all_checked()) {
            conclude({run_end::failed,
                      (result_.held == "nothing" ? "the switch is not provisioned: " : "") +
                          differences(),
                      std::string(options_.next.write)});
            return;
        }
        conclude_verified("the switch holds all of it already");
    }

    void conclude_verified(const std::string &reason)
    {
        if (!plan_.not_listed.empty() || plan_.lines.empty()) {
            conclude({run_end::stored,
                      plan_.lines.empty() ? "the switch lists nothing that can be compared"
                                          : plan_.not_listed,
                      "let the job give what the switch needs to list it"});
            return;
        }
        conclude({run_end::verified, reason, ""});
    }

    void carry_out_step(std::size_t at)
    {
        auto &record = result_.steps[at];
        observer_.step_begins(at + 1, plan_.steps.size(), record);
        const auto start = direct_.now();
        operation_run running(far_, console_, observer_, options_.store);
        const auto ended = [&] {
            record.seconds = std::chrono::duration<double>(direct_.now() - start).count();
            record.items = plan_.steps[at].job.items(record.last);
            result_.may_have_stored = result_.may_have_stored || may_have_stored(record);
            observer_.step_ended(record);
        };
        try {
            running.carry_out(
                plan_.what, plan_.steps[at], options_.log_ending + std::to_string(at),
                [this, at](bool waits) {
                    if (waits) {
                        give_backplane(plan_.steps[at]);
                    }
                    reach_same_switch();
                },
                record);
        } catch (...) {
            ended();
            throw;
        }
        ended();
        if (record.end == step_end::failed) {
            throw run_over{run_end::failed, record.operation + ": " + record.reason,
                           "look at the switch, then start again"};
        }
    }

    void judge_read_back(const readings &read)
    {
        const auto *held = read.agreed();
        for (auto &record : result_.records) {
            const auto line = record.name + "=" + record.wanted;
            record.checked = read.agree_on(line) && (held == nullptr || held->has(line));
            record.after = record.checked ? std::optional(record.wanted)
                           : held         ? held->value(record.name)
                                          : std::nullopt;
        }
        if (!all_checked()) {
            throw run_over{held ? run_end::failed : run_end::stored,
                           held ? "read back it differs: " + differences()
                                : "it could not be read back: of " + std::to_string(read.count()) +
                                      " readings no two agree",
                           held ? "look at the switch, then start again"
                                : std::string(options_.next.compare)};
        }
        const auto unseen =
            std::find_if(result_.steps.begin(), result_.steps.end(),
                         [](const step_record &each) { return each.end == step_end::unseen; });
        if (unseen != result_.steps.end()) {
            throw run_over{run_end::stored, unseen->operation + ": " + unseen->reason,
                           "no command of the switch shows it: test the unit"};
        }
        conclude_verified("all of it was read back");
    }

    /** After a cancellation: ends what the switch waits in, where that can be had soon. */
    void leave()
    {
        if (!reached_ && !gave_backplane_ && !console_.has_given_user()) {
            result_.console = "as it was found";
            return;
        }
        try {
            auto quick = settings();
            quick.quiet = 700ms;
            if (!reached_) {
                quick.user.clear(); // a password that may be wrong is not given again
            }
            console last(direct_, quick, observer_);
            last.hide_echo_of(console_);
            const auto where = last.reach_prompt(leaving_limit);
            result_.transcript = last.transcript();
            result_.console = where == arrival::prompt      ? "at the prompt"
                              : where == arrival::no_login  ? "at the login"
                              : where == arrival::backplane ? "in setbackplane"
                                                            : "not known";
        } catch (const line_error &) {
            result_.console = "not known";
        }
    }

    line &direct_;
    stoppable_line far_;
    const plan &plan_;
    const run_options &options_;
    run_observer &observer_;
    console console_;
    run_result result_;
    listing replaced_; // what the switch held before
    bool gave_backplane_ = false;
    bool guessed_in_vain_ = false; // over a line that harms one list after the other
    bool reached_ = false;
    bool all_steps_over_ = false;
};

} // namespace

std::string_view name_of(run_end end)
{
    constexpr std::string_view names[] = {"verified",       "stored",      "failed",
                                          "other_identity", "not_reached", "cancelled"};
    return names[static_cast<std::size_t>(end)];
}

std::string_view name_of(step_end end)
{
    constexpr std::string_view names[] = {"not run", "done", "unseen", "skipped", "failed"};
    return names[static_cast<std::size_t>(end)];
}

run_result provision(line &far, const plan &what, const run_options &options,
                     run_observer &observer, std::stop_token stop)
{
    return run_of_product(far, what, options, observer, std::move(stop)).run();
}

} // namespace station
