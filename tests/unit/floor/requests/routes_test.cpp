#include "floor/requests/routes.h"

#include <set>

#include <gtest/gtest.h>

#include "floor/requests/answers.h"
#include "floor/requests/page_files.h"
#include "unit/floor/stand_in.h"

namespace {

using namespace shopfloor;

const header host{"Host", "localhost:8080"};
const header token{"X-Setmac-Token", "secret"};
const header type{"Content-Type", "application/json"};

const routes &routing()
{
    static const routes all({{"localhost:8080"}, {"http://localhost:8080"}, "secret"}, "s1");
    return all;
}

request get(const std::string &target)
{
    return {"GET", target, {host}, ""};
}

request post(const std::string &target, const std::string &body)
{
    return {"POST", target, {host, token, type}, body};
}

/** What comes of a request, over a floor of eight slots and three units. */
response response_to(const request &asked)
{
    static floor_tests::stand_in floor({.slots = 8, .rows = 3});
    if (const auto why = routing().turned_away(asked)) {
        return *why;
    }
    const auto what = routing().task_for(asked);
    if (const auto *ready = std::get_if<response>(&what)) {
        return *ready;
    }
    response given{.status = 0};
    if (const auto *call = std::get_if<floor_call>(&what)) {
        call->ask(floor, [&](const answer &told) { given = call->tell(told); });
    }
    return given;
}

std::string code_of(const response &given)
{
    return json::parse(given.body)["error"]["code"];
}

TEST(routes, tell_the_token_to_who_may_read)
{
    EXPECT_EQ(response_to(get("/api/session")).body, "{\"token\":\"secret\"}\n");
}

TEST(routes, answer_reads_of_the_floor)
{
    EXPECT_EQ(json::parse(response_to(get("/api/state")).body)["slots"].size(), 8U);
    EXPECT_EQ(json::parse(response_to(get("/api/pools")).body)["pools"].size(), 1U);
    EXPECT_EQ(json::parse(response_to(get("/api/find?text=LABEL-000002")).body)["unit"]["serial"],
              "ABCD000002");
    EXPECT_EQ(json::parse(response_to(get("/api/units?limit=2")).body)["after"], 2);
    EXPECT_EQ(json::parse(response_to(get("/api/attempts?after=2")).body)["rows"].size(), 1U);
    EXPECT_EQ(json::parse(response_to(get("/api/attempts/3")).body)["label"], "LABEL-000003");
}

TEST(routes, answer_a_transcript_as_a_line_for_each_piece)
{
    const auto given = response_to(get("/api/attempts/1/transcript"));
    EXPECT_EQ(given.type, "application/x-ndjson");
    EXPECT_EQ(given.body, "{\"at\":0.0,\"from\":\"switch\",\"text\":\"login: \"}\n"
                          "{\"at\":0.2,\"from\":\"station\",\"text\":\"root\\n\"}\n"
                          "{\"at\":0.9,\"from\":\"switch\",\"text\":"
                          "\"<b>&#33;</b>\\u001b[31m\\r\\n# \"}\n");
}

TEST(routes, start_and_cancel_a_unit)
{
    const auto begun = response_to(post("/api/slots/7/start", R"({"label": "A-7"})"));
    EXPECT_EQ(begun.status, 202);
    EXPECT_EQ(json::parse(begun.body)["run"]["label"], "A-7");
    const auto busy = response_to(post("/api/slots/7/start", R"({"label": "B-7"})"));
    EXPECT_EQ(busy.status, 409);
    EXPECT_EQ(code_of(busy), "slot_busy");
    const auto ended = response_to(post("/api/slots/7/cancel", ""));
    EXPECT_EQ(ended.status, 202);
    EXPECT_EQ(json::parse(ended.body)["run"]["outcome"], "cancelled");
}

TEST(routes, give_a_refusal_the_status_of_its_code)
{
    EXPECT_EQ(response_to(get("/api/find?text=nobody")).status, 404);
    EXPECT_EQ(response_to(get("/api/attempts/99")).status, 404);
    EXPECT_EQ(code_of(response_to(post("/api/slots/9/start", R"({"label": "A"})"))),
              "no_such_slot");
    EXPECT_EQ(refusal_response({"already_verified", "", ""}).status, 409);
    EXPECT_EQ(refusal_response({"ledger_away", "", ""}).status, 503);
    EXPECT_EQ(refusal_response({"of a kind that nobody knows", "", ""}).status, 500);
}

TEST(routes, know_no_other_addresses)
{
    for (const auto *path : {"/api",
                             "/api/",
                             "/api/state/",
                             "/api//state",
                             "/API/state",
                             "/api/st%61te",
                             "/api/attempts/",
                             "/api/attempts/x",
                             "/api/attempts/01",
                             "/api/attempts/-1",
                             "/api/attempts/99999999999999999999",
                             "/api/attempts/1/",
                             "/api/attempts//transcript",
                             "/../js/main.js",
                             "/./index.html",
                             "/index.html/",
                             "/api/export/units.xml",
                             "x",
                             "*",
                             ""}) {
        EXPECT_EQ(response_to(get(path)).status, 404) << path;
    }
    EXPECT_EQ(response_to(post("/api/slots/99999999999/start", R"({"label": "A"})")).status, 404);
}

TEST(routes, take_no_other_methods)
{
    for (const auto *method : {"POST", "PUT", "DELETE", "OPTIONS", "HEAD", "TRACE", "get"}) {
        EXPECT_EQ(response_to({method, "/api/state", {host, token, type}, ""}).status, 405)
            << method;
    }
    const auto read = response_to(get("/api/slots/1/start"));
    EXPECT_EQ(read.status, 405);
    ASSERT_EQ(read.headers.size(), 1U);
    EXPECT_EQ(read.headers[0].name + ": " + read.headers[0].value, "Allow: POST");
    EXPECT_EQ(response_to(post("/index.html", "")).status, 405);
}

TEST(routes, take_no_content_with_a_read)
{
    EXPECT_EQ(response_to({"GET", "/api/state", {host, {"Content-Length", "2"}}, "{}"}).status,
              400);
    EXPECT_EQ(
        response_to({"GET", "/api/state", {host, {"Transfer-Encoding", "chunked"}}, ""}).status,
        400);
    EXPECT_EQ(response_to({"GET", "/api/state", {host, {"Content-Length", "0"}}, ""}).status, 200);
}

TEST(routes, take_no_parameters_that_mean_nothing)
{
    EXPECT_EQ(response_to(get("/api/state?x=1")).status, 400);
    EXPECT_EQ(response_to(get("/api/export/units.csv?limit=1")).status, 400);
    EXPECT_EQ(response_to(post("/api/slots/1/start?label=A", R"({"label": "A"})")).status, 400);
}

TEST(routes, look_at_the_token_before_the_content)
{
    request asked = post("/api/operator", "no JSON");
    asked.headers = {host, type};
    EXPECT_EQ(code_of(response_to(asked)), "wrong_token");
    EXPECT_EQ(code_of(response_to(post("/api/operator", "no JSON"))), "bad_request");
}

TEST(routes, take_up_events_after_the_last_one_of_this_start)
{
    const auto after = [](const std::vector<header> &headers) {
        return std::get<events_wanted>(routing().task_for({"GET", "/api/events", headers, ""}))
            .after;
    };
    EXPECT_EQ(after({host}), std::nullopt);
    EXPECT_EQ(after({host, {"Last-Event-ID", "s1-17"}}), 17U);
    EXPECT_EQ(after({host, {"Last-Event-ID", "s1-0"}}), 0U);
    for (const auto *other :
         {"", "17", "s2-17", "s1", "s1-", "s1-x", "s1--1", "s11-7", "s1-99999999999999999999"}) {
        EXPECT_EQ(after({host, {"Last-Event-ID", other}}), std::nullopt) << other;
    }
}

TEST(routes, export_what_the_filters_let_through)
{
    const auto wanted = std::get<export_wanted>(
        routing().task_for(get("/api/export/attempts.jsonl?outcome=failed")));
    EXPECT_EQ(wanted.kind, row_kind::attempts);
    EXPECT_EQ(wanted.form, row_form::json_lines);
    EXPECT_EQ(wanted.filters.outcome, "failed");
}

TEST(routes, serve_the_page)
{
    const auto page = response_to(get("/"));
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.type, "text/html; charset=utf-8");
    EXPECT_TRUE(lower_case(page.body).starts_with("<!doctype html>"));
    EXPECT_EQ(page.body, response_to(get("/index.html?slot=3")).body);
}

TEST(routes, serve_a_file_once_as_long_as_it_is_the_same)
{
    const auto first = response_to(get("/"));
    ASSERT_EQ(first.headers.at(0).name, "ETag");
    const auto tag = first.headers[0].value;
    const auto second = response_to({"GET", "/", {host, {"If-None-Match", tag}}, ""});
    EXPECT_EQ(second.status, 304);
    EXPECT_EQ(second.body, "");
    EXPECT_EQ(response_to({"GET", "/", {host, {"If-None-Match", "\"other\""}}, ""}).status, 200);
}

TEST(page_files, have_types_and_tags_of_their_own)
{
    std::set<std::string_view> tags;
    for (const auto &file : page_files()) {
        EXPECT_TRUE(file.path.starts_with('/'));
        EXPECT_FALSE(file.type.empty()) << file.path;
        EXPECT_TRUE(tags.insert(file.tag).second) << file.path;
        EXPECT_FALSE(file.content.empty()) << file.path;
    }
}

TEST(responses, keep_scripts_and_frames_of_others_out)
{
    std::string all;
    for (const auto &each : common_headers()) {
        EXPECT_FALSE(each.name.starts_with("Access-Control")) << each.name;
        all += each.name + ": " + each.value + "\n";
    }
    EXPECT_NE(all.find("default-src 'self'"), std::string::npos);
    EXPECT_NE(all.find("frame-ancestors 'none'"), std::string::npos);
    EXPECT_NE(all.find("X-Content-Type-Options: nosniff"), std::string::npos);
    EXPECT_EQ(all.find("unsafe"), std::string::npos);
}

} // namespace
