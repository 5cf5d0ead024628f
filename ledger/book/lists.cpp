// Lists of what is in the ledger, in pieces: whoever reads them holds nobody up who writes.

#include <algorithm>

#include "ledger/book/book.h"
#include "ledger/book/rows.h"

namespace ledger {

namespace {

// Ids that a piece looks at. They are numbers of journal entries, of which a unit makes four or
// five.
constexpr std::int64_t ids_of_a_piece = 20000;
constexpr std::size_t label_column = 18; // behind those of the attempt
constexpr std::size_t product_column = 19;

/** The last id of the piece behind that one; who asks may name any id from 0 on. */
std::int64_t end_of_piece(std::int64_t id, std::int64_t entries)
{
    return id + std::min(ids_of_a_piece, entries - id);
}

value given_or_null(const std::string &text)
{
    return text.empty() ? value() : value(text);
}

listed_attempt listed_of_row(const row &one)
{
    return {attempt_of_row(one), one.text(label_column), one.text(product_column)};
}

bool fits(const std::string &filter, std::string_view text)
{
    return filter.empty() || filter == text;
}

bool fits(const list_filter &filter, const unit &each)
{
    return fits(filter.product, each.product) && fits(filter.state, state_text(each.state)) &&
           each.reserved_at >= filter.since &&
           (filter.until.empty() || each.reserved_at < filter.until);
}

/** Where the list goes on: behind the last row where there was no place for more. */
template <class kind, class id_of>
void conclude(list_page<kind> &page, std::size_t limit, std::int64_t end, std::int64_t entries,
              id_of id)
{
    const bool is_full = page.rows.size() >= limit && !page.rows.empty();
    page.reached = is_full ? id(page.rows.back()) : end;
    page.more = page.reached < entries;
}

} // namespace

std::vector<unit> book::labelled_after(std::int64_t id, const list_filter &filter)
{
    const auto found = database_->first("unit_by_label", {filter.label});
    const bool is_wanted = found && found->number(0) > id && fits(filter, unit_of_row(*found));
    return is_wanted ? std::vector{unit_of_row(*found)} : std::vector<unit>();
}

list_page<unit> book::units_after(std::int64_t id, std::size_t limit, const list_filter &filter)
{
    list_page<unit> page;
    read([&] {
        page = {};
        const auto entries = read_head("ledger_row").number;
        if (!filter.label.empty()) {
            page.rows = labelled_after(id, filter);
            page.reached = entries;
            return;
        }
        const auto end = end_of_piece(id, entries);
        database_->each("units_after",
                        {id, end, given_or_null(filter.product), given_or_null(filter.state),
                         given_or_null(filter.since), given_or_null(filter.until),
                         static_cast<std::int64_t>(limit)},
                        [&](const row &one) { page.rows.push_back(unit_of_row(one)); });
        conclude(page, limit, end, entries, [](const unit &each) { return each.id; });
    });
    return page;
}

list_page<listed_attempt> book::attempts_after(std::int64_t id, std::size_t limit,
                                               const list_filter &filter)
{
    list_page<listed_attempt> page;
    read([&] {
        page = {};
        const bool by_label = !filter.label.empty();
        const auto entries = read_head("ledger_row").number;
        const auto end = by_label ? entries : end_of_piece(id, entries);
        page.rows = listed(by_label ? "attempts_of_label_after" : "attempts_after",
                           {id, end, given_or_null(filter.label), given_or_null(filter.product),
                            given_or_null(filter.outcome), given_or_null(filter.slot),
                            given_or_null(filter.operator_name), given_or_null(filter.since),
                            given_or_null(filter.until), static_cast<std::int64_t>(limit)});
        conclude(page, limit, end, entries, [](const listed_attempt &each) { return each.of.id; });
    });
    return page;
}

std::vector<listed_attempt> book::listed(std::string_view statement, const values &given)
{
    std::vector<listed_attempt> rows;
    database_->each(statement, given, [&](const row &one) { rows.push_back(listed_of_row(one)); });
    return rows;
}

std::optional<listed_attempt> book::find_attempt(std::int64_t id)
{
    std::vector<listed_attempt> found;
    read([&] { found = listed("attempt_with_unit", {id}); });
    return found.empty() ? std::nullopt : std::optional(found[0]);
}

std::vector<listed_attempt> book::open_attempts(const std::string &station)
{
    std::vector<listed_attempt> found;
    read([&] { found = listed("attempts_open_at", {station}); });
    return found;
}

std::optional<listed_attempt> book::open_attempt(const std::string &label)
{
    std::vector<listed_attempt> found;
    read([&] { found = listed("attempt_open_of_label", {label}); });
    return found.empty() ? std::nullopt : std::optional(found[0]);
}

std::optional<listed_attempt> book::last_attempt(const std::string &station,
                                                 const std::string &slot)
{
    std::vector<listed_attempt> found;
    read([&] { found = listed("attempt_last_in_slot", {station, slot}); });
    return found.empty() ? std::nullopt : std::optional(found[0]);
}

} // namespace ledger
