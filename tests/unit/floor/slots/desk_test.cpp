#include "floor/slots/desk.h"

#include <future>

#include "unit/floor/slots/floor_fixture.h"

namespace {

using shopfloor::desk;

class floor_desk : public floor_tests::floor_fixture {
protected:
    std::mutex guard;
    std::vector<std::string> told;

    desk::on_change teller()
    {
        return [this](bool usable, const std::string &) { tell(usable ? "usable" : "away"); };
    }
    void tell(const std::string &what)
    {
        const std::lock_guard lock(guard);
        told.push_back(what);
    }
    desk::on_failure failing()
    {
        return [this](const ledger::error &why) {
            tell(why.kind() == ledger::trouble::refused ? "refused" : "failed");
        };
    }
    void hide_ledger() const { std::filesystem::rename(path("line.db"), path("hidden.db")); }
    void show_ledger() const { std::filesystem::rename(path("hidden.db"), path("line.db")); }
};

TEST_F(floor_desk, does_the_work_of_slots_before_questions_and_questions_in_pieces)
{
    // What the desk's thread may still touch goes after the desk.
    std::promise<void> begun;
    std::promise<void> go_on;
    std::promise<void> answered;
    int pieces = 0;
    {
        desk at(ledger_place(), teller());
        at.do_once(
            [&](ledger::book &) {
                begun.set_value();
                go_on.get_future().wait();
            },
            failing());
        begun.get_future().wait(); // what follows finds the desk at work
        at.ask(
            [&](ledger::book &) {
                tell("piece");
                if (pieces == 0) {
                    at.do_surely([&](ledger::book &) { tell("between"); }, failing());
                }
                const bool last = ++pieces == 3;
                if (last) {
                    answered.set_value();
                }
                return !last;
            },
            failing());
        at.do_once([&](ledger::book &) { tell("once"); }, failing());
        at.do_surely([&](ledger::book &) { tell("surely"); }, failing());
        go_on.set_value();
        answered.get_future().wait();
    }
    EXPECT_EQ(told,
              (std::vector<std::string>{"surely", "once", "piece", "between", "piece", "piece"}));
}

TEST_F(floor_desk, hands_refusals_on_and_lives)
{
    {
        desk at(ledger_place(), teller());
        at.do_once([](ledger::book &in) { in.record_stored(999, ""); }, failing());
        at.do_surely([](ledger::book &in) { in.record_stored(999, ""); }, failing());
        at.do_once([](ledger::book &) { throw std::runtime_error("a mistake"); }, failing());
        at.do_once([&](ledger::book &) { tell("done"); }, failing());
    }
    EXPECT_EQ(told, (std::vector<std::string>{"refused", "refused", "refused", "done"}));
}

TEST_F(floor_desk, does_later_what_must_be_done_where_the_ledger_is_away)
{
    std::promise<void> done;
    std::promise<void> failed;
    hide_ledger();
    {
        desk at(ledger_place(), teller());
        at.do_surely(
            [&](ledger::book &) {
                tell("surely");
                done.set_value();
            },
            failing());
        at.do_once([&](ledger::book &) { tell("once"); },
                   [&](const ledger::error &why) {
                       failing()(why);
                       failed.set_value();
                   });
        failed.get_future().wait();
        show_ledger();
        done.get_future().wait();
    }
    EXPECT_EQ(told, (std::vector<std::string>{"away", "failed", "surely", "usable"}));
}

TEST_F(floor_desk, does_what_must_be_done_although_questions_never_end)
{
    std::promise<void> failed;
    std::promise<void> done;
    bool is_done = false; // used on the desk's thread only, as what follows
    bool has_failed = false;
    hide_ledger();
    {
        desk at(ledger_place(), teller());
        const auto question = [&](ledger::book &) { return !is_done; };
        const desk::on_failure ask_again = [&](const ledger::error &) {
            at.ask(question, ask_again);
            if (!std::exchange(has_failed, true)) {
                failed.set_value();
            }
        };
        at.do_surely(
            [&](ledger::book &) {
                tell("surely");
                is_done = true;
                done.set_value();
            },
            failing());
        at.ask(question, ask_again);
        failed.get_future().wait();
        show_ledger();
        done.get_future().wait();
    }
    EXPECT_EQ(told, (std::vector<std::string>{"away", "surely", "usable"}));
}

TEST_F(floor_desk, ends_without_what_a_ledger_that_is_away_would_have_to_take)
{
    hide_ledger();
    {
        desk at(ledger_place(), teller());
        at.do_surely([&](ledger::book &) { tell("surely"); }, failing());
    }
    EXPECT_EQ(told, std::vector<std::string>{"away"});
}

TEST_F(floor_desk, tries_at_its_end_once_more_what_must_be_done)
{
    std::promise<void> failed;
    hide_ledger();
    {
        desk at(ledger_place(), teller());
        at.do_surely([&](ledger::book &) { tell("surely"); }, failing());
        at.do_once([](ledger::book &) {}, [&](const ledger::error &) { failed.set_value(); });
        failed.get_future().wait();
        show_ledger();
    }
    EXPECT_EQ(told, (std::vector<std::string>{"away", "surely", "usable"}));
}

TEST_F(floor_desk, lets_a_slot_begin_nothing_while_the_ledger_is_away)
{
    describe(1);
    hide_ledger();
    open();
    const auto refused = start(1, "A");
    EXPECT_EQ(code(refused), "ledger_away");
    EXPECT_EQ(slot(1)["state"], "idle");
    EXPECT_EQ(floor->state()["ledger"]["usable"], false);
    EXPECT_EQ(boards.at(1).bytes_to_switch, 0U);
    show_ledger();
    EXPECT_EQ(code(start(1, "A")), "none");
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    EXPECT_EQ(floor->state()["ledger"]["usable"], true);
}

TEST_F(floor_desk, enters_the_end_of_a_run_once_the_ledger_is_back)
{
    describe(1);
    open();
    boards.at(1).at_byte_to_switch = [this, hidden = false](std::size_t) mutable {
        if (!std::exchange(hidden, true)) {
            // The desk has the file open: what it may not write to is away for it, too.
            std::filesystem::create_directory(path("line.db-journal"));
        }
    };
    start(1, "A");
    wait_for(1, [](const floor_tests::json &slot) {
        return slot["run"]["phase"] == "enters the end into the ledger";
    });
    EXPECT_EQ(slot(1)["state"], "running");
    std::filesystem::remove(path("line.db-journal"));
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    EXPECT_EQ(ledger::state_text(open_ledger().find("A")->state), "verified");
}

} // namespace
