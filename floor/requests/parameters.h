#pragma once

#include <string_view>

#include "floor/model/control.h"
#include "floor/requests/target.h"

namespace shopfloor {

// Each of these throws request_error where something is missing, of a wrong kind, or not known.

start_request read_start(int slot, std::string_view body);

/** The badge of {"badge": "0017"}. */
std::string read_badge(std::string_view body);

/** What was scanned: {"code": "..."}. */
std::string read_code(std::string_view body);
/** {"fault": "silent"}; an empty one is none. */
std::string read_fault(std::string_view body);

struct print_wanted {
    std::string label = {};
    std::string operator_badge = {}; // empty: the floor's
};
/** {"label": "..."} and perhaps "operator". */
print_wanted read_print(std::string_view body);

/** Nothing is told: an empty body, or {}. */
void read_nothing(std::string_view body);

enum class row_kind { units, attempts, prints };

/** Filters, and for a list by pages `after` and `limit`. */
list_request read_list(row_kind kind, const target &of, bool by_pages);

/** The text of /api/find?text=... */
std::string read_search(const target &of);

void read_no_parameters(const target &of);

} // namespace shopfloor
