#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "ledger/book/book.h"

namespace ledger_tests {

/** Runs on each of the databases: its parameter is "sqlite" or "postgres". */
class ledger_test : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override;
    void TearDown() override;

    /** The ledger, opened once more. */
    ledger::book open() const { return ledger::book(place); }

    /** A place for another ledger on the same kind of database. */
    ledger::ledger_place another_place() const;

    std::string path(const std::string &name) const { return (folder_ / name).string(); }
    bool on_sqlite() const { return GetParam() == "sqlite"; }
    std::string sqlite_file() const { return path("line.db"); }

    /** Pools "office" of MAC addresses and "office-sn", and a product "SW" that takes from both. */
    static void add_office(ledger::book &to);
    static ledger::unit reserved(ledger::book &in, const std::string &label);

    ledger::ledger_place place;
    ledger::time_point now; // of the ledger's clock: Saturday, 21 November 2026, noon

private:
    std::filesystem::path folder_;
};

/** Why it was refused, "refused: ..." and the like; nothing where it was not. */
std::string error_of(const std::function<void()> &what);

/** "LABEL SERIAL MAC/COUNT STATE" */
std::string text_of(const ledger::unit &of);

/** What check() finds, a line each. */
std::string findings_of(ledger::book &in);

} // namespace ledger_tests

#define ON_BOTH_DATABASES(suite)                                                                   \
    INSTANTIATE_TEST_SUITE_P(sqlite, suite, testing::Values("sqlite"));                            \
    INSTANTIATE_TEST_SUITE_P(postgres, suite, testing::Values("postgres"))
