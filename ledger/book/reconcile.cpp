#include <filesystem>

#include <nlohmann/json.hpp>

#include "ledger/book/book.h"
#include "ledger/book/rows.h"
#include "ledger/model/texts.h"
#include "ledger/witness/witness.h"

namespace ledger {

namespace {

bool made_a_unit(const journal_entry &entry)
{
    return entry.topic == "unit" &&
           (entry.kind == "reserve" || entry.kind == "import" || entry.kind == "burn");
}

} // namespace

void book::set_witness(const std::string &given, bool lost, const std::string &reason,
                       const std::string &by)
{
    check_remark("path of the witness", given);
    const auto path = std::filesystem::absolute(given).lexically_normal().string();
    if (lost) {
        check_remark("reason", reason);
        check_remark("name", by);
    }
    const auto enter = [&] {
        if (!lost && !start_.witness.empty()) {
            const witness present(witness_path(start_));
            check_against(present.last());
        }
        witness::create(path, {start_.ledger, start_.number, start_.hash});
        const witness next(path);
        check_against(next.last());
        json content{{"path", path}};
        if (lost) {
            content["lost"] = {{"reason", reason}, {"by", by}};
        }
        add_entry("ledger", start_.ledger, "witness", content);
        database_->run("ledger_set_witness", {path});
    };
    write(enter, gate::none);
    place_.witness.clear();
    write([] {});
}

/** The first entry of the witness that the ledger lacks, or has as another one. */
std::int64_t book::first_missing(const witness &held)
{
    std::int64_t missing = 0;
    held.entries_after(0, [&](const journal_entry &seen) {
        if (missing != 0) {
            return;
        }
        const auto same = database_->first("journal_entry", {seen.number});
        if (!same || entry_of_row(*same).hash != seen.hash) {
            missing = seen.number;
        }
    });
    return missing;
}

witness_state book::look_at_witness()
{
    witness_state state;
    read([&] { state.path = witness_path(read_head("ledger_row")); });
    if (state.path.empty()) {
        return state;
    }
    // A writer has the witness when it commits, and waits for readers then: the witness comes
    // first.
    std::optional<witness> held;
    try {
        held.emplace(state.path);
    } catch (const error &wrong) {
        state.trouble = wrong.what();
        return state;
    }
    read([&] {
        start_ = head_ = read_head("ledger_row");
        state.entries = head_.number;
        state.witnessed = held->last().number;
        try {
            check_against(held->last());
        } catch (const error &wrong) {
            state.trouble = wrong.what();
            const auto missing = first_missing(*held);
            held->entries_after(missing - 1,
                                [&](const journal_entry &one) { state.missing.push_back(one); });
        }
    });
    return state;
}

void book::burn_pool(const journal_entry &lost, std::vector<std::string> &told)
{
    const auto content = json::parse(lost.content);
    if (lost.topic == "pool" && !database_->first("pool_by_name", {lost.subject})) {
        auto made = pool_of(content.at("pool"));
        made.open = false;
        made.entry = next_entry();
        add_entry("pool", made.name, "burn", {{"pool", journal_form(made)}});
        database_->run("pool_add", row_of(made));
        told.push_back("pool " + made.name + ": added again, and closed");
    }
    if (lost.topic == "pool" && lost.kind == "close") {
        auto closed = pool_named(lost.subject);
        closed.open = false;
        closed.entry = next_entry();
        add_entry("pool", closed.name, "close", {{"pool", journal_form(closed)}});
        database_->run("pool_close", {closed.name, closed.entry});
    }
    if (!content.contains("pools")) {
        return;
    }
    for (const auto &each : content.at("pools")) {
        auto one = pool_named(each.at("name").get<std::string>());
        const auto next = each.at("next").get<std::int64_t>();
        if (next > one.next) {
            one.next = next;
            one.entry = next_entry();
            add_entry("pool", one.name, "burn", {{"pool", journal_form(one)}});
            database_->run("pool_advance", {one.name, one.next, std::int64_t{0}, one.entry});
        }
    }
}

void book::burn_unit(const journal_entry &lost, const std::string &reason, const std::string &by,
                     std::vector<std::string> &told)
{
    auto burned = unit_of(json::parse(lost.content).at("unit"));
    if (database_->first("unit_by_label", {burned.label})) {
        burned.label = burned.label.substr(0, 40) + " (entry " + std::to_string(lost.number) + ")";
    }
    if (!database_->first("product_by_name", {burned.product})) {
        product gone{.name = burned.product, .serial = {true, ""}};
        gone.entry = next_entry();
        add_entry("product", gone.name, "add", {{"product", journal_form(gone)}});
        database_->run("product_add", row_of(gone));
    }
    try {
        check_free(burned);
    } catch (const error &twice) {
        told.push_back("entry " + std::to_string(lost.number) + ", label " + burned.label +
                       ": GIVEN OUT TWICE: " + twice.what());
        return;
    }
    burned.mac_pool.reset(); // the pool counts what it knows
    burned.serial_pool.reset();
    burned.state = unit_state::voided;
    burned.void_reason = reason;
    burned.void_by = by;
    burned.reserved_at = burned.changed_at = now();
    insert_unit(burned, "burn", {});
    told.push_back("label " + burned.label + ": serial number " + burned.serial.value_or("(none)") +
                   ", MAC address " + (burned.mac ? mac_text(*burned.mac) : "(none)"));
}

/** What else the lost entries did to units that are there. */
void book::follow_lost(const journal_entry &lost, const std::string &by)
{
    const auto found = database_->first("unit_by_label", {lost.subject});
    const bool is_about_print = lost.kind == "ask print" || lost.kind == "end print";
    if (lost.topic != "unit" || made_a_unit(lost) || is_about_print || !found) {
        return;
    }
    auto of = unit_of_row(*found);
    if (of.state == unit_state::voided) {
        return;
    }
    end_open_attempts(of, "the ledger was restored from a copy");
    of.state = unit_state::in_doubt;
    if (lost.kind == "void") {
        const auto form = json::parse(lost.content).at("unit");
        of.state = unit_state::voided;
        of.void_reason = form.at("void_reason").get<std::string>();
        of.void_by = form.value("void_by", by);
    }
    change_unit(of, "reconcile", nullptr);
}

/** Whether the entries up to that one are reconciled, and only the witness was not exchanged. */
bool book::is_reconciled(const std::string &hash)
{
    bool done = false;
    database_->each("journal_about", {"ledger", start_.ledger}, [&](const row &one) {
        const auto entry = entry_of_row(one);
        done = done || (entry.kind == "reconcile" && json::parse(entry.content).at("hash") == hash);
    });
    return done;
}

std::vector<std::string> book::reconcile(const std::string &reason, const std::string &by)
{
    check_remark("reason", reason);
    check_remark("name", by);
    std::vector<std::string> told;
    bool burned = false;
    const auto burn = [&] {
        told.clear();
        const auto path = witness_path(start_);
        if (path.empty()) {
            refuse("the ledger has no witness: nothing tells what it lacks");
        }
        const witness held(path);
        if (held.last().ledger != start_.ledger) {
            refuse("the witness " + path + " is one of another ledger");
        }
        const auto missing = first_missing(held);
        burned = missing != 0;
        if (!burned || is_reconciled(held.last().hash)) {
            return;
        }
        held.entries_after(missing - 1, [&](const journal_entry &lost) {
            burn_pool(lost, told);
            if (made_a_unit(lost)) {
                burn_unit(lost, reason, by, told);
            }
            follow_lost(lost, by);
        });
        add_entry("ledger", start_.ledger, "reconcile",
                  {{"first", missing},
                   {"last", held.last().number},
                   {"hash", held.last().hash},
                   {"reason", reason},
                   {"by", by}});
    };
    write(burn, gate::none);
    if (burned) {
        witness held(witness_path(start_));
        const auto aside = held.start_anew({start_.ledger, start_.number, start_.hash});
        told.push_back("the witness of the missing entries is kept as " + aside);
    }
    write([] {});
    return told;
}

} // namespace ledger
