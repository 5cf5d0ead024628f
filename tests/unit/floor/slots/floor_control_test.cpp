#include <atomic>
#include <limits>

#include "unit/floor/slots/floor_fixture.h"

namespace {

using namespace floor_tests;
using shopfloor::answer;

class floor_control : public floor_fixture {
protected:
    ledger::unit unit(const std::string &label) const { return *open_ledger().find(label); }

    std::string state_of(const std::string &label) const
    {
        return std::string(ledger::state_text(unit(label).state));
    }
};

TEST_F(floor_control, verifies_a_switch_with_the_identity_of_its_label)
{
    describe(2);
    open();
    const auto begun = start({.slot = 2, .label = "A", .operator_badge = "0017"});
    EXPECT_EQ(code(begun), "none");
    EXPECT_EQ(begun.content["slot"], 2);
    EXPECT_EQ(begun.content["run"]["mac"], "00:1A:2B:00:00:00");
    EXPECT_EQ(begun.content["run"]["serial"], "ABCDEFGH00001");
    const auto ended = wait_for_end(2);
    EXPECT_EQ(words(ended), "verified PASS") << ended.dump(2);
    EXPECT_EQ(ended["run"]["steps"][0]["state"], "done");
    EXPECT_EQ(ended["health"]["verified"], 1);
    EXPECT_EQ(boards.at(2).record("ethaddr"), "00:1A:2B:00:00:00");
    EXPECT_EQ(boards.at(2).record("SerialNO"), "ABCDEFGH00001");
    EXPECT_EQ(boards.at(1).record("SerialNO"), "");
    const auto attempts = open_ledger().attempts_of(unit("A"));
    ASSERT_EQ(attempts.size(), 1U);
    EXPECT_EQ(attempts[0].start.station, "line3");
    EXPECT_EQ(attempts[0].start.slot, "2");
    EXPECT_EQ(attempts[0].start.operator_name, "0017");
    EXPECT_EQ(attempts[0].start.program_version, "setmac-floor 0.1.0");
    EXPECT_TRUE(attempts[0].stored_at);
    EXPECT_NE(attempts[0].evidence.transcript.find(R"("from":"station","text":"\r"})"),
              std::string::npos)
        << attempts[0].evidence.transcript;
    EXPECT_EQ(state_of("A"), "verified");
}

TEST_F(floor_control, shows_nothing_ahead_of_the_ledger)
{
    describe(1);
    open();
    std::vector<std::string> ahead;
    const auto seen_in_ledger = [this] {
        const auto found = open_ledger().find("A");
        return found ? std::string(ledger::state_text(found->state)) : "none";
    };
    std::uint64_t looked = 0;
    floor->events().call_on_news([&] {
        const auto news = floor->events().after(looked, 1000);
        looked = floor->events().last();
        for (const auto &each : *news) {
            const auto told = json::parse(each.content);
            const auto state = told.value("state", "");
            const auto is = seen_in_ledger();
            if ((state == "running" && is == "reserved") ||
                (state != "preparing" && is == "none")) {
                ahead.push_back(state + " while " + is);
            }
            if (state == "ended" && is != "verified") {
                ahead.push_back(state + " while " + is);
            }
        }
    });
    start(1, "A");
    while (slot(1)["state"] != "ended") {
        std::this_thread::yield();
    }
    floor->events().call_on_news({});
    EXPECT_EQ(ahead, std::vector<std::string>{});
    EXPECT_GT(looked, 5U);
}

TEST_F(floor_control, refuses_what_can_be_no_label)
{
    describe(1);
    open();
    for (const auto *label : {"", " A", "A\n", "SLOT-1", "OP-0017", "\xff"}) {
        EXPECT_EQ(code(start(1, label)), "bad_label") << label;
    }
    EXPECT_EQ(code(start(2, "A")), "no_such_slot");
    EXPECT_EQ(code(start({.slot = 1, .label = "A", .product = "other"})), "wrong_product");
    EXPECT_EQ(code(start({.slot = 1, .label = "A", .operator_badge = "\x01"})), "bad_request");
    EXPECT_FALSE(open_ledger().find("A"));
    EXPECT_EQ(slot(1)["state"], "idle");
}

TEST_F(floor_control, does_a_verified_unit_again_only_where_it_is_asked_to)
{
    describe(1);
    open();
    start(1, "A");
    wait_for_end(1);
    const auto refused = start(1, "A");
    EXPECT_EQ(code(refused), "already_verified");
    EXPECT_EQ(words(slot(1)), "verified PASS");
    EXPECT_EQ(code(start({.slot = 1, .label = "A", .again = true})), "none");
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    EXPECT_EQ(open_ledger().attempts_of(unit("A")).size(), 2U);
}

TEST_F(floor_control, refuses_void_units_and_those_of_another_product)
{
    auto in = open_ledger();
    ledger::product other;
    other.name = "OTHER";
    other.mac.pool = "office";
    in.add_product(other);
    in.reserve({.label = "B", .product = "OTHER"});
    in.reserve({.label = "V", .product = "SW"});
    in.void_unit("V", "lost", "Ada");
    describe(1);
    open();
    EXPECT_EQ(code(start(1, "V")), "void");
    EXPECT_EQ(code(start(1, "B")), "wrong_product");
    EXPECT_EQ(slot(1)["state"], "idle");
    EXPECT_TRUE(slot(1)["run"].is_null());
}

TEST_F(floor_control, tells_where_a_label_is_in_work)
{
    describe(2);
    other_lines[1] = std::make_unique<silent_line>();
    open();
    EXPECT_EQ(code(start(1, "A")), "none");
    EXPECT_EQ(code(start(1, "B")), "slot_busy");
    const auto here = start(2, "A");
    EXPECT_EQ(code(here), "label_in_work");
    EXPECT_EQ(here.refused->reason, "slot 1 works on label A");

    auto in = open_ledger();
    in.reserve({.label = "C", .product = "SW"});
    in.begin_attempt("C", {.station = "line9", .slot = "4"});
    const auto elsewhere = start(2, "C");
    EXPECT_EQ(code(elsewhere), "attempt_open");
    EXPECT_NE(elsewhere.refused->reason.find("station line9, slot 4"), std::string::npos);
    EXPECT_EQ(code(start({.slot = 2, .label = "C", .take_over = true})), "none");
    EXPECT_EQ(words(wait_for_end(2)), "verified PASS");

    EXPECT_EQ(code(ask([&](auto to) { floor->cancel(1, to); })), "none");
    EXPECT_EQ(words(wait_for_end(1)), "cancelled none");
    EXPECT_EQ(state_of("A"), "failed");
}

TEST_F(floor_control, compares_only_where_it_is_asked_to)
{
    describe(1);
    open();
    EXPECT_EQ(code(start({.slot = 1, .label = "A", .only_check = true})), "not_found");
    start(1, "A");
    wait_for_end(1);
    EXPECT_EQ(code(start({.slot = 1, .label = "A", .only_check = true})), "none");
    const auto ended = wait_for_end(1);
    EXPECT_EQ(words(ended), "verified PASS");
    EXPECT_TRUE(ended["run"]["attempt"].is_null());
    EXPECT_EQ(open_ledger().attempts_of(unit("A")).size(), 1U);
}

TEST_F(floor_control, leaves_another_units_identity_alone)
{
    describe(1);
    boards[1].store("SerialNO", "ZZZZZZZZZ9999");
    open();
    start(1, "A");
    EXPECT_EQ(words(wait_for_end(1)), "other_identity FAIL");
    EXPECT_EQ(boards.at(1).record("SerialNO"), "ZZZZZZZZZ9999");
    EXPECT_EQ(state_of("A"), "failed");
    start({.slot = 1, .label = "A", .replace = true});
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
}

TEST_F(floor_control, shows_after_its_end_what_the_ledger_knows)
{
    describe(3);
    open();
    start(1, "A");
    wait_for_end(1);
    close();
    auto in = open_ledger();
    in.reserve({.label = "B", .product = "SW"});
    // As a floor leaves it that was killed.
    in.begin_attempt("B",
                     {.station = "line3", .slot = "2", .program_version = "setmac-floor 0.0.9"});
    // Another program of this PC, which works on.
    in.reserve({.label = "C", .product = "SW"});
    in.begin_attempt("C", {.station = "line3", .slot = "3", .program_version = "0.1.0"});
    open();
    wait_for(2, [](const json &slot) { return slot["state"] == "ended"; });
    EXPECT_EQ(words(slot(1)), "verified PASS");
    EXPECT_EQ(words(slot(2)), "in_doubt FAIL");
    EXPECT_EQ(slot(2)["run"]["mac"], "00:1A:2B:00:00:40");
    EXPECT_EQ(slot(3)["state"], "idle");
    EXPECT_EQ(state_of("B"), "in doubt");
    EXPECT_EQ(state_of("C"), "writing");
    const auto again = start(3, "B");
    EXPECT_EQ(again.content["run"]["mac"], "00:1A:2B:00:00:40");
    EXPECT_EQ(words(wait_for_end(3)), "verified PASS");
}

TEST_F(floor_control, ends_its_runs_in_a_known_state)
{
    describe(1);
    other_lines[1] = std::make_unique<silent_line>();
    open();
    start(1, "A");
    floor->stop();
    EXPECT_EQ(words(slot(1)), "cancelled none");
    EXPECT_EQ(state_of("A"), "failed");
    EXPECT_EQ(code(ask([&](auto to) { floor->start({.slot = 1, .label = "A"}, to); })), "refused");
}

TEST_F(floor_control, notices_what_is_plugged_in_and_out)
{
    describe(0, "[[slot]]\nnumber = 1\nplace = \"usb 1-1.4\"\n");
    open();
    EXPECT_EQ(slot(1)["state"], "unplugged");
    EXPECT_EQ(slot(1)["trouble"], "no adapter at usb 1-1.4");
    EXPECT_EQ(code(start(1, "A")), "slot_unplugged");
    ports.plug({"/dev/ttyUSB7", "usb 1-1.4", ""});
    EXPECT_EQ(slot(1)["state"], "idle");
    EXPECT_EQ(slot(1)["trouble"], "");
    start(1, "A");
    EXPECT_EQ(words(wait_for_end(1)), "verified PASS");
    ports.unplug("usb 1-1.4");
    EXPECT_EQ(slot(1)["state"], "unplugged");
    ports.plug({"/dev/ttyUSB8", "usb 1-1.4", ""});
    EXPECT_EQ(slot(1)["state"], "ended");
}

TEST_F(floor_control, shows_the_last_of_two_looks_at_an_adapter)
{
    describe(0, "[[slot]]\nnumber = 1\nplace = \"usb 1-1.4\"\n");
    ports.plug({"/dev/ttyUSB7", "usb 1-1.4", ""});
    auto in = open_ledger();
    in.reserve({.label = "V", .product = "SW"});
    in.void_unit("V", "lost", "Ada");
    open();
    std::atomic<int> looks = 0;
    std::promise<void> seen;
    std::promise<void> go_on;
    ports.call_on_look([&] {
        if (looks++ == 0) {
            seen.set_value();
            go_on.get_future().wait();
        }
    });
    auto refused = asked_to_start({.slot = 1, .label = "V"});
    seen.get_future().wait(); // that the adapter is there
    auto pulled = std::async(std::launch::async, [&] { ports.unplug("usb 1-1.4"); });
    pulled.wait_for(std::chrono::milliseconds(200)); // it may have to wait for the look before
    go_on.set_value();
    EXPECT_EQ(code(answer_of(std::move(refused))), "void");
    pulled.get();
    EXPECT_EQ(slot(1)["state"], "unplugged");
    ports.call_on_look({});
}

TEST_F(floor_control, takes_badges_with_and_without_their_beginning)
{
    describe(1);
    open();
    EXPECT_TRUE(floor->state()["operator"].is_null());
    EXPECT_EQ(code(ask([&](auto to) { floor->change_operator("OP-0017", to); })), "none");
    EXPECT_EQ(floor->state()["operator"], "0017");
    EXPECT_EQ(code(ask([&](auto to) { floor->change_operator("00\n", to); })), "bad_request");
    start(1, "A");
    wait_for_end(1);
    EXPECT_EQ(open_ledger().attempts_of(unit("A"))[0].start.operator_name, "0017");
    EXPECT_EQ(code(ask([&](auto to) { floor->change_operator("", to); })), "none");
    EXPECT_TRUE(floor->state()["operator"].is_null());
}

TEST_F(floor_control, answers_questions_about_units_and_attempts)
{
    describe(3);
    open();
    int number = 0;
    for (const auto *label : {"A", "B", "C"}) {
        start(++number, label);
        wait_for_end(number);
    }
    const auto found = ask([&](auto to) { floor->find_unit("00:1A:2B:00:00:41", to); });
    EXPECT_EQ(found.content["unit"]["label"], "B");
    EXPECT_EQ(found.content["attempts"].size(), 1U);
    EXPECT_EQ(found.content["history"][0]["kind"], "reserve");
    EXPECT_EQ(code(ask([&](auto to) { floor->find_unit("nothing", to); })), "not_found");

    const auto id = found.content["attempts"][0]["id"].get<std::int64_t>();
    const auto attempt = ask([&](auto to) { floor->find_attempt(id, to); });
    EXPECT_EQ(attempt.content["outcome"], "verified");
    EXPECT_NE(attempt.content["console"].get<std::string>().find("switch"), std::string::npos);
    EXPECT_EQ(code(ask([&](auto to) { floor->find_attempt(1, to); })), "not_found");

    const auto first = ask([&](auto to) { floor->units({.limit = 2}, to); });
    EXPECT_EQ(first.content["rows"].size(), 2U);
    const auto after = first.content["after"].get<std::int64_t>();
    const auto rest = ask([&](auto to) { floor->units({.after = after, .limit = 2}, to); });
    EXPECT_EQ(rest.content["rows"].size(), 1U);
    EXPECT_TRUE(rest.content["after"].is_null());
    const auto behind_all = std::numeric_limits<std::int64_t>::max();
    for (const auto &none : {ask([&](auto to) { floor->units({.after = behind_all}, to); }),
                             ask([&](auto to) { floor->attempts({.after = behind_all}, to); })}) {
        EXPECT_TRUE(none.content["rows"].empty());
        EXPECT_TRUE(none.content["after"].is_null());
    }
    const auto attempts = ask([&](auto to) { floor->attempts({.label = "C"}, to); });
    EXPECT_EQ(attempts.content["rows"].size(), 1U);
    const auto pools = ask([&](auto to) { floor->pools(to); });
    EXPECT_EQ(pools.content["pools"][0]["units_left"], 262141);
}

} // namespace
