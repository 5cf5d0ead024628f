// A floor whose ledger is on a server: it goes away and comes back, breaks connections off, and has
// other stations.

#include "ledger/store/database.h"
#include "unit/floor/slots/floor_fixture.h"
#include "unit/ledger/support/ledger_test.h"
#include "unit/ledger/support/postgres_server.h"

namespace {

using namespace floor_tests;
using ledger_tests::findings_of;
using ledger_tests::postgres_server;
using ledger_tests::sql_error;

class floor_on_server : public floor_fixture {
protected:
    void SetUp() override
    {
        ASSERT_EQ(sql_error(url_, "DROP SCHEMA IF EXISTS ledger CASCADE"), "");
        floor_fixture::SetUp();
        looks.while_away = std::chrono::milliseconds(100);
    }

    void TearDown() override
    {
        close();
        server.start();
        auto in = open_ledger();
        EXPECT_EQ(findings_of(in), "");
        floor_fixture::TearDown();
    }

    std::string ledger_url() const override { return url_; }

    /** The floor of "line3" has slot 1, and that of "line4" slot 2. */
    void open_two()
    {
        describe(1);
        write("LINE4.toml", floor_text("line4", 2, 2));
        open();
        second_floor = opened("LINE4.toml");
    }

    /** While no slot works. */
    void put_new_switch(int slot)
    {
        boards.erase(slot);
        boards.try_emplace(slot);
    }

    /** Calls it once, when the identity begins to go to the switch in that slot. */
    void as_the_identity_is_sent(int slot, std::function<void()> what)
    {
        auto &board = boards.at(slot);
        board.at_byte_to_switch = [&board, what, done = false](std::size_t) mutable {
            if (board.in_operation() && !std::exchange(done, true)) {
                what();
            }
        };
    }

    bool usable() const { return floor->state()["ledger"]["usable"]; }

    /** What was told since that event of whether the ledger can be used, each change once. */
    std::vector<bool> told_since(std::uint64_t event)
    {
        std::vector<bool> told;
        const auto events = floor->events().after(event, 10000);
        for (const auto &each : *events) {
            if (each.kind == "ledger") {
                told.push_back(json::parse(each.content)["usable"]);
            }
        }
        told.erase(std::unique(told.begin(), told.end()), told.end());
        return told;
    }

    /** The ledger has the unit as the board in that slot, verified by its only attempt. */
    void expect_one_attempt(const std::string &label, int slot)
    {
        auto in = open_ledger();
        const auto unit = in.find(label, ledger::search::label);
        ASSERT_TRUE(unit) << label;
        EXPECT_EQ(ledger::state_text(unit->state), "verified");
        EXPECT_EQ(boards.at(slot).record("SerialNO"), unit->serial);
        EXPECT_EQ(boards.at(slot).record("ethaddr"), ledger::mac_text(*unit->mac));
        const auto attempts = in.attempts_of(*unit);
        ASSERT_EQ(attempts.size(), 1U);
        EXPECT_TRUE(attempts[0].stored_at);
        EXPECT_TRUE(attempts[0].ended_at);
        EXPECT_EQ(attempts[0].start.slot, std::to_string(slot));
        EXPECT_EQ(attempts[0].outcome, ledger::attempt_outcome::verified);
    }

    /** Ends all connections to the ledger, and waits until they have ended. */
    std::string cut_all() const
    {
        return sql_error(url_, "SELECT pg_terminate_backend(pid, 60000) FROM pg_stat_activity "
                               "WHERE datname = current_database() AND pid <> pg_backend_pid()");
    }

    /** Ends the connection that waits for another one's lock, once there is one. */
    std::string cut_the_one_that_waits() const
    {
        return sql_error(url_, R"(DO $$
DECLARE
    waiting integer;
BEGIN
    FOR tries IN 1 .. 12000 LOOP
        SELECT pid INTO waiting FROM pg_locks WHERE NOT granted;
        EXIT WHEN waiting IS NOT NULL;
        PERFORM pg_sleep(0.01);
    END LOOP;
    IF waiting IS NULL OR NOT pg_terminate_backend(waiting, 60000) THEN
        RAISE EXCEPTION 'none was ended';
    END IF;
END $$)");
    }

    /** For cut_at_commit(). A sequence also counts what is undone. */
    void watch_commits() const
    {
        ASSERT_EQ(sql_error(url_, R"(
CREATE SEQUENCE commits;
CREATE FUNCTION cut() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    IF nextval('ledger.commits') = 1000 THEN
        PERFORM pg_terminate_backend(pg_backend_pid());
    END IF;
    RETURN NULL;
END $$;
CREATE CONSTRAINT TRIGGER cut AFTER INSERT ON journal
    DEFERRABLE INITIALLY DEFERRED FOR EACH ROW EXECUTE FUNCTION cut())"),
                  "");
    }
    /** Ends a connection in the midst of the COMMIT of the entry with that number, from 1. */
    void cut_at_commit(int number) const
    {
        ASSERT_EQ(
            sql_error(url_, "SELECT setval('commits', " + std::to_string(1000 - number) + ")"), "");
    }

    postgres_server &server = postgres_server::only();

private:
    // A database is hundreds of files, which a server that starts again looks at.
    static std::string only_database()
    {
        static const auto url = postgres_server::only().new_database();
        return url;
    }
    const std::string url_ = only_database();
};

TEST_F(floor_on_server, sends_nothing_while_the_server_is_away_and_goes_on_once_it_is_back)
{
    describe(2);
    open();
    start(1, "A");
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    server.stop();
    const auto refused = start(2, "B");
    ASSERT_EQ(code(refused), "ledger_away");
    EXPECT_NE(refused.refused->reason.find("onnection to "), std::string::npos)
        << refused.refused->reason;
    EXPECT_EQ(floor->state()["ledger"]["reason"], refused.refused->reason);
    EXPECT_FALSE(usable());
    EXPECT_EQ(slot(2)["state"], "idle");
    EXPECT_EQ(boards.at(2).bytes_to_switch, 0U);
    server.start();
    EXPECT_EQ(code(start(2, "B")), "none");
    EXPECT_EQ(words(wait_for_end(2)), "verified PASS");
    EXPECT_TRUE(usable());
    expect_one_attempt("A", 1);
    expect_one_attempt("B", 2);
}

TEST_F(floor_on_server, may_be_opened_before_the_server_is)
{
    auto in = open_ledger();
    in.reserve({.label = "A", .product = "SW"});
    // Whose end nobody told.
    in.begin_attempt("A",
                     {.station = "line3", .slot = "1", .program_version = "setmac-floor 0.1.0"});
    server.stop();
    describe(2);
    open();
    ASSERT_TRUE(wait_until([&] { return !usable(); }));
    EXPECT_EQ(code(start(2, "A")), "ledger_away");
    EXPECT_EQ(boards.at(2).bytes_to_switch, 0U);
    server.start();
    ASSERT_TRUE(wait_until([&] { return usable(); }));
    wait_for(1, [](const json &slot) { return slot["state"] == "ended"; });
    EXPECT_EQ(words(slot(1)), "in_doubt FAIL");
    EXPECT_EQ(code(start(2, "A")), "none");
    EXPECT_EQ(words(wait_for_end(2)), "verified PASS");
    EXPECT_EQ(boards.at(2).record("SerialNO"), "ABCDEFGH00001");
}

TEST_F(floor_on_server, enters_the_end_of_a_run_once_the_server_is_back)
{
    describe(1);
    open();
    as_the_identity_is_sent(1, [&] { server.stop(); });
    EXPECT_EQ(code(start(1, "A")), "none");
    wait_for(1, [](const json &slot) {
        return slot["run"]["phase"] == "enters the end into the ledger";
    });
    ASSERT_TRUE(wait_until([&] { return !usable(); }));
    EXPECT_EQ(slot(1)["state"], "running");
    EXPECT_TRUE(slot(1)["run"]["verdict"].is_null());
    EXPECT_EQ(boards.at(1).record("SerialNO"), "ABCDEFGH00001");
    server.start();
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    EXPECT_TRUE(wait_until([&] { return usable(); }));
    expect_one_attempt("A", 1);
}

TEST_F(floor_on_server, does_not_notice_a_server_that_loses_its_power_for_a_moment_of_a_run)
{
    describe(1);
    open();
    std::promise<void> sending;
    std::promise<void> is_back;
    as_the_identity_is_sent(1, [&] {
        sending.set_value();
        is_back.get_future().wait();
    });
    ASSERT_EQ(code(start(1, "A")), "none");
    const auto before = floor->events().last();
    sending.get_future().wait();
    server.restart();
    is_back.set_value();
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    EXPECT_EQ(told_since(before), std::vector<bool>{});
    expect_one_attempt("A", 1);
}

TEST_F(floor_on_server, ends_while_the_server_is_away_and_leaves_its_runs_in_doubt)
{
    describe(1);
    other_lines[1] = std::make_unique<silent_line>();
    open();
    EXPECT_EQ(code(start(1, "A")), "none");
    server.stop();
    const auto begin = std::chrono::steady_clock::now();
    close();
    // Consoles are waited for that long; the ledger is not.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    other_lines.clear();
    server.start();
    open();
    wait_for(1, [](const json &slot) { return slot["state"] == "ended"; });
    EXPECT_EQ(words(slot(1)), "in_doubt FAIL");
    EXPECT_EQ(code(start(1, "A")), "none");
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    EXPECT_EQ(boards.at(1).record("SerialNO"), "ABCDEFGH00001");
}

TEST_F(floor_on_server, tells_without_being_asked_that_the_server_went_away_and_came_back)
{
    looks.while_well = std::chrono::milliseconds(200);
    describe(1);
    open();
    start(1, "A");
    wait_for_end(1);
    const auto before = floor->events().last();
    server.stop();
    ASSERT_TRUE(wait_until([&] { return !usable(); }));
    server.start();
    ASSERT_TRUE(wait_until([&] { return usable(); }));
    EXPECT_EQ(told_since(before), (std::vector{false, true}));
    EXPECT_EQ(floor->state()["ledger"]["reason"], "");
    EXPECT_EQ(code(start(1, "A")), "already_verified");
}

TEST_F(floor_on_server, leaves_a_label_to_the_station_that_works_on_it)
{
    describe(1);
    open();
    auto in = open_ledger();
    in.reserve({.label = "A", .product = "SW"});
    const auto theirs = in.begin_attempt("A", {.station = "line9", .slot = "4"});
    const auto refused = start(1, "A");
    ASSERT_EQ(code(refused), "attempt_open");
    EXPECT_NE(refused.refused->reason.find("station line9, slot 4"), std::string::npos)
        << refused.refused->reason;
    EXPECT_EQ(slot(1)["state"], "idle");
    EXPECT_EQ(boards.at(1).bytes_to_switch, 0U);
    in.end_attempt(theirs, ledger::attempt_outcome::failed, "no switch there", {});
    EXPECT_EQ(code(start(1, "A")), "none");
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    EXPECT_EQ(boards.at(1).record("SerialNO"), "ABCDEFGH00001");
    EXPECT_EQ(in.attempts_of(*in.find("A")).size(), 2U);
}

TEST_F(floor_on_server, shows_no_verdict_of_a_run_that_another_station_took_over)
{
    describe(1);
    open();
    as_the_identity_is_sent(1, [&] {
        open_ledger().begin_attempt("A", {.station = "line9", .slot = "4", .take_over = true});
    });
    start(1, "A");
    const auto ended = wait_for_end(1);
    EXPECT_EQ(words(ended), "failed FAIL");
    EXPECT_NE(ended["run"]["reason"].get<std::string>().find("has ended: in doubt"),
              std::string::npos)
        << ended.dump(2);
    EXPECT_EQ(open_ledger().open_attempt("A")->of.start.station, "line9");
    EXPECT_TRUE(usable());
}

TEST_F(floor_on_server, of_two_with_the_same_new_label_at_once_one_writes_it)
{
    open_two();
    for (const auto *label : {"A", "B", "C", "D"}) {
        SCOPED_TRACE(label);
        // The one that writes does not end before the other one has been told.
        std::promise<void> both_told;
        const auto told = both_told.get_future().share();
        for (const int number : {1, 2}) {
            put_new_switch(number);
            boards.at(number).at_byte_to_switch = [told](std::size_t) { told.wait(); };
        }
        auto first = asked_to_start({.slot = 1, .label = label});
        auto second = asked_to_start({.slot = 2, .label = label});
        const std::vector codes{code(answer_of(std::move(first))),
                                code(answer_of(std::move(second)))};
        both_told.set_value();
        const int writer = codes[0] == "none" ? 1 : 2;
        const int other = 3 - writer;
        EXPECT_EQ(codes[writer - 1], "none");
        EXPECT_EQ(codes[other - 1], "attempt_open");
        EXPECT_EQ(words(wait_for_end(writer)), "verified PASS");
        EXPECT_EQ(boards.at(other).bytes_to_switch, 0U);
        expect_one_attempt(label, writer);
        EXPECT_EQ(code(start(other, label)), "already_verified");
    }
}

TEST_F(floor_on_server, of_two_with_different_labels_at_once_each_writes_an_identity_of_its_own)
{
    open_two();
    for (const std::string label : {"A", "B", "C", "D"}) {
        SCOPED_TRACE(label);
        for (const int number : {1, 2}) {
            put_new_switch(number);
        }
        auto first = asked_to_start({.slot = 1, .label = label + "1"});
        auto second = asked_to_start({.slot = 2, .label = label + "2"});
        EXPECT_EQ(code(answer_of(std::move(first))), "none");
        EXPECT_EQ(code(answer_of(std::move(second))), "none");
        EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
        EXPECT_EQ(words(wait_for_end(2)), "verified PASS");
        expect_one_attempt(label + "1", 1);
        expect_one_attempt(label + "2", 2);
        EXPECT_NE(boards.at(1).record("SerialNO"), boards.at(2).record("SerialNO"));
        EXPECT_NE(boards.at(1).record("ethaddr"), boards.at(2).record("ethaddr"));
    }
}

TEST_F(floor_on_server, does_not_notice_a_connection_that_is_cut_between_its_questions)
{
    describe(1);
    open();
    start(1, "A");
    wait_for_end(1);
    const auto before = floor->events().last();
    EXPECT_EQ(cut_all(), "");
    put_new_switch(1);
    as_the_identity_is_sent(1, [&] { EXPECT_EQ(cut_all(), ""); });
    EXPECT_EQ(code(start(1, "B")), "none");
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    EXPECT_EQ(told_since(before), std::vector<bool>{});
    expect_one_attempt("B", 1);
}

TEST_F(floor_on_server, asks_again_where_the_connection_is_cut_while_it_waits_for_its_turn)
{
    describe(1);
    open();
    const auto other_writer = ledger::open_database(ledger_url(), false);
    other_writer->begin_write();
    other_writer->first("ledger_lock");
    auto coming = asked_to_start({.slot = 1, .label = "A"});
    EXPECT_EQ(cut_the_one_that_waits(), "");
    EXPECT_EQ(boards.at(1).bytes_to_switch, 0U);
    other_writer->rollback();
    EXPECT_EQ(code(answer_of(std::move(coming))), "none");
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    EXPECT_EQ(boards.at(1).record("SerialNO"), "ABCDEFGH00001");
    expect_one_attempt("A", 1);
}

TEST_F(floor_on_server, loses_nothing_where_the_connection_is_cut_at_any_commit_of_a_run)
{
    describe(1);
    open();
    watch_commits();
    // The reservation, the attempt's begin, that the switch has stored it, the end.
    for (const int commit : {1, 2, 3, 4}) {
        SCOPED_TRACE(commit);
        const auto label = "A" + std::to_string(commit);
        put_new_switch(1);
        const auto before = floor->events().last();
        cut_at_commit(commit);
        const bool at_start = commit <= 2;
        EXPECT_EQ(code(start(1, label)), at_start ? "ledger_away" : "none");
        if (at_start) {
            EXPECT_EQ(boards.at(1).bytes_to_switch, 0U);
            EXPECT_EQ(code(start(1, label)), "none");
        }
        EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
        EXPECT_TRUE(wait_until([&] { return usable(); }));
        EXPECT_EQ(told_since(before), (std::vector{false, true}));
        EXPECT_EQ(boards.at(1).record("SerialNO"), "ABCDEFGH0000" + std::to_string(commit));
        expect_one_attempt(label, 1);
    }
}

} // namespace
