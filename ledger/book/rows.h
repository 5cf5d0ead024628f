#pragma once

#include "ledger/model/journal_entry.h"
#include "ledger/model/records.h"
#include "ledger/store/database.h"

namespace ledger {

// Records from the columns of the statements that read them, and the values for those that add
// them.
journal_entry entry_of_row(const row &from);
pool pool_of_row(const row &from);
product product_of_row(const row &from);
unit unit_of_row(const row &from);
attempt attempt_of_row(const row &from);
label_print print_of_row(const row &from);

values row_of(const journal_entry &each);
values row_of(const pool &each);
values row_of(const product &each);
values row_of(const unit &each);
values row_of(const attempt &each);
values row_of(const label_print &each);

/** NULL where there is none. */
value or_null(const std::optional<std::string> &text);
value null_if_empty(const std::string &text);

} // namespace ledger
