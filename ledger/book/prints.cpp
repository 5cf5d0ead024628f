#include <limits>

#include <nlohmann/json.hpp>

#include "ledger/book/book.h"
#include "ledger/book/rows.h"
#include "ledger/model/texts.h"

namespace ledger {

label_print book::ask_print(const print_request &wanted, std::optional<std::int64_t> once_since)
{
    check_remark("station", wanted.station);
    if (!wanted.operator_name.empty()) {
        check_remark("operator", wanted.operator_name);
    }
    label_print asked;
    write([&] {
        auto of = unit_labelled(wanted.label);
        if (of.state == unit_state::voided) {
            refuse("label " + of.label + " is void: " + of.void_reason.value_or(""));
        }
        const auto known =
            once_since ? print_behind(*once_since, of, wanted.station) : std::nullopt;
        if (known) {
            asked = *known;
            confirms_ = true;
            return;
        }
        asked = {.id = next_entry(), .unit = of.id, .asked = wanted};
        asked.asked.content = kept_text(wanted.content);
        asked.number = database_->first("prints_of_unit", {of.id})->number(0) + 1;
        asked.asked_at = now();
        asked.entry = asked.id;
        enter_change(of, "ask print", {{"print", journal_form(asked)}});
        database_->run("print_add", row_of(asked));
    });
    return asked;
}

/** The first label of a unit that the station has asked for behind an entry. */
std::optional<label_print> book::print_behind(std::int64_t entry, const unit &of,
                                              const std::string &station)
{
    std::optional<label_print> first;
    const auto last = std::numeric_limits<std::int64_t>::max();
    database_->each("prints_page", {last, of.label, {}, {}, {}, last}, [&](const row &one) {
        auto each = print_of_row(one);
        if (each.id > entry && each.asked.station == station) {
            first = std::move(each);
        }
    });
    return first;
}

std::optional<label_print> book::next_print(const std::string &station)
{
    std::optional<label_print> next;
    read([&] {
        if (const auto found = database_->first("print_next", {station})) {
            next = print_of_row(*found);
        }
    });
    return next;
}

std::int64_t book::waiting_prints(const std::string &station)
{
    std::int64_t waiting = 0;
    read([&] { waiting = database_->first("prints_waiting", {station})->number(0); });
    return waiting;
}

void book::enter_end(unit &of, label_print &ended, print_state state, const std::string &reason)
{
    ended.state = state;
    ended.reason = kept_text(reason);
    ended.ended_at = now();
    ended.entry = next_entry();
    enter_change(of, "end print", {{"print", journal_form(ended)}});
    database_->run("print_end", {ended.id, or_null(ended.ended_at), std::string(state_text(state)),
                                 ended.reason, ended.entry});
}

void book::end_print(std::int64_t id, bool printed, const std::string &reason)
{
    const auto state = printed ? print_state::printed : print_state::failed;
    write([&] {
        const auto found = database_->first("print_by_id", {id});
        if (!found) {
            refuse("there is no print " + std::to_string(id));
        }
        auto one = print_of_row(*found);
        if (one.state == state) {
            confirms_ = true; // told twice
            return;
        }
        if (one.state != print_state::waiting) {
            refuse("print " + std::to_string(id) +
                   " has ended: " + std::string(state_text(one.state)));
        }
        auto of = unit_of_row(*database_->first("unit_by_id", {one.unit}));
        enter_end(of, one, state, reason);
    });
}

/** Before the unit is void: from then on nothing of it changes. */
void book::end_waiting_prints(unit &of, const std::string &reason)
{
    std::vector<label_print> waiting;
    const auto last = std::numeric_limits<std::int64_t>::max();
    database_->each("prints_page", {last, of.label, "waiting", {}, {}, last},
                    [&](const row &one) { waiting.push_back(print_of_row(one)); });
    for (auto &each : waiting) {
        enter_end(of, each, print_state::failed, reason);
    }
}

std::vector<label_print> book::prints(const print_filter &filter, std::int64_t below,
                                      std::size_t limit)
{
    std::vector<label_print> page;
    const auto from = below > 0 ? below : std::numeric_limits<std::int64_t>::max();
    read([&] {
        database_->each("prints_page",
                        {from, null_if_empty(filter.label), null_if_empty(filter.state),
                         null_if_empty(filter.since), null_if_empty(filter.until),
                         static_cast<std::int64_t>(limit)},
                        [&](const row &one) { page.push_back(print_of_row(one)); });
    });
    return page;
}

} // namespace ledger
