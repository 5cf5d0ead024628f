#include "ledger/book/book.h"
#include "ledger/book/rows.h"
#include "ledger/model/texts.h"

namespace ledger {

std::optional<unit> book::find(const std::string &text, search by)
{
    std::vector<unit> found;
    const auto add = [&](const std::optional<row> &one) {
        if (!one) {
            return;
        }
        auto other = unit_of_row(*one);
        if (found.empty() || found[0].id != other.id) {
            found.push_back(std::move(other));
        }
    };
    read([&] {
        found.clear();
        if (!is_utf8(text)) {
            return;
        }
        if (by == search::any || by == search::label) {
            add(database_->first("unit_by_label", {text}));
        }
        if (by == search::any || by == search::serial) {
            add(database_->first("unit_by_serial", {text}));
        }
        const auto address = read_mac(text);
        if (address && (by == search::any || by == search::mac)) {
            const auto nearest = database_->first("unit_beginning_before", {*address});
            if (nearest && unit_of_row(*nearest).mac_last() >= *address) {
                add(nearest);
            }
        }
    });
    if (found.size() > 1) {
        refuse(text + " is of label " + found[0].label + " and of label " + found[1].label +
               ": say --by label, --by serial or --by mac");
    }
    return found.empty() ? std::nullopt : std::optional(found[0]);
}

std::vector<attempt> book::attempts_of(const unit &of)
{
    std::vector<attempt> all;
    read([&] { all = attempts_in(of); });
    return all;
}

std::vector<attempt> book::attempts_in(const unit &of)
{
    std::vector<attempt> all;
    database_->each("attempts_of_unit", {of.id},
                    [&](const row &one) { all.push_back(attempt_of_row(one)); });
    return all;
}

std::vector<journal_entry> book::history(const std::string &label)
{
    std::vector<journal_entry> all;
    read([&] {
        unit_labelled(label);
        database_->each("journal_about", {"unit", label},
                        [&](const row &one) { all.push_back(entry_of_row(one)); });
    });
    return all;
}

/** A page at a time, each by itself: a slow reader of the export must hold up no station. */
void book::export_units(const unit_filter &filter, const std::function<void(const unit &)> &take)
{
    std::int64_t last = 0;
    for (bool more = true; more;) {
        std::vector<unit> page;
        read([&] {
            page.clear();
            database_->each("units_page",
                            {last, null_if_empty(filter.product), null_if_empty(filter.state),
                             null_if_empty(filter.since), null_if_empty(filter.until)},
                            [&](const row &one) { page.push_back(unit_of_row(one)); });
        });
        for (const auto &each : page) {
            take(each);
            last = each.id;
        }
        more = !page.empty();
    }
}

} // namespace ledger
