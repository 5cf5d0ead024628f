#include <algorithm>
#include <filesystem>
#include <set>

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

/** What a reconciliation burns: who answers for it, and what there is to tell. */
struct burned {
    std::string reason;
    std::string by;
    std::vector<std::string> told = {};
    std::vector<std::string> twice = {}; // numbers that two labels have
};

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
        witness::create(path, {start_.ledger, 0, no_entry_hash});
        witness next(path);
        check_against(next.last());
        fill(next);
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

/** Writes down what a witness lacks of the journal, which is committed. */
void book::fill(witness &held)
{
    database_->each("journal_after", {held.last().number},
                    [&](const row &one) { held.append(entry_of_row(one)); });
    held.sync();
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

/** A pool that the ledger has not: it is added again, closed, where nothing has taken its place. */
void book::add_burned_pool(const journal_entry &lost, burned &all)
{
    auto made = pool_of(json::parse(lost.content).at("pool"));
    if (made.of_macs) {
        if (const auto other = database_->first("pool_overlapping", {made.first, made.last})) {
            all.told.push_back("pool " + made.name + ": its addresses are those of the pool " +
                               other->text(0) + " now");
            return;
        }
    }
    made.open = false;
    made.entry = next_entry();
    add_entry("pool", made.name, "burn", {{"pool", journal_form(made)}});
    database_->run("pool_add", row_of(made));
    all.told.push_back("pool " + made.name + ": added again, and closed");
}

/** A product that the ledger has not. What it takes its numbers from is there, or is refused. */
void book::add_lost_product(const journal_entry &lost, burned &all)
{
    if (database_->first("product_by_name", {lost.subject})) {
        return;
    }
    auto made = product_of(json::parse(lost.content).at("product"));
    enter_product(made);
    all.told.push_back("product " + made.name + ": added again");
}

/** A pool gives out nothing below that number any more. */
void book::burn_numbers(const std::string &of_pool, std::int64_t next)
{
    const auto found = database_->first("pool_by_name", {of_pool});
    if (!found || pool_of_row(*found).next >= next) {
        return;
    }
    auto one = pool_of_row(*found);
    one.next = next;
    one.entry = next_entry();
    add_entry("pool", one.name, "burn", {{"pool", journal_form(one)}});
    database_->run("pool_advance", {one.name, one.next, std::int64_t{0}, one.entry});
}

void book::burn_pool(const journal_entry &lost, burned &all)
{
    const auto content = json::parse(lost.content);
    if (lost.topic == "pool") {
        if (!database_->first("pool_by_name", {lost.subject})) {
            add_burned_pool(lost, all);
        }
        burn_numbers(lost.subject, content.at("pool").at("next").get<std::int64_t>());
        const auto found = database_->first("pool_by_name", {lost.subject});
        if (found && lost.kind == "close" && pool_of_row(*found).open) {
            auto closed = pool_of_row(*found);
            closed.open = false;
            closed.entry = next_entry();
            add_entry("pool", closed.name, "close", {{"pool", journal_form(closed)}});
            database_->run("pool_close", {closed.name, closed.entry});
        }
    }
    if (content.contains("pools")) {
        for (const auto &each : content.at("pools")) {
            burn_numbers(each.at("name").get<std::string>(), each.at("next").get<std::int64_t>());
        }
    }
}

/** A label that has the same numbers here as well is one label, and not two. */
void book::drop_numbers_of_its_own(unit &burning)
{
    const auto found = database_->first("unit_by_label", {burning.label});
    if (!found) {
        return;
    }
    const auto is = unit_of_row(*found);
    if (is.serial == burning.serial) {
        burning.serial.reset();
    }
    if (is.mac == burning.mac && is.mac_count == burning.mac_count) {
        burning.mac.reset();
        burning.mac_count = 0;
    }
}

/** Numbers that another unit has by now stay that one's; the others are burned all the same. */
void book::drop_numbers_of_others(unit &burning, const journal_entry &lost, burned &all)
{
    const auto twice = [&](const std::string &what) {
        all.twice.push_back("entry " + std::to_string(lost.number) + ", label " + burning.label +
                            ": GIVEN OUT TWICE: " + what);
    };
    auto one = burning;
    one.mac.reset();
    try {
        check_free(one);
    } catch (const error &taken) {
        twice(taken.what());
        burning.serial.reset();
    }
    one = burning;
    one.serial.reset();
    try {
        check_free(one);
    } catch (const error &taken) {
        twice(taken.what());
        burning.mac.reset();
        burning.mac_count = 0;
    }
}

void book::burn_unit(const journal_entry &lost, burned &all)
{
    auto burning = unit_of(json::parse(lost.content).at("unit"));
    drop_numbers_of_its_own(burning);
    drop_numbers_of_others(burning, lost, all);
    if (!burning.serial && !burning.mac) {
        return;
    }
    if (database_->first("unit_by_label", {burning.label})) {
        burning.label =
            burning.label.substr(0, 40) + " (entry " + std::to_string(lost.number) + ")";
    }
    burning.mac_pool.reset(); // the pool counts what it knows
    burning.serial_pool.reset();
    burning.state = unit_state::voided;
    burning.void_reason = all.reason;
    burning.void_by = all.by;
    burning.reserved_at = burning.changed_at = now();
    insert_unit(burning, "burn", {});
    all.told.push_back("label " + burning.label + ": serial number " +
                       burning.serial.value_or("(none)") + ", MAC address " +
                       (burning.mac ? mac_text(*burning.mac) : "(none)"));
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
        end_waiting_prints(of, "its identity was made void");
        const auto form = json::parse(lost.content).at("unit");
        of.state = unit_state::voided;
        of.void_reason = form.at("void_reason").get<std::string>();
        of.void_by = form.value("void_by", by);
    }
    change_unit(of, "reconcile", nullptr);
}

/**
 * The last entry of the witness that was reconciled already, as were those before it: from another
 * station's witness, or from this one, which only was not exchanged. 0: none.
 */
std::int64_t book::last_reconciled(const witness &held)
{
    std::set<std::string> done;
    database_->each("journal_about", {"ledger", start_.ledger}, [&](const row &one) {
        const auto entry = entry_of_row(one);
        if (entry.kind == "reconcile") {
            const auto content = json::parse(entry.content);
            done.insert(content.at("hash").get<std::string>());
            const auto all = content.value("hashes", std::vector<std::string>());
            done.insert(all.begin(), all.end());
        }
    });
    std::int64_t last = 0;
    if (!done.empty()) {
        held.entries_after(0, [&](const journal_entry &seen) {
            last = done.count(seen.hash) > 0 ? seen.number : last;
        });
    }
    return last;
}

std::vector<std::string> book::reconcile(const std::string &reason, const std::string &by)
{
    check_remark("reason", reason);
    check_remark("name", by);
    burned all{reason, by};
    bool is_behind = false;
    const auto burn = [&] {
        all = {reason, by};
        const auto path = witness_path(start_);
        if (path.empty()) {
            refuse("the ledger has no witness: nothing tells what it lacks");
        }
        const witness held(path);
        if (held.last().ledger != start_.ledger) {
            refuse("the witness " + path + " is one of another ledger");
        }
        if (held.first().number > start_.number) {
            refuse("the ledger ends with entry " + std::to_string(start_.number) +
                   ", and the witness " + path + " begins behind entry " +
                   std::to_string(held.first().number) +
                   ": nothing tells what was given out in between");
        }
        const auto missing = first_missing(held);
        is_behind = missing != 0;
        const auto first = is_behind ? std::max(missing, last_reconciled(held) + 1) : 0;
        if (!is_behind || first > held.last().number) {
            return;
        }
        auto hashes = json::array();
        held.entries_after(first - 1, [&](const journal_entry &lost) {
            hashes.push_back(lost.hash);
            burn_pool(lost, all);
            if (lost.topic == "product") {
                add_lost_product(lost, all);
            }
            if (made_a_unit(lost)) {
                burn_unit(lost, all);
            }
            follow_lost(lost, by);
        });
        add_entry("ledger", start_.ledger, "reconcile",
                  {{"first", first},
                   {"last", held.last().number},
                   {"hash", held.last().hash},
                   {"hashes", hashes},
                   {"reason", reason},
                   {"by", by},
                   {"twice", all.twice}});
    };
    write(burn, gate::none);
    auto told = std::move(all.twice);
    told.insert(told.end(), all.told.begin(), all.told.end());
    if (is_behind) {
        witness held(witness_path(start_));
        std::string aside;
        read([&] {
            aside = held.start_anew({start_.ledger, 0, no_entry_hash},
                                    [&](witness &fresh) { fill(fresh); });
        });
        told.push_back("the witness of the missing entries is kept as " + aside);
    }
    write([] {});
    return told;
}

} // namespace ledger
