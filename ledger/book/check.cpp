#include <algorithm>
#include <limits>
#include <map>

#include <nlohmann/json.hpp>

#include "ledger/book/book.h"
#include "ledger/book/rows.h"
#include "ledger/witness/witness.h"

namespace ledger {

namespace {

/** What the journal says that there is, counted while it is read. */
struct told_by_journal {
    std::string id = {};
    std::string witness = {};
    std::map<std::string, pool> pools = {};
    std::map<std::string, std::int64_t> entry_of_pool = {};
    std::map<std::string, json> products = {};
    std::int64_t units = 0;
    std::int64_t attempts = 0;
    std::int64_t ended = 0;
    std::int64_t prints = 0;
    std::int64_t prints_ended = 0;
};

void follow_pools(told_by_journal &told, const journal_entry &entry, const json &content)
{
    if (entry.topic == "pool") {
        told.pools[entry.subject] = pool_of(content.at("pool"));
        told.entry_of_pool[entry.subject] = entry.number;
    }
    if (!content.contains("pools")) {
        return;
    }
    for (const auto &each : content.at("pools")) {
        auto &one = told.pools[each.at("name").get<std::string>()];
        one.next = each.at("next").get<std::int64_t>();
        one.issued = each.at("issued").get<std::int64_t>();
        told.entry_of_pool[one.name] = entry.number;
    }
}

void follow_content(told_by_journal &told, const journal_entry &entry)
{
    const auto content = json::parse(entry.content);
    follow_pools(told, entry, content);
    if (entry.topic == "ledger" && entry.kind == "init") {
        told.id = entry.subject;
    }
    if (entry.topic == "ledger" && entry.kind == "witness") {
        told.witness = content.at("path").get<std::string>();
    }
    if (entry.topic == "product") {
        told.products[entry.subject] = content.at("product");
    }
    if (entry.topic == "unit") {
        const auto &kind = entry.kind;
        told.units += kind == "reserve" || kind == "import" || kind == "burn" ? 1 : 0;
        told.attempts += kind == "begin attempt" ? 1 : 0;
        told.ended += kind == "end attempt" ? 1 : 0;
        told.prints += kind == "ask print" ? 1 : 0;
        told.prints_ended += kind == "end print" ? 1 : 0;
    }
}

void follow(told_by_journal &told, const journal_entry &entry, finding &broken)
{
    try {
        follow_content(told, entry);
    } catch (const json::exception &) {
        broken = {entry.number, "its content is none of an entry"};
    }
}

/** The numbers and hashes of the journal, up to the first that does not fit. */
struct chain {
    std::int64_t number = 0;
    std::string hash = no_entry_hash;
    finding broken = {};

    void follow(const journal_entry &entry)
    {
        if (entry.number != number + 1) {
            broken = {number + 1, "it is missing"};
        } else if (entry.previous != hash || hash_of(entry) != entry.hash) {
            broken = {entry.number, "its hash is not that of its content and of the entry before"};
        }
        number = entry.number;
        hash = entry.hash;
    }
};

/** What a witness has seen last; the whole of it is read, and must be one chain. */
witnessed last_of_whole(const witness &held)
{
    chain seen{held.first().number, held.first().hash, {}};
    held.entries_after(0, [&](const journal_entry &entry) {
        if (seen.broken.what.empty()) {
            seen.follow(entry);
        }
    });
    if (!seen.broken.what.empty()) {
        refuse("the witness is damaged at entry " + std::to_string(seen.broken.entry) + ": " +
               seen.broken.what);
    }
    return held.last();
}

/** Whether the journal's entry holds the record as it is. */
bool is_recorded(const row &from, std::size_t content, const char *key, const json &form)
{
    if (from.is_null(content)) {
        return false;
    }
    const auto parsed = json::parse(from.text(content), nullptr, false);
    return parsed.is_object() && parsed.contains(key) && parsed.at(key) == form;
}

void compare(check_result &result, bool same, std::int64_t entry, const std::string &what)
{
    if (!same) {
        result.findings.push_back({entry, what});
    }
}

void compare_counts(check_result &result, database &in, const told_by_journal &told)
{
    result.units = in.first("count_units")->number(0);
    compare(result, told.units == result.units, 0,
            "the journal knows " + std::to_string(told.units) + " units, and there are " +
                std::to_string(result.units));
    const auto attempts = in.first("count_attempts");
    compare(result, told.attempts == attempts->number(0) && told.ended == attempts->number(1), 0,
            "the journal knows " + std::to_string(told.attempts) + " attempts, of which " +
                std::to_string(told.ended) + " ended; there are " + attempts->text(0) + " and " +
                attempts->text(1));
    const auto prints = in.first("count_prints");
    compare(result, told.prints == prints->number(0) && told.prints_ended == prints->number(1), 0,
            "the journal knows " + std::to_string(told.prints) + " prints, of which " +
                std::to_string(told.prints_ended) + " ended; there are " + prints->text(0) +
                " and " + prints->text(1));
}

void compare_pools(check_result &result, database &in, told_by_journal &told)
{
    in.each("pools", {}, [&](const row &one) {
        const auto is = pool_of_row(one);
        compare(result, journal_form(is) == journal_form(told.pools[is.name]),
                told.entry_of_pool[is.name], "the pool " + is.name + " is not as it was left");
        told.pools.erase(is.name);
    });
    for (const auto &[name, left] : told.pools) {
        result.findings.push_back({told.entry_of_pool[name], "the pool " + name + " is missing"});
    }
}

void compare_products(check_result &result, database &in, told_by_journal &told)
{
    in.each("products", {}, [&](const row &one) {
        const auto is = product_of_row(one);
        compare(result, told.products[is.name] == journal_form(is), is.entry,
                "the product " + is.name + " is not as it was left");
        told.products.erase(is.name);
    });
    for (const auto &[name, left] : told.products) {
        result.findings.push_back({0, "the product " + name + " is missing"});
    }
}

} // namespace

void book::check_journal(check_result &result)
{
    told_by_journal told;
    chain seen;
    database_->each("journal_after", {std::int64_t{0}}, [&](const row &one) {
        const auto entry = entry_of_row(one);
        if (seen.broken.what.empty()) {
            seen.follow(entry);
            follow(told, entry, seen.broken);
        }
    });
    if (!seen.broken.what.empty()) {
        result.findings.push_back(seen.broken);
        return; // what the tables hold cannot be held against this journal
    }
    result.entries = seen.number;
    compare(result, head_.number == seen.number && head_.hash == seen.hash, seen.number,
            "the journal ends with it, and the ledger's row says that entry " +
                std::to_string(head_.number) + " is the last");
    compare(result, head_.ledger == told.id, 1, "the ledger's id is not the one that it was given");
    compare(result, head_.witness == told.witness, 0,
            "the witness is \"" + head_.witness + "\" by the ledger's row, and \"" + told.witness +
                "\" by the journal");
    compare_counts(result, *database_, told);
    compare_pools(result, *database_, told);
    compare_products(result, *database_, told);
}

void book::check_rows(check_result &result)
{
    database_->each("check_units", {}, [&](const row &one) {
        const auto is = unit_of_row(one);
        compare(result, is_recorded(one, 14, "unit", journal_form(is)), is.entry,
                "the unit " + is.label + " is not as it was left");
        compare(result, one.number(15) == is.entry, one.number(15),
                "the unit " + is.label + " does not know of it");
        compare(result, one.number(16) == 1, is.id, "it did not make the unit " + is.label);
    });
    database_->each("check_attempts", {}, [&](const row &one) {
        const auto is = attempt_of_row(one);
        compare(result, is_recorded(one, 18, "attempt", journal_form(is)), is.entry,
                "attempt " + std::to_string(is.number) + " of unit " + std::to_string(is.unit) +
                    " is not as it was left");
        compare(result, one.number(19) == 1, is.id,
                "it did not begin attempt " + std::to_string(is.number) + " of unit " +
                    std::to_string(is.unit));
    });
    database_->each("check_prints", {}, [&](const row &one) {
        const auto is = print_of_row(one);
        compare(result, is_recorded(one, 12, "print", journal_form(is)), is.entry,
                "print " + std::to_string(is.number) + " of unit " + std::to_string(is.unit) +
                    " is not as it was left");
    });
    std::string before;
    mac_address last = -1;
    database_->each("check_addresses", {}, [&](const row &one) {
        compare(result, one.number(1) > last, one.number(3),
                "the addresses of " + one.text(0) + " overlap those of " + before);
        last = std::max(last, one.number(2));
        before = one.text(0);
    });
    for (const auto *statement : {"check_labels", "check_serials"}) {
        database_->each(statement, {}, [&](const row &one) {
            result.findings.push_back(
                {one.number(2), "\"" + one.text(0) + "\" is there " + one.text(1) + " times"});
        });
    }
}

void book::check_pools(check_result &result)
{
    std::vector<pool> all;
    database_->each("pools", {}, [&](const row &one) { all.push_back(pool_of_row(one)); });
    for (const auto &each : all) {
        const auto issues = database_->first("check_pool_issues", {each.name});
        compare(result, issues->number(0) == each.issued, each.entry,
                "the pool " + each.name + " has issued " + std::to_string(each.issued) +
                    " times by its own count, and " + issues->text(0) + " units have its numbers");
        compare(result, !each.of_macs || issues->is_null(1) || issues->number(1) < each.next,
                each.entry, "the pool " + each.name + " would issue addresses again");
    }
}

void book::check_witness(check_result &result, const witnessed &last)
{
    try {
        check_against(last);
    } catch (const error &wrong) {
        result.findings.push_back({0, wrong.what()});
    }
}

check_result book::check()
{
    check_result result;
    read([] {}); // over a connection that holds
    try {
        for (const auto &each : database_->damages()) {
            result.findings.push_back({0, "the database is damaged: " + each});
        }
        for (const auto &each : database_->schema_differences()) {
            result.findings.push_back({0, each});
        }
    } catch (const database_error &failed) {
        throw error(trouble::unusable, failed.what());
    }
    // A writer has the witness when it commits, and waits for readers then: the witness comes
    // first.
    std::string path;
    std::optional<witnessed> last;
    read([&] { path = witness_path(read_head("ledger_row")); });
    result.has_witness = !path.empty();
    if (result.has_witness) {
        try {
            last = last_of_whole(witness(path));
        } catch (const error &wrong) {
            result.findings.push_back({0, wrong.what()});
        }
    }
    const auto of_the_database = static_cast<std::ptrdiff_t>(result.findings.size());
    read([&] {
        start_ = head_ = read_head("ledger_row");
        check_journal(result);
        check_rows(result);
        check_pools(result);
        if (last) {
            check_witness(result, *last);
        }
    });
    const auto rank = [](const finding &each) {
        return each.entry == 0 ? std::numeric_limits<std::int64_t>::max() : each.entry;
    };
    std::stable_sort(
        result.findings.begin() + of_the_database, result.findings.end(),
        [&](const finding &one, const finding &other) { return rank(one) < rank(other); });
    return result;
}

} // namespace ledger
