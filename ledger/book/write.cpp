// What every change of the ledger goes through: one transaction, its entries in the journal, the
// witness, and what becomes of it when the database is lost on the way.

#include <chrono>
#include <thread>
#include <utility>

#include <nlohmann/json.hpp>

#include "ledger/book/book.h"
#include "ledger/book/rows.h"
#include "ledger/witness/witness.h"

namespace ledger {

namespace {

constexpr int most_tries = 5;
constexpr std::chrono::milliseconds pause_between_tries{100};

[[noreturn]] void throw_unusable(const database_error &why)
{
    throw error(why.how() == failure::constraint ? trouble::refused : trouble::unusable,
                why.what());
}

std::string numbers(std::int64_t first, std::int64_t last)
{
    return first == last ? "entry " + std::to_string(first) + " is missing"
                         : "entries " + std::to_string(first) + " to " + std::to_string(last) +
                               " are missing";
}

} // namespace

book::head book::read_head(std::string_view statement)
{
    const auto found = database_->first(statement);
    if (!found) {
        throw error(trouble::unusable, "the ledger's own row is missing: it is damaged");
    }
    return {found->text(0), found->number(2), found->text(3), found->text(4)};
}

std::string book::witness_path(const head &of) const
{
    return of.witness.empty() || place_.witness.empty() ? of.witness : place_.witness;
}

void book::write(const std::function<void()> &work, gate by)
{
    for (int tries = 1;; ++tries) {
        committing_ = false;
        try {
            if (try_write(work, by)) {
                return;
            }
            if (tries == most_tries) {
                throw error(trouble::unusable, "the connection to the database is lost each time: "
                                               "nothing was changed");
            }
        } catch (const database_error &failed) {
            database_->rollback();
            const bool worth_it = failed.how() == failure::again || failed.how() == failure::lost;
            if (!worth_it || tries == most_tries) {
                throw_unusable(failed);
            }
        } catch (...) {
            database_->rollback();
            throw;
        }
        std::this_thread::sleep_for(pause_between_tries * tries);
    }
}

/** False: nothing is changed, and the same may work now. */
bool book::try_write(const std::function<void()> &work, gate by)
{
    try {
        database_->begin_write();
        start_ = read_head("ledger_lock");
        head_ = start_;
        added_.clear();
        confirms_ = false;
        work();
        finish(by);
        return true;
    } catch (const database_error &failed) {
        if (failed.how() == failure::again || failed.how() == failure::constraint) {
            throw;
        }
        if (committing_) {
            if (!was_committed(failed, by)) {
                throw error(trouble::unusable,
                            std::string("nothing was changed: ") + failed.what());
            }
            return true;
        }
        if (failed.how() != failure::lost) {
            throw;
        }
    }
    database_->reconnect();
    return false;
}

/**
 * A commit that failed may have been carried out. The lock on the ledger's row is had only once
 * that transaction is over; the entry that it made, or another one in its place, then tells.
 */
bool book::was_committed(const database_error &doubt, gate by)
{
    const auto made = head_;
    const bool nothing_made = head_.number == start_.number;
    committing_ = false;
    try {
        database_->rollback();
        database_->reconnect();
        database_->begin_write();
        start_ = head_ = read_head("ledger_lock");
        added_.clear();
        const auto found = database_->first("journal_entry", {made.number});
        const bool is_there = found && entry_of_row(*found).hash == made.hash;
        if (is_there || nothing_made) {
            confirms_ = true; // that commit has failed, and may have left something unsynced
            finish(by);
        } else {
            database_->rollback();
        }
        return is_there || nothing_made;
    } catch (const database_error &again) {
        database_->rollback();
        throw error(trouble::in_doubt, std::string("it is not known whether it was done: ") +
                                           doubt.what() +
                                           "; looking it up failed, too: " + again.what());
    }
}

void book::finish(gate by)
{
    if (confirms_) { // SQLite does not write a row that stays as it is
        database_->run("ledger_advance", {head_.number, no_entry_hash});
    }
    if (head_.number != start_.number || confirms_) {
        database_->run("ledger_advance", {head_.number, head_.hash});
    }
    const auto path = witness_path(start_);
    if (by == gate::none || path.empty()) {
        commit();
        return;
    }
    witness held(path);
    check_against(held.last());
    const auto news = not_in(held);
    commit();
    for (const auto &each : news) {
        held.append(each);
    }
    if (!news.empty()) {
        held.sync();
    }
}

void book::commit()
{
    database_->settle();
    committing_ = true;
    database_->commit();
    committing_ = false;
}

void book::check_against(const witnessed &last)
{
    if (last.ledger != start_.ledger) {
        throw error(trouble::behind, "the witness is one of another ledger");
    }
    if (last.number > start_.number) {
        throw error(trouble::behind, "the ledger is older than its witness: it ends with entry " +
                                         std::to_string(start_.number) + ", and " +
                                         numbers(start_.number + 1, last.number) +
                                         "; nothing is issued before \"setmac-ledger reconcile\"");
    }
    const auto same = database_->first("journal_entry", {last.number});
    if (last.number > 0 && (!same || entry_of_row(*same).hash != last.hash)) {
        throw error(trouble::behind,
                    "entry " + std::to_string(last.number) +
                        " is another one than its witness has seen: the ledger went on from an old "
                        "copy; nothing is issued before \"setmac-ledger reconcile\"");
    }
}

/**
 * What a witness lacks. It is read ahead of the commit: behind that, nothing may depend on the
 * database any more, or what is done would be told as failed.
 */
std::vector<journal_entry> book::not_in(const witness &held)
{
    if (held.last().number == start_.number) {
        return std::move(added_);
    }
    std::vector<journal_entry> all;
    database_->each("journal_after", {held.last().number},
                    [&](const row &one) { all.push_back(entry_of_row(one)); });
    return all;
}

void book::add_entry(const std::string &topic, const std::string &subject, const std::string &kind,
                     const json &content)
{
    journal_entry entry{next_entry(), now(), topic, subject, kind, content.dump(), head_.hash};
    entry.hash = hash_of(entry);
    database_->run("journal_add", row_of(entry));
    head_.number = entry.number;
    head_.hash = entry.hash;
    added_.push_back(std::move(entry));
}

void book::read(const std::function<void()> &work)
{
    try {
        try {
            database_->begin_read();
        } catch (const database_error &failed) {
            if (failed.how() != failure::lost) {
                throw;
            }
            database_->reconnect();
            database_->begin_read();
        }
        work();
        database_->commit();
    } catch (const database_error &failed) {
        database_->rollback();
        throw_unusable(failed);
    } catch (...) {
        database_->rollback();
        throw;
    }
}

} // namespace ledger
