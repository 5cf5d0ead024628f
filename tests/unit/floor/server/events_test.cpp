#include <list>

#include <gtest/gtest.h>

#include "unit/floor/server/served_floor.h"

namespace {

using namespace std::chrono_literals;
using floor_tests::get;
using floor_tests::raw_connection;
using floor_tests::served_floor;
using shopfloor::json;

struct told_event {
    std::string start = {};
    std::uint64_t number = 0;
    std::string kind = {};
    json content = {};
};

/** One who reads events and can come back. */
class reader {
public:
    explicit reader(std::uint16_t port, const std::string &last = "") : to_(port)
    {
        to_.send(get(port, "/api/events", last.empty() ? "" : "Last-Event-ID: " + last + "\r\n"));
        head_ = to_.read_to("\r\n\r\n");
    }

    const std::string &head() const { return head_; }

    told_event next()
    {
        to_.read_to("id: ");
        told_event one;
        one.start = without_end(to_.read_to("-"), 1);
        one.number = std::stoull(to_.read_to("\n"));
        to_.read_to("event: ");
        one.kind = without_end(to_.read_to("\n"), 1);
        to_.read_to("data: ");
        one.content = json::parse(without_end(to_.read_to("\n\n"), 2));
        return one;
    }

    raw_connection &line() { return to_; }

private:
    static std::string without_end(std::string text, std::size_t size)
    {
        text.resize(text.size() - size);
        return text;
    }

    raw_connection to_;
    std::string head_;
};

std::string id_of(const told_event &one)
{
    return one.start + "-" + std::to_string(one.number);
}

TEST(events, begin_with_the_whole_state_for_who_is_new)
{
    served_floor at({.slots = 3});
    at.floor.events().add("slot", R"({"slot":1})");
    at.floor.events().add("slot", R"({"slot":2})");
    reader one(at.port());
    EXPECT_NE(one.head().find("Content-Type: text/event-stream\r\n"), std::string::npos);
    const auto first = one.next();
    EXPECT_EQ(first.kind, "state");
    EXPECT_EQ(first.number, 2U);
    EXPECT_EQ(first.content["event"], 2);
    EXPECT_EQ(first.content["slots"].size(), 3U);
    at.floor.events().add("slot", R"({"slot":3})");
    const auto second = one.next();
    EXPECT_EQ(second.kind, "slot");
    EXPECT_EQ(second.number, 3U);
    EXPECT_EQ(second.start, first.start);
    EXPECT_EQ(second.content["slot"], 3);
}

TEST(events, go_on_where_a_reader_was)
{
    served_floor at;
    const auto first = reader(at.port()).next();
    for (int number = 1; number <= 200; ++number) {
        at.floor.events().add("slot", json{{"n", number}}.dump());
    }
    reader back(at.port(), id_of({first.start, 17}));
    for (std::uint64_t number = 18; number <= 200; ++number) {
        const auto one = back.next();
        EXPECT_EQ(one.number, number);
        EXPECT_EQ(one.content["n"], number);
    }
}

TEST(events, begin_anew_where_they_cannot_go_on)
{
    served_floor at({.kept_events = 10});
    const auto start = reader(at.port()).next().start;
    for (int number = 1; number <= 20; ++number) {
        at.floor.events().add("slot", "{}");
    }
    EXPECT_EQ(reader(at.port(), start + "-10").next().number, 11U);
    for (const std::string &last : {start + "-9", start + "-21", std::string("0123456789abcdef-15"),
                                    std::string("15"), std::string("<b>")}) {
        const auto first = reader(at.port(), last).next();
        EXPECT_EQ(first.kind, "state") << last;
        EXPECT_EQ(first.number, 20U) << last;
    }
}

TEST(events, have_no_gap_and_no_double_over_breaks_at_full_rate)
{
    served_floor at({.slots = 64, .busy_slots = 64, .step = 40ms, .kept_events = 200'000});
    std::string last;
    std::uint64_t expected = 0;
    for (int visit = 0; visit < 40; ++visit) {
        reader one(at.port(), last);
        for (int number = 0; number < 30 + visit; ++number) {
            const auto told = one.next();
            if (expected != 0) {
                ASSERT_EQ(told.number, expected);
                ASSERT_EQ(told.kind, "slot");
            }
            expected = told.number + 1;
            last = id_of(told);
        }
    }
}

TEST(events, after_a_state_are_those_that_it_does_not_hold)
{
    served_floor at({.slots = 8, .busy_slots = 8, .step = 5ms, .kept_events = 200'000});
    for (int visit = 0; visit < 20; ++visit) {
        reader one(at.port());
        const auto state = one.next();
        ASSERT_EQ(state.kind, "state");
        ASSERT_EQ(state.number, state.content["event"]);
        ASSERT_EQ(one.next().number, state.number + 1);
    }
}

TEST(events, come_to_every_reader)
{
    served_floor at;
    std::list<reader> all;
    for (int number = 0; number < 50; ++number) {
        all.emplace_back(at.port()).next();
    }
    at.floor.events().add("ledger", R"({"usable":false,"reason":"away"})");
    for (auto &one : all) {
        EXPECT_EQ(one.next().content["reason"], "away");
    }
}

TEST(events, are_kept_alive_by_comments)
{
    served_floor at({}, {.write = 100ms, .comment = 50ms});
    reader one(at.port());
    one.next();
    for (int comment = 0; comment < 5; ++comment) {
        one.line().read_to(":\n\n");
    }
    at.floor.events().add("slot", R"({"slot":1})");
    EXPECT_EQ(one.next().content["slot"], 1);
}

/** Asks until there is a place for one more connection. */
void await_place(std::uint16_t port)
{
    int status = 0;
    while (status != 200) {
        raw_connection to(port);
        to.send(get(port, "/api/events"));
        status = floor_tests::status_of(to.read_to("\r\n\r\n"));
    }
}

TEST(events, are_not_kept_for_who_does_not_read_them)
{
    served_floor at({}, {.connections_of_one = 2, .write = 200ms});
    raw_connection lazy(at.port(), 4096);
    lazy.send(get(at.port(), "/api/events"));
    lazy.read_to("event: state");
    reader keen(at.port());
    keen.next();
    const std::string content = json{{"text", std::string(10'000, 'x')}}.dump();
    for (int number = 0; number < 200; ++number) { // 2 MB, more than a socket holds
        at.floor.events().add("slot", content);
        keen.next();
    }
    await_place(at.port()); // the lazy one's
    at.floor.events().add("slot", content);
    EXPECT_EQ(keen.next().number, 201U);
}

TEST(events, end_with_the_server)
{
    served_floor at;
    reader one(at.port());
    one.next();
    at.server.stop();
    one.line().read_all();
}

TEST(events, of_readers_that_went_away_free_their_places)
{
    served_floor at({}, {.connections_of_one = 4});
    for (int round = 0; round < 50; ++round) {
        await_place(at.port());
    }
}

} // namespace
