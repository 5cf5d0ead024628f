#include "ledger/store/statements.h"

#include <stdexcept>

namespace ledger {

namespace {

/** What stands under a line "-- KIND: NAME", up to the text `end`; empty without such a line. */
std::string_view part_named(std::string_view file, std::string_view kind, std::string_view name,
                            std::string_view end)
{
    std::string head = "-- ";
    head.append(kind).append(": ").append(name).append("\n");
    const auto start = file.find(head);
    if (start == std::string_view::npos) {
        return {};
    }
    const auto rest = file.substr(start + head.size());
    return rest.substr(0, rest.find(end));
}

/** Puts the lists into a statement that names them in braces. */
std::string with_lists(std::string text)
{
    for (auto open = text.find('{'); open != std::string::npos; open = text.find('{', open)) {
        const auto close = text.find('}', open);
        const auto name = text.substr(open + 1, close - open - 1);
        const auto list = part_named(common_sql, "list", name, "\n\n");
        if (list.empty()) {
            throw std::logic_error("no SQL list " + name);
        }
        text.replace(open, name.size() + 2, list);
    }
    return text;
}

} // namespace

std::string statements::text(std::string_view name) const
{
    constexpr std::string_view next = "-- name: ";
    const auto own = part_named(own_, "name", name, next);
    const auto found = own.empty() ? part_named(common_sql, "name", name, next) : own;
    if (found.empty()) {
        throw std::logic_error("no SQL statement " + std::string(name));
    }
    return with_lists(std::string(found));
}

} // namespace ledger
