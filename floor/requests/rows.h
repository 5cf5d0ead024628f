#pragma once

#include <string>

#include "floor/model/control.h"
#include "floor/requests/parameters.h"

namespace shopfloor {

enum class row_form { csv, json_lines };

/** What stands before the first row: the names of the columns, or nothing. */
std::string head_of_rows(row_kind kind, row_form form);

/** A row with its end of line. */
std::string row_text(row_kind kind, row_form form, const json &row);

/** The console of an attempt as JSON Lines. */
std::string transcript_text(const json &attempt);

} // namespace shopfloor
