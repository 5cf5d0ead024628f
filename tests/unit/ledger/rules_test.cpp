#include "unit/ledger/support/ledger_test.h"
#include "unit/ledger/support/postgres_server.h"

namespace {

using namespace ledger;
using namespace ledger_tests;

/** What the databases hold themselves, whoever writes to them, and what check() finds all the same.
 */
class rules : public ledger_test {
protected:
    /** Two units, one of them with an attempt. */
    static void fill(book &in)
    {
        add_office(in);
        reserved(in, "A");
        reserved(in, "B");
        in.end_attempt(in.begin_attempt("A", {.station = "line-1"}), attempt_outcome::failed, "why",
                       {.read_back = "00:1A"});
    }

    std::string refusal(const std::string &sql) const { return sql_error(place.url, sql); }

    /** Does what the rules forbid, as damage would. */
    void do_without_rules(const std::string &sql) const
    {
        const std::string off =
            on_sqlite() ? "DROP TRIGGER unit_identity_stays; DROP TRIGGER unit_no_overlap;"
                          "DROP TRIGGER journal_no_change; DROP TRIGGER journal_stays;"
                          "DROP TRIGGER unit_stays; DROP TRIGGER attempt_ended_stays;"
                          "DROP TRIGGER pool_never_goes_back;"
                        : "SET session_replication_role = replica;"
                          "ALTER TABLE unit DROP CONSTRAINT unit_no_overlap;";
        EXPECT_EQ(sql_error(place.url, off + sql), "");
    }

    static std::string unit_row(const std::string &numbers)
    {
        return "INSERT INTO unit (id, label, product, serial, mac_first, mac_last, state, "
               "reserved_at, "
               "changed_at, entry) VALUES " +
               numbers;
    }
};
ON_BOTH_DATABASES(rules);

TEST_P(rules, forbid_addresses_that_overlap)
{
    auto in = open();
    fill(in); // A has 00:1A:2B:00:00:00 to 3F, which is 112390569984 and on
    for (const auto *range :
         {"112390569984, 112390569984", "112390570047, 112390570200", "112390569900, 112390569984",
          "112390569900, 112390571000", "112390569994, 112390569995"}) {
        EXPECT_NE(refusal(unit_row("(1, 'X', 'SW', 'X', " + std::string(range) +
                                   ", 'stored', 'x', 'x', 1)")),
                  "")
            << range;
    }
    EXPECT_EQ(
        refusal(unit_row("(1, 'X', 'SW', 'X', 112390570112, 112390570112, 'stored', 'x', 'x', "
                         "1)")),
        "");
}

TEST_P(rules, forbid_a_label_or_a_serial_number_twice)
{
    auto in = open();
    fill(in);
    EXPECT_NE(refusal(unit_row("(1, 'A', 'SW', 'X', NULL, NULL, 'stored', 'x', 'x', 1)")), "");
    EXPECT_NE(
        refusal(unit_row("(1, 'X', 'SW', 'ABCD264700001', NULL, NULL, 'stored', 'x', 'x', 1)")),
        "");
    EXPECT_NE(refusal(unit_row("(1, 'X', 'NONE', 'X', NULL, NULL, 'stored', 'x', 'x', 1)")), "");
    EXPECT_NE(refusal(unit_row("(1, 'X', 'SW', 'X', NULL, NULL, 'painted', 'x', 'x', 1)")), "");
    EXPECT_NE(refusal(unit_row("(1, 'X', 'SW', 'X', NULL, NULL, 'void', 'x', 'x', 1)")), "");
}

TEST_P(rules, forbid_what_would_free_or_change_an_identity)
{
    auto in = open();
    fill(in);
    for (const auto *sql :
         {"DELETE FROM unit", "DELETE FROM attempt", "DELETE FROM journal", "DELETE FROM pool",
          "DELETE FROM product", "DELETE FROM ledger", "UPDATE unit SET serial = 'X'",
          "UPDATE unit SET mac_first = 1, mac_last = 1", "UPDATE unit SET label = 'X'",
          "UPDATE journal SET content = '{}'", "UPDATE pool SET next = first",
          "UPDATE pool SET last = last + 1", "UPDATE attempt SET reason = 'none'",
          "UPDATE ledger SET entries = 1"}) {
        EXPECT_NE(refusal(sql), "") << sql;
    }
    in.void_unit("A", "why", "Ada");
    EXPECT_NE(refusal("UPDATE unit SET state = 'reserved' WHERE label = 'A'"), "");
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(rules, forbid_to_replace_or_to_empty)
{
    auto in = open();
    fill(in);
    const auto &before = text_of(*in.find("B"));
    const std::vector<std::string> on_sqlite_only = {
        "INSERT OR REPLACE INTO unit (id, label, product, state, reserved_at, changed_at, entry) "
        "VALUES (6, 'B', 'SW', 'stored', 'x', 'x', 6)",
        "REPLACE INTO unit (id, label, product, serial, state, reserved_at, changed_at, entry) "
        "VALUES (2, 'X', 'SW', 'ABCD264700002', 'stored', 'x', 'x', 2)",
        "REPLACE INTO journal SELECT * FROM journal WHERE number = 5",
        "REPLACE INTO attempt SELECT * FROM attempt",
        "REPLACE INTO pool SELECT * FROM pool",
        "REPLACE INTO ledger SELECT * FROM ledger"};
    const std::vector<std::string> on_postgres = {
        "TRUNCATE attempt",      "TRUNCATE journal CASCADE", "TRUNCATE unit CASCADE",
        "TRUNCATE pool CASCADE", "TRUNCATE product CASCADE", "TRUNCATE ledger"};
    for (const auto &sql : on_sqlite() ? on_sqlite_only : on_postgres) {
        EXPECT_NE(refusal(sql), "") << sql;
    }
    EXPECT_EQ(text_of(*in.find("B")), before);
    EXPECT_EQ(findings_of(in), "");
}

TEST_P(rules, forbid_pools_that_overlap)
{
    auto in = open();
    fill(in);
    EXPECT_NE(
        refusal("INSERT INTO pool (name, kind, first, last, count, align, pattern, next, issued, "
                "open, entry) VALUES ('X', 'mac', 112390569994, 112390570080, 1, 1, '', "
                "112390569994, 0, 1, 1)"),
        "");
}

TEST_P(rules, that_are_missing_are_found)
{
    auto in = open();
    fill(in);
    if (on_sqlite()) {
        EXPECT_EQ(refusal("DROP TRIGGER unit_no_overlap"), "");
        EXPECT_EQ(findings_of(in),
                  "0: the trigger unit_no_overlap is missing, or is another one\n");
        return;
    }
    EXPECT_EQ(refusal("ALTER TABLE unit DROP CONSTRAINT unit_no_overlap"), "");
    EXPECT_EQ(findings_of(in),
              "0: the rule unit.unit_no_overlap is missing, switched off, or another one\n");
    EXPECT_EQ(refusal("ALTER TABLE unit DISABLE TRIGGER unit_stays"), "");
    EXPECT_NE(findings_of(in).find("unit.unit_stays"), std::string::npos);
    EXPECT_EQ(refusal("CREATE OR REPLACE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS "
                      "'BEGIN RETURN NEW; END'"),
              "");
    EXPECT_NE(findings_of(in).find("the rule refuse() is missing"), std::string::npos);
}

TEST_P(rules, that_the_server_switches_off_are_not_done_without)
{
    if (on_sqlite()) {
        GTEST_SKIP() << "a setting of the server";
    }
    EXPECT_EQ(
        refusal("DO $$ BEGIN EXECUTE format('ALTER DATABASE %I SET session_replication_role = "
                "replica', current_database()); END $$"),
        "");
    EXPECT_EQ(error_of([&] { open(); }),
              "unusable: session_replication_role is not \"origin\" here, without which triggers "
              "hold no rule");
}

TEST_P(rules, broken_in_the_journal_are_named_by_the_first_entry)
{
    auto in = open();
    fill(in); // entries 1 init, 2 3 pools, 4 product, 5 A, 6 B, 7 8 attempt
    do_without_rules(
        "UPDATE journal SET content = replace(content, 'ABCD264700001', 'ABCD264700009') "
        "WHERE number = 5");
    EXPECT_NE(
        findings_of(in).find("5: its hash is not that of its content and of the entry before\n"),
        std::string::npos)
        << findings_of(in);
}

TEST_P(rules, find_an_entry_that_is_gone)
{
    auto in = open();
    fill(in);
    do_without_rules(std::string(on_sqlite() ? "PRAGMA foreign_keys = OFF;" : "") +
                     "DELETE FROM journal WHERE number = 6");
    EXPECT_NE(findings_of(in).find("6: it is missing\n"), std::string::npos) << findings_of(in);
}

TEST_P(rules, find_rows_that_are_not_what_their_entry_says)
{
    auto in = open();
    fill(in);
    do_without_rules("UPDATE unit SET serial = 'X' WHERE label = 'B'");
    EXPECT_NE(findings_of(in).find("6: the unit B is not as it was left\n"), std::string::npos)
        << findings_of(in);
}

TEST_P(rules, find_an_attempt_that_was_changed)
{
    auto in = open();
    fill(in);
    do_without_rules("UPDATE attempt SET read_back = '00:1B'");
    EXPECT_NE(findings_of(in).find("8: attempt 1 of unit 5 is not as it was left\n"),
              std::string::npos)
        << findings_of(in);
}

TEST_P(rules, find_a_pool_that_was_set_back)
{
    auto in = open();
    fill(in);
    do_without_rules("UPDATE pool SET next = first WHERE name = 'office'");
    EXPECT_NE(findings_of(in).find("6: the pool office is not as it was left\n"), std::string::npos)
        << findings_of(in);
    EXPECT_NE(findings_of(in).find("6: the pool office would issue addresses again\n"),
              std::string::npos);
}

TEST_P(rules, find_addresses_that_overlap_all_the_same)
{
    auto in = open();
    fill(in);
    do_without_rules("UPDATE unit SET mac_first = mac_first - 1 WHERE label = 'B'");
    EXPECT_NE(findings_of(in).find("6: the addresses of B overlap those of A\n"), std::string::npos)
        << findings_of(in);
}

TEST_P(rules, find_an_attempt_that_was_given_to_another_unit)
{
    auto in = open();
    fill(in); // 5 A, 6 B, 7 8 the attempt of A
    do_without_rules("UPDATE attempt SET unit = 6");
    const auto found = findings_of(in);
    EXPECT_NE(found.find("8: attempt 1 of unit 6 is not as it was left\n"), std::string::npos)
        << found;
    EXPECT_NE(found.find("7: it did not begin attempt 1 of unit 6\n"), std::string::npos) << found;
}

TEST_P(rules, find_a_unit_under_the_number_of_another_entry)
{
    auto in = open();
    fill(in);
    do_without_rules("UPDATE unit SET id = 8 WHERE label = 'B'");
    EXPECT_NE(findings_of(in).find("8: it did not make the unit B\n"), std::string::npos)
        << findings_of(in);
}

TEST_P(rules, find_a_witness_that_was_taken_away)
{
    auto in = open();
    fill(in);
    in.set_witness(path("witness"), false, "", "");
    EXPECT_EQ(findings_of(in), "");
    EXPECT_EQ(refusal("UPDATE ledger SET witness = NULL"), "");
    EXPECT_EQ(findings_of(in), "0: the witness is \"\" by the ledger's row, and \"" +
                                   path("witness") + "\" by the journal\n");
}

TEST_P(rules, find_a_unit_that_nobody_reserved)
{
    auto in = open();
    fill(in);
    EXPECT_EQ(refusal(unit_row("(2, 'X', 'SW', 'X', NULL, NULL, 'stored', 'x', 'x', 2)")), "");
    EXPECT_NE(findings_of(in).find("0: the journal knows 2 units, and there are 3\n"),
              std::string::npos)
        << findings_of(in);
}

} // namespace
