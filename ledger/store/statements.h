#pragma once

#include <string>
#include <string_view>

namespace ledger {

/** The texts of the SQL files, by the names in their lines "-- name: NAME". */
class statements {
public:
    /** own is the file of one database; what it lacks is taken from the common file. */
    explicit statements(std::string_view own) : own_(own) {}

    /** Throws std::logic_error where there is no statement of that name. */
    std::string text(std::string_view name) const;

private:
    std::string_view own_;
};

// The files, put in by the build.
extern const std::string_view common_sql;
extern const std::string_view sqlite_sql;
extern const std::string_view postgres_sql;

} // namespace ledger
