#include <future>

#include <gtest/gtest.h>

#include "floor/server/client.h"
#include "unit/floor/server/served_floor.h"

namespace {

using namespace std::chrono_literals;
using floor_tests::body_of;
using floor_tests::get;
using floor_tests::post;
using floor_tests::raw_connection;
using floor_tests::served_floor;
using floor_tests::stand_in;
using floor_tests::status_of;
using shopfloor::json;

/** A floor that keeps its answers for itself until it is told to give them. */
class slow_floor : public stand_in {
public:
    using stand_in::stand_in;

    void pools(shopfloor::reply to) override { asked_.set_value(std::move(to)); }
    shopfloor::reply next_question() { return asked_.get_future().get(); }

private:
    std::promise<shopfloor::reply> asked_;
};

class throwing_floor : public stand_in {
public:
    using stand_in::stand_in;

    void pools(shopfloor::reply) override { throw std::runtime_error("out of order"); }
};

TEST(server, tells_the_port_that_the_system_chose)
{
    const served_floor at;
    EXPECT_GT(at.port(), 0);
    EXPECT_EQ(status_of(at.response_to(get(at.port(), "/api/state"))), 200);
}

TEST(server, does_not_share_a_port)
{
    const served_floor first;
    stand_in floor({});
    shopfloor::server second(floor, {.port = first.port()});
    try {
        second.start();
        FAIL() << "it listens";
    } catch (const std::runtime_error &why) {
        EXPECT_EQ(why.what(), "cannot listen on 127.0.0.1:" + std::to_string(first.port()) +
                                  ": Address already in use");
    }
}

TEST(server, serves_those_who_came_to_its_port_before_it)
{
    std::uint16_t number = 0;
    {
        const served_floor gone;
        number = gone.port();
    }
    const shopfloor::server_settings settings{.port = number};
    shopfloor::listening_port port(settings);
    EXPECT_THROW(shopfloor::listening_port second(settings), std::runtime_error);
    raw_connection early(number);
    early.send(get(number, "/api/state"));
    stand_in floor({});
    shopfloor::server server(floor, settings);
    server.start(port);
    EXPECT_EQ(server.port(), number);
    EXPECT_EQ(status_of(early.read_response()), 200);
}

TEST(server, refuses_an_address_that_is_none)
{
    stand_in floor({});
    shopfloor::server server(floor, {.address = "localhost", .port = 0});
    EXPECT_THROW(server.start(), std::runtime_error);
}

TEST(server, can_be_started_again_with_another_token)
{
    stand_in floor({});
    shopfloor::server server(floor, {.port = 0});
    server.start();
    const auto first = floor_tests::token_of(server.port());
    server.stop();
    server.start();
    EXPECT_NE(floor_tests::token_of(server.port()), first);
}

TEST(server, goes_by_the_names_that_it_is_given)
{
    stand_in floor({});
    shopfloor::server server(
        floor,
        {.port = 0, .hosts = {"Floor.example.com"}, .origins = {"https://Floor.example.com"}});
    server.start();
    raw_connection to(server.port());
    to.send("GET /api/state HTTP/1.1\r\nHost: floor.example.com\r\n"
            "Origin: https://floor.example.com\r\n\r\n");
    EXPECT_EQ(status_of(to.read_response()), 200);
    to.send("GET /api/state HTTP/1.1\r\nHost: other.example.com\r\n\r\n");
    EXPECT_EQ(status_of(to.read_response()), 403);
}

TEST(server, answers_requests_of_a_connection_in_their_order)
{
    const served_floor at;
    raw_connection to(at.port());
    to.send(get(at.port(), "/api/pools") + get(at.port(), "/nothing") +
            get(at.port(), "/api/state"));
    EXPECT_NE(to.read_response().find("\"pools\""), std::string::npos);
    EXPECT_EQ(status_of(to.read_response()), 404);
    EXPECT_NE(to.read_response().find("\"slots\""), std::string::npos);
}

TEST(server, keeps_a_connection_after_a_file_that_is_the_same)
{
    const served_floor at;
    raw_connection to(at.port());
    to.send(get(at.port(), "/"));
    const auto page = to.read_response();
    const auto tag = page.find("ETag: ") + 6;
    to.send(get(at.port(), "/",
                "If-None-Match: " + page.substr(tag, page.find("\r\n", tag) - tag) + "\r\n"));
    EXPECT_EQ(status_of(to.read_to("\r\n\r\n")), 304);
    to.send(get(at.port(), "/api/state"));
    EXPECT_EQ(status_of(to.read_response()), 200);
}

TEST(server, sends_no_content_to_who_wants_the_head_alone)
{
    const served_floor at;
    raw_connection to(at.port());
    to.send("HEAD / HTTP/1.1\r\nHost: localhost:" + std::to_string(at.port()) + "\r\n\r\n" +
            get(at.port(), "/api/state"));
    EXPECT_EQ(status_of(to.read_to("\r\n\r\n")), 405);
    EXPECT_EQ(status_of(to.read_response()), 200);
}

TEST(server, asks_for_content_that_waits_to_be_wanted)
{
    const served_floor at;
    auto request =
        post(at.port(), "/api/operator", floor_tests::token_of(at.port()), R"({"badge": "0017"})");
    const auto end_of_head = request.find("\r\n\r\n");
    raw_connection to(at.port());
    to.send(request.substr(0, end_of_head) + "\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(to.read_to("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    to.send(request.substr(end_of_head + 4));
    EXPECT_EQ(status_of(to.read_response()), 200);
}

TEST(server, answers_when_the_floor_has_answered)
{
    served_floor<slow_floor> at;
    raw_connection to(at.port());
    to.send(get(at.port(), "/api/pools"));
    at.floor.next_question()({{{"pools", json::array()}}, {}});
    EXPECT_EQ(body_of(to.read_response()), "{\"pools\":[]}\n");
}

TEST(server, does_not_wait_for_ever_for_the_floor)
{
    served_floor<slow_floor> at({}, {.answer = 50ms});
    raw_connection to(at.port());
    to.send(get(at.port(), "/api/pools"));
    const auto late = at.floor.next_question();
    EXPECT_EQ(status_of(to.read_response()), 504);
    late({{{"pools", json::array()}}, {}});
    to.send(get(at.port(), "/api/session"));
    EXPECT_NE(to.read_response().find("\"token\""), std::string::npos);
}

TEST(server, takes_answers_after_its_end)
{
    served_floor<slow_floor> at;
    raw_connection to(at.port());
    to.send(get(at.port(), "/api/pools"));
    const auto late = at.floor.next_question();
    at.server.stop();
    late({{{"pools", json::array()}}, {}});
    at.floor.events().add("slot", "{}");
    EXPECT_EQ(to.read_all(), "");
}

TEST(server, tells_that_the_floor_has_failed)
{
    const served_floor<throwing_floor> at;
    EXPECT_EQ(status_of(at.response_to(get(at.port(), "/api/pools"))), 500);
    EXPECT_EQ(status_of(at.response_to(get(at.port(), "/api/state"))), 200);
}

TEST(client, starts_and_cancels_a_unit)
{
    const served_floor at;
    const shopfloor::client with("127.0.0.1", at.port());
    const auto begun = with.start({.slot = 2, .label = "A <b>\"1\"</b>", .only_check = true});
    ASSERT_FALSE(begun.refused);
    EXPECT_EQ(begun.content["run"]["label"], "A <b>\"1\"</b>");
    EXPECT_EQ(begun.content["run"]["only_check"], true);
    EXPECT_EQ(with.state().content["slots"][1]["state"], "running");
    EXPECT_EQ(with.cancel(2).content["run"]["outcome"], "cancelled");
}

TEST(client, tells_why_something_is_refused)
{
    const served_floor at;
    const auto none = shopfloor::client("127.0.0.1", at.port()).start({.slot = 99, .label = "A"});
    ASSERT_TRUE(none.refused);
    EXPECT_EQ(none.refused->code, "no_such_slot");
    EXPECT_EQ(none.refused->reason, "there is no slot 99");
}

TEST(client, tells_that_no_floor_runs)
{
    std::uint16_t port = 0;
    {
        const served_floor gone;
        port = gone.port();
    }
    EXPECT_THROW(shopfloor::client("127.0.0.1", port).state(), std::runtime_error);
}

} // namespace
