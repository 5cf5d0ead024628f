// Questions to the ledger: each piece of work for the desk is short.

#include <algorithm>

#include "floor/model/record_forms.h"
#include "floor/slots/floor_control.h"

namespace shopfloor {

namespace {

constexpr std::size_t most_rows = 1000;

refusal refusal_of(const ledger::error &why)
{
    if (why.kind() == ledger::trouble::refused) {
        return {"refused", why.what(), "ask for something else"};
    }
    return {"ledger_away", why.what(), "try again once the ledger is back"};
}

refusal nothing_found(const std::string &what)
{
    return {"not_found", what, "look whether it was typed or scanned right"};
}

desk::on_failure tell_failure(const reply &to)
{
    return [to](const ledger::error &why) { to({{}, refusal_of(why)}); };
}

ledger::list_filter filter_of(const list_request &wanted)
{
    return {.label = wanted.label,
            .product = wanted.product,
            .state = ledger_text(wanted.state),
            .outcome = ledger_text(wanted.outcome),
            .slot = wanted.slot,
            .operator_name = wanted.operator_badge,
            .since = wanted.since,
            .until = wanted.until};
}

/** A list that is read piece by piece, until there are as many rows as wanted. */
template <class kind>
struct list_so_far {
    using next_page = ledger::list_page<kind> (ledger::book::*)(std::int64_t, std::size_t,
                                                                const ledger::list_filter &);
    next_page next = nullptr;
    ledger::list_filter filter = {};
    std::size_t limit = 0;
    std::int64_t after = 0;
    json rows = json::array();

    /** True: there is another piece. */
    bool read(ledger::book &in, const reply &to)
    {
        const auto page = (in.*next)(after, limit - rows.size(), filter);
        for (const auto &each : page.rows) {
            rows.push_back(form_of(each));
        }
        after = page.reached;
        if (page.more && rows.size() < limit) {
            return true;
        }
        to({{{"rows", rows}, {"after", page.more ? json(after) : json(nullptr)}}, {}});
        return false;
    }
};

template <class kind>
void ask_for_list(desk &of, typename list_so_far<kind>::next_page next, const list_request &wanted,
                  const reply &to)
{
    auto list = std::make_shared<list_so_far<kind>>();
    list->next = next;
    list->filter = filter_of(wanted);
    list->limit = std::clamp<std::size_t>(wanted.limit, 1, most_rows);
    list->after = std::max<std::int64_t>(wanted.after, 0);
    of.ask([list, to](ledger::book &in) { return list->read(in, to); }, tell_failure(to));
}

answer unit_with_all(ledger::book &in, const std::string &text)
{
    const auto found = in.find(text);
    if (!found) {
        return {{}, nothing_found("no label, serial number or MAC address is that")};
    }
    auto attempts = json::array();
    for (const auto &each : in.attempts_after(0, most_rows, {.label = found->label}).rows) {
        attempts.push_back(form_of(each));
    }
    auto history = json::array();
    for (const auto &each : in.history(found->label)) {
        history.push_back(form_of(each));
    }
    return {{{"unit", form_of(*found)}, {"attempts", attempts}, {"history", history}}, {}};
}

} // namespace

void floor_control::find_unit(const std::string &text, reply to)
{
    desk_->ask(
        [text, to](ledger::book &in) {
            to(unit_with_all(in, text));
            return false;
        },
        tell_failure(to));
}

void floor_control::find_attempt(std::int64_t id, reply to)
{
    desk_->ask(
        [id, to](ledger::book &in) {
            const auto found = in.find_attempt(id);
            to(found ? answer{form_with_evidence(*found), {}}
                     : answer{{}, nothing_found("there is no attempt " + std::to_string(id))});
            return false;
        },
        tell_failure(to));
}

void floor_control::pools(reply to)
{
    desk_->ask(
        [to](ledger::book &in) {
            auto pools = json::array();
            for (const auto &each : in.pools()) {
                pools.push_back(form_of(each));
            }
            to({{{"pools", pools}}, {}});
            return false;
        },
        tell_failure(to));
}

void floor_control::units(const list_request &wanted, reply to)
{
    ask_for_list<ledger::unit>(*desk_, &ledger::book::units_after, wanted, to);
}

void floor_control::attempts(const list_request &wanted, reply to)
{
    ask_for_list<ledger::listed_attempt>(*desk_, &ledger::book::attempts_after, wanted, to);
}

} // namespace shopfloor
