#include "station/app/provision.h"

#include <cctype>
#include <random>

#include "station/base/bytes.h"
#include "station/base/report.h"
#include "station/console/console_text.h"

namespace station {

namespace {

std::string sentence(std::string text)
{
    if (!text.empty()) {
        text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    }
    return text + ".";
}

std::string shown(const std::optional<std::string> &value)
{
    return value ? printable(*value) : "-";
}

std::string json_of(const std::optional<std::string> &value)
{
    return value ? json_text(printable(*value)) : "null";
}

std::string_view word_for(const run_result &result, const record_read &record)
{
    if (record.checked) {
        return "as wanted";
    }
    const bool looked = record.after || (record.before && result.end != run_end::stored);
    return looked ? "differs" : "not seen";
}

table steps_of(const run_result &result)
{
    table steps{{"step", "result", "seconds", "reason"}, {}};
    for (const auto &step : result.steps) {
        char seconds[32] = "";
        std::snprintf(seconds, sizeof(seconds), "%.1f", step.seconds);
        steps.rows.push_back(
            {step.operation, std::string(name_of(step.end)), seconds, step.reason});
    }
    return steps;
}

table records_of(const run_result &result)
{
    table records{{"record", "wanted", "before", "read back", "result"}, {}};
    for (const auto &record : result.records) {
        records.rows.push_back({printable(record.name), printable(record.wanted),
                                shown(record.before), shown(record.after),
                                std::string(word_for(result, record))});
    }
    return records;
}

/** Texts, one behind the other, as a JSON list. */
std::string json_list(const std::vector<std::string> &elements)
{
    std::string out;
    for (const auto &each : elements) {
        out += (out.empty() ? "\n    " : ",\n    ") + each;
    }
    return "[" + out + (out.empty() ? "]" : "\n  ]");
}

std::string json_step(const step_record &step)
{
    char seconds[32] = "";
    std::snprintf(seconds, sizeof(seconds), "%.3f", step.seconds);
    return R"({"operation": )" + json_text(step.operation) + R"(, "job": )" +
           json_text(printable(step.job)) + R"(, "optional": )" +
           (step.optional ? "true" : "false") + R"(, "result": )" + json_text(name_of(step.end)) +
           R"(, "reason": )" + json_text(step.reason) + R"(, "starts": )" +
           std::to_string(step.starts) + R"(, "seconds": )" + seconds + R"(, "ending": )" +
           json_text(name_of(step.last.end)) +
           ",\n     \"replies\": " + json_replies(step.last.replies) +
           ",\n     \"items\": " + json_items(step.items) + "}";
}

std::string json_record(const record_read &record)
{
    return R"({"record": )" + json_text(printable(record.name)) + R"(, "wanted": )" +
           json_text(printable(record.wanted)) + R"(, "before": )" + json_of(record.before) +
           R"(, "after": )" + json_of(record.after) + R"(, "as_wanted": )" +
           (record.checked ? "true" : "false") + "}";
}

template <class range, class text_of>
std::vector<std::string> each_of(const range &elements, text_of text)
{
    std::vector<std::string> out;
    out.reserve(elements.size());
    for (const auto &each : elements) {
        out.push_back(text(each));
    }
    return out;
}

std::string json_transcript(const std::string &transcript)
{
    std::string text;
    const auto shown = readable(transcript);
    for (const auto line : lines_of(shown)) {
        text += printable(line) + "\n";
    }
    return json_text(text);
}

std::string ledger_sentence(const registered_end &of)
{
    if (!of.trouble.empty()) {
        return "The end is not in the ledger: " + of.trouble + ".\nWhat to do: scan label " +
               of.label + " again once the ledger can be used; it keeps its identity.\n";
    }
    return "Ledger: label " + of.label + " is " + of.state +
           (of.attempt == 0 ? "" : ", attempt " + std::to_string(of.attempt)) + ".\n";
}

std::string json_ledger(const registered_end &of)
{
    return R"({"label": )" + json_text(printable(of.label)) + R"(, "attempt": )" +
           (of.attempt == 0 ? "null" : std::to_string(of.attempt)) + R"(, "state": )" +
           json_text(of.state) + R"(, "trouble": )" + json_text(printable(of.trouble)) + "}";
}

} // namespace

int exit_status_of(run_end end, const std::optional<registered_end> &registered)
{
    if (registered && !registered->trouble.empty()) {
        return 8;
    }
    switch (end) {
    case run_end::verified:
        return 0;
    case run_end::failed:
        return 1;
    case run_end::stored:
        return 3;
    case run_end::other_identity:
        return 4;
    case run_end::not_reached:
        return 5;
    default:
        return 6;
    }
}

given_values given_by(const std::vector<std::string> &texts)
{
    given_values given;
    for (const auto &text : texts) {
        const auto end = text.find('=');
        if (end == std::string::npos || end == 0) {
            throw job_error("--value " + printable(text) +
                            ": expected name=value, as in --value serial=ABCDEFGHJ1234");
        }
        if (!given.emplace(text.substr(0, end), text.substr(end + 1)).second) {
            throw job_error("--value " + printable(text) + ": \"" + printable(text.substr(0, end)) +
                            "\" is given twice");
        }
    }
    return given;
}

std::string fresh_log_ending()
{
    bytes random;
    put_be32(random, std::random_device()());
    put_be32(random, std::random_device()());
    return to_hex(random, "") + "-";
}

void run_display::phase(std::string_view what)
{
    shown_.tell(sentence("the station " + std::string(what)));
}

void run_display::step_begins(std::size_t number, std::size_t of, const step_record &step)
{
    shown_.tell("Step " + std::to_string(number) + " of " + std::to_string(of) + ": " +
                step.operation);
}

void run_display::step_ended(const step_record &step)
{
    shown_.tell("  " + std::string(name_of(step.end)) +
                (step.reason.empty() ? "" : ": " + step.reason));
}

void print_run_text(std::FILE *out, const plan &what, const run_result &result,
                    const std::optional<registered_end> &registered)
{
    print_table(out, steps_of(result));
    for (const auto &step : result.steps) {
        if (!step.items.rows.empty() && step.end != step_end::not_run) {
            std::fputs("\n", out);
            print_table(out, step.items);
        }
    }
    std::fputs("\n", out);
    print_table(out, records_of(result));
    if (!result.held.empty()) {
        std::fprintf(out, "\nBefore, the switch held %s.\n", result.held.c_str());
    }
    const std::string end(name_of(result.end));
    std::fprintf(out, "%s: %s: %s.\n", printable(what.what.name).c_str(), end.c_str(),
                 result.reason.c_str());
    if (!result.advice.empty()) {
        std::fprintf(out, "What to do: %s.\n", result.advice.c_str());
    }
    if (!result.console.empty()) {
        std::fprintf(out, "Console: %s.\n", result.console.c_str());
    }
    if (registered) {
        std::fputs(ledger_sentence(*registered).c_str(), out);
    }
    std::fprintf(out, "%.1f s.\n", result.seconds);
}

void print_run_json(std::FILE *out, const plan &what, const run_result &result,
                    const std::optional<registered_end> &registered)
{
    const auto values = each_of(result.values, [](const auto &each) {
        return R"({"name": )" + json_text(each.first) + R"(, "value": )" +
               json_text(printable(each.second)) + "}";
    });
    const auto ledger =
        registered ? "  \"ledger\": " + json_ledger(*registered) + ",\n" : std::string();
    std::fprintf(out,
                 "{\n"
                 "  \"product\": %s,\n"
                 "  \"outcome\": %s,\n"
                 "  \"reason\": %s,\n"
                 "  \"advice\": %s,\n"
                 "  \"held\": %s,\n"
                 "  \"left\": %s,\n"
                 "  \"seconds\": %.3f,\n"
                 "%s"
                 "  \"values\": %s,\n"
                 "  \"steps\": %s,\n"
                 "  \"records\": %s,\n"
                 "  \"console\": %s\n"
                 "}\n",
                 json_text(printable(what.what.name)).c_str(),
                 json_text(name_of(result.end)).c_str(), json_text(result.reason).c_str(),
                 json_text(result.advice).c_str(), json_text(result.held).c_str(),
                 json_text(result.console).c_str(), result.seconds, ledger.c_str(),
                 json_list(values).c_str(), json_list(each_of(result.steps, json_step)).c_str(),
                 json_list(each_of(result.records, json_record)).c_str(),
                 json_transcript(result.transcript).c_str());
}

} // namespace station
