#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ledger/book/book.h"

namespace ledger {

/**
 * The identities in a CSV text: fields between commas, in quotes where need be, under a first line
 * that names the columns label, product, serial, mac, mac_count and state, in any order. Refuses a
 * text whose columns are others; what is wrong with a line stands in it.
 */
std::vector<imported_line> read_csv(std::string_view text);

/** The fields as a line of CSV, with its end. */
std::string csv_line(const std::vector<std::string> &fields);

} // namespace ledger
