#include <limits>

#include "unit/ledger/support/ledger_test.h"

namespace {

using namespace ledger;
using namespace ledger_tests;

class lists : public ledger_test {
protected:
    static std::int64_t begin(book &in, const std::string &label, const std::string &slot,
                              const std::string &by = "Ada")
    {
        return in.begin_attempt(label, {.station = "line-1", .slot = slot, .operator_name = by});
    }

    static void end(book &in, std::int64_t attempt, attempt_outcome outcome)
    {
        in.end_attempt(attempt, outcome, "as told", {"sent", "read back", "console"});
    }

    /** The labels of all pages of so many rows. */
    static std::string labels(book &in, std::size_t limit, const list_filter &filter)
    {
        std::string told;
        list_page<unit> page{{}, 0, true};
        while (page.more) {
            page = in.units_after(page.reached, limit, filter);
            for (const auto &each : page.rows) {
                told += each.label + " ";
            }
        }
        return told;
    }

    static std::string attempts(book &in, std::size_t limit, const list_filter &filter)
    {
        std::string told;
        list_page<listed_attempt> page{{}, 0, true};
        while (page.more) {
            page = in.attempts_after(page.reached, limit, filter);
            for (const auto &each : page.rows) {
                told += each.label + "/" + each.of.start.slot + each.of.evidence.transcript + " ";
            }
        }
        return told;
    }
};
ON_BOTH_DATABASES(lists);

TEST_P(lists, show_units_in_their_order_in_pages_of_any_size)
{
    auto in = open();
    add_office(in);
    for (const auto *label : {"C", "A", "B"}) {
        reserved(in, label);
    }
    begin(in, "A", "1");
    EXPECT_EQ(labels(in, 1, {}), "C A B ");
    EXPECT_EQ(labels(in, 2, {}), "C A B ");
    EXPECT_EQ(labels(in, 100, {}), "C A B ");
    EXPECT_EQ(labels(in, 100, {.state = "writing"}), "A ");
    EXPECT_EQ(labels(in, 100, {.product = "SW", .state = "reserved"}), "C B ");
    EXPECT_EQ(labels(in, 100, {.product = "other"}), "");
    EXPECT_EQ(labels(in, 100, {.label = "B"}), "B ");
    EXPECT_EQ(labels(in, 100, {.label = "B", .state = "writing"}), "");
    EXPECT_EQ(labels(in, 100, {.since = "2026-11-21", .until = "2026-11-22"}), "C A B ");
    EXPECT_EQ(labels(in, 100, {.since = "2026-11-22"}), "");
    EXPECT_EQ(labels(in, 100, {.label = "A", .until = "2026-11-21"}), "");
}

TEST_P(lists, show_attempts_without_their_evidence)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    reserved(in, "B");
    end(in, begin(in, "A", "1"), attempt_outcome::failed);
    end(in, begin(in, "A", "2"), attempt_outcome::verified);
    begin(in, "B", "1", "Bob");
    EXPECT_EQ(attempts(in, 1, {}), "A/1 A/2 B/1 ");
    EXPECT_EQ(attempts(in, 100, {}), "A/1 A/2 B/1 ");
    EXPECT_EQ(attempts(in, 100, {.slot = "1"}), "A/1 B/1 ");
    EXPECT_EQ(attempts(in, 1, {.label = "A"}), "A/1 A/2 ");
    EXPECT_EQ(attempts(in, 100, {.outcome = "verified"}), "A/2 ");
    EXPECT_EQ(attempts(in, 100, {.outcome = "open"}), "B/1 ");
    EXPECT_EQ(attempts(in, 100, {.operator_name = "Bob"}), "B/1 ");
    EXPECT_EQ(attempts(in, 100, {.product = "SW", .since = "2026-11-22"}), "");
}

TEST_P(lists, end_behind_the_last_entry_whatever_id_is_asked_for)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");   // entry 5
    begin(in, "A", "1"); // entry 6
    const std::int64_t last = std::numeric_limits<std::int64_t>::max();
    for (const std::int64_t id : {std::int64_t{6}, std::int64_t{7}, last - 20000, last}) {
        for (const auto *label : {"", "A"}) {
            const auto units = in.units_after(id, 10, {.label = label});
            EXPECT_TRUE(units.rows.empty());
            EXPECT_EQ(units.reached, 6);
            EXPECT_FALSE(units.more) << id;
            const auto attempts = in.attempts_after(id, 10, {.label = label});
            EXPECT_TRUE(attempts.rows.empty());
            EXPECT_EQ(attempts.reached, 6);
            EXPECT_FALSE(attempts.more) << id;
        }
    }
}

TEST_P(lists, find_one_attempt_with_its_evidence)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    const auto id = begin(in, "A", "7");
    end(in, id, attempt_outcome::verified);
    const auto found = in.find_attempt(id);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->label, "A");
    EXPECT_EQ(found->product, "SW");
    EXPECT_EQ(found->of.evidence.transcript, "console");
    EXPECT_FALSE(in.find_attempt(id + 1));
}

TEST_P(lists, tell_which_attempts_are_open_and_which_was_the_last_in_a_slot)
{
    auto in = open();
    add_office(in);
    reserved(in, "A");
    reserved(in, "B");
    end(in, begin(in, "B", "1"), attempt_outcome::failed);
    begin(in, "A", "1");
    const auto open = in.open_attempts("line-1");
    ASSERT_EQ(open.size(), 1U);
    EXPECT_EQ(open[0].label, "A");
    EXPECT_TRUE(in.open_attempts("line-2").empty());
    EXPECT_EQ(in.open_attempt("A")->of.start.station, "line-1");
    EXPECT_FALSE(in.open_attempt("B"));
    EXPECT_EQ(in.last_attempt("line-1", "1")->label, "A");
    EXPECT_FALSE(in.last_attempt("line-1", "2"));
}

} // namespace
