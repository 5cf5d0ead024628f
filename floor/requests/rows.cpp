#include "floor/requests/rows.h"

#include <vector>

#include "floor/requests/answers.h"
#include "ledger/app/csv.h"

namespace shopfloor {

namespace {

const std::vector<std::string> &columns_of(row_kind kind)
{
    static const std::vector<std::string> of_units{
        "label", "product",     "serial",     "mac",         "mac_count",
        "state", "reserved_at", "changed_at", "void_reason", "void_by"};
    static const std::vector<std::string> of_attempts{
        "id",         "label",     "product",      "number",         "station",
        "slot",       "operator",  "product_file", "product_sha256", "program_version",
        "started_at", "stored_at", "ended_at",     "outcome",        "reason"};
    return kind == row_kind::units ? of_units : of_attempts;
}

std::string cell_of(const json &row, const std::string &column)
{
    const auto value = row.find(column);
    if (value == row.end() || value->is_null()) {
        return "";
    }
    return value->is_string() ? value->get<std::string>() : text_of(*value);
}

} // namespace

std::string head_of_rows(row_kind kind, row_form form)
{
    return form == row_form::csv ? ledger::csv_line(columns_of(kind)) : "";
}

std::string row_text(row_kind kind, row_form form, const json &row)
{
    if (form == row_form::json_lines) {
        return text_of(row) + "\n";
    }
    std::vector<std::string> cells;
    for (const auto &column : columns_of(kind)) {
        cells.push_back(cell_of(row, column));
    }
    return ledger::csv_line(cells);
}

std::string transcript_text(const json &attempt)
{
    const auto console = attempt.find("console");
    return console != attempt.end() && console->is_string() ? console->get<std::string>() : "";
}

} // namespace shopfloor
