#include "station/product/run_step.h"

#include <algorithm>
#include <utility>

#include "station/console/console_text.h"
#include "station/product/listing.h"
#include "station/product/operation_line.h"

namespace station {

namespace {

using namespace std::chrono_literals;

constexpr int most_starts = 3;
constexpr auto operation_starts_within = 10s;
// Its program may take that long to start on a busy switch; until then the terminal takes the hand
// sign's 0x03 for a key that interrupts.
constexpr auto operation_says_something_within = 4s;
constexpr auto operation_ends_within = 10s;
constexpr auto prompt_returns_within = 1s; // where the operation may go on waiting
// A list of which a byte was lost is never answered. Any other is once its units are written, which
// is no matter of erasing flash; a guess is nearly always wrong, and that is told at once.
constexpr line::milliseconds list_is_answered_within = 30s;
constexpr line::milliseconds guess_is_answered_within = 2500ms;
constexpr int attempts_to_guess_a_sum = 300; // 256, and some that get lost
constexpr std::size_t most_readings_of_log = 8;
constexpr std::size_t most_text = 8192; // of an exchange that is looked at
constexpr std::size_t most_rest = 4096; // that can have come unseen
constexpr std::string_view log_entry = "] BP ";
constexpr std::string_view log_text = "BP ";

/** What a command said last, ahead of the prompt. */
std::string last_words(std::string_view text)
{
    const auto shown = readable(text);
    const auto lines = lines_of(shown);
    return lines.size() < 2 ? "" : ": " + printable(lines[lines.size() - 2]);
}

/**
 * Passes on what an exchange tells, and keeps the text that it takes from the console. Throws
 * operation_over where that shows the prompt.
 */
class exchange_listener : public listener {
public:
    exchange_listener(listener &outer, const station::console &shell) : outer_(outer), shell_(shell)
    {
    }

    std::string text;

    void waiting() override
    {
        outer_.waiting();
        if (std::exchange(has_grown_, false) && shell_.shows_prompt(text)) {
            throw operation_over("the operation has ended at once" + last_words(text));
        }
    }
    void attempt(int number, int of) override { outer_.attempt(number, of); }
    void answered(const reply &given) override { outer_.answered(given); }
    void sent(std::size_t done, std::size_t total) override { outer_.sent(done, total); }
    void console(std::string_view shown) override
    {
        text += shown;
        text.erase(0, text.size() - std::min(text.size(), most_text));
        has_grown_ = true;
        outer_.console(shown);
    }
    void retrying(std::string_view reason) override { outer_.retrying(reason); }

private:
    listener &outer_;
    const station::console &shell_;
    bool has_grown_ = false;
};

/** Takes what has come already, without waiting. */
std::string rest_of(conversation &talk)
{
    std::string rest;
    try {
        while (rest.size() < most_rest) {
            const auto byte = talk.next_byte(talk.now());
            if (!byte) {
                break;
            }
            rest += static_cast<char>(*byte);
        }
    } catch (const operation_over &) {
        // Only the operation is, not the line.
    }
    return rest;
}

/** What the log tells of the operation, in its order. */
std::vector<std::string> told_by(std::string_view log, std::size_t columns)
{
    std::vector<std::string> told;
    for (const auto &line : unwrapped(lines_of(log), columns)) {
        const auto at = line.rfind(log_entry);
        if (at != std::string::npos) {
            told.push_back(line.substr(at + log_entry.size() - log_text.size()));
        }
    }
    return told;
}

} // namespace

void operation_run::carry_out(const product &what, const planned_step &step,
                              const std::string &log_ending,
                              const std::function<void(bool waits)> &reach, step_record &record)
{
    const bool logged = !step.job.logged.lines.empty();
    record.end = step_end::failed;
    record.reason = "it did not come to its end";
    for (record.starts = 1;; ++record.starts) {
        const auto log = what.log + "-" + log_ending + std::to_string(record.starts);
        const auto command =
            what.program + " " + step.what.operation + (logged ? " " + log : std::string());
        std::string wrong = "the console does not take the command";
        bool asked_again = false;
        if (shell_.start(command)) {
            record.last = exchange(step, false);
            wrong = record.last.reason;
            asked_again = record.last.end == ending::damaged;
        }
        const bool waits = asked_again && step.job.run_blindly;
        const bool back = !waits && shell_.back_at_prompt(wrong.empty() ? operation_ends_within
                                                                        : prompt_returns_within);
        if (!back || !wrong.empty()) {
            reach(waits);
        }
        if (wrong.empty() && logged) {
            wrong = compare_log(log, step.job.logged.lines, what.columns);
            if (!wrong.empty()) {
                reach(false);
            }
        }
        if (wrong.empty()) {
            const auto &unseen = step.job.logged.not_logged;
            record.end = unseen.empty() ? step_end::done : step_end::unseen;
            record.reason =
                unseen.empty() ? "" : "nothing shows what the switch holds as " + unseen;
            return;
        }
        record.end = step.what.optional ? step_end::skipped : step_end::failed;
        record.reason = wrong;
        if (record.last.end == ending::refused || record.starts == most_starts) {
            return;
        }
        observer_.retrying(wrong);
    }
}

bool operation_run::end_blindly(const planned_step &step)
{
    return exchange(step, true).end != ending::damaged;
}

line::milliseconds operation_run::answer_limit(const planned_step &step, bool blindly) const
{
    if (!step.job.run_blindly) {
        return store_;
    }
    return blindly ? guess_is_answered_within : std::min(store_, list_is_answered_within);
}

outcome operation_run::exchange(const planned_step &step, bool blindly)
{
    exchange_options options;
    options.wait = operation_starts_within;
    options.attempts = blindly ? attempts_to_guess_a_sum : step.attempts;
    options.store = answer_limit(step, blindly);
    options.quiet_before_probe =
        blindly ? options.quiet_before_probe : operation_says_something_within;
    exchange_listener listener(observer_, shell_);
    operation_line until_prompt(far_, shell_);
    conversation talk(until_prompt, listener);
    auto result = blindly ? step.job.run_blindly(talk, options) : step.job.run(talk, options);
    // What broke the line shows again with the next byte, to those who can tell what it was.
    const auto rest = rest_of(talk);
    shell_.take(listener.text);
    shell_.take(rest);
    return result;
}

/** What is wrong with the log; empty where it tells of this job and nothing else. */
std::string operation_run::compare_log(const std::string &log,
                                       const std::vector<std::string> &expected,
                                       std::size_t columns)
{
    std::vector<std::vector<std::string>> seen;
    while (seen.size() < most_readings_of_log) {
        const auto printed = shell_.command("cat " + log);
        if (!printed) {
            return "the switch does not show the log of the operation";
        }
        auto told = told_by(*printed, columns);
        const bool again = std::find(seen.begin(), seen.end(), told) != seen.end();
        if (again) {
            if (shell_.start("rm -f " + log)) {
                shell_.back_at_prompt(operation_ends_within);
            }
            return told == expected ? ""
                                    : "the switch has received something else than was sent, as "
                                      "its log tells";
        }
        seen.push_back(std::move(told));
    }
    return "the log of the operation cannot be read: of " + std::to_string(seen.size()) +
           " readings no two agree";
}

} // namespace station
