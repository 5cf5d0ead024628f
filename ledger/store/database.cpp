#include "ledger/store/database.h"

#include <charconv>

#include "ledger/model/error.h"
#include "ledger/store/postgres_database.h"
#include "ledger/store/sqlite_database.h"

namespace ledger {

std::int64_t row::number(std::size_t column) const
{
    const auto &field = fields_.at(column);
    std::int64_t number = 0;
    if (!field) {
        return number;
    }
    const auto *end = field->data() + field->size();
    const auto [stop, wrong] = std::from_chars(field->data(), end, number);
    if (wrong != std::errc() || stop != end) {
        throw database_error(failure::unusable, "\"" + *field + "\" stands where a number must be");
    }
    return number;
}

void database::run(std::string_view statement, const values &given)
{
    each(statement, given, [](const row &) {});
}

std::optional<row> database::first(std::string_view statement, const values &given)
{
    std::optional<row> found;
    each(statement, given, [&](const row &one) {
        if (!found) {
            found = one;
        }
    });
    return found;
}

void bring_schema_up(database &in, std::int64_t from)
{
    for (auto number = from + 1; number <= schema_number; ++number) {
        in.run_script("schema_" + std::to_string(number));
    }
}

std::unique_ptr<database> open_database(const std::string &url, bool create,
                                        std::chrono::milliseconds silence)
{
    constexpr std::string_view sqlite = "sqlite:";
    try {
        if (url.starts_with(sqlite) && url.size() > sqlite.size()) {
            return std::make_unique<sqlite_database>(url.substr(sqlite.size()), create);
        }
        if (url.starts_with("postgresql://") || url.starts_with("postgres://")) {
            return std::make_unique<postgres_database>(url, silence);
        }
    } catch (const database_error &failed) {
        throw error(trouble::unusable, failed.what());
    }
    refuse("\"" + url +
           "\" names no ledger: sqlite:FILE or postgresql://HOST/DATABASE is expected");
}

} // namespace ledger
