#include "ledger/book/book.h"
#include "ledger/book/rows.h"

namespace ledger {

namespace {

/** Carries the rows of a statement over. */
template <class Record>
void carry(database &from, database &to, const std::string &reading, const std::string &adding,
           Record (*read)(const row &), const values &given = {})
{
    from.each(reading, given, [&](const row &one) { to.run(adding, row_of(read(one))); });
}

void carry_all(database &from, database &to)
{
    const auto own = from.first("ledger_row");
    bring_schema_up(to, 0);
    to.run("ledger_add", {own->text(0), own->number(1), own->text(3)});
    to.run("ledger_advance", {own->number(2), own->text(3)});
    to.run("ledger_set_witness", {or_null(own->optional_text(4))});
    carry(from, to, "journal_after", "journal_add", entry_of_row, {std::int64_t{0}});
    carry(from, to, "pools", "pool_add", pool_of_row);
    carry(from, to, "products", "product_add", product_of_row);
    carry(from, to, "all_units", "unit_add", unit_of_row);
    carry(from, to, "all_attempts", "attempt_add", attempt_of_row);
    carry(from, to, "all_prints", "print_add", print_of_row);
}

} // namespace

void book::copy_to(const std::string &url)
{
    const auto to = open_database(url, true);
    read([&] {
        try {
            to->begin_write();
            if (to->first("has_ledger")->number(0) != 0) {
                refuse(url + " holds a ledger already");
            }
            carry_all(*database_, *to);
            to->commit();
        } catch (const database_error &failed) {
            to->rollback();
            throw error(trouble::unusable, std::string("the copy: ") + failed.what());
        } catch (...) {
            to->rollback();
            throw;
        }
    });
}

} // namespace ledger
