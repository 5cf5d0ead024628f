#include "ledger/store/statements.h"

#include <stdexcept>

namespace ledger {

namespace {

std::string_view part_named(std::string_view file, std::string_view name)
{
    constexpr std::string_view mark = "-- name: ";
    const auto head = std::string(mark) + std::string(name) + "\n";
    const auto start = file.find(head);
    if (start == std::string_view::npos) {
        return {};
    }
    const auto rest = file.substr(start + head.size());
    return rest.substr(0, rest.find(mark));
}

} // namespace

std::string statements::text(std::string_view name) const
{
    const auto own = part_named(own_, name);
    const auto found = own.empty() ? part_named(common_sql, name) : own;
    if (found.empty()) {
        throw std::logic_error("no SQL statement " + std::string(name));
    }
    return std::string(found);
}

} // namespace ledger
