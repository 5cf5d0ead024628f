#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ledger {

/** What a statement is given: nothing (NULL), a number, a text. */
using value = std::variant<std::monostate, std::int64_t, std::string>;
using values = std::vector<value>;

/** One row of an answer. */
class row {
public:
    explicit row(std::vector<std::optional<std::string>> fields) : fields_(std::move(fields)) {}

    bool is_null(std::size_t column) const { return !fields_.at(column); }
    /** Empty where the column is NULL. */
    std::string text(std::size_t column) const { return fields_.at(column).value_or(""); }
    std::optional<std::string> optional_text(std::size_t column) const
    {
        return fields_.at(column);
    }
    /** 0 where the column is NULL. */
    std::int64_t number(std::size_t column) const;

private:
    std::vector<std::optional<std::string>> fields_;
};

/** How a database failed. */
enum class failure {
    again, // two transactions were in each other's way: the same may work now
    lost,  // the connection broke: nothing of the transaction is there, unless it was committing
    constraint, // a rule of the schema forbids it
    unusable,   // anything else
};

class database_error : public std::runtime_error {
public:
    database_error(failure how, const std::string &why) : std::runtime_error(why), how_(how) {}
    failure how() const { return how_; }

private:
    failure how_;
};

/**
 * A connection to the database of a ledger. The statements have names, under which the SQL files
 * hold their texts. All functions throw database_error.
 */
class database {
public:
    virtual ~database() = default;

    /** Locks out all other writers until commit() or rollback(). */
    virtual void begin_write() = 0;
    /** What is read until commit() or rollback() is the state of one moment. */
    virtual void begin_read() = 0;
    /**
     * Once it returns, what was written survives a power cut. Where it throws, whether it was
     * committed is not known, unless the failure is `again` or `constraint`.
     */
    virtual void commit() = 0;
    /** Never throws. */
    virtual void rollback() noexcept = 0;

    /** Hands each row to the function, which must not use the database. */
    virtual void each(std::string_view statement, const values &given,
                      const std::function<void(const row &)> &take) = 0;

    /** Gives the connection up and makes a new one. */
    virtual void reconnect() = 0;

    /** Carries out an SQL script of that name: a schema. */
    virtual void run_script(std::string_view name) = 0;

    /** How the schema differs from the one that it must be, in words; nothing where it does not. */
    virtual std::vector<std::string> schema_differences() = 0;

    /** Damage that the database itself finds; nothing where there is none. */
    virtual std::vector<std::string> damages() = 0;

    /**
     * For statements without rows. All that follows sees what it changes; where it fails, that may
     * be told by a later call of the same transaction only, settle() at the latest.
     */
    virtual void run(std::string_view statement, const values &given);
    /**
     * All that run() was given is carried out. To be called before commit(), whose failures may
     * leave a doubt.
     */
    virtual void settle() {}
    /** The first row, where there is one. */
    std::optional<row> first(std::string_view statement, const values &given = {});
};

/** The schema that this program works with; each number up to it has a script, "schema_1". */
constexpr std::int64_t schema_number = 2;

/** Carries out the scripts behind that number; 0: there is nothing yet. */
void bring_schema_up(database &in, std::int64_t from);

// Longer than a writer waits for its turn, which is a minute.
constexpr std::chrono::milliseconds longest_silence{90000};

/**
 * Connects to "sqlite:PATH" or "postgresql://...". With create, an SQLite file that is not there is
 * made. A server that says nothing for the time of `silence` is taken for lost. Throws error:
 * refused for a name of another kind, unusable where it cannot be used.
 */
std::unique_ptr<database> open_database(const std::string &url, bool create,
                                        std::chrono::milliseconds silence = longest_silence);

} // namespace ledger
