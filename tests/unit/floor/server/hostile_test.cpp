#include <list>
#include <random>

#include <gtest/gtest.h>

#include "unit/floor/server/served_floor.h"

// Requests that nobody sends who means well: refused or harmless, and the next one is answered.

namespace {

using namespace std::chrono_literals;
using floor_tests::body_of;
using floor_tests::get;
using floor_tests::post;
using floor_tests::raw_connection;
using floor_tests::served_floor;
using floor_tests::status_of;
using shopfloor::json;

/** Sends bytes, and gives the status of the first response, 0 where there is none. */
int status_for(const served_floor<> &at, const std::string &bytes)
{
    raw_connection to(at.port());
    to.send(bytes);
    return status_of(to.read_all());
}

std::string host(const served_floor<> &at)
{
    return "Host: localhost:" + std::to_string(at.port()) + "\r\n";
}

void expect_alive(const served_floor<> &at)
{
    EXPECT_EQ(status_of(at.response_to(get(at.port(), "/api/state"))), 200);
}

TEST(hostile_requests, of_other_hosts_and_origins_learn_no_token)
{
    const served_floor at;
    for (const std::string &head :
         {std::string("Host: evil.example\r\n"), host(at) + "Origin: https://evil.example\r\n",
          host(at) + "Origin: null\r\n", host(at) + "Sec-Fetch-Site: cross-site\r\n",
          std::string()}) {
        const auto refused = at.response_to("GET /api/session HTTP/1.1\r\n" + head + "\r\n");
        EXPECT_EQ(status_of(refused), 403) << head;
        EXPECT_EQ(refused.find("\"token\":"), std::string::npos) << head;
        EXPECT_EQ(refused.find("Access-Control"), std::string::npos) << head;
    }
}

TEST(hostile_requests, get_no_permission_for_other_origins)
{
    const served_floor at;
    const auto asked = at.response_to("OPTIONS /api/operator HTTP/1.1\r\n" + host(at) +
                                      "Origin: https://evil.example\r\n"
                                      "Access-Control-Request-Method: POST\r\n\r\n");
    EXPECT_EQ(status_of(asked), 403);
    EXPECT_EQ(asked.find("Access-Control"), std::string::npos);
}

TEST(hostile_requests, without_the_token_change_nothing)
{
    served_floor at;
    for (const std::string &token : {std::string(), std::string(64, '0'), std::string("x")}) {
        const auto refused =
            at.response_to(post(at.port(), "/api/slots/1/start", token, R"({"label": "A"})"));
        EXPECT_EQ(status_of(refused), 403);
    }
    EXPECT_EQ(at.floor.state()["slots"][0]["state"], "idle");
}

TEST(hostile_requests, with_broken_content_change_nothing)
{
    served_floor at;
    const auto token = floor_tests::token_of(at.port());
    for (const std::string &body :
         {std::string("{"), std::string("[]"), std::string("{\"label\":\"A\",\"label\":\"B\"}"),
          std::string("{\"label\":\"\xFF\"}"), std::string(60000, '['), std::string(1, '\0'),
          std::string("{\"label\":\"A\\u0000\"}"), std::string("{\"label\":{\"a\":1}}")}) {
        EXPECT_EQ(status_of(at.response_to(post(at.port(), "/api/slots/1/start", token, body))),
                  400)
            << body.substr(0, 40);
    }
    EXPECT_EQ(at.floor.state()["slots"][0]["state"], "idle");
}

TEST(hostile_requests, have_heads_and_content_of_a_bounded_size)
{
    const served_floor at;
    const auto token = floor_tests::token_of(at.port());
    EXPECT_EQ(status_for(at, get(at.port(), "/" + std::string(20000, 'a'))), 431);
    EXPECT_EQ(status_for(at, get(at.port(), "/", "X: " + std::string(20000, 'a') + "\r\n")), 431);
    std::string many;
    for (int at_line = 0; at_line < 5000; ++at_line) {
        many += "X" + std::to_string(at_line) + ": 1\r\n";
    }
    EXPECT_EQ(status_for(at, get(at.port(), "/", many)), 431);
    EXPECT_EQ(status_for(at, post(at.port(), "/api/operator", token, std::string(70000, ' '))),
              413);
    expect_alive(at);
}

TEST(hostile_requests, that_promise_huge_content_are_refused_before_it_comes)
{
    const served_floor at;
    for (const auto *length : {"70000", "4294967296", "18446744073709551615"}) {
        EXPECT_EQ(status_for(at, "POST /api/operator HTTP/1.1\r\n" + host(at) +
                                     "Content-Length: " + length + "\r\n\r\n"),
                  413)
            << length;
    }
}

TEST(hostile_requests, in_chunks_without_end_are_ended)
{
    const served_floor at;
    raw_connection to(at.port());
    to.send("POST /api/operator HTTP/1.1\r\n" + host(at) +
            "Content-Type: application/json\r\nX-Setmac-Token: " +
            floor_tests::token_of(at.port()) + "\r\nTransfer-Encoding: chunked\r\n\r\n");
    while (to.send("1000\r\n" + std::string(4096, ' ') + "\r\n")) {
    }
    expect_alive(at);
}

TEST(hostile_requests, with_remarks_on_chunks_without_end_are_ended)
{
    const served_floor at;
    raw_connection to(at.port());
    to.send("POST /api/operator HTTP/1.1\r\n" + host(at) +
            "Content-Type: application/json\r\nX-Setmac-Token: " +
            floor_tests::token_of(at.port()) + "\r\nTransfer-Encoding: chunked\r\n\r\n1;remark=");
    while (to.send(std::string(4096, 'a'))) {
    }
    expect_alive(at);
}

TEST(hostile_requests, that_can_be_cut_in_two_ways_are_refused_and_the_rest_is_not_read)
{
    const served_floor at;
    const std::string hidden = get(at.port(), "/api/session");
    const std::string begin = "POST /api/operator HTTP/1.1\r\n" + host(at);
    for (const std::string &head :
         {std::string("Content-Length: 5\r\nContent-Length: 6\r\n"),
          std::string("Content-Length: 5\r\nContent-Length: 5\r\n"),
          std::string("Content-Length: 5, 5\r\n"), std::string("Content-Length: +5\r\n"),
          std::string("Content-Length: -5\r\n"), std::string("Content-Length: 0x5\r\n"),
          std::string("Content-Length:\r\n"),
          std::string("Content-Length: 99999999999999999999999\r\n"),
          std::string("Content-Length: 5\r\nTransfer-Encoding: chunked\r\n"),
          std::string("Transfer-Encoding: chunked\r\nContent-Length: 5\r\n"),
          std::string("Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n"),
          std::string("Transfer-Encoding: chunked, identity\r\n"),
          std::string("Transfer-Encoding: xchunked\r\n"), std::string("Content-Length : 5\r\n"),
          std::string("Transfer-Encoding : chunked\r\n"),
          std::string("X: 1\nContent-Length: 5\r\n"), std::string("X\r\n"), std::string(": 1\r\n"),
          std::string("X: a\0b\r\n", 8)}) {
        raw_connection to(at.port());
        to.send(begin + head + "\r\n" + "0\r\n\r\n" + hidden);
        const auto all = to.read_all();
        EXPECT_EQ(status_of(all), 400) << head;
        EXPECT_EQ(all.find("\"token\":"), std::string::npos) << head;
    }
    expect_alive(at);
}

TEST(hostile_requests, with_bad_sizes_of_chunks_are_refused)
{
    const served_floor at;
    const auto begin =
        "POST /api/operator HTTP/1.1\r\n" + host(at) +
        "Content-Type: application/json\r\nX-Setmac-Token: " + floor_tests::token_of(at.port()) +
        "\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (const auto *chunk : {"x\r\n", "-1\r\n{}\r\n", "0x2\r\n{}\r\n", "\r\n{}\r\n",
                              "fffffffffffffffff\r\n", "2\r\n{}x\r\n0\r\n\r\n", "2\n{}\n0\n\n"}) {
        raw_connection to(at.port());
        to.send(begin + chunk + get(at.port(), "/api/session"));
        const auto all = to.read_all();
        EXPECT_TRUE(status_of(all) == 400 || status_of(all) == 413) << chunk << all;
        EXPECT_EQ(all.find("\"token\":"), std::string::npos) << chunk;
    }
}

TEST(hostile_requests, in_other_protocols_are_refused)
{
    const served_floor at;
    EXPECT_EQ(status_for(at, "GET /api/state HTTP/1.0\r\n" + host(at) + "\r\n"), 505);
    for (const std::string &bytes :
         {std::string("GET /api/state\r\n\r\n"), std::string("GET /api/state HTTP/2.0\r\n\r\n"),
          std::string("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n"), std::string("\r\n\r\n\r\n\r\n"),
          std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xFC\x03\x03", 11),
          std::string("GET  /api/state HTTP/1.1\r\n\r\n"),
          std::string("G\0T / HTTP/1.1\r\n\r\n", 18)}) {
        EXPECT_EQ(status_for(at, bytes), 400) << bytes;
    }
    expect_alive(at);
}

TEST(hostile_requests, of_random_bytes_are_survived)
{
    const served_floor at;
    const auto good =
        post(at.port(), "/api/operator", floor_tests::token_of(at.port()), R"({"badge": "0017"})");
    std::mt19937 chance(7);
    for (int round = 0; round < 300; ++round) {
        auto bytes = good;
        for (int change = 0; change < 1 + round % 8; ++change) {
            bytes[chance() % bytes.size()] = static_cast<char>(chance() % 256);
        }
        raw_connection to(at.port());
        to.send(bytes.substr(0, 1 + chance() % bytes.size()));
    }
    expect_alive(at);
}

TEST(hostile_texts, of_labels_come_back_as_texts_of_json)
{
    served_floor at;
    const std::string label = "</script><img src=x onerror=alert(1)> \xE2\x80\xAE\xF0\x9F\x98\x80";
    const auto token = floor_tests::token_of(at.port());
    const auto begun =
        at.response_to(post(at.port(), "/api/slots/1/start", token, json{{"label", label}}.dump()));
    EXPECT_EQ(status_of(begun), 202);
    EXPECT_NE(begun.find("Content-Type: application/json\r\n"), std::string::npos);
    EXPECT_NE(begun.find("X-Content-Type-Options: nosniff\r\n"), std::string::npos);
    EXPECT_EQ(json::parse(body_of(begun))["run"]["label"], label);
}

TEST(slow_requests, are_ended)
{
    const served_floor at({}, {.idle = 100ms, .head = 100ms, .body = 100ms});
    raw_connection silent(at.port());
    raw_connection half_head(at.port());
    half_head.send("GET /api/state HTTP/1.1\r\nHo");
    raw_connection half_body(at.port());
    const auto change = post(at.port(), "/api/operator", floor_tests::token_of(at.port()), "{  }");
    half_body.send(change.substr(0, change.size() - 2));
    raw_connection idle(at.port());
    idle.send(get(at.port(), "/api/session"));
    idle.read_response();
    for (auto *each : {&silent, &half_head, &half_body, &idle}) {
        EXPECT_TRUE(each->is_closed_within(30s));
    }
    expect_alive(at);
}

TEST(slow_requests, that_send_byte_by_byte_gain_no_time)
{
    const served_floor at({}, {.head = 300ms});
    raw_connection to(at.port());
    bool open = true;
    for (int byte = 0; byte < 2000 && open; ++byte) {
        open = to.send("G") && !to.is_closed_within(20ms);
    }
    EXPECT_FALSE(open);
}

TEST(many_connections, are_bounded_in_all_and_for_each_address)
{
    const served_floor at({}, {.connections_of_one = 20});
    std::list<raw_connection> crowd;
    for (int number = 0; number < 20; ++number) {
        crowd.emplace_back(at.port()).send(get(at.port(), "/api/session"));
        EXPECT_EQ(status_of(crowd.back().read_response()), 200);
    }
    raw_connection one_more(at.port());
    EXPECT_EQ(status_of(one_more.read_all()), 503);
    crowd.pop_front();
    int status = 503;
    while (status == 503) { // until the server has seen that one has gone
        raw_connection next(at.port());
        next.send(get(at.port(), "/api/session", "Connection: close\r\n"));
        status = status_of(next.read_all());
    }
    EXPECT_EQ(status, 200);
}

TEST(many_connections, of_a_thousand_leave_slots_and_readers_alone)
{
    served_floor at({.busy_slots = 8, .step = 5ms, .kept_events = 200'000}, {.write = 10min});
    raw_connection reader(at.port());
    reader.send(get(at.port(), "/api/events"));
    reader.read_to("event: state");
    std::list<raw_connection> crowd;
    for (int number = 0; number < 1000; ++number) {
        crowd.emplace_back(at.port()).send("GET / HTTP/1.1\r\nX: ");
    }
    const auto before = at.floor.events().last();
    for (int number = 0; number < 200; ++number) {
        reader.read_to("event: slot");
    }
    EXPECT_GT(at.floor.events().last(), before);
    crowd.clear();
    expect_alive(at);
}

} // namespace
