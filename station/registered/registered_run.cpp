#include "station/registered/registered_run.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "ledger/model/journal_entry.h"
#include "station/base/bytes.h"

namespace station {

namespace {

using ledger::json;

std::string sha256_of_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    if (!in) {
        throw job_error(path + ": " + std::strerror(errno));
    }
    return ledger::sha256_of(content.str());
}

const value_form *form_named(const product &what, std::string_view name)
{
    const auto found = std::ranges::find(what.values, name, &value_form::name);
    return found == what.values.end() ? nullptr : &*found;
}

[[noreturn]] void wrong_product(const product &what, int line, const std::string &why)
{
    throw job_error(what.file + ":" + std::to_string(line) + ": " + why);
}

/** Refuses a product file that has no place for a number of the ledger, or one too many. */
void check_value_of(const product &what, const char *name, value_kind kind, bool is_given_out)
{
    const auto *form = form_named(what, name);
    const std::string value = std::string("value \"") + name + "\"";
    if (is_given_out && (form == nullptr || form->kind != kind)) {
        wrong_product(what, form == nullptr ? 1 : form->line,
                      "the ledger gives units of " + what.name + " a " + name +
                          ": expected a [[value]] of that name, of kind " +
                          (kind == value_kind::mac ? "mac" : "text"));
    }
    if (!is_given_out && form != nullptr) {
        wrong_product(what, form->line,
                      value + " comes from the ledger, where units of " + what.name + " have none");
    }
}

void check_mac_count(const product &what, std::int64_t given_out)
{
    const auto *form = form_named(what, mac_value);
    if (form != nullptr && form->count > given_out) {
        wrong_product(what, form->line,
                      "a unit has " + std::to_string(form->count) +
                          " MAC addresses here, and the ledger gives it " +
                          std::to_string(given_out) + ": the others belong to the next unit");
    }
}

/** Before anything is given out: what a product file cannot use would be lost. */
void check_product(ledger::book &in, const product &what)
{
    const auto all = in.products();
    const auto found = std::ranges::find(all, what.name, &ledger::product::name);
    if (found == all.end()) {
        wrong_product(what, 1,
                      "the ledger has no product \"" + printable(what.name) +
                          "\": expected a name that setmac-ledger product list shows");
    }
    check_value_of(what, serial_value, value_kind::text, !found->serial.none());
    check_value_of(what, mac_value, value_kind::mac, !found->mac.none());
    check_mac_count(what, found->mac_count);
}

void check_given(const given_values &given)
{
    for (const auto *name : {serial_value, mac_value}) {
        if (given.contains(name)) {
            throw job_error(
                std::string("--value ") + name +
                "=...: comes from the ledger; where a label brings its own, expected --" + name);
        }
    }
}

registered_unit planned(ledger::reserved from, const product &what, given_values given,
                        const std::string &today)
{
    const auto &unit = from.identity;
    if (unit.serial) {
        given[serial_value] = *unit.serial;
    }
    if (unit.mac) {
        given[mac_value] = ledger::mac_text(*unit.mac);
        check_mac_count(what, unit.mac_count); // that of a label may be older than the product's
    }
    registered_unit made{
        std::move(from), make_plan(what, given, today), sha256_of_file(what.file), {}};
    for (const auto &step : what.steps) {
        made.job_sha256.push_back(sha256_of_file(step.job));
    }
    return made;
}

json text_or_null(const std::optional<std::string> &text)
{
    return text ? json(printable(*text)) : json(nullptr);
}

json items_of(const table &items)
{
    auto all = json::array();
    for (const auto &row : items.rows) {
        auto one = json::object();
        for (std::size_t at = 0; at < items.columns.size() && at < row.size(); ++at) {
            one[items.columns[at]] = printable(row[at]);
        }
        all.push_back(std::move(one));
    }
    return all;
}

json sent_form(const registered_unit &of, const run_result &result)
{
    auto values = json::object();
    for (const auto &[name, text] : of.what.values) {
        values[name] = printable(text);
    }
    auto records = json::object();
    for (const auto &each : result.records) {
        records[printable(each.name)] = printable(each.wanted);
    }
    auto steps = json::array();
    for (std::size_t at = 0; at < of.job_sha256.size(); ++at) {
        const auto &step = of.what.what.steps.at(at);
        steps.push_back({{"operation", step.operation},
                         {"job", printable(step.job)},
                         {"job_sha256", of.job_sha256[at]}});
    }
    return {{"values", values}, {"records", records}, {"steps", steps}};
}

json read_back_form(const run_result &result)
{
    auto records = json::array();
    for (const auto &each : result.records) {
        records.push_back({{"record", printable(each.name)},
                           {"before", text_or_null(each.before)},
                           {"after", text_or_null(each.after)},
                           {"as_wanted", each.checked}});
    }
    auto steps = json::array();
    for (const auto &each : result.steps) {
        steps.push_back({{"operation", each.operation},
                         {"result", name_of(each.end)},
                         {"reason", printable(each.reason)},
                         {"starts", each.starts},
                         {"items", items_of(each.items)}});
    }
    return {{"held", result.held}, {"records", records}, {"steps", steps}};
}

} // namespace

registered_unit reserve_unit(ledger::book &in, const product &what, ledger::reservation wanted,
                             const given_values &given, const std::string &today)
{
    check_given(given);
    check_product(in, what);
    wanted.product = what.name;
    return planned(in.reserve(wanted), what, given, today);
}

registered_unit find_unit(ledger::book &in, const product &what, const ledger::reservation &wanted,
                          const given_values &given, const std::string &today)
{
    check_given(given);
    const auto found = in.find(wanted.label, ledger::search::label);
    if (!found) {
        ledger::refuse("there is no label " + printable(wanted.label));
    }
    if (found->state == ledger::unit_state::voided) {
        ledger::refuse("label " + found->label + " is void: " + found->void_reason.value_or(""));
    }
    if (found->product != what.name) {
        ledger::refuse("label " + found->label + " is a " + found->product + ", not a " +
                       printable(what.name));
    }
    return planned({*found, false, {}}, what, given, today);
}

std::int64_t begin_run(ledger::book &in, const registered_unit &of, ledger::attempt_start where)
{
    where.product_file = of.what.what.file;
    where.product_sha256 = of.product_sha256;
    return in.begin_attempt(of.from.identity.label, where);
}

ledger::attempt_outcome outcome_of(const run_result &result)
{
    if (result.end == run_end::verified) {
        return ledger::attempt_outcome::verified;
    }
    if (result.end == run_end::stored) {
        return ledger::attempt_outcome::stored;
    }
    const bool was_read_back = std::ranges::any_of(
        result.records, [](const record_read &each) { return each.after.has_value(); });
    return result.may_have_stored && !was_read_back ? ledger::attempt_outcome::in_doubt
                                                    : ledger::attempt_outcome::failed;
}

ledger::attempt_evidence evidence_of(const registered_unit &of, const run_result &result)
{
    return {result.may_have_stored ? sent_form(of, result).dump() : std::string(),
            read_back_form(result).dump(), result.transcript};
}

void finish_run(ledger::book &in, std::int64_t attempt, const registered_unit &of,
                const run_result &result)
{
    in.end_attempt(attempt, outcome_of(result),
                   std::string(name_of(result.end)) + ": " + result.reason,
                   evidence_of(of, result));
}

} // namespace station
