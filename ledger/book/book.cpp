#include "ledger/book/book.h"

#include <array>

#include <nlohmann/json.hpp>
#include <openssl/rand.h>

#include "ledger/book/rows.h"
#include "ledger/witness/witness.h"

namespace ledger {

namespace {

std::string random_id()
{
    std::array<unsigned char, 32> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        throw error(trouble::unusable, "there are no random numbers");
    }
    const std::string_view text(reinterpret_cast<const char *>(bytes.data()), bytes.size());
    return sha256_of(text).substr(0, 32);
}

void check_schema(std::int64_t number)
{
    if (number > schema_number) {
        throw error(trouble::unusable, "the ledger has schema " + std::to_string(number) +
                                           ", and this program knows only up to " +
                                           std::to_string(schema_number) +
                                           ": use a newer setmac-ledger");
    }
}

bool has_ledger(database &in)
{
    return in.first("has_ledger")->number(0) != 0;
}

/** The schema and the ledger's row, in the transaction that runs. */
void make_ledger(database &in, const std::string &at)
{
    bring_schema_up(in, 0);
    const auto id = random_id();
    in.run("ledger_add", {id, schema_number, no_entry_hash});
    const json content{{"id", id}, {"schema", schema_number}};
    journal_entry entry{1, at, "ledger", id, "init", content.dump(), no_entry_hash};
    entry.hash = hash_of(entry);
    in.run("journal_add", row_of(entry));
    in.run("ledger_advance", {entry.number, entry.hash});
}

void check_schema_is_present(std::int64_t number)
{
    check_schema(number);
    if (number < schema_number) {
        throw error(trouble::unusable, "the ledger has schema " + std::to_string(number) +
                                           ", and this program works with " +
                                           std::to_string(schema_number) +
                                           ": \"setmac-ledger init\" brings it up to date");
    }
}

/** The schema of a ledger that is there. */
init_result bring_up_to_date(database &in)
{
    const auto has = in.first("ledger_row")->number(1);
    check_schema(has);
    if (has == schema_number) {
        return init_result::left_as_it_is;
    }
    bring_schema_up(in, has);
    in.run("ledger_set_schema", {schema_number});
    return init_result::brought_up_to_date;
}

} // namespace

init_result book::init(const ledger_place &place)
{
    const auto made = open_database(place.url, true, place.silence);
    try {
        made->begin_write();
        auto result = init_result::made;
        if (has_ledger(*made)) {
            result = bring_up_to_date(*made);
        } else {
            make_ledger(*made, time_text(place.clock()));
        }
        made->commit();
        return result;
    } catch (const database_error &failed) {
        made->rollback();
        throw error(trouble::unusable, failed.what());
    } catch (...) {
        made->rollback();
        throw;
    }
}

book::book(ledger_place place)
    : place_(std::move(place)), database_(open_database(place_.url, false, place_.silence))
{
    try {
        if (!has_ledger(*database_)) {
            throw error(trouble::unusable,
                        place_.url + " holds no ledger: setmac-ledger init makes one");
        }
        check_schema_is_present(database_->first("ledger_row")->number(1));
    } catch (const database_error &failed) {
        throw error(trouble::unusable, failed.what());
    }
}

book::~book() = default;

} // namespace ledger
