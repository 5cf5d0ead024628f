#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "ledger/model/records.h"

namespace ledger {

/** Rows of texts under named columns, for people. */
struct table {
    std::vector<std::string> columns = {};
    std::vector<std::vector<std::string>> rows = {};
};

/** Aligned; blanks at the end of lines are left out. */
void print(const table &shown);

/** JSON on one line with blanks behind colons and commas, and the end of the line. */
void print(const json &shown);
std::string one_line(const json &value);

/** What scripts get of an identity. */
json identity_json(const unit &of);
/** The same and more: why it is void, and its attempts. */
json identity_json(const unit &of, const std::vector<attempt> &attempts);

/** "00:1A:2B:00:00:00 to 00:1A:2B:00:00:3F", or "-". */
std::string addresses_text(const unit &of);

} // namespace ledger
