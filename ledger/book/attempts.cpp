#include <nlohmann/json.hpp>

#include "ledger/book/book.h"
#include "ledger/book/rows.h"
#include "ledger/model/texts.h"

namespace ledger {

namespace {

void check_start(const attempt_start &start)
{
    check_remark("station", start.station);
    for (const auto &[what, text] : {std::pair{"slot", &start.slot},
                                     {"operator", &start.operator_name},
                                     {"product file", &start.product_file},
                                     {"hash of the product file", &start.product_sha256},
                                     {"program's version", &start.program_version}}) {
        if (!text->empty()) {
            check_remark(what, *text);
        }
    }
}

/** The name in "setmac-floor 0.1.0"; empty where the version stands alone. */
std::string program_of(const attempt_start &start)
{
    const auto blank = start.program_version.find(' ');
    return blank == std::string::npos ? "" : start.program_version.substr(0, blank);
}

/** Programs name their places each in its own way: the same name may be another place. */
bool is_same_place(const attempt_start &one, const attempt_start &other)
{
    return one.station == other.station && one.slot == other.slot &&
           program_of(one) == program_of(other);
}

bool is_open(const attempt &one)
{
    return !one.ended_at;
}

std::string named(const attempt &one, const unit &of)
{
    return "attempt " + std::to_string(one.number) + " of label " + of.label;
}

void keep(std::string &kept, const std::string &given)
{
    if (!given.empty()) {
        kept = kept_text(given);
    }
}

} // namespace

unit book::unit_labelled(const std::string &label)
{
    const auto found = named_by("unit_by_label", label);
    if (!found) {
        refuse("there is no label " + shown(label));
    }
    return unit_of_row(*found);
}

attempt book::attempt_with(std::int64_t id)
{
    const auto found = database_->first("attempt_by_id", {id});
    if (!found) {
        refuse("there is no attempt " + std::to_string(id));
    }
    return attempt_of_row(*found);
}

/** Enters the change of a unit, and what changed with it. */
void book::enter_change(unit &changed, const std::string &kind, const json &with)
{
    changed.changed_at = now();
    changed.entry = next_entry();
    json content{{"unit", journal_form(changed)}};
    content.update(with);
    add_entry("unit", changed.label, kind, content);
    database_->run("unit_change",
                   {changed.id, std::string(state_text(changed.state)), changed.changed_at,
                    or_null(changed.void_reason), or_null(changed.void_by), changed.entry});
}

/** Enters the change of a unit, and of one of its attempts with it. */
void book::change_unit(unit &changed, const std::string &kind, attempt *with)
{
    auto form = json::object();
    if (with != nullptr) {
        with->entry = next_entry();
        form["attempt"] = journal_form(*with);
    }
    enter_change(changed, kind, form);
    if (with == nullptr || with->id == with->entry) {
        return;
    }
    const auto columns = row_of(*with);
    database_->run("attempt_change", {with->id, columns[10], columns[11], columns[12], columns[13],
                                      columns[14], columns[15], columns[16], with->entry});
}

void book::end_open_attempts(unit &of, const std::string &reason)
{
    for (auto &each : attempts_in(of)) {
        if (is_open(each)) {
            each.ended_at = now();
            each.outcome = attempt_outcome::in_doubt;
            each.reason = reason;
            of.state = unit_state::in_doubt;
            change_unit(of, "end attempt", &each);
        }
    }
}

std::int64_t book::begin_attempt(const std::string &label, const attempt_start &start)
{
    check_start(start);
    std::int64_t id = 0;
    write([&] {
        auto of = unit_labelled(label);
        if (of.state == unit_state::voided) {
            refuse("label " + label + " is void: " + of.void_reason.value_or(""));
        }
        if (of.state == unit_state::verified && !start.again) {
            refuse("label " + label + " is verified already");
        }
        const auto before = attempts_in(of);
        for (const auto &each : before) {
            if (is_open(each) && !is_same_place(each.start, start) && !start.take_over) {
                refuse("label " + label + " is being written by station " + each.start.station +
                       ", slot " + each.start.slot + ", since " + each.started_at);
            }
        }
        end_open_attempts(of, "its end was not told before the next attempt");
        attempt begun;
        begun.id = id = next_entry();
        begun.unit = of.id;
        begun.number = static_cast<std::int64_t>(before.size()) + 1;
        begun.start = start;
        begun.started_at = now();
        of.state = unit_state::writing;
        change_unit(of, "begin attempt", &begun);
        database_->run("attempt_add", row_of(begun));
    });
    return id;
}

void book::record_stored(std::int64_t id, const std::string &sent)
{
    write([&] {
        auto one = attempt_with(id);
        auto of = unit_of_row(*database_->first("unit_by_id", {one.unit}));
        if (!is_open(one)) {
            refuse(named(one, of) + " has ended: " + one.reason);
        }
        if (one.stored_at) {
            confirms_ = true;
            return; // told twice
        }
        one.stored_at = now();
        keep(one.evidence.sent, sent);
        of.state = unit_state::stored;
        change_unit(of, "stored", &one);
    });
}

void book::end_attempt(std::int64_t id, attempt_outcome outcome, const std::string &reason,
                       const attempt_evidence &evidence)
{
    write([&] {
        auto one = attempt_with(id);
        auto of = unit_of_row(*database_->first("unit_by_id", {one.unit}));
        const auto kept_reason = kept_text(reason);
        if (!is_open(one)) {
            if (one.outcome == outcome && one.reason == kept_reason) {
                confirms_ = true; // told twice
                return;
            }
            refuse(named(one, of) + " has ended: " +
                   std::string(state_text(state_after(*one.outcome))) + " (" + one.reason + ")");
        }
        one.ended_at = now();
        one.outcome = outcome;
        one.reason = kept_reason;
        keep(one.evidence.sent, evidence.sent);
        keep(one.evidence.read_back, evidence.read_back);
        keep(one.evidence.transcript, evidence.transcript);
        of.state = state_after(outcome);
        change_unit(of, "end attempt", &one);
    });
}

unit book::void_unit(const std::string &label, const std::string &reason, const std::string &by)
{
    check_remark("reason", reason);
    check_remark("name", by);
    unit of;
    write([&] {
        of = unit_labelled(label);
        if (of.state == unit_state::voided) {
            refuse("label " + label + " is void already: " + of.void_reason.value_or("") + " (" +
                   of.void_by.value_or("") + ")");
        }
        end_open_attempts(of, "its identity was made void");
        end_waiting_prints(of, "its identity was made void");
        of.state = unit_state::voided;
        of.void_reason = reason;
        of.void_by = by;
        change_unit(of, "void", nullptr);
    });
    return of;
}

} // namespace ledger
