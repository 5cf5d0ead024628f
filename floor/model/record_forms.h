#pragma once

#include "floor/model/control.h"
#include "ledger/book/book.h"

namespace shopfloor {

// Records of the ledger as the interface shows them. States and outcomes are single words there:
// "in_doubt".

json form_of(const ledger::unit &of);
json form_of(const ledger::listed_attempt &of);
/** With what was sent, read back and shown. */
json form_with_evidence(const ledger::listed_attempt &of);
json form_of(const ledger::journal_entry &entry);
json form_of(const ledger::pool_state &of);
json form_of(const ledger::label_print &of);

/** A state or an outcome of the ledger as one word, and back. */
std::string one_word(std::string_view text);
std::string ledger_text(std::string_view word);

} // namespace shopfloor
